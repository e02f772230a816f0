// Lets allocations fail on purpose.
#pragma once

#include <cstddef>

// While it lives, every allocation of this thread from the given number on fails.
class FailingMemory {
 public:
  explicit FailingMemory(std::size_t allowed);
  ~FailingMemory();
  FailingMemory(const FailingMemory&) = delete;
  FailingMemory& operator=(const FailingMemory&) = delete;
};
