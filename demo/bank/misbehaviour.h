// Scripts that make the sandbox bank misbehave on purpose, so that clients can be tried against a
// bad day: answers that are cut, slow, wrong or missing.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "demo/bank/answer_message.h"

namespace tmx::demo {

/// All that goes wrong with one answer; nothing when made without arguments.
struct Misbehaviour {
  MessageFaults message;
  std::optional<std::size_t> cut;      // length of the answer before Base64
  std::optional<std::size_t> garbage;  // so many bytes instead of the answer
  bool is_empty = false;
  bool is_wrong_base64 = false;
  bool is_reset = false;  // the connection ends without the answer
  std::optional<int> status;
  std::chrono::milliseconds delay{0};
};

/// The line, counted from 1, and what is wrong with it.
struct ScriptError {
  int line = 0;
  std::string text;
};

/// One rule a line: `[request N] ACTION [ARGUMENT]`. Lines are cut at '#'; empty ones say nothing.
/// An empty script changes nothing. A plain value.
class Script {
 public:
  static std::variant<Script, ScriptError> Parse(std::string_view text);
  /// A line for each action.
  static std::string Help();

  /// What the rules for the n-th request, counted from 1, say together.
  Misbehaviour For(int request) const;

 private:
  struct Rule {
    std::optional<int> request;  // every one without
    std::size_t action = 0;
    int number = 0;
    std::string text;
  };

  static std::variant<Rule, std::string> ParseRule(std::string_view line);

  std::vector<Rule> rules_;
};

}  // namespace tmx::demo
