// The TAN media that a bank lists.
#pragma once

#include <string>
#include <vector>

#include "tmxtools/banking/segment.h"

namespace tmx::demo {

// A plain value, in ISO 8859-1.
struct ListedMedium {
  std::string name;
  std::string kind;      // L list, G generator, M mobile, and what else a bank has
  std::string function;  // security function that it is for; empty: any

  friend bool operator==(const ListedMedium&, const ListedMedium&) = default;
};

// From HITAB, in the bank's order. What has no name cannot be chosen and is left out.
std::vector<ListedMedium> MediaIn(const HbSegment& hitab);

}  // namespace tmx::demo
