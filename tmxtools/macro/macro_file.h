#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "tmxtools/core/error.h"
#include "tmxtools/macro/bytecode.h"
#include "tmxtools/macro/frame.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/string.h"

class HbFile;

// One pair of compiled macro files in the directory "macro" below the macro path: NAME.hbz lists
// the subroutines, NAME.hbx holds their bytecode behind the magic "JHOG".
//
//   index = { name 0x00  offset:4  length:2  reserved:2 } ...       big-endian, at most 65535 bytes
//   code  = "JHOG" { bytecode }
//
// Owner: the file stack. Empty state: closed; the first Load opens both files and keeps them open.
// Threads: one at a time. Codes: those of HbByteCode; 17490 an index entry that is cut short or a
// code file that does not begin with "JH"; 17495 another version than "OG".
class TMX_EXPORT HbMacroFile : public HbErrorHandler {
 public:
  HbMacroFile(const String& name, const String& macro_path);
  ~HbMacroFile() override;
  HbMacroFile(const HbMacroFile&) = delete;
  HbMacroFile& operator=(const HbMacroFile&) = delete;

  // The bytecode of a subroutine, owned by the caller. Null with `err` clear when the file has no
  // subroutine of that exact name, null with `err` set when it could not be read.
  HbByteCode* Load(const String& sub_name, HbError& err);
  void Close();
  // The code file's full name, empty before the first Load.
  String GetFileName() const;
  const String& GetName() const { return name_; }

 private:
  struct Entry {
    String name;
    std::uint32_t offset;
    std::uint16_t length;
  };

  HbByteCode* LoadUnguarded(const String& sub_name, HbError& err);
  bool Open(HbError& err);
  bool OpenCode(HbError& err);
  String PathOf(const char* extension) const;

  String macro_path_;
  std::optional<std::vector<Entry>> index_;
  std::unique_ptr<HbFile> code_file_;
  String name_;
};

// Is told when the files of a stack change.
class TMX_EXPORT HbMacroFileStackListener {
 public:
  virtual ~HbMacroFileStackListener();
  virtual void OnFilePushed(const String& name) = 0;
  virtual void OnFilePopped() = 0;
};

// The macro files in which subroutines are looked up, the last pushed first.
//
// Frames that have returned are kept in up to ten slots and handed out again; what has been loaded
// is kept as well, until the set of files changes or they are closed. A frame that ran while the
// set changed is not kept, so that the change holds from the next lookup on.
//
// Owner: the engine. It owns its files and the kept frames, not its listener. Empty state: no
// files. Threads: one at a time. Codes: 17485 no file pushed, 17492 subroutine in no file (its name
// is the parameter), and those of HbMacroFile.
class TMX_EXPORT HbMacroFileStack {
 public:
  explicit HbMacroFileStack(const String& macro_path);
  ~HbMacroFileStack();
  HbMacroFileStack(const HbMacroFileStack&) = delete;
  HbMacroFileStack& operator=(const HbMacroFileStack&) = delete;

  // Puts a file on top. The first push puts "general" below it. A file that does not exist is
  // noticed by the first lookup, not here.
  bool Push(const String& name, HbError& err);
  // Removes the top file; the last one only by force. False when nothing was removed.
  bool Pop(bool force);
  // Pops until Pop returns false.
  void Clear(bool force);
  // Closes every file and keeps the stack.
  void Close();

  // A frame for the subroutine, owned by the caller, or null with `err` set.
  HbStackFrame* LoadSub(const String& sub_name, HbError& err);
  // Resets a frame and keeps it for the next LoadSub of its subroutine.
  void CacheSub(HbStackFrame* frame);

  unsigned short GetMacroFileCount() const { return static_cast<unsigned short>(files_.size()); }
  // Bottom first. Throws std::out_of_range("invalid vector<T> subscript").
  const HbMacroFile* GetMacroFile(unsigned short index) const;
  void SetListener(HbMacroFileStackListener* listener) { listener_ = listener; }
  HbMacroFileStackListener* GetListener() const { return listener_; }

  // For call sites that remember what they looked up: a number that changes whenever a name may
  // stand for other code, the code that LoadSub would give if that was loaded before (else null),
  // and a frame with it, kept or new.
  std::uint64_t GetLookupState() const { return lookup_state_; }
  tmx::MacroCode* FindLoaded(const String& sub_name) const;
  HbStackFrame* TakeFrame(tmx::MacroCode& code, const String& sub_name) {
    return code.spare_frame != nullptr ? code.spare_frame.release() : NewFrame(code, sub_name);
  }
  // Gives a frame back, reset, for the next TakeFrame of its code.
  void ReturnFrame(HbStackFrame* frame) {
    tmx::MacroCode& code = *frame->GetByteCode()->GetCode();
    if (code.spare_frame != nullptr || code.file_set != file_set_) return CacheSub(frame);
    frame->Clear();
    code.spare_frame.reset(frame);
  }

 private:
  static constexpr std::size_t kCacheSlots = 10;

  bool PushImpl(const String& name, HbError& err);
  void ClearCache();
  void Forget();
  std::shared_ptr<tmx::MacroCode> FindCode(const String& sub_name, HbError& err);
  HbStackFrame* NewFrame(tmx::MacroCode& code, const String& sub_name);
  void KeepSpare(std::unique_ptr<HbStackFrame> frame);
  HbStackFrame* TakeSlot(std::size_t slot) {
    slot_codes_[slot] = nullptr;
    return sub_cache_[slot].release();
  }

  String macro_path_;
  std::vector<std::unique_ptr<HbMacroFile>> files_;
  // The kept frames, and beside them their codes; both are null in an empty slot.
  std::array<std::unique_ptr<HbStackFrame>, kCacheSlots> sub_cache_;
  std::array<const tmx::MacroCode*, kCacheSlots> slot_codes_{};
  std::size_t slot_count_ = 0;
  std::size_t cache_next_ = 0;
  HbMacroFileStackListener* listener_ = nullptr;
  std::map<String, std::shared_ptr<tmx::MacroCode>> loaded_;
  std::uint64_t file_set_;
  std::uint64_t lookup_state_;
};
