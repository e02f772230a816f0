#include "tmxtools/banking/live_entry.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>

#include "tmxtools/banking/object.h"

namespace tmx {
namespace {

// Constant from the start and never destroyed, so that objects may be static.
constexpr std::size_t kBuckets = 1024;
constinit std::array<LiveEntry*, kBuckets> table{};
constinit std::mutex table_mutex;

LiveEntry*& BucketOf(const void* address) {
  // Objects are large, so the lowest bits of their addresses say little.
  return table[(reinterpret_cast<std::uintptr_t>(address) >> 6) % kBuckets];
}

}  // namespace

LiveEntry::LiveEntry(Kind kind, HbObject* object) noexcept : object_(object), kind_(kind) {
  const std::lock_guard lock(table_mutex);
  link_ = &BucketOf(object);
  next_ = *link_;
  if (next_ != nullptr) next_->link_ = &next_;
  *link_ = this;
}

LiveEntry::~LiveEntry() {
  const std::lock_guard lock(table_mutex);
  *link_ = next_;
  if (next_ != nullptr) next_->link_ = link_;
}

HbObject* LiveEntry::Find(Kind kind, const void* address) noexcept {
  const std::lock_guard lock(table_mutex);
  for (const LiveEntry* entry = BucketOf(address); entry != nullptr; entry = entry->next_) {
    if (entry->object_ == address && entry->kind_ == kind) return entry->object_;
  }
  return nullptr;
}

}  // namespace tmx
