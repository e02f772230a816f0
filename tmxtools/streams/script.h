// Record files: lines of fields that ";" separates.
#pragma once

#include "tmxtools/platform/export.h"
#include "tmxtools/streams/file.h"

// A line file whose lines are records. The first field of a record is one character that tells its
// kind.
//
// Codes: those of HbFile, and in the error argument 17749 for a record whose first field is not
// exactly one character; its parameter is the file's name and, behind ": ", the line if that is not
// empty. When that text would be too long the code is 0x454F with the name alone, and 0x4554 when
// there is no memory for it.
//
// Empty state: as HbFile, no line given back. Threads: one at a time.
class TMX_EXPORT HbScript : public HbFile {
 public:
  HbScript() = default;
  // Opens an existing file for reading, shared with others.
  HbScript(const String& name, HbError& err);

  // Gives the next record: its kind, the whole line and the number of its fields. False at the end
  // of the file and after an error.
  bool NextToken(char& kind, String& line, unsigned short& fieldCount, HbError& err);
  // Makes a line the next record, in place of one given back before. The empty line gives none
  // back.
  void PushBackLine(const String& line) { pushed_back_ = line; }

 private:
  HbError MalformedRecord(const String& line) const;

  String pushed_back_;
};
