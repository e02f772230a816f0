#include "tmxtools/macro/bytecode.h"

#include <cstring>
#include <utility>

#include "tmxtools/macro/decoded_code.h"
#include "tmxtools/macro/frame.h"
#include "tmxtools/platform/stream.h"
#include "tmxtools/streams/file.h"

namespace {

constexpr unsigned short kOpenForReading = 0x0401;  // read, deny write to others
constexpr std::uint64_t kMaxLength = 65535;

constexpr unsigned short kNotOpen = 17487;
constexpr unsigned short kFileTooShort = 17488;
constexpr unsigned short kTooMuchCode = 17489;
constexpr unsigned short kMalformed = 17490;

std::uint16_t Big16(const std::uint8_t* at) {
  return static_cast<std::uint16_t>(at[0] << 8 | at[1]);
}

}  // namespace

tmx::MacroCode::MacroCode() = default;
tmx::MacroCode::~MacroCode() = default;

HbByteCode::HbByteCode(const String& file_name, HbError& err, unsigned long offset,
                       unsigned short length)
    : code_(std::make_shared<tmx::MacroCode>()) {
  HbFile file(err, file_name, kOpenForReading);
  Init(file, err, offset, length);
}

HbByteCode::HbByteCode(HbFile& file, HbError& err, unsigned long offset, unsigned short length)
    : code_(std::make_shared<tmx::MacroCode>()) {
  Init(file, err, offset, length);
}

HbByteCode::HbByteCode(std::shared_ptr<tmx::MacroCode> code) : code_(std::move(code)) {}

void HbByteCode::Init(HbFile& file, HbError& err, unsigned long offset, unsigned short length) {
  code_->file_name = file.GetFileName();
  if (!file.IsOpen()) {
    err.SetError(kNotOpen, file.GetFileName());
    return;
  }
  SvStream& stream = *file.GetStream();
  const std::uint64_t size = stream.Size();
  if (file.GetStreamError(err)) return;

  const std::uint64_t begin = offset;
  if (begin > size || length > size - begin) {
    err.SetError(kFileTooShort);
    return;
  }
  if (length == 0 && size - begin > kMaxLength) {
    err.SetError(kTooMuchCode);
    return;
  }
  std::vector<std::uint8_t> bytes(length != 0 ? length : size - begin);
  stream.Seek(static_cast<std::uint32_t>(begin));
  const std::uint64_t got =
      bytes.empty() ? 0 : stream.Read(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
  if (file.GetStreamError(err)) return;
  if (got != bytes.size()) {
    err.SetError(kFileTooShort);
    return;
  }
  code_->bytes = std::move(bytes);
}

void HbByteCode::Fail(HbError& err) {
  SetStatus(kMalformed, code_->file_name);
  err = GetStatus();
}

const std::uint8_t* HbByteCode::Take(unsigned size, HbError& err) {
  if (pc_ + size > code_->bytes.size()) {
    Fail(err);
    return nullptr;
  }
  const std::uint8_t* const at = code_->bytes.data() + pc_;
  pc_ = static_cast<std::uint16_t>(pc_ + size);
  return at;
}

unsigned short HbByteCode::ReadByte(HbError& err) {
  const std::uint8_t* const at = Take(1, err);
  return at != nullptr ? *at : std::uint16_t{0};
}

char HbByteCode::ReadChar(HbError& err) { return static_cast<char>(ReadByte(err)); }

bool HbByteCode::ReadBool(HbError& err) {
  const std::uint8_t* const at = Take(1, err);
  if (at == nullptr) return false;
  if (*at > 1) SetStatus(kMalformed, code_->file_name);
  return *at == 1;
}

short HbByteCode::ReadInt(HbError& err) {
  const std::uint8_t* const at = Take(2, err);
  return at != nullptr ? static_cast<short>(Big16(at)) : short{0};
}

long HbByteCode::ReadLong(HbError& err) {
  const std::uint8_t* const at = Take(4, err);
  if (at == nullptr) return 0;
  return static_cast<std::int32_t>(std::uint32_t{Big16(at)} << 16 | Big16(at + 2));
}

HbDate HbByteCode::ReadDate(HbError& err) {
  const std::uint8_t* const at = Take(4, err);
  if (at == nullptr) return HbDate();
  return HbDate(at[0], at[1], static_cast<unsigned short>(at[2] * 100 + at[3]));
}

bool HbByteCode::ReadString(String& out, HbError& err) {
  const std::vector<std::uint8_t>& bytes = code_->bytes;
  const std::size_t left = pc_ < bytes.size() ? bytes.size() - pc_ : 0;
  const std::uint8_t* const begin = bytes.data() + (bytes.size() - left);
  // The last byte is not searched: it may not be the zero byte.
  const void* const zero = left > 1 ? std::memchr(begin, 0, left - 1) : nullptr;
  if (zero == nullptr) {
    out.Clear();
    Fail(err);
    return false;
  }
  const auto length = static_cast<std::size_t>(static_cast<const std::uint8_t*>(zero) - begin);
  out.Assign(reinterpret_cast<const char*>(begin), length);
  pc_ = static_cast<std::uint16_t>(pc_ + length + 1);
  return true;
}

String HbByteCode::ReadAmount(HbError& err) {
  String text;
  ReadString(text, err);
  return text;
}
