// What a registry knows about each type of variable.
#pragma once

class HbVariable;
class SvStream;

namespace tmx {

struct VariableTraits {
  unsigned short type;
  const char* name;  // eight characters, as the dump prints it
  // A new variable, null when memory ends.
  HbVariable* (*create)();
  // Writes the value as the dump prints it, without a line end.
  void (*dump)(const HbVariable& variable, SvStream& stream);
};

// The row of a type code, null if there is no such type.
const VariableTraits* FindVariableTraits(unsigned short type) noexcept;

}  // namespace tmx
