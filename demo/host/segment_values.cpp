#include "demo/host/segment_values.h"

namespace tmx::demo {

std::string TextOf(const HbSegment& segment, unsigned long id) {
  String text;
  segment.GetFieldString(text, id);
  return std::string(text.View());
}

bool HasText(const HbSegment& segment, unsigned long id, std::string& text) {
  String value;
  if (!segment.GetFieldString(value, id)) return false;
  text = value.View();
  return true;
}

long NumberOf(const HbSegment& segment, unsigned long id, long otherwise) {
  long number = 0;
  short small = 0;
  if (segment.GetFieldInt32(number, id)) return number;
  return segment.GetFieldInt16(small, id) ? small : otherwise;
}

void PutText(HbSegment& segment, const std::string& text, unsigned long id) {
  if (!text.empty()) segment.PutFieldString(String(text.c_str()), id);
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
