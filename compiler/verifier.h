// Checks macro files for faults that make a run end with 17490 before it is run.
//
// The verifier executes every subroutine on types instead of values: both ways of every jump on a
// condition, every literal call with the types that it passes. Holders are followed exactly (type,
// key of a static and whether its variable is there), for the engine's ids, types and even the
// length of a default depend on what the caller passed.
//
// A set of files that it accepts raises 17490 in no run that starts with the parameters which the
// entry point declares, save for what values alone decide: a division by zero, a text beyond 65535
// bytes, a cursor behind the end of the input, more than 10000 frames. Other parameters are checked
// by giving entry points of one's own. Calls of a subroutine whose name only a variable knows
// cannot be followed; they are reported as such.
//
// A value; one thread at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tmxtools/macro/opcode_table.h"

namespace tmx::compiler {

// A macro file as it lies on disk; an absent part is a missing file.
struct CheckedFile {
  std::string name;
  std::optional<std::string> index;
  std::optional<std::string> code;
};

// Where runs start: a subroutine and the types of the variables that the host passes.
struct EntryPoint {
  std::string subroutine;
  std::vector<TypeCode> parameters;
};

struct Finding {
  enum class Kind {
    kFault,      // a run that comes here ends with an error
    kUnchecked,  // what follows here is not known before the run
    kWarning,    // works as described and seldom as meant
  };
  Kind kind = Kind::kFault;
  std::string file;
  std::string subroutine;  // empty for the file as a whole
  std::size_t offset = 0;  // of the instruction
  std::optional<std::size_t>
      position;  // the engine's " an Position "; none for a read past the end
  std::string text;

  bool operator==(const Finding&) const = default;
};

struct Verification {
  std::vector<Finding> findings;  // in the order of file, subroutine and offset
  bool Accepted() const;          // neither faults nor anything unchecked
};

// `files` in the order in which they are pushed: the last is searched first. Without entry points
// every subroutine is one, without parameters, which types a run as its declared ones do.
// The generic engine does not know the commands of the banking engine.
Verification Verify(const std::vector<CheckedFile>& files,
                    const std::vector<EntryPoint>& entry_points = {},
                    EngineKind engine = EngineKind::kBanking);

// file: sub+offset: error: text
std::string Describe(const Finding& finding);

}  // namespace tmx::compiler
