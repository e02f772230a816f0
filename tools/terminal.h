// A terminal as a full screen with keys.
#pragma once

#include <termios.h>

#include <string>

namespace tmx::tools {

// Keys are their bytes, or one of these.
enum Key : int {
  kKeyEnd = -1,     // no more input, or the program is asked to end
  kKeyResize = -2,  // the window has another size now
  kKeyUp = 256,
  kKeyDown,
  kKeyLeft,
  kKeyRight,
  kKeyPageUp,
  kKeyPageDown,
  kKeyHome,
  kKeyLast,  // "End"
  kKeyEscape,
  kKeyOther,
};

// Takes the whole screen while it lives, and gives it back as it was. One at a time.
class Terminal {
 public:
  struct Size {
    int rows;
    int columns;
  };

  Terminal();
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  // Whether standard input and output are one.
  static bool IsThere();
  Size GetSize() const;
  void Write(const std::string& text) const;
  // Waits for a key.
  int ReadKey();
  // Whether Escape or Ctrl-C was pressed since, or the program is asked to end. Does not wait;
  // other keys are lost.
  bool IsStopped();

 private:
  // The next byte of input, or -1 when none comes soon enough.
  int ReadSoon();
  int ReadSequence();

  termios before_{};
};

}  // namespace tmx::tools
