// Registries of variables, keyed by field ids.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tmxtools/platform/export.h"
#include "tmxtools/variables/id_table.h"
#include "tmxtools/variables/variable.h"

class HbVariables;
class SvStream;

namespace tmx {

// What stays tied to a registry without keeping it alive: a registry that dies lets go of all its
// bindings, and a binding that dies leaves its registry.
//
// Owner: whoever refers to the registry. Empty state: no registry. Threads: the registry's.
class RegistryBinding {
 public:
  RegistryBinding() noexcept = default;
  ~RegistryBinding() { Unbind(); }
  RegistryBinding(const RegistryBinding&) = delete;
  RegistryBinding& operator=(const RegistryBinding&) = delete;

  HbVariables* registry() const noexcept { return registry_; }
  // Leaves the former registry for another one, which may be null.
  inline void Bind(HbVariables* registry) noexcept;
  inline void Unbind() noexcept;

 private:
  friend class ::HbVariables;

  HbVariables* registry_ = nullptr;
  RegistryBinding* next_ = nullptr;
  RegistryBinding** link_ = nullptr;  // what points to this binding
};

}  // namespace tmx

// A map from field ids to variables, continued in a previous registry: what is not found here is
// looked for there, and so on. Field ids are 32-bit; a greater id is never present and never
// entered.
//
// The typed operations never convert: a field of another type counts as absent for a getter, and a
// Put leaves it alone. A Put writes to the variable that the lookup finds, so to a previous
// registry's if only that has the id.
//
// Owner: its maker; it owns one reference on each of its variables and nothing of the previous
// registry, which must outlive it. Empty state: no entries, which costs no memory.
// Threads: one at a time. Failures are false or null; when memory ends, nothing is changed.
class TMX_EXPORT HbVariables {
 public:
  explicit HbVariables(HbVariables* prev = nullptr, void* client_data = nullptr,
                       void* xhb_client_data = nullptr) noexcept
      : prev_(prev), client_data_(client_data), xhb_client_data_(xhb_client_data) {}
  ~HbVariables();
  HbVariables(const HbVariables&) = delete;
  HbVariables& operator=(const HbVariables&) = delete;

  void SetPrev(HbVariables* prev) noexcept { prev_ = prev; }
  HbVariables* GetPrev() const noexcept { return prev_; }
  void SetClientData(void* data) noexcept { client_data_ = data; }
  void* GetClientData() const noexcept { return client_data_; }
  void SetXHbClientData(void* data) noexcept { xhb_client_data_ = data; }
  void* GetXHbClientData() const noexcept { return xhb_client_data_; }

  // A new null variable that belongs to the caller; null for an unknown type code.
  static HbVariable* CreateVariable(unsigned short type) noexcept;

  // Enters a variable and takes a reference on it. An id that is here already keeps its variable;
  // there is no replacement on purpose. Null is ignored.
  void Register(unsigned long id, HbVariable* variable) noexcept;
  // Drops an entry of this registry. False if it has none with this id.
  bool Unregister(unsigned long id) noexcept;
  void Clear() noexcept;
  // The entries of this registry alone.
  unsigned long Count() const noexcept { return entries_.Count(); }

  // The variable of an id in the first registry of the chain that has it, or null.
  HbVariable* operator[](unsigned long id) const noexcept;
  // The type code of the id's variable, 0 without one.
  unsigned short GetType(unsigned long id) const noexcept;
  // Whether the id has no variable or a null one.
  bool IsNull(unsigned long id) const noexcept;

  // The id at a position. This is no plain index, on purpose: the position must lie within the
  // chain, positions 0 and 1 are both the first entry of this registry, and position n is entry n
  // counted from 1 of this registry, also when it lies in a later one. 0 for no id.
  unsigned long PosToId(unsigned short position) const noexcept;
  // The id behind `id` in the first registry of the chain that has `id` and one behind it; 0 for
  // none.
  unsigned long GetFollowingId(unsigned long id) const noexcept;

  // The value, also that of a null variable. Without a field of the type they give false and empty
  // the output.
  bool GetFieldString(String& value, unsigned long id) const;
  bool GetFieldDate(HbDate& value, unsigned long id) const;
  bool GetFieldTime(HbTime& value, unsigned long id) const;
  bool GetFieldInt16(short& value, unsigned long id) const;
  bool GetFieldInt32(long& value, unsigned long id) const;
  bool GetFieldFloat(float& value, unsigned long id) const;
  bool GetFieldAmount(HbAmount& value, unsigned long id) const;
  bool GetFieldBool(bool& value, unsigned long id) const;
  // Copies the bytes; `length` is the room in `buffer`, then the number of bytes. False, and both
  // unchanged, if they do not fit or there is no such field.
  bool GetFieldBinary(unsigned char* buffer, unsigned long& length, unsigned long id) const;
  // The variable itself, if it is a binary one.
  HbBinaryVariable* GetBinaryVar(unsigned long id) const noexcept;

