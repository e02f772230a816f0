#pragma once

#include <cstdint>
#include <memory>

#include "tmxtools/platform/export.h"
#include "tmxtools/platform/string.h"
#include "tmxtools/variables/variable.h"
#include "tmxtools/variables/variables.h"

namespace tmx {

// The type of the variable that holds a macro's value of a type: amounts live in string variables.
constexpr unsigned short StorageType(unsigned short type) {
  return type == kAmountType ? static_cast<unsigned short>(kStringType) : type;
}

// Gives up the maker's reference on a new variable, also when something fails in between.
struct DropReference {
  void operator()(HbVariable* variable) const noexcept { variable->DecRefCount(); }
};
template <class Variable>
using NewVariable = std::unique_ptr<Variable, DropReference>;

}  // namespace tmx

// Names a variable inside a stack frame. It designates the variable once the engine has resolved
// it: private to the frame, shared with the caller, or kept in a registry under a key.
//
// Owner: the frame. It holds one counted reference on its variable and none on its registry; a
// registry that dies detaches the holders bound to it, which then behave as holders without one.
// Empty state: no variable, no registry. Threads: one at a time.
class TMX_EXPORT HbVariableHolder {
 public:
  // What the holder was declared as. Derived engines define further classes.
  enum Class : unsigned short { kPlain = 0, kParameter = 1, kLocal = 2, kStatic = 3, kSecret = 9 };

  explicit HbVariableHolder(unsigned short type);
  HbVariableHolder(unsigned short type, HbVariables* registry, unsigned long registry_id,
                   unsigned short holder_class);
  ~HbVariableHolder() { SetVariable(nullptr); }
  HbVariableHolder(const HbVariableHolder&) = delete;
  HbVariableHolder& operator=(const HbVariableHolder&) = delete;

  HbVariable* GetVariable() const { return variable_; }
  // Takes a reference on `variable`, which may be null, before it drops the former one.
  void SetVariable(HbVariable* variable) {
    if (variable != nullptr) variable->IncRefCount();
    HbVariable* const former = variable_;
    variable_ = variable;
    UpdateReadyType();
    if (former != nullptr) former->DecRefCount();
  }
  // As SetVariable, for a variable that was just created: its creator's reference becomes the
  // holder's.
  void AdoptVariable(HbVariable* created);

  HbVariables* GetRegistry() const { return binding_.registry(); }
  unsigned long GetRegistryId() const { return registry_id_; }
  unsigned short GetHolderClass() const { return holder_class_; }
  unsigned short GetType() const { return type_; }
  const String& GetName() const { return name_; }
  void SetName(const String& name) {
    name_ = name;
    is_plain_ = false;
  }
  // The type, if the holder has a variable that is stored as the type demands and can be used
  // without further ado; else 0. What the engine asks on its hot paths.
  unsigned short GetReadyType() const { return ready_type_; }
  // Puts the variable into a registry under a key; the variable that the holder has stays.
  void Bind(HbVariables* registry, unsigned long registry_id, unsigned short holder_class);

 private:
  friend class HbStackFrame;
  // Lets go of everything, so that the holder can be declared again.
  void Reset() {
    if (variable_ != nullptr) {
      variable_->DecRefCount();
      variable_ = nullptr;
    }
    ready_type_ = 0;
    if (!is_plain_) ResetRest();
  }
  void ResetRest();
  // Make a holder that was reset a new one, without variable or with that of a ready holder.
  void Declare(unsigned short type, unsigned short holder_class) {
    type_ = type;
    holder_class_ = holder_class;
  }
  void DeclareReference(const HbVariableHolder& ready) {
    HbVariable* const variable = ready.variable_;
    const std::uint16_t type = ready.ready_type_;
    Declare(type, kParameter);
    ready_type_ = type;
    variable_ = variable;
    variable->IncRefCount();
  }
  void UpdateReadyType() {
    const bool ready = variable_ != nullptr && holder_class_ != kSecret &&
                       variable_->GetType() == tmx::StorageType(type_);
    ready_type_ = ready ? type_ : std::uint16_t{0};
  }

  HbVariable* variable_ = nullptr;
  std::uint16_t ready_type_ = 0;
  std::uint16_t type_;
  std::uint16_t holder_class_ = kPlain;
  bool is_plain_ = true;  // neither name nor registry
  unsigned long registry_id_ = 0;
  tmx::RegistryBinding binding_;
  String name_;
};
