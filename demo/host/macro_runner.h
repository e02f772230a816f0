// Runs the subroutines that write segments and ask the user.
#pragma once

#include <memory>
#include <string>

#include "tmxtools/banking/request.h"
#include "tmxtools/macro/banking_engine.h"

namespace tmx::demo {

// The text of an error and of all that led to it, ISO 8859-1.
std::string FullText(const HbError& error);

// Owner: its maker; the engine must outlive it. Empty state: none. Threads: the engine's.
class MacroRunner {
 public:
  explicit MacroRunner(HbMacroEngine& engine) : engine_(engine) {}

  // Calls a subroutine for a request with the parameters that it declares, and gives what it
  // wrote, as text of whatever class. False with the error of the run.
  template <class Text, class... Parameters>
  bool Run(HbRequest& request, const std::string& name, HbError& error, Text& output,
           const Parameters&... parameters) {
    std::unique_ptr<HbStackFrame> frame(engine_.LoadSub(String(name.c_str()), error));
    if (frame == nullptr) return false;
    (frame->PushParam(parameters), ...);
    const bool ended = Call(request, frame.release(), error);
    output = engine_.GetOutput().View();
    return ended;
  }

  HbMacroEngine& Engine() { return engine_; }

 private:
  bool Call(HbRequest& request, HbStackFrame* frame, HbError& error);

  HbMacroEngine& engine_;
};

}  // namespace tmx::demo
