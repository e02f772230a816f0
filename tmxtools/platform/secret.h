// Memory for secrets: wiped when it is dropped, however that happens.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "tmxtools/platform/export.h"

class String;

namespace tmx {

// Overwrites bytes that held secrets, in a way that no compiler leaves out.
TMX_EXPORT void Wipe(void* bytes, std::size_t count);
// Overwrites a text with zero bytes and empties it. Texts that share its bytes keep them.
TMX_EXPORT void Wipe(String& text) noexcept;

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

// Characters that are appended and leave nothing behind. Unlike the above it copies them at once
// instead of one by one, as lines are to be fast. Empty state: no characters, no memory. Threads:
// one at a time.
class SecretText {
 public:
  SecretText() = default;
  SecretText(const SecretText&) = delete;
  SecretText& operator=(const SecretText&) = delete;
  ~SecretText() { Wipe(bytes_.get(), capacity_); }

  // May throw bad_alloc, as may Append().
  void Reserve(std::size_t length) {
    if (length <= capacity_) return;
    auto grown = std::make_unique_for_overwrite<char[]>(length);
    std::copy_n(bytes_.get(), size_, grown.get());
    Wipe(bytes_.get(), capacity_);
    bytes_ = std::move(grown);
    capacity_ = length;
  }
  void Append(std::string_view text) {
    const std::size_t length = size_ + text.size();
    if (length > capacity_) Reserve(std::max(length, 2 * capacity_));
    std::copy_n(text.data(), text.size(), bytes_.get() + size_);
    size_ = length;
  }
  void Clear() { size_ = 0; }
  bool IsEmpty() const { return size_ == 0; }
  std::size_t Size() const { return size_; }
  std::string_view View() const { return {bytes_.get(), size_}; }

 private:
  std::unique_ptr<char[]> bytes_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace tmx