  // Set the id's variable, a new one of this registry if the chain has none. False, and nothing
  // changed, if it is of another type or the number needs more than 32 bits.
  bool PutFieldString(const String& value, unsigned long id);
  bool PutFieldDate(const HbDate& value, unsigned long id);
  bool PutFieldTime(const HbTime& value, unsigned long id);
  bool PutFieldInt16(short value, unsigned long id);
  bool PutFieldInt32(long value, unsigned long id);
  bool PutFieldFloat(float value, unsigned long id);
  bool PutFieldAmount(const HbAmount& value, unsigned long id);
  bool PutFieldBool(bool value, unsigned long id);
  bool PutFieldBinary(const unsigned char* data, unsigned long length, unsigned long id);
  // Enters the variable here in place of the binary one that is here; the caller keeps its
  // reference. False if the chain has a variable of another type, and for null.
  bool PutBinaryVar(HbBinaryVariable* variable, unsigned long id);

  // Writes a table of this registry's entries: id, type and value of each, a line for each. A
  // failure is the stream's error.
  void Dump(SvStream& stream) const;

 private:
  friend class HbVariablesIter;
  friend class tmx::RegistryBinding;

  HbVariable* FindHere(unsigned long id) const noexcept {
    return id <= UINT32_MAX ? entries_.Find(static_cast<std::uint32_t>(id)) : nullptr;
  }
  // The id's variable if it is a `Cell`, else null.
  template <class Cell>
  Cell* FindCell(unsigned long id) const noexcept;
  template <class Cell, class Value>
  bool GetField(Value& value, unsigned long id) const;
  template <class Cell, class... Value>
  bool PutField(unsigned long id, const Value&... value);

  HbVariables* prev_;
  tmx::IdTable entries_;
  void* client_data_;
  void* xhb_client_data_;
  tmx::RegistryBinding* bindings_ = nullptr;
};

// Walks the entries of a registry in the order of their ids, then those of the registries behind
// it. An id that several of them have comes several times.
//
// The registries must live as long as the walk; entries may come and go meanwhile, the walk goes on
// behind the id it stands at. Empty state: before the first entry. Threads: the registries'.
class TMX_EXPORT HbVariablesIter {
 public:
  explicit HbVariablesIter(const HbVariables* variables) noexcept
      : start_(variables), current_(variables) {}

  // The first entry of the first registry that has one, null without any. A walk that has moved on
  // to a previous registry starts again in that one, on purpose.
  HbVariable* GetFirst() noexcept { return Enter(start_); }
  // The next entry, null behind the last. Before the first step this is GetFirst.
  HbVariable* GetNext() noexcept {
    // Where nothing changed since, the cursor is good for a step.
    if (cursor_.IsAtEnd() || !cursor_.IsValidFor(current_->entries_)) return FindNext();
    cursor_.Advance(current_->entries_);
    return cursor_.IsAtEnd() ? Enter(current_->prev_) : Take();
  }
  // The id of the variable returned last, 0 before.
  unsigned long GetId() const noexcept { return id_; }

 private:
  HbVariable* Enter(const HbVariables* registry) noexcept;
  HbVariable* FindNext() noexcept;
  // The entry at the cursor.
  HbVariable* Take() noexcept {
    id_ = cursor_.Id();
    return cursor_.Variable();
  }

  const HbVariables* start_;
  const HbVariables* current_;  // null behind the last entry
  tmx::IdTable::Cursor cursor_;
  std::uint32_t id_ = 0;
  bool started_ = false;
};

inline void tmx::RegistryBinding::Bind(HbVariables* registry) noexcept {
  if (registry == registry_) return;
  Unbind();
  if (registry == nullptr) return;
  registry_ = registry;
  next_ = registry->bindings_;
  link_ = &registry->bindings_;
  if (next_ != nullptr) next_->link_ = &next_;
  registry->bindings_ = this;
}

inline void tmx::RegistryBinding::Unbind() noexcept {
  if (registry_ == nullptr) return;
  *link_ = next_;
  if (next_ != nullptr) next_->link_ = link_;
  registry_ = nullptr;
}
