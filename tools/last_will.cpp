#include "tools/last_will.h"

#include <signal.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <climits>

namespace tmx::tools {
namespace {

// A handler may use no more than this.
std::array<char, PATH_MAX> path_to_remove;
std::atomic<bool> has_path = false;
termios state_to_restore;
std::atomic<int> terminal_to_restore = -1;
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

// The signal's own action is back in place: raised again, it ends the program.
void Execute(int signal) {
  if (terminal_to_restore >= 0) tcsetattr(terminal_to_restore, TCSANOW, &state_to_restore);
  if (has_path) unlink(path_to_remove.data());
  raise(signal);
}

void Install() {
  struct sigaction ours {};
  ours.sa_handler = &Execute;
  ours.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction before {};
    if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_DFL)
      sigaction(signal, &ours, nullptr);
  }
}

}  // namespace

void RemoveAtSignal(const std::string& path) {
  has_path = false;
  if (path.empty() || path.size() >= path_to_remove.size()) return;
  path.copy(path_to_remove.data(), path.size());
  path_to_remove[path.size()] = '\0';
  has_path = true;
  Install();
}

void RestoreAtSignal(int terminal, const termios& state) {
  terminal_to_restore = -1;
  if (terminal < 0) return;
  state_to_restore = state;
  terminal_to_restore = terminal;
  Install();
}

}  // namespace tmx::tools
