#include "demo/host/answer_check.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "demo/host/segment_values.h"

namespace tmx::demo {
namespace {

const HbSegment* FindSegment(const AnswerReader::Result& answer, const char* code) {
  const auto found = std::ranges::find_if(
      answer.segments, [code](const Ref<HbSegment>& each) { return CodeOf(*each) == code; });
  return found == answer.segments.end() ? nullptr : found->Get();
}

bool IsNumber(std::string_view digits, std::size_t expected) {
  std::size_t number = 0;
  const char* const end = digits.data() + digits.size();
  const auto [rest, error] = std::from_chars(digits.data(), end, number);
  return error == std::errc() && rest == end && number == expected;
}

std::string WrongNumber(const char* what, long number, long expected) {
  return std::string("the bank's answer ") + what + ' ' + std::to_string(number) + " instead of " +
         std::to_string(expected);
}

// A dialog that begins gets its name with the answer, which may use it for the question, too.
bool IsAnsweredDialog(const std::string& named, const std::string& dialog,
                      const SentMessage& sent) {
  return named.empty() || named == sent.dialog || (sent.dialog == "0" && named == dialog);
}

}  // namespace

std::string MismatchOf(const AnswerReader::Result& answer, std::size_t bytes,
                       const SentMessage& sent) {
  const HbSegment* const head = FindSegment(answer, "HNHBK");
  if (head == nullptr || head != answer.segments.front().Get())
    return "what the bank has sent is no message";
  if (!IsNumber(TextOf(*head, field::kMessageSize), bytes))
    return "the bank's answer has " + std::to_string(bytes) +
           " bytes, but its head names another size: it is cut or damaged";
  const HbSegment* const tail = FindSegment(answer, "HNHBS");
  if (tail == nullptr) return "the bank's answer has no end";
  for (const HbSegment* const segment : {head, tail}) {
    const long number = NumberOf(*segment, field::kMessageNumber, -1);
    if (number != sent.number) return WrongNumber("has the message number", number, sent.number);
  }
  const std::string dialog = TextOf(*head, field::kDialogId);
  if (sent.dialog != "0" && dialog != "0" && dialog != sent.dialog)
    return "the bank's answer belongs to another dialog";
  if (!IsAnsweredDialog(TextOf(*head, field::kAnsweredDialog), dialog, sent))
    return "the bank's answer refers to another dialog";
  const long answered = NumberOf(*head, field::kAnsweredMessage, sent.number);
  if (answered != sent.number) return WrongNumber("refers to message", answered, sent.number);
  return "";
}

}  // namespace tmx::demo
