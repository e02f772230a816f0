#include "demo/host/answer_reader.h"

#include <memory>

#include <charconv>
#include <utility>

#include "demo/host/macro_runner.h"
#include "demo/segments/fields.h"

namespace tmx::demo {
namespace {

// The part as it stood in the message; of a text alone, what it says.
std::string BytesOf(const MessagePart& part, bool alone) {
  std::string bytes;
  if (part.is_binary) {
    if (!alone) bytes = '@' + std::to_string(part.bytes.size()) + '@';
    return bytes.append(part.bytes);
  }
  for (std::size_t i = 0; i < part.bytes.size(); ++i) {
    if (alone && part.bytes[i] == '?' && i + 1 < part.bytes.size()) ++i;
    bytes += part.bytes[i];
  }
  return bytes;
}

// A field's text with the lifted parts in the place of their marks. A field that is one mark holds
// the part itself; one of surplus elements may hold several among other text.
std::string WithLifted(std::string_view text, const std::vector<MessagePart>& lifted) {
  std::string bytes;
  for (;;) {
    const std::size_t mark = text.find(kLifted);
    bytes += text.substr(0, mark);
    if (mark == std::string_view::npos) return bytes;
    const char* const digits = text.data() + mark + 1;
    std::size_t index = lifted.size();
    const char* const end = std::from_chars(digits, text.data() + text.size(), index).ptr;
    const bool alone = mark == 0 && end == text.data() + text.size() && bytes.empty();
    if (index < lifted.size()) bytes += BytesOf(lifted[index], alone);
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  }
}

// Puts the bytes that were lifted out of the text into the fields that hold their marks.
void PutLifted(HbSegment& segment, const std::vector<MessagePart>& lifted) {
  if (lifted.empty()) return;
  std::vector<std::pair<unsigned long, std::string>> fields;
  HbVariablesIter walk(&segment);
  for (HbVariable* variable = walk.GetFirst(); variable != nullptr; variable = walk.GetNext()) {
    String text;
    if (segment.GetFieldString(text, walk.GetId()) &&
        text.View().find(kLifted) != std::string_view::npos)
      fields.emplace_back(walk.GetId(), WithLifted(text.View(), lifted));
  }
  for (const auto& [id, bytes] : fields) {
    segment.Unregister(id);
    segment.PutFieldBinary(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), id);
  }
}

}  // namespace

bool AnswerReader::HasReader(const std::string& name) {
  const auto [known, fresh] = readers_.try_emplace(name, false);
  // What is named after the code of a request writes one, with other parameters.
  if (fresh && !name.starts_with("HK")) {
    HbError error;
    const std::unique_ptr<HbStackFrame> frame(engine_.LoadSub(String(name.c_str()), error));
    known->second = frame != nullptr;
  }
  return known->second;
}

bool AnswerReader::Run(const MessageSegment& segment, const std::string& name, bool other,
                       HbError& error) {
  std::unique_ptr<HbStackFrame> frame(engine_.LoadSub(String(name.c_str()), error));
  if (frame == nullptr) return false;
  frame->PushParam(std::string_view(segment.elements));
  if (other) frame->PushParam(segment.code);
  frame->PushParam(static_cast<long>(segment.number));
  frame->PushParam(static_cast<short>(segment.version));
  frame->PushParam(static_cast<long>(segment.reference));
  holder_.ClearResponses();
  return engine_.Call(frame.release(), error) && !engine_.GetStatus().IsSet() &&
         holder_.ResponseCount() == 1;
}

Ref<HbSegment> AnswerReader::ReadSegment(const MessageSegment& segment, std::string& problem) {
  HbError error;
  const std::string name = std::string(segment.code) + std::to_string(segment.version);
  bool read = HasReader(name) && Run(segment, name, false, error);
  if (!read) {
    if (error.IsSet()) problem = FullText(error);
    read = Run(segment, "OtherSegment", true, error);
  }
  if (!read) {
    problem = FullText(error);
    return {};
  }
  const auto response = Ref<HbSegment>::Share(holder_.GetResponse(0));
  PutLifted(*response, segment.lifted);
  return response;
}

AnswerReader::Result AnswerReader::Read(std::string_view message) {
  SplitMessage split = Split(message);
  Result result{{}, std::move(split.problems)};
  engine_.SetRequest(&holder_);
  for (const MessageSegment& segment : split.segments) {
    std::string problem;
    if (Ref<HbSegment> read = ReadSegment(segment, problem)) result.segments.push_back(read);
    if (!problem.empty())
      result.problems.push_back(
          {static_cast<std::size_t>(segment.code.data() - message.data()), std::move(problem)});
  }
  engine_.SetRequest(nullptr);
  holder_.ClearResponses();
  return result;
}

}  // namespace tmx::demo
