#include "tmxtools/macro/macro_file.h"

#include <atomic>
#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>

#include "tmxtools/macro/decoded_code.h"
#include "tmxtools/platform/dir_entry.h"
#include "tmxtools/platform/stream.h"
#include "tmxtools/streams/file.h"

namespace {

constexpr unsigned short kOpenForReading = 0x0401;  // read, deny write to others

constexpr unsigned short kNoFile = 17485;
constexpr unsigned short kMalformed = 17490;
constexpr unsigned short kNoSuchSub = 17492;
constexpr unsigned short kWrongVersion = 17495;
constexpr unsigned short kInvalidParameter = 0x454F;
constexpr unsigned short kOutOfMemory = 0x4554;

// Unique in the process, so that what one stack loaded is never taken for another's.
std::uint64_t NextNumber() {
  static std::atomic<std::uint64_t> last{0};
  return ++last;
}

}  // namespace

HbMacroFile::HbMacroFile(const String& name, const String& macro_path)
    : macro_path_(macro_path), name_(name) {}

HbMacroFile::~HbMacroFile() { Close(); }

void HbMacroFile::Close() {
  index_.reset();
  code_file_.reset();
}

String HbMacroFile::GetFileName() const {
  return code_file_ != nullptr ? code_file_->GetFileName() : String();
}

String HbMacroFile::PathOf(const char* extension) const {
  return (DirEntry(macro_path_) + "macro" + (name_ + "." + extension)).GetFull();
}

bool HbMacroFile::Open(HbError& err) {
  ResetStatus();
  Close();
  HbByteCode bytes(PathOf("hbz"), err, 0, 0);
  std::vector<Entry> index;
  while (!err.IsSet() && !bytes.IsEof()) {
    Entry entry;
    if (!bytes.ReadString(entry.name, err)) break;
    if (!err.IsSet()) entry.offset = static_cast<std::uint32_t>(bytes.ReadLong(err));
    if (!err.IsSet()) entry.length = static_cast<std::uint16_t>(bytes.ReadInt(err));
    if (!err.IsSet()) bytes.ReadInt(err);  // reserved
    if (!err.IsSet()) index.push_back(std::move(entry));
  }
  if (err.IsSet() || !bytes.IsEof()) {
    SetStatus(err);
    return false;
  }
  index_ = std::move(index);
  code_file_ = std::make_unique<HbFile>(PathOf("hbx"));
  return true;
}

// The magic is looked at when the code file is opened and not again.
bool HbMacroFile::OpenCode(HbError& err) {
  if (!code_file_->Open(err, kOpenForReading, nullptr, 0, nullptr, nullptr)) return false;
  char magic[4] = {};
  code_file_->GetStream()->Read(magic, sizeof magic);
  if (code_file_->GetStreamError(err)) return false;
  if (std::memcmp(magic, "JH", 2) != 0) {
    err.SetError(kMalformed, code_file_->GetFileName());
  } else if (std::memcmp(magic + 2, "OG", 2) != 0) {
    err.SetError(kWrongVersion, code_file_->GetFileName());
  }
  if (err.IsSet()) code_file_->Close();
  return !err.IsSet();
}

HbByteCode* HbMacroFile::Load(const String& sub_name, HbError& err) {
  try {
    return LoadUnguarded(sub_name, err);
  } catch (const std::length_error&) {  // a path that is longer than a text
    err.SetError(kInvalidParameter, name_);
  } catch (const std::bad_alloc&) {
    err.SetError(kOutOfMemory, name_);
  }
  SetStatus(err);
  return nullptr;
}

HbByteCode* HbMacroFile::LoadUnguarded(const String& sub_name, HbError& err) {
  ResetStatus();
  if (!index_.has_value() && !Open(err)) return nullptr;
  const Entry* found = nullptr;
  for (const Entry& entry : *index_) {
    if (entry.name == sub_name) {
      found = &entry;
      break;
    }
  }
  if (found == nullptr) return nullptr;

  if (!code_file_->IsOpen() && !OpenCode(err)) {
    SetStatus(err);
    return nullptr;
  }
  auto code = std::make_unique<HbByteCode>(*code_file_, err, found->offset, found->length);
  if (err.IsSet()) {
    SetStatus(err);
    return nullptr;
  }
  return code.release();
}

HbMacroFileStackListener::~HbMacroFileStackListener() = default;

HbMacroFileStack::HbMacroFileStack(const String& macro_path)
    : macro_path_(macro_path), file_set_(NextNumber()), lookup_state_(file_set_) {}

HbMacroFileStack::~HbMacroFileStack() {
  Clear(true);
  ClearCache();
}

bool HbMacroFileStack::Push(const String& name, HbError& err) {
  if (files_.empty() && !PushImpl("general", err)) return false;
  return PushImpl(name, err);
}

bool HbMacroFileStack::PushImpl(const String& name, HbError& err) {
  try {
    files_.push_back(std::make_unique<HbMacroFile>(name, macro_path_));
  } catch (const std::bad_alloc&) {
    err.SetError(kOutOfMemory, name);
    return false;
  }
  ClearCache();
  if (listener_ != nullptr) listener_->OnFilePushed(name);
  return true;
}

