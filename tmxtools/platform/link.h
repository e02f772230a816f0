// A callback as a value.
#pragma once

#include <concepts>
#include <functional>
#include <memory>
#include <utility>

#include "tmxtools/platform/export.h"

// An object and a function that is called with it; or a callable that the link owns and shares with
// its copies.
//
//   Link link([](void* data) { return Show(static_cast<HbCallbackData*>(data)); });
//
// The object is not owned. Empty state: not set; a call then does nothing and gives 0. Threads: as
// a std::function; what is called sees to its own locks.
class TMX_EXPORT Link {
 public:
  using Function = long (*)(void* object, void* data);

  Link() = default;
  Link(void* object, Function function) : object_(object), function_(function) {}
  template <class Callable>
  requires(!std::same_as<std::remove_cvref_t<Callable>, Link> &&
           std::is_invocable_r_v<long, Callable&, void*>) explicit Link(Callable&& callable)
      : callable_(std::make_shared<std::function<long(void*)>>(std::forward<Callable>(callable))) {}

  bool IsSet() const { return function_ != nullptr || (callable_ && *callable_); }
  // Calls with `data` and passes the result on; 0 when the link is not set. The link may be
  // changed or destroyed by what it calls.
  long Call(void* data) const {
    if (function_ != nullptr) return function_(object_, data);
    if (!callable_ || !*callable_) return 0;
    const auto alive = callable_;
    return (*alive)(data);
  }

  // Whether both call the same function with the same object, or share one callable.
  friend bool operator==(const Link&, const Link&) = default;

 private:
  void* object_ = nullptr;
  Function function_ = nullptr;
  std::shared_ptr<std::function<long(void*)>> callable_;
};
