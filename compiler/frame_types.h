// A frame of holders as the verifier sees it: types without values.
#pragma once

#include <compare>
#include <cstdint>
#include <vector>

#include "tmxtools/macro/opcode_table.h"

namespace tmx::compiler {

// Amounts are stored as texts.
constexpr TypeCode StorageOf(TypeCode type) {
  return type == TypeCode::kAmount ? TypeCode::kString : type;
}

// Whether the engine can make a variable of a holder's type.
constexpr bool CanBeStored(TypeCode type) {
  switch (type) {
    case TypeCode::kString:
    case TypeCode::kDate:
    case TypeCode::kTime:
    case TypeCode::kInt:
    case TypeCode::kLong:
    case TypeCode::kFloat:
    case TypeCode::kAmount:
    case TypeCode::kBinary:
    case TypeCode::kBool:
      return true;
    default:
      return false;
  }
}

struct HolderType {
  TypeCode type = TypeCode::kNone;
  bool has_variable = false;
  bool is_static = false;
  std::uint32_t key = 0;

  auto operator<=>(const HolderType&) const = default;
};

class FrameTypes {
 public:
  FrameTypes() = default;
  explicit FrameTypes(std::vector<HolderType> holders) : holders_(std::move(holders)) {}

  // Ids are signed 16-bit numbers in lookups.
  HolderType* Find(std::uint32_t id) {
    const std::uint32_t position = id - kFirstHolderId;
    if (id < kFirstHolderId || id > 0x7FFF || position >= holders_.size()) return nullptr;
    return &holders_[position];
  }
  void Append(const HolderType& holder) { holders_.push_back(holder); }
  std::uint32_t LastId() const {
    return static_cast<std::uint32_t>(kFirstVariableTag + static_cast<int>(holders_.size()));
  }

  auto operator<=>(const FrameTypes&) const = default;

 private:
  std::vector<HolderType> holders_;
};

}  // namespace tmx::compiler
