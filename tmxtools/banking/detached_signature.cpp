// The signatures of requests as blocks of bytes.
#include <algorithm>
#include <cstring>
#include <span>

#include "tmxtools/banking/job.h"
#include "tmxtools/banking/message.h"
#include "tmxtools/banking/request.h"
#include "tmxtools/banking/user.h"
#include "tmxtools/core/error.h"

namespace {

constexpr unsigned short kSignatureRefused = 17636;
constexpr unsigned short kBadSignatureBlock = 17640;
constexpr unsigned long kIdsSize = 6;
constexpr HbSignDataType kParts[] = {HbSignDataPart0, HbSignDataPart1, HbSignDataPart2};

// Writes a block into a buffer that has room for it.
class BlockWriter {
 public:
  explicit BlockWriter(unsigned char* to) : to_(to) {}

  void Put16(unsigned short number) {
    *to_++ = static_cast<unsigned char>(number >> 8);
    *to_++ = static_cast<unsigned char>(number);
  }
  void PutPart(const unsigned char* bytes, unsigned short size) {
    Put16(size);
    std::memcpy(to_, bytes, size);
    to_ += size;
  }

 private:
  unsigned char* to_;
};

// Takes a block apart; whoever reads has asked for the size.
class BlockReader {
 public:
  explicit BlockReader(std::span<const unsigned char> block) : rest_(block) {}

  std::size_t Left() const { return rest_.size(); }
  unsigned short Take16() {
    const auto number = static_cast<unsigned short>(rest_[0] << 8 | rest_[1]);
    rest_ = rest_.subspan(2);
    return number;
  }
  std::span<const unsigned char> Take(std::size_t size) {
    const auto bytes = rest_.first(size);
    rest_ = rest_.subspan(size);
    return bytes;
  }
  // A length and as many bytes; empty if they are not all there.
  std::span<const unsigned char> TakePart() {
    if (Left() < 3) return {};
    const unsigned short size = Take16();
    return size <= Left() ? Take(size) : std::span<const unsigned char>();
  }

 private:
  std::span<const unsigned char> rest_;
};

unsigned long FullSize(const HbMessage& message, HbRole role) {
  unsigned long size = kIdsSize + 2;
  for (const HbSignDataType part : kParts) size += 2UL + message.GetSignSize(role, part);
  return size;
}

bool HasAllBytes(const HbMessage& message, HbRole role) {
  return std::all_of(std::begin(kParts), std::end(kParts),
                     [&](HbSignDataType part) { return message.GetSign(role, part) != nullptr; });
}

bool RefuseBlock(HbError& error) {
  error.SetError(kSignatureRefused, HbError(kBadSignatureBlock));
  return false;
}

}  // namespace

bool HbRequest::IsSigned(HbRole role) const noexcept {
  const HbMessage* const message = GetMessage();
  return message != nullptr && message->IsSigned(role) &&
         message->GetSign(role, HbSignDataPart2) != nullptr;
}

unsigned long HbRequest::GetSignSize(HbRole role) const noexcept {
  const HbMessage* const message = GetMessage();
  if (message == nullptr || !message->IsSigned(role)) return 0;
  for (const HbSignDataType part : kParts) {
    if (message->GetSignSize(role, part) == 0) return 0;
  }
  return GetRequestId() == 0 ? FullSize(*message, role) : kIdsSize;
}

bool HbRequest::GetSign(HbRole role, unsigned char* buffer, unsigned long& length) const noexcept {
  const unsigned long room = length;
  length = 0;
  unsigned long size = GetSignSize(role);
  if (buffer == nullptr || size == 0) return false;
  const HbMessage& message = *GetMessage();
  const bool is_in_dialog = message.GetDialog() != nullptr;
  const unsigned short request_id = is_in_dialog ? GetRequestId() : req_id_;
  const bool is_first = request_id == 0;
  // The stored id may say "first" where the position does not.
  if (is_first) size = FullSize(message, role);
  if (room < size || (is_first && !HasAllBytes(message, role))) return false;

  // Where the position says "first" and the stored id does not, the block is longer than its ids.
  std::fill_n(buffer, size, static_cast<unsigned char>(0));
  BlockWriter block(buffer);
  block.Put16(request_id);
  block.Put16(is_in_dialog ? GetMessageId() : msg_id_);
  block.Put16(is_in_dialog ? GetDialogId() : dlg_id_);
  if (is_first) {
    for (const HbSignDataType part : kParts)
      block.PutPart(message.GetSign(role, part), message.GetSignSize(role, part));
    block.Put16(message.RequestCount());
  }
  length = size;
  return true;
}

bool HbRequest::InsertSignature(HbError& error, const unsigned char* data, unsigned long length,
                                HbRole role) {
  HbJob* const job = GetJob();
  if (job == nullptr) {
    error.SetError(kSignatureRefused, String("No parent job"));
    return false;
  }
  req_id_ = msg_id_ = dlg_id_ = kUnknown;
  BlockReader block({data, data != nullptr ? length : 0});
  if (block.Left() >= kIdsSize) {
    req_id_ = block.Take16();
    msg_id_ = block.Take16();
    dlg_id_ = block.Take16();
    job->AddToPresignedMsg(*this);
  }
  HbMessage* const message = GetMessage();
  if (req_id_ == kUnknown || msg_id_ == kUnknown || dlg_id_ == kUnknown || message == nullptr)
    return RefuseBlock(error);
  if (req_id_ != 0) return true;
  for (const HbSignDataType part : kParts) {
    const auto bytes = block.TakePart();
    if (bytes.empty()) return RefuseBlock(error);
    message->SetSign(role, part, bytes.data(), static_cast<unsigned short>(bytes.size()));
  }
  // The later requests of the message find their places waiting.
  if (block.Left() >= 2) message->requests_.PadTo(block.Take16());
  return true;
}

bool HbRequest::GetTANFromSignature(HbRole role, String& tan) const {
  tan.Clear();
  const HbMessage* const message = GetMessage();
  const SignatureData* const signature =
      message != nullptr ? message->GetSignatureData(role) : nullptr;
  if (signature == nullptr) return false;
  const HbUser* const user = signature->GetUser();
  const unsigned char* const bytes = signature->GetSign(HbSignDataPart1);
  if (user == nullptr || user->GetMedia() != SecurityMediaPinTan || bytes == nullptr) return false;
  const String text(reinterpret_cast<const char*>(bytes), signature->GetSignSize(HbSignDataPart1));
  if (text.GetTokenCount(';') < 2) return false;
  tan = text.Token(1, ';');
  return true;
}
