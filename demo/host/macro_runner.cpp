#include "demo/host/macro_runner.h"

namespace tmx::demo {

std::string FullText(const HbError& error) {
  String text;
  error.GetFull(text);
  return std::string(text.View());
}

bool MacroRunner::Call(HbRequest& request, HbStackFrame* frame, HbError& error) {
  engine_.SetRequest(&request);
  const bool ended = engine_.Call(frame, error);
  // A run may end by itself with its status set.
  if (ended && engine_.GetStatus().IsSet()) error = engine_.GetStatus();
  engine_.SetRequest(nullptr);
  return ended && !error.IsSet();
}

}  // namespace tmx::demo
