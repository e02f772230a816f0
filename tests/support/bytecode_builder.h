// Writes bytecode and macro files byte by byte, right or wrong, for the tests of the macro engine.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tmx {

// Builds one subroutine. Calls can be chained:
//   CodeBuilder().Op(7, 1).Str("text").Op(17, 0).Bytes()
// Nothing is checked: a wrong count or tag is written as it is given.
class CodeBuilder {
 public:
  // An opcode and its operand count.
  CodeBuilder& Op(unsigned opcode, unsigned count);

  // Raw operands.
  CodeBuilder& Byte(unsigned value);
  CodeBuilder& U16(unsigned value);
  CodeBuilder& U32(std::uint32_t value);
  CodeBuilder& RawDate(unsigned day, unsigned month, unsigned year);
  CodeBuilder& RawText(std::string_view text);  // with the terminating zero
  CodeBuilder& Raw(std::string_view bytes);

  // Tagged literals.
  CodeBuilder& Str(std::string_view text) { return U16(1).RawText(text); }
  CodeBuilder& Date(unsigned day, unsigned month, unsigned year) {
    return U16(2).RawDate(day, month, year);
  }
  CodeBuilder& Int(int value) { return U16(5).U16(static_cast<unsigned>(value)); }
  CodeBuilder& Long(std::int64_t value) { return U16(6).U32(static_cast<std::uint32_t>(value)); }
  CodeBuilder& Amount(std::string_view text) { return U16(8).RawText(text); }
  CodeBuilder& Bool(bool value) { return U16(10).Byte(value ? 1 : 0); }
  CodeBuilder& Char(char value) { return U16(12).Byte(static_cast<unsigned char>(value)); }
  // A tagged variable; the first holder of a frame has the id 33.
  CodeBuilder& Var(int id) { return U16(static_cast<unsigned>(id)); }

  // Declarations of plain holders, the commonest beginning of a subroutine.
  CodeBuilder& Declare(unsigned type, int id) {
    return Op(130, 2).Byte(type).U16(static_cast<unsigned>(id));
  }
  // The end of a subroutine: a return and one more byte, since no text may end at the end.
  CodeBuilder& Exit() { return Op(17, 0); }

  // Jump targets: Target(label) writes the offset at which Bind(label) stands, now or later.
  CodeBuilder& Target(unsigned label);
  CodeBuilder& Bind(unsigned label);

  std::size_t Size() const { return bytes_.size(); }
  const std::string& Bytes() const { return bytes_; }

 private:
  struct Patch {
    unsigned label;
    std::size_t at;
  };

  void PutU16(std::size_t at, std::size_t value);

  std::string bytes_;
  std::vector<std::optional<std::size_t>> labels_;
  std::vector<Patch> patches_;
};

// The two files of a macro file as they lie on disk; an absent one does not exist.
struct MacroImage {
  std::string name;
  std::optional<std::string> index;  // NAME.hbz
  std::optional<std::string> code;   // NAME.hbx
};

// Puts subroutines together into a macro file.
class ImageBuilder {
 public:
  explicit ImageBuilder(std::string name) : name_(std::move(name)) {}

  ImageBuilder& Sub(std::string_view name, std::string_view bytecode);
  ImageBuilder& Sub(std::string_view name, const CodeBuilder& code) {
    return Sub(name, code.Bytes());
  }
  // An index entry of its own, for subroutines that share bytes or lie outside the file.
  ImageBuilder& Entry(std::string_view name, std::uint32_t offset, unsigned length);
  MacroImage Build() const { return {name_, index_, code_}; }

 private:
  std::string name_;
  std::string index_;
  std::string code_ = "JHOG";
};

// The bytes in hexadecimal with their offsets, 16 in a line, for failed assertions.
std::string HexDump(std::string_view bytes);

}  // namespace tmx
