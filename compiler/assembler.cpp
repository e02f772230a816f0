#include "compiler/assembler.h"

#include "compiler/commands.h"
#include "compiler/macro_image.h"

namespace tmx::compiler {

namespace {
// Commands after which the next instruction is not executed.
bool Leaves(const Opcode& opcode) {
  return Is(opcode, Command::CmdExit) || Is(opcode, Command::CmdStop) ||
         Is(opcode, Command::CmdGoto);
}
}  // namespace

void Assembler::Begin(const Opcode& opcode, int count, Position at) {
  Byte(opcode.number);
  Byte(count);
  instruction_at_ = at;
  unreachable_ = Leaves(opcode);
}

void Assembler::Number(std::int64_t value, int bytes) {
  AppendBigEndian(bytes_, static_cast<std::uint32_t>(value), bytes);
}

void Assembler::Text(std::string_view text) {
  bytes_ += text;
  bytes_ += '\0';
  text_end_ = bytes_.size();
  text_at_ = instruction_at_;
}

void Assembler::Raw(std::string_view bytes) {
  bytes_ += bytes;
  unreachable_ = false;
}

Assembler::Label Assembler::NewLabel() {
  labels_.emplace_back();
  return labels_.size() - 1;
}

void Assembler::Target(Label label) {
  fixups_.push_back({bytes_.size(), label});
  Number(0, 2);
}

void Assembler::Place(Label label) {
  labels_[label] = bytes_.size();
  unreachable_ = false;
}

std::optional<Position> Assembler::TextAtEnd() const {
  if (text_end_ == 0 || text_end_ != bytes_.size()) return std::nullopt;
  return text_at_;
}

std::string Assembler::Finish() {
  for (const Fixup& fixup : fixups_) {
    std::string target;
    AppendBigEndian(target, static_cast<std::uint32_t>(labels_[fixup.label].value_or(0)), 2);
    bytes_.replace(fixup.at, target.size(), target);
  }
  return std::move(bytes_);
}

}  // namespace tmx::compiler
