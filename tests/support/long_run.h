#pragma once

#include <cstdlib>

namespace tmx::test {

/// Random comparisons have two lengths: a short one that each test run affords, and a long one that
/// `./dev test --long` (TMX_LONG=1 in the environment) asks for.
template <typename Count>
Count Runs(Count short_form, Count long_form) {
  const char* wanted = std::getenv("TMX_LONG");
  return wanted != nullptr && *wanted == '1' ? long_form : short_form;
}

}  // namespace tmx::test
