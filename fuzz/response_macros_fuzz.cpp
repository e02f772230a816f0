// Any bytes as an answer of a bank, taken apart by the shipped macros and handed to a request and
// its message. Every segment of the answer must come out, whatever the others are like; of one that
// the macros do not know every element.
//
// Where a segment begins, a byte from 0x80 on stands for the head of a segment that the macros
// know, in the order of the table of layouts, so that inputs need not guess it; but only twice in
// an input, since more would take time and try little.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "compiler/compiler.h"
#include "demo/host/answer_reader.h"
#include "demo/segments/layouts.h"
#include "fuzz/macro_disk.h"
#include "tmxtools/banking/message.h"

namespace {

using tmx::MacroDisk;
using tmx::demo::AnswerReader;
using tmx::demo::MessageSegment;
namespace field = tmx::demo::field;

constexpr long kReference = 3;  // of the request

// The bytes of fields by their ids.
using Fields = std::map<unsigned long, std::string>;

void Require(bool holds, std::string_view what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %.*s\n", static_cast<int>(what.size()), what.data());
  std::abort();
}

// ---- the macros -------------------------------------------------------------------------------

// A macro file has the name of its sources up to the first point.
std::vector<tmx::MacroImage> CompileShipped() {
  std::map<std::string, tmx::compiler::MacroImage> images;
  for (const auto& entry : std::filesystem::directory_iterator(TMX_SOURCE_DIR "/macros")) {
    const std::string file = entry.path().filename().string();
    std::ifstream in(entry.path(), std::ios::binary);
    const tmx::compiler::Source source(file, {std::istreambuf_iterator<char>(in), {}});
    const tmx::compiler::Compiled compiled = tmx::compiler::Compile(source);
    Require(!compiled.diagnostics.HasErrors(), compiled.diagnostics.Render(source));
    auto [image, fresh] = images.try_emplace(file.substr(0, file.find('.')), compiled.image);
    Require(fresh || tmx::compiler::Join(image->second, compiled.image).empty(), file);
  }
  std::vector<tmx::MacroImage> shipped;
  for (const auto& [name, image] : images) shipped.push_back({name, image.index, image.code});
  return shipped;
}

// An engine with the shipped macros, which all executions share.
class Shipped {
 public:
  Shipped() {
    HbError error;
    for (const char* const name : {"hbcim4", "pt0"})
      Require(engine_.PushFile(name, error), "the macro files can be pushed");
  }
  HbMacroEngine& Engine() { return engine_; }

 private:
  std::vector<tmx::MacroImage> images_ = CompileShipped();
  MacroDisk disk_{images_};
  tmx::ScopedEnv scope_{disk_};
  HbMacroEngine engine_{MacroDisk::kMacroPath};
};

// ---- the answer -------------------------------------------------------------------------------

struct KnownSegment {
  std::string code;
  int version;
};

const std::vector<KnownSegment>& KnownSegments() {
  static const std::vector<KnownSegment> known = [] {
    std::vector<KnownSegment> all;
    for (const tmx::demo::Layout& layout : tmx::demo::AllLayouts()) {
      for (int version = layout.first_version; version <= layout.last_version; ++version)
        if (!std::string_view(layout.code).starts_with("HK")) all.push_back({layout.code, version});
    }
    return all;
  }();
  return known;
}

std::string WithHeads(std::string_view input) {
  const std::vector<KnownSegment>& known = KnownSegments();
  std::string answer;
  int heads_left = 2;
  bool begins = true;
  for (const char c : input) {
    const std::size_t index = static_cast<unsigned char>(c) - std::size_t{0x80};
    if (begins && index < known.size() && heads_left > 0) {
      answer += known[index].code + ":5:" + std::to_string(known[index].version) + ":3+";
      --heads_left;
    } else {
      answer += c;
    }
    begins = c == '\'';
  }
  return answer;
}

bool IsKnown(const MessageSegment& segment) {
  const std::vector<KnownSegment>& known = KnownSegments();
  return std::any_of(known.begin(), known.end(), [&](const KnownSegment& each) {
    return each.code == segment.code && each.version == segment.version;
  });
}

// ---- what must come of it ---------------------------------------------------------------------

// A part of a segment's elements; one that was lifted stands as its number behind a mark.
std::string PartOf(std::string_view text, const MessageSegment& segment) {
  bool is_binary = false;
  if (text.starts_with(tmx::demo::kLifted)) {
    const auto& lifted = segment.lifted.at(std::stoul(std::string(text.substr(1))));
    text = lifted.bytes;
    is_binary = lifted.is_binary;
  }
  std::string part;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '?' && !is_binary && i + 1 < text.size()) ++i;
    part += text[i];
  }
  return part;
}

