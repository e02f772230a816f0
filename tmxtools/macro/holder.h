#pragma once

#include <cstdint>

#include "tmxtools/platform/export.h"
#include "tmxtools/platform/string.h"
#include "tmxtools/variables/variable.h"
#include "tmxtools/variables/variables.h"

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
  void SetName(const String& name) { name_ = name; }
  // Puts the variable into a registry under a key; the variable that the holder has stays.
  void Bind(HbVariables* registry, unsigned long registry_id, unsigned short holder_class);

 private:
  friend class HbStackFrame;
  // Lets go of everything, so that the holder can be declared again.
  void Reset() {
    if (variable_ != nullptr) SetVariable(nullptr);
    if (binding_.registry() != nullptr) binding_.Unbind();
    if (!name_.IsEmpty()) name_.Clear();
  }
  // Makes a holder that was reset a new one.
  void Declare(unsigned short type, unsigned short holder_class) {
    type_ = type;
    holder_class_ = holder_class;
    registry_id_ = 0;
  }

  HbVariable* variable_ = nullptr;
  tmx::RegistryBinding binding_;
  std::uint32_t registry_id_ = 0;
  String name_;
  std::uint16_t holder_class_ = kPlain;
  std::uint16_t type_;
};
