#include "tools/macro_lookup.h"

#include <algorithm>
#include <cstdint>

#include "compiler/instruction.h"

namespace tmx::tools {
namespace {

constexpr unsigned kParam = 1;
constexpr unsigned kFileMark = 160;
constexpr unsigned kLineMark = 161;

// Hands over what stands in front of a position, instruction by instruction. False if not all of it
// is instructions.
template <class Take>
bool Walk(std::string_view code, std::size_t position, Take take) {
  for (std::size_t at = 0; at < std::min(position, code.size());) {
    const auto instruction = compiler::DecodeInstruction(code, at);
    if (!instruction || instruction->end <= at) return false;
    if (!instruction->operands.empty())
      take(instruction->opcode->number, instruction->operands.front());
    at = instruction->end;
  }
  return true;
}

std::string LastPlace(std::string_view code, std::size_t position) {
  std::string file;
  std::uint32_t line = 0;
  const bool is_whole = Walk(code, position, [&](unsigned opcode, const auto& value) {
    if (opcode == kFileMark) file = value.text;
    if (opcode == kLineMark) line = value.number;
  });
  return is_whole && !file.empty() && line != 0 ? file + ':' + std::to_string(line) : "";
}

}  // namespace

MacroLookup::MacroLookup(const std::vector<compiler::CheckedFile>& files) {
  for (auto file = files.rbegin(); file != files.rend(); ++file)
    if (file->index && file->code)
      files_.push_back(
          {file->name, {*file->index, *file->code}, compiler::ReadIndex(*file->index)});
}

bool MacroLookup::File::Find(std::string_view subroutine, std::string_view& code) const {
  const auto entry = std::ranges::find(index.entries, subroutine, &compiler::IndexEntry::name);
  return entry != index.entries.end() && FindCode(image, *entry, code);
}

std::string_view MacroLookup::CodeOf(std::string_view subroutine) const {
  std::string_view code;
  for (const File& file : files_)
    if (file.Find(subroutine, code)) break;
  return code;
}

std::string MacroLookup::PlaceOf(std::string_view subroutine, std::size_t position) const {
  return LastPlace(CodeOf(subroutine), position);
}

std::string MacroLookup::PlaceIn(std::string_view file, std::string_view subroutine,
                                 std::size_t position) const {
  const auto named = std::ranges::find(files_, file, &File::name);
  std::string_view code;
  return named != files_.end() && named->Find(subroutine, code) ? LastPlace(code, position) : "";
}

std::vector<TypeCode> MacroLookup::ParametersOf(std::string_view subroutine) const {
  std::vector<TypeCode> types;
  const std::string_view code = CodeOf(subroutine);
  Walk(code, code.size(), [&](unsigned opcode, const auto& value) {
    if (opcode == kParam) types.push_back(static_cast<TypeCode>(value.number));
  });
  return types;
}

}  // namespace tmx::tools
