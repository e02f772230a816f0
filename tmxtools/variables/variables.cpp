#include "tmxtools/variables/variables.h"

#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>

#include "tmxtools/platform/stream.h"
#include "tmxtools/variables/variable_types.h"

namespace {

// A reference that is given up at the end of a scope.
struct DropReference {
  void operator()(HbVariable* variable) const noexcept { variable->DecRefCount(); }
};
using Reference = std::unique_ptr<HbVariable, DropReference>;

// The columns of the dump.
constexpr std::uint16_t kIdWidth = 10;
constexpr std::uint16_t kTypeWidth = 8;

}  // namespace

HbVariables::~HbVariables() {
  for (tmx::RegistryBinding* binding = bindings_; binding != nullptr; binding = binding->next_) {
    binding->registry_ = nullptr;
  }
  Clear();
}

HbVariable* HbVariables::CreateVariable(unsigned short type) noexcept {
  const tmx::VariableTraits* const traits = tmx::FindVariableTraits(type);
  return traits != nullptr ? traits->create() : nullptr;
}

void HbVariables::Register(unsigned long id, HbVariable* variable) noexcept {
  if (variable == nullptr || id > UINT32_MAX) return;
  try {
    if (entries_.Insert(static_cast<std::uint32_t>(id), variable)) variable->IncRefCount();
  } catch (const std::bad_alloc&) {
    // Not entered; the caller finds out by looking.
  }
}

bool HbVariables::Unregister(unsigned long id) noexcept {
  HbVariable* const variable =
      id <= UINT32_MAX ? entries_.Remove(static_cast<std::uint32_t>(id)) : nullptr;
  if (variable == nullptr) return false;
  variable->DecRefCount();
  return true;
}

void HbVariables::Clear() noexcept {
  const tmx::IdTable dropped = std::move(entries_);
  dropped.ForEach([](std::uint32_t, HbVariable* variable) { variable->DecRefCount(); });
}

HbVariable* HbVariables::operator[](unsigned long id) const noexcept {
  const HbVariables* registry = this;
  do {
    if (HbVariable* const variable = registry->FindHere(id)) return variable;
    registry = registry->prev_;
  } while (registry != nullptr);
  return nullptr;
}

unsigned short HbVariables::GetType(unsigned long id) const noexcept {
  const HbVariable* const variable = (*this)[id];
  return variable != nullptr ? variable->GetType() : 0;
}

bool HbVariables::IsNull(unsigned long id) const noexcept {
  const HbVariable* const variable = (*this)[id];
  return variable == nullptr || variable->IsNull();
}

unsigned long HbVariables::PosToId(unsigned short position) const noexcept {
  const HbVariables* registry = this;
  std::size_t rest = position;
  while (registry != nullptr && rest >= registry->Count()) {
    rest -= registry->Count();
    registry = registry->prev_;
  }
  if (registry == nullptr) return 0;
  const tmx::IdTable::Cursor entry = entries_.Nth(rest < 2 ? 0 : rest - 1);
  return entry.IsAtEnd() ? 0 : entry.Id();
}

unsigned long HbVariables::GetFollowingId(unsigned long id) const noexcept {
  for (const HbVariables* registry = this; registry != nullptr; registry = registry->prev_) {
    if (registry->FindHere(id) == nullptr) continue;
    tmx::IdTable::Cursor entry = registry->entries_.LowerBound(static_cast<std::uint32_t>(id));
    entry.Advance(registry->entries_);
    if (!entry.IsAtEnd()) return entry.Id();
  }
  return 0;
}

template <class Cell>
Cell* HbVariables::FindCell(unsigned long id) const noexcept {
  HbVariable* const variable = (*this)[id];
  const bool fits = variable != nullptr && variable->GetType() == Cell::kType;
  return fits ? static_cast<Cell*>(variable) : nullptr;
}

template <class Cell, class Value>
bool HbVariables::GetField(Value& value, unsigned long id) const {
  const Cell* const cell = FindCell<Cell>(id);
  try {
    value = cell != nullptr ? cell->Get() : Value{};
    return cell != nullptr;
  } catch (const std::bad_alloc&) {
    value = Value{};
    return false;
  }
}

