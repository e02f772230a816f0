#include "tmxtools/banking/callback.h"

#include <iterator>
#include <new>

#include "tmxtools/banking/request.h"

void HbCallbackItems::Register(HbCallbackItem* item) noexcept {
  if (item == nullptr || item == GetItemById(item->GetVarId())) return;
  std::unique_ptr<HbCallbackItem> owned(item);
  const auto id = static_cast<std::uint32_t>(item->GetVarId());
  if (items_.size() == UINT16_MAX && !items_.contains(id)) return;
  try {
    items_.insert_or_assign(id, std::move(owned));
  } catch (const std::bad_alloc&) {
    // The item goes the way of all that cannot be kept.
  }
}

HbCallbackItem* HbCallbackItems::GetItemById(unsigned long id) const noexcept {
  if (id > UINT32_MAX) return nullptr;
  const auto found = items_.find(static_cast<std::uint32_t>(id));
  return found != items_.end() ? found->second.get() : nullptr;
}

HbVariable* HbCallbackItems::GetValue(unsigned long id) const noexcept {
  const HbCallbackItem* const item = GetItemById(id);
  return item != nullptr ? item->GetValue() : nullptr;
}

HbCallbackItem* HbCallbackItems::GetItem(unsigned short index) const noexcept {
  return index < items_.size() ? std::next(items_.begin(), index)->second.get() : nullptr;
}

bool HbCallbackItems::InvalidateValue(unsigned long id) {
  const HbCallbackItem* const item = GetItemById(id);
  if (item == nullptr) return false;
  if (item->GetValue() != nullptr) item->GetValue()->SetNull();
  return true;
}

HbCallbackData::HbCallbackData(HbCallbackItems* parameters, HbRequest* request, bool storno)
    : HbCallbackData(kEnterValues, String(), parameters, request, storno) {}

HbCallbackData::HbCallbackData(unsigned long kind, const String& message,
                               HbCallbackItems* parameters, HbRequest* request, bool storno)
    : kind_(static_cast<std::uint32_t>(kind)),
      message_(message),
      request_(request),
      parameters_(parameters),
      storno_(storno) {}

const HbRequest* HbCallbackData::GetRequest() const noexcept { return request_.Get(); }
