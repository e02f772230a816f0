// What must be done even when a signal ends the program.
#pragma once

#include <termios.h>

#include <string>

namespace tmx::tools {

// SIGINT, SIGTERM and SIGHUP, where they are not ignored, then do it and end the program as they
// always do. One file and one terminal at a time; the process owns what is set. Threads: one at a
// time.

// A file to remove; an empty path for none.
void RemoveAtSignal(const std::string& path);
// A terminal to put back into a state; -1 for none.
void RestoreAtSignal(int terminal, const termios& state);

}  // namespace tmx::tools
