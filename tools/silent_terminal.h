// Input that is not to be seen.
#pragma once

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <string_view>

#include "tools/last_will.h"

namespace tmx::tools {

// A terminal whose echo is off while this lives. A signal that ends the program turns it on, too.
class SilentTerminal {
 public:
  SilentTerminal() : terminal_(open("/dev/tty", O_RDWR | O_CLOEXEC)) {
    if (terminal_ < 0 || tcgetattr(terminal_, &before_) != 0) return;
    termios silent = before_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    RestoreAtSignal(terminal_, before_);
    is_silent_ = tcsetattr(terminal_, TCSAFLUSH, &silent) == 0;
  }
  ~SilentTerminal() {
    if (is_silent_) tcsetattr(terminal_, TCSAFLUSH, &before_);
    RestoreAtSignal(-1, before_);
    if (terminal_ >= 0) close(terminal_);
  }
  SilentTerminal(const SilentTerminal&) = delete;
  SilentTerminal& operator=(const SilentTerminal&) = delete;

  bool IsReady() const { return is_silent_; }
  void Say(std::string_view text) {
    if (write(terminal_, text.data(), text.size()) < 0) return;
  }
  // Appends a line without its end to a text or a secret one; false at the end of input.
  template <class Text>
  bool ReadLine(Text& line) {
    for (typename Text::value_type c; read(terminal_, &c, 1) == 1; line.push_back(c))
      if (c == '\n') return true;
    return false;
  }

 private:
  int terminal_;
  termios before_{};
  bool is_silent_ = false;
};

}  // namespace tmx::tools
