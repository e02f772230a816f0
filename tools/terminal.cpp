#include "tools/terminal.h"

#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace tmx::tools {
namespace {

constexpr int kSignals[] = {SIGWINCH, SIGTERM, SIGHUP};
// Set by signals, which also end the waiting for input.
volatile sig_atomic_t was_resized = 0;
volatile sig_atomic_t must_end = 0;

void OnSignal(int number) { (number == SIGWINCH ? was_resized : must_end) = 1; }

// On which a terminal keeps a program's screen apart from what stood there before.
constexpr std::string_view kEnter = "\x1b[?1049h\x1b[?25l";
constexpr std::string_view kLeave = "\x1b[?25h\x1b[?1049l";

constexpr int kPatience = 50;  // milliseconds between the bytes of one key

}  // namespace

bool Terminal::IsThere() { return isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1; }

Terminal::Terminal() {
  tcgetattr(STDIN_FILENO, &before_);
  termios raw = before_;
  cfmakeraw(&raw);
  tcsetattr(STDIN_FILENO, TCSAFLUSH, &raw);
  struct sigaction action {};
  action.sa_handler = OnSignal;  // without SA_RESTART, so that waiting ends
  for (const int number : kSignals) sigaction(number, &action, nullptr);
  Write(std::string(kEnter));
}

Terminal::~Terminal() {
  Write(std::string(kLeave));
  tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
  for (const int number : kSignals) signal(number, SIG_DFL);
}

Terminal::Size Terminal::GetSize() const {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0)
    return {24, 80};
  return {size.ws_row, size.ws_col};
}

void Terminal::Write(const std::string& text) const {
  for (std::size_t at = 0; at < text.size();) {
    const ssize_t count = write(STDOUT_FILENO, text.data() + at, text.size() - at);
    if (count <= 0 && !(count < 0 && errno == EINTR)) return;
    at += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  }
}

int Terminal::ReadKey() {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  for (;;) {
    if (must_end != 0) return kKeyEnd;
    if (std::exchange(was_resized, 0) != 0) return kKeyResize;
    if (poll(&input, 1, 500) <= 0) continue;
    unsigned char byte = 0;
    const ssize_t count = read(STDIN_FILENO, &byte, 1);
    if (count < 0 && errno == EINTR) continue;
    if (count != 1) return kKeyEnd;
    return byte == 0x1B ? ReadSequence() : byte;
  }
}

bool Terminal::IsStopped() {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  while (must_end == 0 && poll(&input, 1, 0) == 1) {
    unsigned char byte = 0;
    if (read(STDIN_FILENO, &byte, 1) != 1 || byte == 3) return true;
    if (byte == 0x1B && ReadSequence() == kKeyEscape) return true;
  }
  return must_end != 0;
}

int Terminal::ReadSoon() {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  unsigned char byte = 0;
  return poll(&input, 1, kPatience) == 1 && read(STDIN_FILENO, &byte, 1) == 1 ? byte : -1;
}

// What follows an escape byte: "[" or "O", perhaps numbers, one more byte.
int Terminal::ReadSequence() {
  static constexpr std::pair<std::string_view, Key> kSequences[] = {
      {"A", kKeyUp},    {"B", kKeyDown},  {"C", kKeyRight},   {"D", kKeyLeft},
      {"H", kKeyHome},  {"F", kKeyLast},  {"1~", kKeyHome},   {"7~", kKeyHome},
      {"4~", kKeyLast}, {"8~", kKeyLast}, {"5~", kKeyPageUp}, {"6~", kKeyPageDown},
  };
  const int introducer = ReadSoon();
  if (introducer < 0) return kKeyEscape;
  if (introducer != '[' && introducer != 'O') return kKeyOther;
  std::string sequence;
  for (int byte = ReadSoon(); byte >= 0; byte = ReadSoon()) {
    sequence += static_cast<char>(byte);
    if (byte >= 0x40) break;
  }
  for (const auto& [text, key] : kSequences)
    if (sequence == text) return key;
  return kKeyOther;
}

}  // namespace tmx::tools