template <class Cell, class... Value>
bool HbVariables::PutField(unsigned long id, const Value&... value) {
  try {
    if (HbVariable* const found = (*this)[id]) {
      if (found->GetType() != Cell::kType) return false;
      static_cast<Cell*>(found)->Set(value...);
      return true;
    }
    const Reference created(CreateVariable(Cell::kType));
    if (!created) return false;
    static_cast<Cell*>(created.get())->Set(value...);
    Register(id, created.get());
    return FindHere(id) != nullptr;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool HbVariables::GetFieldString(String& value, unsigned long id) const {
  return GetField<HbStringVariable>(value, id);
}
bool HbVariables::GetFieldDate(HbDate& value, unsigned long id) const {
  return GetField<HbDateVariable>(value, id);
}
bool HbVariables::GetFieldTime(HbTime& value, unsigned long id) const {
  return GetField<HbTimeVariable>(value, id);
}
bool HbVariables::GetFieldInt16(short& value, unsigned long id) const {
  return GetField<HbIntVariable>(value, id);
}
bool HbVariables::GetFieldInt32(long& value, unsigned long id) const {
  return GetField<HbLongVariable>(value, id);
}
bool HbVariables::GetFieldFloat(float& value, unsigned long id) const {
  return GetField<HbFloatVariable>(value, id);
}
bool HbVariables::GetFieldAmount(HbAmount& value, unsigned long id) const {
  return GetField<HbAmountVariable>(value, id);
}
bool HbVariables::GetFieldBool(bool& value, unsigned long id) const {
  return GetField<HbBoolVariable>(value, id);
}

bool HbVariables::GetFieldBinary(unsigned char* buffer, unsigned long& length,
                                 unsigned long id) const {
  const HbBinaryVariable* const cell = GetBinaryVar(id);
  if (cell == nullptr || cell->GetLength() > length) return false;
  length = cell->GetLength();
  if (length != 0) std::memmove(buffer, cell->GetData(), length);
  return true;
}

HbBinaryVariable* HbVariables::GetBinaryVar(unsigned long id) const noexcept {
  return FindCell<HbBinaryVariable>(id);
}

bool HbVariables::PutFieldString(const String& value, unsigned long id) {
  return PutField<HbStringVariable>(id, value);
}
bool HbVariables::PutFieldDate(const HbDate& value, unsigned long id) {
  return PutField<HbDateVariable>(id, value);
}
bool HbVariables::PutFieldTime(const HbTime& value, unsigned long id) {
  return PutField<HbTimeVariable>(id, value);
}
bool HbVariables::PutFieldInt16(short value, unsigned long id) {
  return PutField<HbIntVariable>(id, value);
}
bool HbVariables::PutFieldInt32(long value, unsigned long id) {
  return std::in_range<std::int32_t>(value) && PutField<HbLongVariable>(id, value);
}
bool HbVariables::PutFieldFloat(float value, unsigned long id) {
  return PutField<HbFloatVariable>(id, value);
}
bool HbVariables::PutFieldAmount(const HbAmount& value, unsigned long id) {
  return PutField<HbAmountVariable>(id, value);
}
bool HbVariables::PutFieldBool(bool value, unsigned long id) {
  return PutField<HbBoolVariable>(id, value);
}

bool HbVariables::PutFieldBinary(const unsigned char* data, unsigned long length,
                                 unsigned long id) {
  if (length > UINT32_MAX) return false;
  return PutField<HbBinaryVariable>(id, data, length);
}

bool HbVariables::PutBinaryVar(HbBinaryVariable* variable, unsigned long id) {
  if (variable == nullptr) return false;
  const HbVariable* const found = (*this)[id];
  if (found != nullptr && found->GetType() != tmx::kBinaryType) return false;
  // `variable` may be the one that is here, and this registry its only owner.
  variable->IncRefCount();
  const Reference kept(variable);
  if (found != nullptr) Unregister(id);
  Register(id, variable);
  return FindHere(id) == variable;
}

void HbVariables::Dump(SvStream& stream) const {
  try {
    stream.WriteLine("ID:       Type:    Value:");
    entries_.ForEach([&stream](std::uint32_t id, const HbVariable* variable) {
      const tmx::VariableTraits* const traits = tmx::FindVariableTraits(variable->GetType());
      String head = String::FromInt(id);
      head.PadTo(kIdWidth, ' ');
      head += traits != nullptr ? String(traits->name)
                                : String::FromInt(variable->GetType()).PadTo(kTypeWidth, ' ');
      stream.Write(head.Data(), head.Len());
      if (traits != nullptr) {
        traits->dump(*variable, stream);
      } else {
        stream.Write("N.A.", 4);
      }
      stream.WriteLine(String());
    });
  } catch (const std::length_error&) {
    stream.SetError(tmx::stream_error::InvalidParameter);
  } catch (const std::bad_alloc&) {
    stream.SetError(tmx::stream_error::OutOfMemory);
  }
}

HbVariable* HbVariablesIter::Enter(const HbVariables* registry) noexcept {
  started_ = true;
  while (registry != nullptr && registry->Count() == 0) registry = registry->prev_;
  current_ = registry;
  cursor_ = {};
  if (registry == nullptr) return nullptr;
  start_ = registry;
  cursor_ = registry->entries_.LowerBound(0);
  return Take();
}

HbVariable* HbVariablesIter::FindNext() noexcept {
  if (!started_) return GetFirst();
  if (current_ == nullptr) return nullptr;
  // Entries came or went; the id tells where the walk stood.
  cursor_ = current_->entries_.LowerBound(id_);
  if (!cursor_.IsAtEnd() && cursor_.Id() == id_) cursor_.Advance(current_->entries_);
  return cursor_.IsAtEnd() ? Enter(current_->prev_) : Take();
}
