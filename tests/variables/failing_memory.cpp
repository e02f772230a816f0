#include "tests/variables/failing_memory.h"

#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t allowed_allocations = SIZE_MAX;

void* Allocate(std::size_t size) noexcept {
  if (allowed_allocations == 0) return nullptr;
  if (allowed_allocations != SIZE_MAX) --allowed_allocations;
  return std::malloc(size == 0 ? 1 : size);
}

}  // namespace

FailingMemory::FailingMemory(std::size_t allowed) { allowed_allocations = allowed; }
FailingMemory::~FailingMemory() { allowed_allocations = SIZE_MAX; }

void* operator new(std::size_t size) {
  if (void* const memory = Allocate(size)) return memory;
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