bool HbMacroFileStack::Pop(bool force) {
  if (files_.empty() || (files_.size() == 1 && !force)) return false;
  files_.pop_back();
  if (listener_ != nullptr) listener_->OnFilePopped();
  ClearCache();
  return true;
}

void HbMacroFileStack::Clear(bool force) {
  while (Pop(force)) {
  }
}

void HbMacroFileStack::Close() {
  for (const auto& file : files_) file->Close();
  Forget();
}

void HbMacroFileStack::Forget() {
  for (const auto& [name, code] : loaded_) code->spare_frame.reset();
  loaded_.clear();
  file_set_ = NextNumber();
  lookup_state_ = file_set_;
}

void HbMacroFileStack::ClearCache() {
  for (auto& slot : sub_cache_) slot.reset();
  slot_codes_.fill(nullptr);
  slot_count_ = 0;
  cache_next_ = 0;
  Forget();
}

const HbMacroFile* HbMacroFileStack::GetMacroFile(unsigned short index) const {
  if (index >= files_.size()) throw std::out_of_range("invalid vector<T> subscript");
  return files_[index].get();
}

// Asks the files from the top down; the first error ends the search.
std::shared_ptr<tmx::MacroCode> HbMacroFileStack::FindCode(const String& sub_name, HbError& err) {
  const auto known = loaded_.find(sub_name);
  if (known != loaded_.end()) return known->second;
  for (auto file = files_.rbegin(); file != files_.rend(); ++file) {
    const std::unique_ptr<HbByteCode> byte_code((*file)->Load(sub_name, err));
    if (byte_code != nullptr) {
      byte_code->GetCode()->file_set = file_set_;
      loaded_.emplace(sub_name, byte_code->GetCode());
      return byte_code->GetCode();
    }
    if (err.IsSet()) return nullptr;
  }
  err.SetError(kNoSuchSub, sub_name);
  return nullptr;
}

HbStackFrame* HbMacroFileStack::LoadSub(const String& sub_name, HbError& err) {
  for (std::size_t i = slot_count_; i-- > 0;)
    if (sub_cache_[i] != nullptr && sub_cache_[i]->GetSubName() == sub_name) return TakeSlot(i);
  err.Clear();
  if (files_.empty()) {
    err.SetError(kNoFile);
    return nullptr;
  }
  try {
    const std::shared_ptr<tmx::MacroCode> code = FindCode(sub_name, err);
    return code != nullptr ? TakeFrame(*code, sub_name) : nullptr;
  } catch (const std::bad_alloc&) {
    err.SetError(kOutOfMemory, sub_name);
    return nullptr;
  }
}

HbStackFrame* HbMacroFileStack::NewFrame(tmx::MacroCode& code, const String& sub_name) {
  auto byte_code = std::make_unique<HbByteCode>(code.shared_from_this());
  return std::make_unique<HbStackFrame>(std::move(byte_code), sub_name).release();
}

tmx::MacroCode* HbMacroFileStack::FindLoaded(const String& sub_name) const {
  // A host may have put a frame of its own under the name.
  for (std::size_t i = 0; i < slot_count_; ++i)
    if (sub_cache_[i] != nullptr && sub_cache_[i]->GetSubName() == sub_name &&
        slot_codes_[i]->file_set != file_set_)
      return nullptr;
  const auto known = loaded_.find(sub_name);
  return known != loaded_.end() ? known->second.get() : nullptr;
}

void HbMacroFileStack::CacheSub(HbStackFrame* frame) {
  std::unique_ptr<HbStackFrame> owned(frame);
  if (owned == nullptr || owned->GetByteCode() == nullptr) return;
  owned->Clear();
  const tmx::MacroCode* const code = owned->GetByteCode()->GetCode().get();
  if (code->file_set != file_set_ && code->file_set != 0) return;
  std::size_t slot = 0;
  while (slot < slot_count_ && slot_codes_[slot] != nullptr) ++slot;
  if (slot == kCacheSlots) {
    slot = cache_next_;
    cache_next_ = (cache_next_ + 1) % kCacheSlots;
  } else if (slot == slot_count_) {
    ++slot_count_;
  }
  // A frame that the host made is found by its name like any other.
  if (code->file_set == 0) lookup_state_ = NextNumber();
  sub_cache_[slot].swap(owned);
  slot_codes_[slot] = code;
  if (owned != nullptr) KeepSpare(std::move(owned));
}

// A frame that lost its slot is as good as a new one, once it has forgotten where it stood in the
// source.
void HbMacroFileStack::KeepSpare(std::unique_ptr<HbStackFrame> frame) {
  tmx::MacroCode& code = *frame->GetByteCode()->GetCode();
  if (code.file_set != file_set_ || code.spare_frame != nullptr) return;
  frame->SetMacroSourceFile(String());
  frame->SetMacroSourceLine(0);
  code.spare_frame = std::move(frame);
}
