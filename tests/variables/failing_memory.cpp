#include "tests/variables/failing_memory.h"

#include <malloc.h>
#include <string.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace {

thread_local std::size_t allowed_allocations = SIZE_MAX;
thread_local std::size_t failures_left = 0;
thread_local WatchedMemory* watch = nullptr;
thread_local MeasuredMemory* measure = nullptr;

void* Allocate(std::size_t size) noexcept {
  if (allowed_allocations == 0 && failures_left > 0) {
    if (failures_left != SIZE_MAX) --failures_left;
    return nullptr;
  }
  if (allowed_allocations != SIZE_MAX && allowed_allocations > 0) --allowed_allocations;
  void* const memory = std::malloc(size == 0 ? 1 : size);
  // What lay there before is no leak of the program that gives it back next.
  if (watch != nullptr && memory != nullptr) std::memset(memory, 0, malloc_usable_size(memory));
  if (measure != nullptr) measure->Count(static_cast<long long>(malloc_usable_size(memory)));
  return memory;
}

void Free(void* memory) noexcept {
  if (watch != nullptr && memory != nullptr) watch->Look(memory);
  if (measure != nullptr) measure->Count(-static_cast<long long>(malloc_usable_size(memory)));
  std::free(memory);
}

}  // namespace

MeasuredMemory::MeasuredMemory() { measure = this; }
MeasuredMemory::~MeasuredMemory() { measure = nullptr; }

void MeasuredMemory::Count(long long bytes) {
  held_ += bytes;
  peak_ = std::max(peak_, held_);
}

WatchedMemory::WatchedMemory(std::vector<std::string> secrets) : secrets_(std::move(secrets)) {
  watch = this;
}
WatchedMemory::~WatchedMemory() { watch = nullptr; }

void WatchedMemory::Look(const void* memory) {
  ++given_;
  const std::size_t size = malloc_usable_size(const_cast<void*>(memory));
  for (const std::string& secret : secrets_) {
    if (memmem(memory, size, secret.data(), secret.size()) == nullptr) continue;
    ++leaked_;
    return;
  }
}

FailingMemory::FailingMemory(std::size_t allowed, std::size_t failures) {
  allowed_allocations = allowed;
  failures_left = failures;
}
FailingMemory::~FailingMemory() { allowed_allocations = SIZE_MAX; }

void* operator new(std::size_t size) {
  if (void* const memory = Allocate(size)) return memory;
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void operator delete(void* memory) noexcept { Free(memory); }
void operator delete[](void* memory) noexcept { Free(memory); }
void operator delete(void* memory, std::size_t) noexcept { Free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { Free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { Free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { Free(memory); }
