// Takes a text with separators apart and adds up its numbers, whatever their size.

#include <cstdint>
#include <iostream>

#include "tmxtools/tmxtools.h"

int main() {
  const String line("17;25000000000000000000;-42", 27);
  BigInt sum(0);
  for (std::uint16_t i = 0; i < line.GetTokenCount(';'); ++i) {
    sum += BigInt(line.Token(i, ';'));
  }
  std::cout << line.GetTokenCount(';') << " fields, sum " << sum.ToString().Data() << '\n';
}
