// How far a conversation with a bank is, on a terminal.
#pragma once

#include "tmxtools/banking/progress.h"

namespace tmx::tools {

// A bar on standard error while that is a terminal and a message waits for its answer. Nobody knows
// how many messages a conversation takes: the bar slows down towards its end.
//
// Owner: its maker. Empty state: nothing shown. Threads: that of the conversation.
class ClientProgress {
 public:
  ClientProgress();
  ~ClientProgress() { Hide(); }
  ClientProgress(const ClientProgress&) = delete;
  ClientProgress& operator=(const ClientProgress&) = delete;

  // What a conversation tells its progress to.
  HbProgressInfoRecord& Record() { return record_; }
  // Before anything else is written to the terminal.
  void Hide();

 private:
  void Show(const HbProgressInfoRecord& record);

  HbProgressInfoRecord record_;
  bool is_terminal_;
  bool is_shown_ = false;
};

}  // namespace tmx::tools
