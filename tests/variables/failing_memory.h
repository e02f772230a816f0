// Lets allocations fail on purpose, measures them, and looks at memory that is given back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// While it lives, allocations of this thread from the given number on fail, all or a few of them.
class FailingMemory {
 public:
  explicit FailingMemory(std::size_t allowed, std::size_t failures = SIZE_MAX);
  ~FailingMemory();
  FailingMemory(const FailingMemory&) = delete;
  FailingMemory& operator=(const FailingMemory&) = delete;
};

// While it lives, what this thread takes and gives back is counted.
class MeasuredMemory {
 public:
  MeasuredMemory();
  ~MeasuredMemory();
  MeasuredMemory(const MeasuredMemory&) = delete;
  MeasuredMemory& operator=(const MeasuredMemory&) = delete;

  // The most bytes that were held at one time, beyond those at the beginning.
  std::size_t Peak() const { return static_cast<std::size_t>(peak_); }
  void Count(long long bytes);

 private:
  long long held_ = 0;
  long long peak_ = 0;
};

// While it lives, all memory that this thread gives back is searched for secrets.
class WatchedMemory {
 public:
  explicit WatchedMemory(std::vector<std::string> secrets);
  ~WatchedMemory();
  WatchedMemory(const WatchedMemory&) = delete;
  WatchedMemory& operator=(const WatchedMemory&) = delete;

  // How many pieces of memory were given back, and how many of them held a secret.
  std::size_t Given() const { return given_; }
  std::size_t Leaked() const { return leaked_; }
  void Look(const void* memory);

 private:
  std::vector<std::string> secrets_;
  std::size_t given_ = 0;
  std::size_t leaked_ = 0;
};
