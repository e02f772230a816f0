#include "demo/host/message_writer.h"

#include <charconv>
#include <string_view>

#include "demo/host/message_splitter.h"
#include "demo/segments/fields.h"

namespace tmx::demo {
namespace {

constexpr long kFirstNumber = 2;  // behind the head

// The head of binary data.
std::string LengthMark(std::size_t length) { return '@' + std::to_string(length) + '@'; }

// Appends a text with the bytes of binary fields where the macros have left marks with their ids.
void AppendWithBinaryFields(SecretString& bytes, std::string_view text, const HbSegment& values) {
  for (;;) {
    const std::size_t mark = text.find(kLifted);
    bytes += text.substr(0, mark);
    if (mark == std::string_view::npos) return;
    const std::size_t end = text.find(kLifted, mark + 1);
    if (end == std::string_view::npos) return;
    unsigned long id = 0;
    std::from_chars(text.data() + mark + 1, text.data() + end, id);
    if (const HbBinaryVariable* const variable = values.GetBinaryVar(id)) {
      bytes += LengthMark(variable->GetLength());
      bytes.append(reinterpret_cast<const char*>(variable->GetData()), variable->GetLength());
    }
    text.remove_prefix(end + 1);
  }
}

}  // namespace

std::uint32_t MessageWriter::SegmentNumber(const HbRequest& request) {
  long number = 0;
  request.GetValues().GetFieldInt32(number, field::kSegmentNumber);
  return static_cast<std::uint32_t>(number);
}

bool MessageWriter::Append(HbRequest& request, const std::string& name, SecretString& bytes,
                           HbError& error, long parameter) {
  SecretString written;
  if (!runner_.Run(request, name, error, written, parameter)) return false;
  AppendWithBinaryFields(bytes, written, request.GetValues());
  return true;
}

bool MessageWriter::Write(HbMessage& message, SecretString& bytes, HbError& error) {
  HbRequest& head = *message.GetMsgHead();
  long number = kFirstNumber;
  SecretString body;
  if (!Append(head, "SignHead", body, error, number++)) return false;
  for (unsigned short i = 0; i < message.RequestCount(); ++i) {
    HbRequest& request = *message[i];
    request.GetValues().PutFieldInt32(number, field::kSegmentNumber);
    const std::string name =
        request.GetRequestName().Data() + std::to_string(request.GetRequestVersion());
    if (!Append(request, name, body, error, number++)) return false;
  }
  if (!Append(head, "SignTail", body, error, number++)) return false;
  SecretString rest;
  if (!runner_.Run(head, "CryptHead", error, rest)) return false;
  rest.append("HNVSD:999:1+").append(LengthMark(body.size())).append(body).append("'");
  if (!Append(head, "MessageTail", rest, error, number)) return false;
  // The head has the same length whatever the size is, which is written with twelve digits.
  SecretString empty_head;
  if (!Append(head, "MessageHead", empty_head, error, 0)) return false;
  bytes.clear();
  if (!Append(head, "MessageHead", bytes, error,
              static_cast<long>(empty_head.size() + rest.size())))
    return false;
  bytes += rest;
  return true;
}

}  // namespace tmx::demo
