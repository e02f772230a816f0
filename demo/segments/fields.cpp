#include "demo/segments/fields.h"

namespace tmx::demo {
namespace {

constexpr Field kFields[] = {
#define TMX_FIELD_ROW(name, id, type, meaning) {#name, id, FieldType::k##type, meaning},
    TMX_SEGMENT_FIELDS(TMX_FIELD_ROW)
#undef TMX_FIELD_ROW
};

}  // namespace

std::span<const Field> AllFields() { return kFields; }

const Field* FindField(std::string_view name) {
  for (const Field& field : kFields)
    if (name == field.name) return &field;
  return nullptr;
}

}  // namespace tmx::demo
