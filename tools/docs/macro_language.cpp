// Prints docs/macro-language.md, whose file name it is given, with the table of commands renewed.
#include <cstdio>
#include <fstream>
#include <iterator>

#include "compiler/command_table.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  std::ifstream file(argv[1], std::ios::binary);
  const std::string document{std::istreambuf_iterator<char>(file), {}};
  const auto renewed = tmx::compiler::WithCommandTable(document);
  if (!renewed) {
    std::fprintf(stderr, "%s: no marks for the table of commands\n", argv[1]);
    return 1;
  }
  std::fwrite(renewed->data(), 1, renewed->size(), stdout);
  return 0;
}
