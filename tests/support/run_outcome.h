// Everything that a host can see of a macro run, in plain values, so that two engines can be held
// against each other.
#pragma once

#include <cstdint>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace tmx {

struct ErrorLink {
  unsigned code = 0;
  std::string param;
  bool operator==(const ErrorLink&) const = default;
  // For failed assertions.
  friend std::ostream& operator<<(std::ostream& out, const ErrorLink& link) {
    return out << link.code << " \"" << link.param << '"';
  }
};
using ErrorChain = std::vector<ErrorLink>;  // newest first; empty for no error

// The value of a variable. `value` holds texts and amounts as they are, dates as YYYYMMDD, numbers
// in decimal, bools as "true" or "false", other types as "".
struct VariableState {
  unsigned type = 0;
  bool null = true;
  std::string value;
  bool operator==(const VariableState&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const VariableState& state) {
    return out << state.type << (state.null ? " null" : "") << " \"" << state.value << '"';
  }
};

// A parameter that the host passes by reference. Type 8 is a string variable in a holder of type 8.
struct HostParam {
  unsigned type = 0;
  bool null = false;
  std::string value;  // as in VariableState; of no meaning when null
};

struct ObserverEvent {
  enum Kind {
    kShouldBreak,
    kFramePushed,
    kFramePopped,
    kCurFrameChanged,
    kVariablesChanged,
    kRunFinished
  };
  Kind kind = kShouldBreak;
  unsigned opcode = 0;  // of kShouldBreak
  unsigned depth = 0;   // frames on the call stack
  unsigned line = 0;    // source line of the current frame
  bool operator==(const ObserverEvent&) const = default;
};

// What the observer of a run does. Breaks are counted from 1.
struct ObserverPlan {
  bool attached = false;
  std::set<std::uint64_t> pause_at;  // breaks at which ShouldBreak answers true
  std::uint64_t stop_at = 0;         // the break at which it calls Stop
};

struct RunOutcome {
  bool loaded = false;  // the subroutine was found; without it there was no run
  bool ok = false;
  ErrorChain error;
  ErrorChain status;
  bool condition = false;
  std::string output;
  std::string input;
  std::uint64_t input_pos = 0;
  std::vector<VariableState> params;
  std::map<std::uint32_t, VariableState> statics;
  std::uint64_t steps = 0;
  std::vector<ObserverEvent> events;
  bool operator==(const RunOutcome&) const = default;
};

// The outcome as text with one line for each part, for failed assertions.
std::string ToText(const RunOutcome& outcome);
// The first lines in which two outcomes differ.
std::string Differences(const RunOutcome& a, const RunOutcome& b);

}  // namespace tmx
