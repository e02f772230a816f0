// Reads the raw encodings of bytecode as the engine's reader does, without changing anything on a
// failed read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "compiler/macro_image.h"
#include "tmxtools/macro/opcode_table.h"

namespace tmx::compiler {

// Skipped where an opcode is expected.
inline constexpr int kFillerByte = 255;

class CodeReader {
 public:
  explicit CodeReader(std::string_view code, std::size_t pc = 0) : code_(code), pc_(pc) {}

  std::size_t Pc() const { return pc_; }
  void SetPc(std::size_t pc) { pc_ = pc; }
  bool AtEnd() const { return pc_ >= code_.size(); }
  std::string_view Code() const { return code_; }

  // Big-endian, unsigned; false if the bytes are not there.
  bool Read(int size, std::uint32_t& value) {
    if (pc_ > code_.size() || code_.size() - pc_ < static_cast<std::size_t>(size)) return false;
    value = ReadBigEndian(code_, pc_, size);
    pc_ += static_cast<std::size_t>(size);
    return true;
  }

  // Up to a zero byte, which may not be the last byte of the subroutine.
  bool ReadText(std::string_view& text) {
    if (pc_ >= code_.size()) return false;
    const std::size_t zero = code_.find('\0', pc_);
    if (zero == std::string_view::npos || zero + 1 >= code_.size()) return false;
    text = code_.substr(pc_, zero - pc_);
    pc_ = zero + 1;
    return true;
  }

 private:
  std::string_view code_;
  std::size_t pc_;
};

// The size of a literal of a type that is not a text; 0 for texts and what has no literals.
constexpr int LiteralSize(TypeCode type) {
  switch (type) {
    case TypeCode::kDate:
    case TypeCode::kLong:
      return 4;
    case TypeCode::kInt:
      return 2;
    case TypeCode::kBool:
    case TypeCode::kChar:
      return 1;
    default:
      return 0;
  }
}

constexpr bool IsText(TypeCode type) {
  return type == TypeCode::kString || type == TypeCode::kAmount;
}
constexpr bool HasLiterals(TypeCode type) { return IsText(type) || LiteralSize(type) > 0; }

}  // namespace tmx::compiler
