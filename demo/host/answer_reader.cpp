#include "demo/host/answer_reader.h"

#include <memory>

#include "demo/host/macro_runner.h"
#include "demo/segments/fields.h"

namespace tmx::demo {
namespace {

// Puts the bytes that were lifted out of the text into the fields that hold their marks.
void PutLifted(HbSegment& segment, const std::vector<std::string_view>& lifted) {
  if (lifted.empty()) return;
  struct Place {
    unsigned long id;
    std::size_t index;
  };
  std::vector<Place> places;
  HbVariablesIter walk(&segment);
  for (HbVariable* variable = walk.GetFirst(); variable != nullptr; variable = walk.GetNext()) {
    String text;
    if (!segment.GetFieldString(text, walk.GetId()) || text.Len() < 2 || text.At(0) != kLifted)
      continue;
    const std::size_t index = std::stoul(std::string(text.View().substr(1)));
    if (index < lifted.size()) places.push_back({walk.GetId(), index});
  }
  for (const auto& [id, index] : places) {
    segment.Unregister(id);
    const std::string_view bytes = lifted[index];
    segment.PutFieldBinary(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), id);
  }
}

}  // namespace

bool AnswerReader::HasReader(const std::string& name) {
  const auto [known, fresh] = readers_.try_emplace(name, false);
  if (fresh) {
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
