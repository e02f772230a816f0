#include "demo/bank/misbehaviour.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tmx::demo {
namespace {

enum class Takes { Nothing, Number, Text };

struct Action {
  std::string_view name;
  Takes takes;
  int least;  // of the number
  int most;
  void (*apply)(Misbehaviour&, int number, const std::string& text);
  std::string_view help;
};

constexpr int kMany = 999'999'999;

constexpr std::array kActions{
    Action{"cut", Takes::Number, 0, kMany,
           [](Misbehaviour& all, int number, const std::string&) {
             all.cut = static_cast<std::size_t>(number);
           },
           "cut N             end the answer after N bytes"},
    Action{"size", Takes::Number, 0, kMany,
           [](Misbehaviour& all, int number, const std::string&) { all.message.size = number; },
           "size N            name N as the message's size"},
    Action{"message-number", Takes::Number, 0, kMany,
           [](Misbehaviour& all, int number, const std::string&) { all.message.number = number; },
           "message-number N  number the message N"},
    Action{"segment-gap", Takes::Number, 1, kMany,
           [](Misbehaviour& all, int number, const std::string&) { all.message.gap_at = number; },
           "segment-gap N     leave the number N out when segments are numbered"},
    Action{"dialog", Takes::Text, 0, 0,
           [](Misbehaviour& all, int, const std::string& text) { all.message.dialog = text; },
           "dialog ID         name another dialog"},
    Action{"drop", Takes::Text, 0, 0,
           [](Misbehaviour& all, int, const std::string& text) { all.message.dropped = text; },
           "drop CODE         leave the segments with this code out"},
    Action{"refuse", Takes::Number, 9000, 9999,
           [](Misbehaviour& all, int number, const std::string&) { all.message.refusal = number; },
           "refuse CODE       refuse each order with this code, 9000 to 9999"},
    Action{"extra", Takes::Number, 1, 1000,
           [](Misbehaviour& all, int number, const std::string&) {
             all.message.extra_segments = number;
           },
           "extra N           add N segments of an unknown kind"},
    Action{"garbage", Takes::Number, 0, 10'000'000,
           [](Misbehaviour& all, int number, const std::string&) {
             all.garbage = static_cast<std::size_t>(number);
           },
           "garbage N         send N senseless bytes, in Base64, instead of the answer"},
    Action{"empty", Takes::Nothing, 0, 0,
           [](Misbehaviour& all, int, const std::string&) { all.is_empty = true; },
           "empty             send an empty body"},
    Action{"base64", Takes::Nothing, 0, 0,
           [](Misbehaviour& all, int, const std::string&) { all.is_wrong_base64 = true; },
           "base64            spoil the Base64 of the body"},
    Action{"status", Takes::Number, 400, 599,
           [](Misbehaviour& all, int number, const std::string&) { all.status = number; },
           "status CODE       answer with this HTTP status, 400 to 599, and a page of HTML"},
    Action{"reset", Takes::Nothing, 0, 0,
           [](Misbehaviour& all, int, const std::string&) { all.is_reset = true; },
           "reset             close the connection before the body"},
    Action{"delay", Takes::Number, 0, 600'000,
           [](Misbehaviour& all, int number, const std::string&) {
             all.delay = std::chrono::milliseconds(number);
           },
           "delay MS          wait so many milliseconds, at most 600000, before the answer"},
};

std::vector<std::string_view> Words(std::string_view line) {
  constexpr std::string_view blanks = " \t\r";
  line = line.substr(0, line.find('#'));
  std::vector<std::string_view> words;
  for (;;) {
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    if (line.empty()) return words;
    words.push_back(line.substr(0, line.find_first_of(blanks)));
    line.remove_prefix(words.back().size());
  }
}

std::string Quoted(std::string_view word) { return "'" + std::string(word) + "'"; }

}  // namespace

std::variant<Script::Rule, std::string> Script::ParseRule(std::string_view line) {
  std::vector<std::string_view> words = Words(line);
  Rule rule;
  if (words[0] == "request") {
    rule.request = words.size() > 1 ? ParseNumber(words[1]) : std::nullopt;
    if (!rule.request || *rule.request == 0) return "'request' needs a number from 1 on";
    words.erase(words.begin(), words.begin() + 2);
    if (words.empty()) return "an action is missing";
  }
  const auto action = std::find_if(kActions.begin(), kActions.end(), [&](const Action& candidate) {
    return candidate.name == words[0];
  });
  if (action == kActions.end()) return "there is no action " + Quoted(words[0]);
  rule.action = static_cast<std::size_t>(action - kActions.begin());
  const std::size_t wanted = action->takes == Takes::Nothing ? 1 : 2;
  if (words.size() < wanted) return Quoted(words[0]) + " needs an argument";
  if (words.size() > wanted) return Quoted(words[wanted]) + " is too much";
  if (action->takes == Takes::Text) rule.text = words[1];
  if (action->takes == Takes::Number) {
    const auto number = ParseNumber(words[1]);
    if (!number || *number < action->least || *number > action->most) {
      return Quoted(words[1]) + " is no number from " + std::to_string(action->least) + " to " +
             std::to_string(action->most);
    }
    rule.number = *number;
  }
  return rule;
}

std::variant<Script, ScriptError> Script::Parse(std::string_view text) {
  Script script;
  for (int number = 1; !text.empty(); ++number) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    if (Words(line).empty()) continue;
    auto rule = ParseRule(line);
    if (auto* const error = std::get_if<std::string>(&rule))
      return ScriptError{number, std::move(*error)};
    script.rules_.push_back(std::get<Rule>(std::move(rule)));
  }
  return script;
}

std::string Script::Help() {
  std::string help;
  for (const Action& action : kActions) help.append("  ").append(action.help).append("\n");
  return help;
}

Misbehaviour Script::For(int request) const {
  Misbehaviour all;
  for (const Rule& rule : rules_) {
    if (rule.request.value_or(request) == request)
      kActions[rule.action].apply(all, rule.number, rule.text);
  }
  return all;
}

}  // namespace tmx::demo
