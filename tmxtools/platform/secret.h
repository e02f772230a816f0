// Memory for secrets: wiped when it is dropped, however that happens.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "tmxtools/platform/export.h"

namespace tmx {

// Overwrites bytes that held secrets, in a way that no compiler leaves out.
TMX_EXPORT void Wipe(void* bytes, std::size_t count);

// N bytes of a key or of plain text. Copies are secrets of their own.
template <std::size_t N>
class Secret {
 public:
  Secret() = default;
  explicit Secret(const std::uint8_t* bytes) { Set(bytes); }
  Secret(const Secret&) = default;
  Secret& operator=(const Secret&) = default;
  ~Secret() { Wipe(bytes_.data(), N); }

  void Set(const std::uint8_t* bytes) { std::copy_n(bytes, N, bytes_.data()); }
  std::uint8_t* Data() { return bytes_.data(); }
  const std::uint8_t* Data() const { return bytes_.data(); }
  std::uint8_t& operator[](std::size_t index) { return bytes_[index]; }
  std::uint8_t operator[](std::size_t index) const { return bytes_[index]; }
  static constexpr std::size_t Size() { return N; }

 private:
  std::array<std::uint8_t, N> bytes_{};
};

// An allocator that wipes memory before it gives it back.
template <class T>
struct WipingAllocator {
  using value_type = T;

  WipingAllocator() = default;
  template <class U>
  WipingAllocator(const WipingAllocator<U>&) {}

  T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
  void deallocate(T* memory, std::size_t count) {
    Wipe(memory, count * sizeof(T));
    std::allocator<T>().deallocate(memory, count);
  }
  friend bool operator==(const WipingAllocator&, const WipingAllocator&) { return true; }
};

// Bytes of any number that leave nothing behind, also when they grow.
using SecretBytes = std::vector<std::uint8_t, WipingAllocator<std::uint8_t>>;

}  // namespace tmx
