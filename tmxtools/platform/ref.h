// References on objects that count their owners themselves.
#pragma once

#include <utility>

namespace tmx {

// One counted reference on an object with IncRefCount() and DecRefCount(), given up by the
// destructor. A new object belongs to its maker, whose reference Adopt() or MakeRef() takes over.
//
// Empty state: null. Threads: the object's.
template <class T>
class Ref {
 public:
  Ref() noexcept = default;
  // Takes over a reference that the caller has.
  static Ref Adopt(T* object) noexcept { return Ref(object); }
  // Takes a further reference.
  static Ref Share(T* object) noexcept {
    if (object != nullptr) object->IncRefCount();
    return Ref(object);
  }
  Ref(const Ref& other) noexcept : Ref(Share(other.object_)) {}
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Ref() {
    if (object_ != nullptr) object_->DecRefCount();
  }

  T* Get() const noexcept { return object_; }
  T* operator->() const noexcept { return object_; }
  T& operator*() const noexcept { return *object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }
  // Hands the reference over to the caller.
  T* Release() noexcept { return std::exchange(object_, nullptr); }

 private:
  explicit Ref(T* object) noexcept : object_(object) {}

  T* object_ = nullptr;
};

template <class T, class... Arguments>
Ref<T> MakeRef(Arguments&&... arguments) {
  return Ref<T>::Adopt(new T(std::forward<Arguments>(arguments)...));
}

}  // namespace tmx
