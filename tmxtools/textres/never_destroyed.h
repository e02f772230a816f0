// Static objects without a destructor run.
#pragma once

namespace tmx {

// Holds a value that is made before any code runs and that nobody destroys, so that it can be used
// while other static objects come and go. Whoever uses it leaves it empty in the end.
template <class T>
union NeverDestroyed {
  constexpr NeverDestroyed() : value() {}
  ~NeverDestroyed() {}  // NOLINT(modernize-use-equals-default): would be deleted

  T value;
};

}  // namespace tmx
