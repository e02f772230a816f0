// Adds up the amounts of a statement's lines and reports a failure with its cause, as a host does.

#include <cstdint>
#include <iostream>

#include "tmxtools/tmxtools.h"

int main() {
  const String lines("1250,00;-19,9;0,005");
  HbAmount sum(0, 2, "EUR");
  for (std::uint16_t i = 0; i < lines.GetTokenCount(';'); ++i) {
    HbAmount line;
    line.SetFromDecimalPointString(lines.Token(i, ';'), "EUR");
    sum += line;
  }
  std::cout << "turnover " << sum.GetFull().Data() << '\n';

  // The older error becomes the cause of the newer one; the texts come from textres.bin.
  const HbError cause(17485);
  const HbError failure(17490, "turnover", cause);
  for (const HbError* error = &failure; error != nullptr; error = error->GetPrev()) {
    std::cout << error->GetText()->Data() << '\n';
  }
}
