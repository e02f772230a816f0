// Where the variables of a large registry are found by their ids alone.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

class HbVariable;

namespace tmx {

// A hash table with open addressing: an entry stands at its id's home or, in a run without a gap,
// behind it. At most half of the places are taken, so most runs are one or two long.
//
// Owner: an IdTable, which keeps the same entries in their order. Empty state: nothing is found.
// Threads: one at a time.
class IdHash {
 public:
  // The variable of an id, or null.
  HbVariable* Find(std::uint32_t id) const noexcept {
    std::size_t at = Home(id);
    // A free place holds no variable, whatever its id.
    while (places_[at].id != id && places_[at].variable != nullptr) at = Behind(at);
    return places_[at].variable;
  }

  // Makes room for so many entries. Throws std::bad_alloc and then has changed nothing.
  void Reserve(std::size_t count) {
    if (2 * count <= places_.size()) return;
    std::vector<Place> before(std::bit_ceil(2 * count));
    before.swap(places_);
    shift_ = 32 - std::countr_zero(places_.size());
    for (const Place& place : before) {
      if (place.variable != nullptr) Insert(place.id, place.variable);
    }
  }
  // Adds an entry that is not there yet and that there is room for.
  void Insert(std::uint32_t id, HbVariable* variable) noexcept {
    std::size_t at = Home(id);
    while (places_[at].variable != nullptr) at = Behind(at);
    places_[at] = {id, variable};
  }
  // Takes an entry out that is there. Those of its run that could not be found across the gap move
  // up.
  void Remove(std::uint32_t id) noexcept {
    std::size_t gap = Home(id);
    while (places_[gap].id != id) gap = Behind(gap);
    for (std::size_t at = Behind(gap); places_[at].variable != nullptr; at = Behind(at)) {
      if (Distance(Home(places_[at].id), at) < Distance(gap, at)) continue;
      places_[gap] = places_[at];
      gap = at;
    }
    places_[gap] = {};
  }

 private:
  struct Place {
    std::uint32_t id = 0;
    HbVariable* variable = nullptr;
  };

  // Fibonacci hashing: the upper bits of a product with 2^32 divided by the golden ratio, which
  // keeps apart the ids that lie at regular distances, as those of a segment's fields do.
  std::size_t Home(std::uint32_t id) const noexcept { return (id * 0x9E3779B1u) >> shift_; }
  std::size_t Behind(std::size_t at) const noexcept { return (at + 1) & (places_.size() - 1); }
  std::size_t Distance(std::size_t from, std::size_t to) const noexcept {
    return (to - from) & (places_.size() - 1);
  }

  std::vector<Place> places_ = std::vector<Place>(2);  // their number is a power of two
  int shift_ = 31;                                     // leaves an id's product that many bits less
};

}  // namespace tmx
