#include "tmxtools/banking/object_link.h"

#include <algorithm>
#include <new>
#include <stdexcept>

#include "tmxtools/banking/object.h"

namespace tmx {

void ObjectLink::Bind(const HbObject* object) noexcept {
  if (object == object_) return;
  Unbind();
  if (object == nullptr) return;
  // Links are no part of an object's value, and whoever hands out a const pointer may mean one that
  // hosts change.
  object_ = const_cast<HbObject*>(object);
  link_ = &object_->links_;
  next_ = object_->links_;
  if (next_ != nullptr) next_->link_ = &next_;
  object_->links_ = this;
}

void ObjectLink::Unbind() noexcept {
  if (object_ == nullptr) return;
  *link_ = next_;
  if (next_ != nullptr) next_->link_ = link_;
  object_ = nullptr;
}

HbObject* ObjectListBase::ObjectAt(std::size_t index) const noexcept {
  return index < places_.size() && places_[index] ? places_[index]->object() : nullptr;
}

HbObject* ObjectListBase::CheckedAt(std::size_t index) const {
  if (index >= places_.size()) throw std::out_of_range("invalid vector<T> subscript");
  return ObjectAt(index);
}

ObjectListBase::Place ObjectListBase::NewPlace(const HbObject* object) {
  auto place = std::make_unique<ObjectLink>();
  place->list_ = this;
  place->Bind(object);
  return place;
}

bool ObjectListBase::InsertObject(std::size_t index, const HbObject* object) noexcept {
  if (places_.size() == UINT16_MAX) return false;
  const auto where = places_.begin() + static_cast<std::ptrdiff_t>(std::min(index, places_.size()));
  try {
    places_.insert(where, NewPlace(object));
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

bool ObjectListBase::SetObject(std::size_t index, const HbObject* object) noexcept {
  try {
    places_[index] = NewPlace(object);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

std::optional<unsigned short> ObjectListBase::FindObject(const HbObject* object) const noexcept {
  const auto found = std::find_if(places_.begin(), places_.end(), [object](const Place& place) {
    return place && place->object() == object;
  });
  if (object == nullptr || found == places_.end()) return std::nullopt;
  return static_cast<unsigned short>(found - places_.begin());
}

bool ObjectListBase::PadTo(unsigned short count) noexcept {
  try {
    if (places_.size() < count) places_.resize(count);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

void ObjectListBase::Remove(unsigned short index) noexcept {
  places_.erase(places_.begin() + index);
}

void ObjectListBase::DestroyAll() noexcept {
  while (!places_.empty()) {
    const std::unique_ptr<HbObject> object(ObjectAt(places_.size() - 1));
    places_.pop_back();
  }
}

void ObjectListBase::ObjectDied(const ObjectLink* place) noexcept {
  if (when_dead_ == WhenDead::kLeaveNull) return;
  // Lists are mostly taken down from their end.
  const auto found = std::find_if(places_.rbegin(), places_.rend(),
                                  [place](const Place& other) { return other.get() == place; });
  places_.erase(std::next(found).base());
}

}  // namespace tmx
