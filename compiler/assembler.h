// The bytecode of one subroutine while it is made: bytes, labels and the jumps that wait for them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "compiler/source.h"
#include "tmxtools/macro/opcode_table.h"

namespace tmx::compiler {

class Assembler {
 public:
  using Label = std::size_t;

  std::size_t Size() const { return bytes_.size(); }

  void Begin(const Opcode& opcode, int count, Position at);
  void Byte(int value) { bytes_ += static_cast<char>(value); }
  void Number(std::int64_t value, int bytes);
  void Text(std::string_view text);
  void Data(std::string_view bytes) { bytes_ += bytes; }  // inside an instruction
  void Raw(std::string_view bytes);                       // of any meaning
  void Target(Label label);

  Label NewLabel();
  void Place(Label label);
  bool IsPlaced(Label label) const { return labels_[label].has_value(); }

  // True where execution cannot arrive: behind a jump or a return and without a label.
  bool Unreachable() const { return unreachable_; }
  // The place of the instruction whose text ends with the subroutine's last byte: a text that the
  // engine's reader refuses.
  std::optional<Position> TextAtEnd() const;

  // Resolves the jumps. All their labels must be placed.
  std::string Finish();

 private:
  struct Fixup {
    std::size_t at;
    Label label;
  };

  std::string bytes_;
  std::vector<std::optional<std::size_t>> labels_;
  std::vector<Fixup> fixups_;
  bool unreachable_ = false;
  Position instruction_at_;
  std::size_t text_end_ = 0;
  Position text_at_;
};

}  // namespace tmx::compiler
