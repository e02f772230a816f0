#pragma once

#include <cstdint>
#include <memory>

#include "tmxtools/core/date_time.h"
#include "tmxtools/core/error.h"
#include "tmxtools/macro/macro_code.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/string.h"

class HbFile;

// One subroutine's bytecode with a program counter of its own and readers for the raw encodings.
// All integers are big-endian, texts are bytes up to a zero byte.
//
// Owner: the stack frame that executes it. Copies of one subroutine share their bytes. Empty state:
// no bytes (after a failed read from a file); every reader then fails. Threads: one at a time.
//
// Codes in `err`: 17487 file not open, 17488 file shorter than offset + length, 17489 length 0 and
// more than 65535 bytes behind the offset, and the codes of stream errors. A reader that would have
// to read beyond the last byte sets 17490 with the file name as parameter in the status and in
// `err`, returns 0, false or an empty value and leaves the program counter where it is.
class TMX_EXPORT HbByteCode : public HbErrorHandler {
 public:
  // Opens `file_name` and reads `length` bytes from `offset`; length 0 takes the rest of the file.
  HbByteCode(const String& file_name, HbError& err, unsigned long offset, unsigned short length);
  // The same from an open file.
  HbByteCode(HbFile& file, HbError& err, unsigned long offset, unsigned short length);
  // Another program counter, at 0, over bytes that were read before.
  explicit HbByteCode(std::shared_ptr<tmx::MacroCode> code);

  unsigned short ReadByte(HbError& err);
  // The byte as it stands.
  char ReadChar(HbError& err);
  // Any byte but 0 and 1 is taken and read as false; 17490 then stands in the status only, `err`
  // stays as it is. That is meant so.
  bool ReadBool(HbError& err);
  short ReadInt(HbError& err);
  long ReadLong(HbError& err);
  // Four bytes: day, month, century and year of the century.
  HbDate ReadDate(HbError& err);
  // The zero byte must not be the last byte of the bytecode: a text can never end exactly at the
  // end of a subroutine. That is meant so.
  bool ReadString(String& out, HbError& err);
  // An amount's text, encoded as a string; empty after an error.
  String ReadAmount(HbError& err);

  unsigned short GetPC() const { return pc_; }
  void SetPC(unsigned short pc) { pc_ = pc; }
  unsigned short GetLength() const { return static_cast<unsigned short>(code_->bytes.size()); }
  bool IsEof() const { return pc_ == GetLength(); }
  const String& GetFileName() const { return code_->file_name; }
  const std::shared_ptr<tmx::MacroCode>& GetCode() const { return code_; }

 private:
  void Init(HbFile& file, HbError& err, unsigned long offset, unsigned short length);
  // The next `size` bytes, or null after setting 17490.
  const std::uint8_t* Take(unsigned size, HbError& err);
  void Fail(HbError& err);

  std::shared_ptr<tmx::MacroCode> code_;
  std::uint16_t pc_ = 0;
};
