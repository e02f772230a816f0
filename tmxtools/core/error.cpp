#include "tmxtools/core/error.h"

#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "tmxtools/platform/stream.h"
#include "tmxtools/textres/message_resolver.h"

struct HbError::Record {
  std::uint16_t count;
  std::uint16_t code;
  String text;
  String param;
  HbError prev;
};

namespace {

constexpr std::uint16_t kStuck = 0xFFFF;

struct StreamCode {
  std::uint32_t stream_error;
  unsigned short code;
};
constexpr StreamCode kStreamCodes[] = {
    {0x20D, 0x454D}, {0x212, 0x4552}, {0x213, 0x4553}, {0x302, 0x4547}, {0x31C, 0x4548},
    {0x507, 0x454A}, {0x518, 0x454C}, {0x708, 0x454B}, {0x81A, 0x454F}, {0x909, 0x4557},
    {0x90E, 0x4549}, {0x911, 0x4554}, {0xB0F, 0x4550}, {0xC10, 0x4551}, {0xE14, 0x4556},
    {0xF15, 0x4555}, {0x1019, 0x454E}};
constexpr unsigned short kOtherStreamError = 0x4558;

// Appends as much as fits. False when something did not.
bool AppendClipped(String& out, std::string_view text) {
  const std::size_t room = std::size_t{String::MaxLen} - out.Len();
  out += text.substr(0, room);
  return text.size() <= room;
}

// A resolver of the host may throw anything; the error is more important than its text.
String TextOf(unsigned short code) {
  std::string text;
  try {
    text = MessageResolverManager::getInstance()->getMessage(code);
  } catch (...) {
    text.clear();
  }
  return String(std::string_view(text).substr(0, String::MaxLen));
}

}  // namespace

HbError::Record* HbError::NewRecord(unsigned short code, const String& param,
                                    const HbError* prev) noexcept {
  try {
    return new Record{1, code, TextOf(code), param, prev != nullptr ? *prev : HbError()};
  } catch (const std::exception&) {
    return nullptr;
  }
}

void HbError::Share() const noexcept {
  if (record_->count != kStuck) ++record_->count;
}

// Walks down the chain instead of letting each record release the next, so that a chain of any
// length needs no stack.
void HbError::Release() noexcept {
  Record* record = std::exchange(record_, nullptr);
  while (record != nullptr && record->count != kStuck && --record->count == 0) {
    Record* const next = std::exchange(record->prev.record_, nullptr);
    delete record;
    record = next;
  }
}

HbError& HbError::operator=(const HbError& other) noexcept {
  if (record_ == other.record_) return *this;
  HbError copy(other);  // other may live in the record that is released now
  Clear();
  std::swap(record_, copy.record_);
  return *this;
}

HbError& HbError::operator=(HbError&& other) noexcept {
  if (this == &other) return *this;
  HbError taken(std::move(other));
  Clear();
  std::swap(record_, taken.record_);
  return *this;
}

void HbError::SetError(unsigned short code) {
  Clear();
  record_ = NewRecord(code, String(), nullptr);
}

void HbError::SetError(unsigned short code, const String& param) {
  const String kept = param;  // it may be this error's own
  Clear();
  record_ = NewRecord(code, kept, nullptr);
}

void HbError::SetError(unsigned short code, const HbError& prev) { SetError(code, String(), prev); }

// The new record takes its reference on `prev` before the old one is released.
void HbError::SetError(unsigned short code, const String& param, const HbError& prev) {
  Record* const record = NewRecord(code, param, &prev);
  Clear();
  record_ = record;
}

void HbError::SetStreamState(const SvStream& stream) {
  constexpr std::uint32_t kWarning = 0x80000000;
  constexpr std::uint32_t kMask = 0x3FFFFFFF;
  const std::uint32_t raw = stream.GetError();
  const std::uint32_t stream_error = raw & kMask;
  if ((raw & kWarning) != 0 || stream_error == 0) return;
  unsigned short code = kOtherStreamError;
  for (const StreamCode& row : kStreamCodes)
    if (row.stream_error == stream_error) code = row.code;
  SetError(code);
}

HbErrKind HbError::GetErrKind() const noexcept {
  const unsigned short code = GetCode();
  return code == 0 ? ErrKindNone : static_cast<HbErrKind>(code / 0x4000 + 1);
}

unsigned short HbError::GetCode() const noexcept {
  return record_ != nullptr ? record_->code : std::uint16_t{0};
}

const String* HbError::GetText() const noexcept {
  return record_ != nullptr ? &record_->text : nullptr;
}

const String* HbError::GetParamText() const noexcept {
  return record_ != nullptr ? &record_->param : nullptr;
}

const HbError* HbError::GetPrev() const noexcept {
  return record_ != nullptr && record_->prev.IsSet() ? &record_->prev : nullptr;
}

void HbError::GetFull(String& out) const {
  const HbError chain = *this;  // `out` may be a part of it
  out = String();
  bool room = true;
  for (const HbError* error = &chain; error != nullptr && error->IsSet() && room;
       error = error->GetPrev()) {
    if (error != &chain) room = AppendClipped(out, "\n");
    room = AppendClipped(out, error->record_->text.View()) && room;
    if (!error->record_->param.IsEmpty())
      room = AppendClipped(out, " (") && AppendClipped(out, error->record_->param.View()) &&
             AppendClipped(out, ")") && room;
  }
}

HbErrorHandler::~HbErrorHandler() = default;

void HbErrorHandler::OnStatusSet() {}

const HbError& HbErrorHandler::Report(unsigned short code) {
  if (code != 0) OnStatusSet();
  return status_;
}

const HbError& HbErrorHandler::SetStatus(unsigned short code, const String& param,
                                         const HbError& prev) {
  status_.SetError(code, param, prev);
  return Report(code);
}

const HbError& HbErrorHandler::SetStatus(unsigned short code, const String& param) {
  status_.SetError(code, param);
  return Report(code);
}

const HbError& HbErrorHandler::SetStatus(unsigned short code, const HbError& prev) {
  if (code == 0) return status_;
  if (prev.IsSet()) {
    status_.SetError(code, prev);
  } else {
    status_.SetError(code);
  }
  return Report(code);
}

const HbError& HbErrorHandler::SetStatus(unsigned short code) {
  status_.SetError(code);
  return Report(code);
}

const HbError& HbErrorHandler::SetStatus(const HbError& status) {
  status_ = status;
  if (status_.IsSet()) OnStatusSet();
  return status_;
}

void HbErrorHandler::ResetStatus() { status_.Clear(); }
