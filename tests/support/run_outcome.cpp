#include "tests/support/run_outcome.h"

#include <cctype>
#include <sstream>

namespace tmx {
namespace {

// Texts that grew very long are shown by their ends.
std::string Quoted(const std::string& whole) {
  static constexpr char kDigits[] = "0123456789abcdef";
  constexpr std::size_t kShown = 400;
  std::string text = whole;
  if (text.size() > kShown)
    text.replace(kShown / 2, text.size() - kShown,
                 " ... " + std::to_string(text.size()) + " bytes, hash " +
                     std::to_string(std::hash<std::string>{}(whole)) + " ... ");
  std::string quoted = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 32 || byte > 126 || c == '"') {
      quoted += std::string("\\x") + kDigits[byte >> 4] + kDigits[byte & 15];
    } else {
      quoted += c;
    }
  }
  return quoted + "\"";
}

std::string ChainText(const ErrorChain& chain) {
  std::ostringstream out;
  for (const ErrorLink& link : chain) out << " " << link.code << " " << Quoted(link.param);
  return out.str();
}

std::string StateText(const VariableState& state) {
  return std::to_string(state.type) + (state.null ? " null " : " ") + Quoted(state.value);
}

std::string EventText(const ObserverEvent& event) {
  static constexpr const char* kNames[] = {"ShouldBreak",        "OnFramePushed",
                                           "OnFramePopped",      "OnCurFrameChanged",
                                           "OnVariablesChanged", "OnRunFinished"};
  std::ostringstream out;
  out << kNames[event.kind];
  if (event.kind == ObserverEvent::kShouldBreak) out << "(" << event.opcode << ")";
  out << " depth " << event.depth << " line " << event.line;
  return out.str();
}

std::vector<std::string> Lines(const RunOutcome& outcome) {
  std::vector<std::string> lines = {
      std::string("loaded ") + (outcome.loaded ? "yes" : "no"),
      std::string("ok ") + (outcome.ok ? "yes" : "no"),
      "error" + ChainText(outcome.error),
      "status" + ChainText(outcome.status),
      std::string("condition ") + (outcome.condition ? "true" : "false"),
      "output " + Quoted(outcome.output),
      "input " + Quoted(outcome.input),
      "input_pos " + std::to_string(outcome.input_pos),
      "steps " + std::to_string(outcome.steps),
  };
  for (const VariableState& param : outcome.params) lines.push_back("param " + StateText(param));
  for (const auto& [key, state] : outcome.statics)
    lines.push_back("static " + std::to_string(key) + " " + StateText(state));
  for (const ObserverEvent& event : outcome.events) lines.push_back(EventText(event));
  return lines;
}

}  // namespace

std::string ToText(const RunOutcome& outcome) {
  std::string text;
  for (const std::string& line : Lines(outcome)) text += line + "\n";
  return text;
}

std::string Differences(const RunOutcome& a, const RunOutcome& b) {
  constexpr int kShown = 12;
  const auto left = Lines(a), right = Lines(b);
  std::string text;
  int shown = 0;
  for (std::size_t at = 0; at < std::max(left.size(), right.size()) && shown < kShown; ++at) {
    const std::string l = at < left.size() ? left[at] : "(nothing)";
    const std::string r = at < right.size() ? right[at] : "(nothing)";
    if (l == r) continue;
    text += std::to_string(at) + ": " + l + "\n   | " + r + "\n";
    ++shown;
  }
  return text;
}

}  // namespace tmx
