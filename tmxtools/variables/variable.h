// Typed, nullable, counted value cells.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <type_traits>

#include "tmxtools/core/amount.h"
#include "tmxtools/core/date_time.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/string.h"

// The common base of the value cells: a type code that never changes, a null flag and a count of
// references.
//
// Owner: whoever holds a reference. The count is the number of owners beyond the first, so a new
// variable (count 0) belongs to its maker, whose one DecRefCount destroys it. Variables live on the
// heap only.
// Empty state: null, holding the type's empty value. Threads: one at a time, together with all that
// hold a reference; the count is not atomic.
class TMX_EXPORT HbVariable {
 public:
  HbVariable(const HbVariable&) = delete;
  HbVariable& operator=(const HbVariable&) = delete;

  // Stores the type's empty value and makes the variable null.
  virtual void SetNull() = 0;

  unsigned short GetType() const noexcept { return type_; }
  bool IsNull() const noexcept { return null_; }

  void IncRefCount() noexcept { ++ref_count_; }
  // Gives up a reference; without any other owner the variable destroys itself.
  void DecRefCount() noexcept {
    if (ref_count_ == 0) {
      delete this;
    } else {
      --ref_count_;
    }
  }
  // The owners beyond the first.
  unsigned long GetRefCount() const noexcept { return ref_count_; }

  // The text with the ISO 8859-1 umlauts and the sharp s written with two letters ("Ae", "ss"). A
  // text without them is shared, not copied. Throws std::length_error beyond 65535 bytes.
  static String RemoveUmlauts(const String& text);

 protected:
  explicit HbVariable(unsigned short type) noexcept : type_(type) {}
  virtual ~HbVariable() = default;

  void SetNullFlag(bool null) noexcept { null_ = null; }

 private:
  bool null_ = true;
  std::uint16_t type_;
  std::uint32_t ref_count_ = 0;
};

namespace tmx {

// The type codes of variables, which are also the operand tags of macro code.
enum VariableType : unsigned short {
  kNoType = 0,
  kStringType = 1,
  kDateType = 2,
  kTimeType = 4,
  kInt16Type = 5,
  kInt32Type = 6,
  kFloatType = 7,
  kAmountType = 8,
  kBinaryType = 9,
  kBoolType = 10,
};

// A cell that holds one `Value`, handed in and out as `Face`. A number that `Value` cannot hold
// keeps its low bits.
template <class Value, VariableType type, class Face = const Value&>
class TMX_EXPORT ValueVariable : public HbVariable {
 public:
  static constexpr VariableType kType = type;

  // The stored value, also of a null variable.
  Face Get() const noexcept { return value_; }
  void Set(Face value) {
    value_ = static_cast<std::conditional_t<std::is_arithmetic_v<Value>, Value, Face>>(value);
    SetNullFlag(false);
  }
  void SetNull() override {
    value_ = Value{};
    SetNullFlag(true);
  }

 protected:
  ValueVariable() noexcept : HbVariable(type) {}
  ~ValueVariable() override = default;

  Value value_{};
};

}  // namespace tmx

class TMX_EXPORT HbStringVariable : public tmx::ValueVariable<String, tmx::kStringType> {
 public:
  // Stores bytes without a text made of them; they may be part of the present one.
  void SetView(std::string_view bytes) {
    value_.Assign(bytes);
    SetNullFlag(false);
  }

 protected:
  ~HbStringVariable() override = default;
};

class TMX_EXPORT HbDateVariable : public tmx::ValueVariable<HbDate, tmx::kDateType> {
 protected:
  ~HbDateVariable() override = default;
};

// The variable's null flag and that of its time are two things: after Set with a null time the
// variable is not null.
class TMX_EXPORT HbTimeVariable : public tmx::ValueVariable<HbTime, tmx::kTimeType> {
 protected:
  ~HbTimeVariable() override = default;
};

class TMX_EXPORT HbIntVariable : public tmx::ValueVariable<std::int16_t, tmx::kInt16Type, short> {
 protected:
  ~HbIntVariable() override = default;
};

class TMX_EXPORT HbLongVariable : public tmx::ValueVariable<std::int32_t, tmx::kInt32Type, long> {
 protected:
  ~HbLongVariable() override = default;
};

class TMX_EXPORT HbFloatVariable : public tmx::ValueVariable<float, tmx::kFloatType, float> {
 protected:
  ~HbFloatVariable() override = default;
};

class TMX_EXPORT HbAmountVariable : public tmx::ValueVariable<HbAmount, tmx::kAmountType> {
 protected:
  ~HbAmountVariable() override = default;
};

class TMX_EXPORT HbBoolVariable : public tmx::ValueVariable<bool, tmx::kBoolType, bool> {
 protected:
  ~HbBoolVariable() override = default;
};

// A cell of bytes. It is null exactly when it has none.
class TMX_EXPORT HbBinaryVariable : public HbVariable {
 public:
  static constexpr tmx::VariableType kType = tmx::kBinaryType;

  HbBinaryVariable() noexcept : HbVariable(kType) {}

  const unsigned char* GetData() const noexcept { return data_.get(); }
  unsigned char* GetData() noexcept { return data_.get(); }
  unsigned long GetLength() const noexcept { return length_; }

  // Copies bytes, which may be the variable's own. Null and empty when memory ends.
  void Set(const unsigned char* data, unsigned long length);
  // Drops the bytes and makes room for `length` others, of unspecified value. Null, and the
  // variable null, for 0 or when memory ends.
  unsigned char* Alloc(unsigned long length);
  void SetNull() override;

  // The bytes as a text in which 0x00 and "?" are written as "?" and the inverted byte. False, and
  // the text unchanged, if it would be longer than 65529 bytes.
  bool Encode(String& text) const;
  // Reads such a text; a "?" at its very end is dropped.
  void Decode(const String& text);

 protected:
  ~HbBinaryVariable() override = default;

 private:
  std::unique_ptr<unsigned char[]> data_;
  std::uint32_t length_ = 0;
};
