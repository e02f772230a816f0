// Pointers to objects of the tree and lists of them, none of which outlives its object.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "tmxtools/platform/export.h"

class HbObject;

namespace tmx {

class ObjectListBase;

// What refers to an object without keeping it alive: an object that dies lets go of all its links,
// and a link that dies leaves its object.
//
// Owner: whoever refers to the object. Empty state: no object. Threads: the object's.
class TMX_EXPORT ObjectLink {
 public:
  ObjectLink() noexcept = default;
  ~ObjectLink() { Unbind(); }
  ObjectLink(const ObjectLink&) = delete;
  ObjectLink& operator=(const ObjectLink&) = delete;

  // Null once the object is dead.
  HbObject* object() const noexcept { return object_; }
  // Leaves the former object for another one, which may be null.
  void Bind(const HbObject* object) noexcept;
  void Unbind() noexcept;

 private:
  friend class ::HbObject;
  friend class ObjectListBase;

  HbObject* object_ = nullptr;
  ObjectLink* next_ = nullptr;
  ObjectLink** link_ = nullptr;     // what points to this link
  ObjectListBase* list_ = nullptr;  // whose place this link is
};

// A pointer to a `T`, an HbObject, that becomes null when the object dies.
template <class T>
class ObjectPtr {
 public:
  ObjectPtr() noexcept = default;
  explicit ObjectPtr(T* object) noexcept { link_.Bind(object); }
  ObjectPtr(const ObjectPtr& other) noexcept { link_.Bind(other.link_.object()); }
  ObjectPtr& operator=(const ObjectPtr& other) noexcept {
    link_.Bind(other.link_.object());
    return *this;
  }
  ~ObjectPtr() = default;

  T* Get() const noexcept { return static_cast<T*>(link_.object()); }
  void Set(T* object) noexcept { link_.Bind(object); }

 private:
  ObjectLink link_;
};

// An ObjectPtr that destroys its object, unless somebody else did.
template <class T>
class ObjectOwner {
 public:
  ObjectOwner() noexcept = default;
  ~ObjectOwner() { Reset(); }
  ObjectOwner(const ObjectOwner&) = delete;
  ObjectOwner& operator=(const ObjectOwner&) = delete;

  T* Get() const noexcept { return object_.Get(); }
  // Destroys the former object unless it is the same.
  void Reset(T* object = nullptr) noexcept {
    if (object == Get()) return;
    const std::unique_ptr<T> former(Get());
    object_.Set(object);
  }
  // Lets go of the object without destroying it.
  T* Release() noexcept {
    T* const object = Get();
    object_.Set(nullptr);
    return object;
  }

 private:
  ObjectPtr<T> object_;
};

// What becomes of the places of an object that dies.
enum class WhenDead { kRemovePlace, kLeaveNull };

// Up to 65535 places with objects or null. An object may have several places and stand in several
// lists.
class TMX_EXPORT ObjectListBase {
 public:
  explicit ObjectListBase(WhenDead when_dead) noexcept : when_dead_(when_dead) {}
  ObjectListBase(const ObjectListBase&) = delete;
  ObjectListBase& operator=(const ObjectListBase&) = delete;

  unsigned short Count() const noexcept { return static_cast<unsigned short>(places_.size()); }
  // Appends null places until there are `count`. False when memory ends.
  bool PadTo(unsigned short count) noexcept;
  void Remove(unsigned short index) noexcept;
  void Clear() noexcept { places_.clear(); }
  // Destroys every object, once, and empties the list.
  void DestroyAll() noexcept;

 protected:
  ~ObjectListBase() = default;

  HbObject* ObjectAt(std::size_t index) const noexcept;
  // Throws std::out_of_range "invalid vector<T> subscript".
  HbObject* CheckedAt(std::size_t index) const;
  bool InsertObject(std::size_t index, const HbObject* object) noexcept;
  bool SetObject(std::size_t index, const HbObject* object) noexcept;
  std::optional<unsigned short> FindObject(const HbObject* object) const noexcept;

 private:
  friend class ::HbObject;
  using Place = std::unique_ptr<ObjectLink>;  // null for a place that never had an object

  Place NewPlace(const HbObject* object);
  void ObjectDied(const ObjectLink* place) noexcept;

  std::vector<Place> places_;
  WhenDead when_dead_;
};

// A list of a class derived from HbObject.
//
// Owner: its maker. It owns no objects; one that does says so and calls DestroyAll(). Empty state:
// no places. Threads: the objects'.
template <class T>
class ObjectList : public ObjectListBase {
 public:
  using ObjectListBase::ObjectListBase;

  // Null behind the last.
  T* Get(std::size_t index) const noexcept { return static_cast<T*>(ObjectAt(index)); }
  // Throws std::out_of_range "invalid vector<T> subscript".
  T* At(std::size_t index) const { return static_cast<T*>(CheckedAt(index)); }
  // Behind the last index means at the end. False, and nothing changed, for one more than 65535 and
  // when memory ends.
  bool Insert(std::size_t index, T* object) noexcept { return InsertObject(index, object); }
  bool Append(T* object) noexcept { return InsertObject(Count(), object); }
  // Puts an object into a place that exists. False when memory ends.
  bool Set(std::size_t index, T* object) noexcept { return SetObject(index, object); }
  // The first place of an object.
  std::optional<unsigned short> Find(const T* object) const noexcept { return FindObject(object); }
  // Takes the first place of an object away. False without one.
  bool Take(const T* object) noexcept {
    const auto index = FindObject(object);
    if (index) Remove(*index);
    return index.has_value();
  }
};

}  // namespace tmx
