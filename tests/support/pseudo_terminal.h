#pragma once

#include <pty.h>
#include <unistd.h>

namespace tmx::test {

/// Whether a program can be given a terminal of its own; not where /dev/pts is missing.
inline bool HasPseudoTerminals() {
  int ours = -1, programs = -1;
  if (openpty(&ours, &programs, nullptr, nullptr, nullptr) != 0) return false;
  close(ours);
  close(programs);
  return true;
}

}  // namespace tmx::test
