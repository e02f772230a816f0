// The parameters that the command line hands to a macro.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tmxtools/macro/frame.h"
#include "tmxtools/macro/opcode_table.h"
#include "tmxtools/platform/string.h"
#include "tmxtools/variables/variable.h"

namespace tmx::tools {

inline String Text(std::string_view text) { return String(text); }

// What is wrong with a parameter that Push refuses.
std::string WhyRefused(const std::string& parameter);

// Pushes each value as a fresh variable by reference and holds a reference of its own on it, so
// that it can be read after the run.
class Parameters {
 public:
  struct Parameter {
    TypeCode type;
    HbVariable* variable;  // of an amount: its text
  };

  Parameters() = default;
  ~Parameters();
  Parameters(const Parameters&) = delete;
  Parameters& operator=(const Parameters&) = delete;

  // TYPE:VALUE; false for a type or value that there is not.
  bool Push(HbStackFrame& frame, const std::string& parameter);
  // False for more than 65535 bytes.
  bool PushText(HbStackFrame& frame, const std::string& text);

  const std::vector<Parameter>& All() const { return parameters_; }

 private:
  template <class Variable, class Value>
  bool PushNew(HbStackFrame& frame, TypeCode type, const Value& value);
  bool PushAmount(HbStackFrame& frame, const std::string& text);

  std::vector<Parameter> parameters_;
};

}  // namespace tmx::tools
