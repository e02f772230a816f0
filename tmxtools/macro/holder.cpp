#include "tmxtools/macro/holder.h"

HbVariableHolder::HbVariableHolder(unsigned short type) : type_(type) {}

HbVariableHolder::HbVariableHolder(unsigned short type, HbVariables* registry,
                                   unsigned long registry_id, unsigned short holder_class)
    : type_(type) {
  Bind(registry, registry_id, holder_class);
}

void HbVariableHolder::AdoptVariable(HbVariable* created) {
  SetVariable(created);
  if (created != nullptr) created->DecRefCount();
}

void HbVariableHolder::Bind(HbVariables* registry, unsigned long registry_id,
                            unsigned short holder_class) {
  is_plain_ = false;
  binding_.Bind(registry);
  registry_id_ = registry_id;
  holder_class_ = holder_class;
  UpdateReadyType();
}

void HbVariableHolder::ResetRest() {
  binding_.Unbind();
  registry_id_ = 0;
  name_.Clear();
  is_plain_ = true;
}
