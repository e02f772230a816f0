// Short ways to the fields of segments.
#pragma once

#include <string>

#include "demo/segments/fields.h"
#include "tmxtools/banking/object.h"
#include "tmxtools/banking/segment.h"

namespace tmx::demo {

// Texts too long for the macros, or with bytes that they use themselves, stand in a segment as
// bytes; they are read all the same.

// Of any length. Empty without the field.
std::string BytesOf(const HbSegment& segment, unsigned long id);
// What fits a String. Empty without the field, and for a longer one.
std::string TextOf(const HbSegment& segment, unsigned long id);
// What the bank wants back as it gave it. Empty without the field, and where no message can carry
// it: macros mark bytes in what they write with one of the control characters.
std::string TokenOf(const HbSegment& segment, unsigned long id);
// False, and the text stays, without the field.
bool HasText(const HbSegment& segment, unsigned long id, std::string& text);
// Of 16 or 32 bits.
long NumberOf(const HbSegment& segment, unsigned long id, long otherwise = 0);
// An empty text makes no field.
void PutText(HbSegment& segment, const std::string& text, unsigned long id);
// The Segmentkennung.
std::string CodeOf(const HbSegment& segment);

// The first response of a kind, or null.
HbSegment* FindResponse(const HbObject& object, const char* code);

// Visits each return code of a segment with the distance of its fields from those of the first.
template <class Visit>
void ForEachCode(const HbSegment& segment, Visit visit) {
  constexpr unsigned long kReturnStep = 100130;
  short code = 0;
  for (unsigned long at = 0; segment.GetFieldInt16(code, field::kReturnCode + at);
       at += kReturnStep)
    visit(code, at);
}

// Whether a return code about a segment is among the responses.
bool HasCode(const HbObject& object, int wanted);

}  // namespace tmx::demo
