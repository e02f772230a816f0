#include "tools/client_progress.h"

#include <unistd.h>

#include <cstdio>
#include <string>

#include "tmxtools/banking/request.h"

namespace tmx::tools {
namespace {

constexpr std::size_t kWidth = 30;
constexpr short kStep = 250;  // of 10000; half the bar stands for twelve messages

// Cells for a share of 10000, always with some left until all is done.
std::size_t Cells(short done) {
  const auto steps = static_cast<std::size_t>(done / kStep);
  return kWidth * steps / (steps + 12);
}

}  // namespace

ClientProgress::ClientProgress() : is_terminal_(isatty(STDERR_FILENO) == 1) {
  record_.SetPercentDonePerStep(kStep);
  record_.SetStatusLink(Link([this](void* record) {
    Show(*static_cast<HbProgressInfoRecord*>(record));
    return 0L;
  }));
}

void ClientProgress::Show(const HbProgressInfoRecord& record) {
  if (!is_terminal_) return;
  const HbRequest* const request = record.GetCurrentRequest();
  if (request == nullptr) return Hide();
  is_shown_ = true;
  const std::size_t cells = Cells(record.GetPercentDone());
  std::fprintf(stderr, "\r[%s%s] %s\033[K", std::string(cells, '#').c_str(),
               std::string(kWidth - cells, '.').c_str(), request->GetRequestName().Data());
  std::fflush(stderr);
}

void ClientProgress::Hide() {
  if (is_shown_) std::fputs("\r\033[K", stderr);
  is_shown_ = false;
}

}  // namespace tmx::tools
