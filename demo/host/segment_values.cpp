#include "demo/host/segment_values.h"

#include <string_view>

#include "demo/host/message_splitter.h"

namespace tmx::demo {

std::string BytesOf(const HbSegment& segment, unsigned long id) {
  if (const HbBinaryVariable* const bytes = segment.GetBinaryVar(id))
    return std::string(reinterpret_cast<const char*>(bytes->GetData()), bytes->GetLength());
  String text;
  segment.GetFieldString(text, id);
  return std::string(text.View());
}

std::string TextOf(const HbSegment& segment, unsigned long id) {
  std::string text;
  HasText(segment, id, text);
  return text;
}

std::string TokenOf(const HbSegment& segment, unsigned long id) {
  const std::string token = TextOf(segment, id);
  return token.find(kLifted) == std::string::npos ? token : "";
}

bool HasText(const HbSegment& segment, unsigned long id, std::string& text) {
  String value;
  const HbBinaryVariable* const bytes = segment.GetBinaryVar(id);
  if (bytes != nullptr ? bytes->GetLength() > String::MaxLen : !segment.GetFieldString(value, id))
    return false;
  text = BytesOf(segment, id);
  return true;
}

long NumberOf(const HbSegment& segment, unsigned long id, long otherwise) {
  long number = 0;
  short small = 0;
  if (segment.GetFieldInt32(number, id)) return number;
  return segment.GetFieldInt16(small, id) ? small : otherwise;
}

void PutText(HbSegment& segment, const std::string& text, unsigned long id) {
  if (!text.empty()) segment.PutFieldString(String(std::string_view(text)), id);
}

std::string CodeOf(const HbSegment& segment) {
  return std::string(segment.GetSegmentKennung().View());
}

HbSegment* FindResponse(const HbObject& object, const char* code) {
  unsigned short index = 0;
  return object.GetResponseWithName(index, code);
}

bool HasCode(const HbObject& object, int wanted) {
  bool found = false;
  for (unsigned short i = 0; i < object.ResponseCount(); ++i)
    if (CodeOf(*object.GetResponse(i)) == "HIRMS")
      ForEachCode(*object.GetResponse(i),
                  [&](short code, unsigned long) { found = found || code == wanted; });
  return found;
}

}  // namespace tmx::demo
