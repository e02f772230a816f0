#include "tmxtools/banking/object.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>

#include "tmxtools/banking/field_ids.h"
#include "tmxtools/core/error.h"
#include "tmxtools/platform/ref.h"
#include "tmxtools/textres/message_resolver.h"

namespace {

constexpr unsigned short kFirstStatusText = 2701;

tmx::Ref<HbSegment> NewErrorResponse() {
  return tmx::MakeRef<HbSegment>("INERR", static_cast<unsigned short>(1));
}

// Codes that stand for themselves, everything else for its kind.
struct ReturnCode {
  HbStatus status;
  short code;
};

ReturnCode ReturnCodeOf(const HbError& error) {
  switch (error.GetErrKind()) {
    case ErrKindNone:
      return {HbStatusSuccess, 999};
    case ErrKindWarning:
      return {HbStatusWarning, 3999};
    default:
      break;
  }
  // An error although the code is in the range of warnings; that is kept on purpose.
  if (error.GetCode() == 18444) return {HbStatusError, 3210};
  if (error.GetCode() == 18593) return {HbStatusError, 9000};
  return {HbStatusError, 9999};
}

void PutReturnCode(HbSegment& response, unsigned long group, short code, const String* text,
                   const String& param_text) {
  const unsigned long offset = group * tmx::kReturnCodeStep;
  response.PutFieldInt16(code, tmx::kReturnCodeField + offset);
  if (text != nullptr) response.PutFieldString(*text, tmx::kReturnTextField + offset);
  if (!param_text.IsEmpty()) response.PutFieldString(param_text, tmx::kReturnParamField + offset);
}

template <class Operation>
void ForEachChild(const HbObject& object, Operation operation) {
  // Children may come and go meanwhile.
  for (unsigned short i = 0; i < object.GetChildCount(); ++i) {
    if (HbObject* const child = object.GetChild(i)) operation(*child);
  }
}

}  // namespace

HbObject::~HbObject() {
  while (links_ != nullptr) {
    tmx::ObjectLink* const link = links_;
    link->Unbind();
    if (link->list_ != nullptr) link->list_->ObjectDied(link);
  }
  // An array does not give up its references on its own.
  ClearResponses();
}

void HbObject::Reset() {
  status_ = HbStatusOpen;
  ClearResponses();
  ForEachChild(*this, [](HbObject& child) { child.Reset(); });
}

void HbObject::Cancel() {
  status_ = std::max(status_, HbStatusCancelled);
  ForEachChild(*this, [](HbObject& child) { child.Cancel(); });
}

void HbObject::Skip() {
  status_ = std::max(status_, HbStatusSkipped);
  ForEachChild(*this, [](HbObject& child) { child.Skip(); });
}

HbObject* HbObject::GetChild(unsigned short /*index*/) const { return nullptr; }

void HbObject::RaiseStatus(HbStatus status) {
  if (status_ == HbStatusSuccess || status > status_) status_ = status;
}

void HbObject::InsertErrorResponse(unsigned short code, HbStatus status, const String& text,
                                   const String& param_text) {
  RaiseStatus(status);
  const auto response = NewErrorResponse();
  PutReturnCode(*response, 0, static_cast<short>(code), &text, param_text);
  responses_.Insert(response.Get());
}

void HbObject::InsertErrorResponse(const HbError& error) {
  if (!error.IsSet()) return;
  const auto response = NewErrorResponse();
  unsigned long group = 0;
  for (const HbError* cause = &error; cause != nullptr && cause->IsSet();
       cause = cause->GetPrev()) {
    const ReturnCode return_code = ReturnCodeOf(*cause);
    RaiseStatus(return_code.status);
    PutReturnCode(*response, group++, return_code.code, cause->GetText(), *cause->GetParamText());
  }
  responses_.Insert(response.Get());
}

void HbObject::InsertResponse(HbSegment* segment) { responses_.Insert(segment); }

String HbObject::GetStatusText(HbStatus status) {
  const bool is_known = status >= HbStatusOpen && status <= HbStatusSuccess;
  const auto code =
      static_cast<unsigned short>(kFirstStatusText + (is_known ? status : HbStatusSuccess + 1));
  MessageResolverManager& manager = *MessageResolverManager::getInstance();
  if (!manager.canResolve(code)) return String();
  return String(std::string_view(manager.getMessage(code)).substr(0, String::MaxLen));
}

bool HbObject::IsSuccess() const {
  const HbStatus status = GetStatus();
  return status == HbStatusSuccess || status == HbStatusWarning;
}

bool HbObject::IsAborted() const {
  const HbStatus status = GetStatus();
  return status == HbStatusError || status == HbStatusSkipped || status == HbStatusCancelled;
}

HbSegment* HbObject::GetResponseWithName(unsigned short& index, const char* name) const {
  for (unsigned short i = index; i < ResponseCount(); ++i) {
    HbSegment* const response = GetResponse(i);
    if (response->GetSegmentKennung() != name) continue;
    index = i;
    return response;
  }
  index = 0;
  return nullptr;
}

void HbObject::RemoveResponse(HbSegment& segment) noexcept {
  try {
    RemoveResponse(responses_.GetPos(&segment));
  } catch (const std::out_of_range&) {
    // It is not there, as is asked for.
  }
}

unsigned short HbObject::GetChildCountRecursiveTotal() const {
  unsigned short count = 0;
  ForEachChild(*this, [&count](const HbObject& child) {
    count = static_cast<unsigned short>(count + child.GetChildCountRecursiveTotal());
  });
  return count;
}

unsigned short HbObject::GetChildCountRecursiveSuccessful() const {
  unsigned short count = 0;
  if (!IsSuccess()) return count;
  ForEachChild(*this, [&count](const HbObject& child) {
    count = static_cast<unsigned short>(count + child.GetChildCountRecursiveSuccessful());
  });
  return count;
}

short HbObject::GetIndexFromRole(HbRole role) const noexcept {
  switch (role) {
    case HbRoleIssuer:
      return 0;
    case HbRoleCosigner:
      return 1;
    case HbRoleTransmitter:
      return 2;
  }
  return -1;
}

void HbObject::UpdateStatusFromHIRMxSegment(HbSegment* segment) {
  short code = 0;
  for (unsigned long field = tmx::kReturnCodeField; segment->GetFieldInt16(code, field);
       field += tmx::kReturnCodeStep) {
    if (code >= 9000 && code <= 9999) {
      status_ = HbStatusError;
    } else if (status_ < HbStatusWarning && code >= 1 && code <= 999) {
      status_ = HbStatusSuccess;
    } else if (status_ < HbStatusWarning && code >= 3000 && code <= 3999) {
      status_ = HbStatusWarning;
    }
  }
}
