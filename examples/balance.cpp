// Hands a segment to a compiled macro and takes its output and the values of its parameters back.
// The macro path, below which lies macro/balance.hbz, is the program's argument.

#include <iostream>

#include "tmxtools/tmxtools.h"

namespace {

void Print(const HbError& error) {
  std::cout << error.GetCode() << ' ' << error.GetText()->Data() << '\n';
}

void RunMacro(MeMacroEngine& engine, const char* subroutine, const char* segment) {
  enum Field : unsigned long { kNumber = 1, kFound = 2 };
  HbVariables results;
  results.PutFieldString("", kNumber);
  results.PutFieldBool(false, kFound);

  HbError error;
  HbStackFrame* const frame = engine.LoadSub(subroutine, error);
  if (frame == nullptr) return Print(error);
  frame->PushParam(segment);               // by value
  frame->PushParameter(results[kNumber]);  // by reference: the macro sets these
  frame->PushParameter(results[kFound]);
  if (!engine.Call(frame, error)) return Print(error);  // takes the frame in every case
  if (engine.GetStatus().IsSet()) return Print(engine.GetStatus());

  bool found = false;
  String number;
  results.GetFieldBool(found, kFound);
  results.GetFieldString(number, kNumber);
  std::cout << engine.GetOutput().Data() << '\n';
  if (found) std::cout << "the number is " << number.Data() << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  MeMacroEngine engine(argc > 1 ? argv[1] : ".");
  HbError error;
  engine.PushFile("balance", error);  // a file that is missing shows when a subroutine is loaded
  RunMacro(engine, "Balance", "HISAL+1234,56+EUR'");
  RunMacro(engine, "Balance", "HIKAZ+x'");
  RunMacro(engine, "Turnover", "HIKAZ+x'");
}
