// A guard that deletes one object when the process ends.
#pragma once

#include <utility>

namespace com::velmora::core {

// Owner of at most one object on the heap, as a static object. It is made before any code runs, so
// that the order of initialisation does not matter. Empty state: null. Threads: one at a time.
template <class T>
class destroy {
 public:
  constexpr explicit destroy(T* instance = nullptr) noexcept : instance_(instance) {}
  destroy(const destroy&) = delete;
  destroy& operator=(const destroy&) = delete;
  ~destroy() { delete std::exchange(instance_, nullptr); }

  // Takes over another object; the one before is no longer looked after.
  void setInstance(T* instance) noexcept { instance_ = instance; }

 private:
  T* instance_;
};

}  // namespace com::velmora::core