std::size_t EndOfPart(std::string_view text, std::size_t from) {
  while (from < text.size() && text[from] != '+' && text[from] != ':')
    from += text[from] == '?' ? 2 : 1;
  return std::min(from, text.size());
}

// The fields of a segment that the macros do not know.
Fields ExpectedFields(const MessageSegment& segment) {
  constexpr unsigned long kLastPart = tmx::demo::kOtherElementStep - 1;
  Fields fields;
  unsigned long element = 1;
  unsigned long part = 0;
  const std::string_view text = segment.elements;
  for (std::size_t from = 0;;) {
    const std::size_t end = EndOfPart(text, from);
    std::string bytes = PartOf(text.substr(from, end - from), segment);
    const unsigned long id = tmx::demo::kOtherElements + element * tmx::demo::kOtherElementStep +
                             std::min(part, kLastPart);
    if (!bytes.empty()) fields[id] = std::move(bytes);
    if (end == text.size()) return fields;
    from = end + 1;
    const bool goes_on = text[end] == ':';
    part = goes_on ? part + 1 : 0;
    element += goes_on ? 0 : 1;
  }
}

Fields FieldsOf(const HbSegment& segment) {
  Fields fields;
  HbVariablesIter walk(&segment);
  while (const HbVariable* const variable = walk.GetNext()) {
    if (walk.GetId() < tmx::demo::kOtherElements || variable->IsNull()) continue;
    if (const auto* const binary = segment.GetBinaryVar(walk.GetId())) {
      fields[walk.GetId()].assign(reinterpret_cast<const char*>(binary->GetData()),
                                  binary->GetLength());
    } else {
      String text;
      segment.GetFieldString(text, walk.GetId());
      fields[walk.GetId()] = text.View();
    }
  }
  return fields;
}

void CheckSegment(const HbSegment& read, const MessageSegment& segment) {
  long number = -1;
  Require(read.GetSegmentKennung() == String(segment.code), "the code stays");
  Require(read.GetSegmentVersion() == segment.version, "the version stays");
  Require(read.GetFieldInt32(number, field::kSegmentNumber) &&
              number == static_cast<long>(segment.number),
          "the number stays");
  Require(read.GetFieldInt32(number, field::kSegmentReference) &&
              number == static_cast<long>(segment.reference),
          "the reference stays");
  if (!IsKnown(segment))
    Require(FieldsOf(read) == ExpectedFields(segment), "an unknown segment keeps its elements");
}

// The objects that hold the answer's segments die before it or after it.
void HandOver(AnswerReader::Result& answer, bool answer_dies_first) {
  HbRequest request("HKSAL", 7, 1);
  HbMessage message;
  message.AddRequest(request);
  for (const auto& segment : answer.segments) {
    long reference = 0;
    segment->GetFieldInt32(reference, field::kSegmentReference);
    HbObject& holder = reference == kReference ? static_cast<HbObject&>(request) : message;
    holder.InsertResponse(segment.Get());
  }
  Require(request.ResponseCount() + std::size_t{message.ResponseCount()} == answer.segments.size(),
          "every segment is a response");
  if (answer_dies_first) answer.segments.clear();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Shipped shipped;
  if (size == 0) return 0;
  const std::string answer = WithHeads({reinterpret_cast<const char*>(data), size});
  const tmx::demo::SplitMessage split = tmx::demo::Split(answer);
  AnswerReader::Result read = AnswerReader(shipped.Engine()).Read(answer);
  Require(read.problems.size() == split.problems.size(),
          read.problems.empty() ? "problems stay" : read.problems.back().what);
  Require(read.segments.size() == split.segments.size(), "every segment comes out");
  for (std::size_t i = 0; i < split.segments.size(); ++i)
    CheckSegment(*read.segments[i], split.segments[i]);
  if (!read.segments.empty()) HandOver(read, size % 2 == 0);
  return 0;
}
