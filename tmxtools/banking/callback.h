// What the kernel asks the user for.
#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "tmxtools/banking/object_link.h"
#include "tmxtools/banking/object_types.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/ref.h"
#include "tmxtools/platform/string.h"
#include "tmxtools/variables/variable.h"

class HbRequest;

// The control with which a host asks for a value, a number from 0 to 7. Only the host knows what
// they look like; the kernel passes on what macros say.
enum HbCallbackControlType : std::int32_t {
  HbCallbackControlDefault = 0,
  HbCallbackControlTan = 1,
  HbCallbackControlPin = 3,
  HbCallbackControlNewPin = 4,
  HbCallbackControlLast = 7,
};

// One value that is needed, and how the host is to ask for it. The host writes the value into the
// variable.
//
// Owner: its HbCallbackItems. It holds a reference on the variable, which may be null. Empty state:
// no label, control 0, any length, flag set. Threads: the variable's. Sets no codes.
class TMX_EXPORT HbCallbackItem {
 public:
  // No practical limit of the length.
  static constexpr unsigned short kAnyLength = 65529;

  HbCallbackItem(unsigned long var_id, HbVariable* value)
      : HbCallbackItem(var_id, value, String(), HbCallbackControlDefault, true, 0, kAnyLength) {}
  HbCallbackItem(unsigned long var_id, HbVariable* value, const String& label,
                 HbCallbackControlType type, bool flag, unsigned short min_len,
                 unsigned short max_len)
      : value_(tmx::Ref<HbVariable>::Share(value)),
        var_id_(static_cast<std::uint32_t>(var_id)),
        label_(label),
        type_(type),
        min_len_(min_len),
        max_len_(max_len),
        flag_(flag) {}
  HbCallbackItem(const HbCallbackItem&) = delete;
  HbCallbackItem& operator=(const HbCallbackItem&) = delete;

  // The field id of the value: 4096 is the PIN, 4099 the TAN, 4106 the new PIN.
  unsigned long GetVarId() const noexcept { return var_id_; }
  HbVariable* GetValue() const noexcept { return value_.Get(); }
  const String& GetLabel() const noexcept { return label_; }
  HbCallbackControlType GetButtonType() const noexcept { return type_; }
  // Both are spelled like this on purpose: hosts know them so.
  unsigned short GetMinLenght() const noexcept { return min_len_; }
  unsigned short GetMaxLenght() const noexcept { return max_len_; }
  // The host's; the kernel gives it no meaning.
  bool GetFlag() const noexcept { return flag_; }

 private:
  tmx::Ref<HbVariable> value_;
  std::uint32_t var_id_;
  String label_;
  HbCallbackControlType type_;
  unsigned short min_len_;
  unsigned short max_len_;
  bool flag_;
};

// The values that a dialog needs, in the order of their variable ids, at most 65535.
//
// Owner: its HbDialog or its maker. It owns its items. Empty state: no items. Threads: the
// variables'. Sets no codes.
class TMX_EXPORT HbCallbackItems {
 public:
  HbCallbackItems() = default;
  HbCallbackItems(const HbCallbackItems&) = delete;
  HbCallbackItems& operator=(const HbCallbackItems&) = delete;

  // Takes an item over in any case; null is ignored. An item that has the same id is destroyed
  // unless it is the same one. An item that cannot be kept, since there are 65535 or memory ends,
  // is destroyed.
  void Register(HbCallbackItem* item) noexcept;
  // Null without such an item.
  HbCallbackItem* GetItemById(unsigned long id) const noexcept;
  HbVariable* GetValue(unsigned long id) const noexcept;
  // In the order of ids, from 0; null behind the last.
  HbCallbackItem* GetItem(unsigned short index) const noexcept;
  unsigned short Count() const noexcept { return static_cast<unsigned short>(items_.size()); }
  // Makes an item's variable null. False without such an item.
  bool InvalidateValue(unsigned long id);
  void Clear() noexcept { items_.clear(); }

 private:
  std::map<std::uint32_t, std::unique_ptr<HbCallbackItem>> items_;
};

// What is handed to the host's security handler: the values to ask for, for which request, whose
// they are, and a text or a file to show.
//
// Owner: whoever calls the handler; it is valid during the call. It owns its texts alone; the items
// must outlive it, and the request becomes null when it dies. Empty state: kind 1, no texts, the
// issuer's values. Threads: the request's. Sets no codes.
class TMX_EXPORT HbCallbackData {
 public:
  // Enter the values; the same with a message to show.
  static constexpr unsigned long kEnterValues = 1;
  static constexpr unsigned long kEnterValuesWithMessage = 33;

  HbCallbackData(HbCallbackItems* parameters, HbRequest* request, bool storno);
  HbCallbackData(unsigned long kind, const String& message, HbCallbackItems* parameters,
                 HbRequest* request, bool storno);

  unsigned long GetKind() const noexcept { return kind_; }
  const String& GetMessage() const noexcept { return message_; }
  const String& GetFile() const noexcept { return file_; }
  void SetFile(const String& file) { file_ = file; }
  const HbRequest* GetRequest() const noexcept;
  HbCallbackItems* GetParameters() noexcept { return parameters_; }
  const HbCallbackItems* GetParameters() const noexcept { return parameters_; }
  // Whether a cancellation of an order needs the data.
  bool IsStorno() const noexcept { return storno_; }
  HbRole GetRequestedForRole() const noexcept { return requested_for_role_; }
  void SetRequestedForRole(HbRole role) noexcept { requested_for_role_ = role; }

 private:
  std::uint32_t kind_;
  String message_;
  String file_;
  tmx::ObjectPtr<const HbRequest> request_;
  HbCallbackItems* parameters_;
  bool storno_;
  HbRole requested_for_role_ = HbRoleIssuer;
};
