// Iterators over the entries of a section and the sections of a file.
#pragma once

#include <iterator>
#include <map>
#include <string>
#include <type_traits>
#include <utility>

namespace tmx {

template <class Value>
using NamedValues = std::map<std::string, Value, std::less<>>;

// Walks the values of a map in the order of its keys. Empty state: belongs to no map. An iterator
// stays valid until the map or its value dies.
template <class MapIterator, class Value>
class MapValueIterator {
 public:
  using iterator_category = std::bidirectional_iterator_tag;
  using value_type = std::remove_const_t<Value>;
  using difference_type = std::ptrdiff_t;
  using pointer = Value*;
  using reference = Value&;

  MapValueIterator() = default;
  explicit MapValueIterator(MapIterator at) : at_(at) {}
  // An iterator is also a const iterator.
  template <class Other>
  requires std::is_same_v<const Other, Value> MapValueIterator(
      const MapValueIterator<typename NamedValues<Other>::iterator,
                             Other>& other)  // NOLINT(google-explicit-constructor)
      : at_(other.Position()) {}
  MapValueIterator(const MapValueIterator&) = default;
  MapValueIterator& operator=(const MapValueIterator&) = default;
  virtual ~MapValueIterator() = default;

  reference operator*() const { return at_->second; }
  pointer operator->() const { return &at_->second; }
  MapValueIterator& operator++() {
    ++at_;
    return *this;
  }
  MapValueIterator operator++(int) {
    MapValueIterator before = *this;
    ++at_;
    return before;
  }
  MapValueIterator& operator--() {
    --at_;
    return *this;
  }
  MapValueIterator operator--(int) {
    MapValueIterator before = *this;
    --at_;
    return before;
  }
  friend bool operator==(const MapValueIterator& a, const MapValueIterator& b) {
    return a.at_ == b.at_;
  }

  MapIterator Position() const { return at_; }

 private:
  MapIterator at_{};
};

}  // namespace tmx

class HbTextRes;
class HbTextResSection;

using HbTextRes_iter = tmx::MapValueIterator<tmx::NamedValues<HbTextRes>::iterator, HbTextRes>;
using HbTextRes_const_iter =
    tmx::MapValueIterator<tmx::NamedValues<HbTextRes>::const_iterator, const HbTextRes>;
using HbTextResSection_iter =
    tmx::MapValueIterator<tmx::NamedValues<HbTextResSection>::iterator, HbTextResSection>;
using HbTextResSection_const_iter =
    tmx::MapValueIterator<tmx::NamedValues<HbTextResSection>::const_iterator,
                          const HbTextResSection>;
