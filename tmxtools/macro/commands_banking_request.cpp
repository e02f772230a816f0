// The commands that record return codes, build responses and tell about the request's users.

#include <array>
#include <utility>

#include "tmxtools/banking/message.h"
#include "tmxtools/banking/request.h"
#include "tmxtools/banking/user.h"
#include "tmxtools/macro/banking_engine.h"
#include "tmxtools/macro/operands.h"

using tmx::kMalformed;
using tmx::TypeCode;

// ---- return codes -----------------------------------------------------------------------------

// What comes after the request succeeded concerns its message, if it has one.
template <class Operands>
void HbMacroEngine::CmdAddRespCode(Operands& in, int count) {
  const auto code = static_cast<unsigned short>(in.Int());
  String text;
  for (int i = 1; i < count && in.Ok(); ++i) {
    if (i > 1) text += ' ';
    text += in.AnyText();
  }
  if (!HasRequest(in)) return;
  HbRequest& request = *GetRequest();
  if (code == 0) return request.SetSuccess();
  const HbError error(code, text);
  HbObject* target = &request;
  if (request.GetStatus() == HbStatusSuccess)
    if (HbMessage* const message = FindMessage()) target = message;
  target->InsertErrorResponse(error);
}
TMX_BANKING_BYTE_COMMAND(CmdAddRespCode);

template <class Operands>
void HbMacroEngine::CmdReqSuccess(Operands&, int) {
  if (HbRequest* const request = GetRequest()) request->SetSuccess();
}
TMX_BANKING_COMMAND(CmdReqSuccess);

// ---- responses --------------------------------------------------------------------------------

// Another count, or no request, only drops the response and leaves all operands unread.
template <class Operands>
void HbMacroEngine::CmdCreateResponse(Operands& in, int count) {
  DropResponse();
  if (count != 1 || GetRequest() == nullptr) return;
  const String& identifier = in.Text();
  if (identifier.Len() == 0) return SetMacroStatus(kMalformed);
  if (!in.Ok() || GetRequest() == nullptr) return;
  response_ = tmx::MakeRef<HbSegment>(identifier, GetRequest()->GetRequestVersion());
  ResetHolderOfClass(kResponse, response_.Get());
}
TMX_BANKING_BYTE_COMMAND(CmdCreateResponse);

// The engine lets go of the response first: a request may do anything when it gets one.
template <class Operands>
void HbMacroEngine::CmdCommitResponse(Operands&, int) {
  if (!response_ || GetRequest() == nullptr) return;
  const tmx::Ref<HbSegment> response = std::exchange(response_, {});
  GetRequest()->InsertResponse(response.Get());
  if (GetCurFrame() != nullptr) ResetHolderOfClass(kResponse, nullptr);
}
TMX_BANKING_BYTE_COMMAND(CmdCommitResponse);

// ---- users ------------------------------------------------------------------------------------

template <class Operands>
void HbMacroEngine::CmdGetReqUserFlags(Operands& in, int) {
  if (GetRequest() == nullptr) return SetMacroStatus(kMalformed);
  auto* const target = static_cast<HbStringVariable*>(in.Variable(TypeCode::kString));
  const short role = in.Int();
  if (!HasRequest(in)) return;
  String flags;
  for (const HbRole one : {HbRoleIssuer, HbRoleCosigner, HbRoleTransmitter}) {
    const HbUser* const user = GetRequest()->GetUser(one);
    const bool signs = user != nullptr && (role == 0 || role == one) && user->GetMode() != 0;
    flags += signs ? '1' : '0';
  }
  target->Set(flags);
  NotifyVariablesChanged();
}
TMX_BANKING_BYTE_COMMAND(CmdGetReqUserFlags);

template <class Operands>
void HbMacroEngine::CmdGetReqSignCount(Operands& in, int) {
  if (GetRequest() == nullptr) return SetMacroStatus(kMalformed);
  auto* const target = static_cast<HbIntVariable*>(in.Variable(TypeCode::kInt));
  if (!HasRequest(in)) return;
  target->Set(static_cast<short>(GetRequest()->GetNumSigsNeeded()));
  NotifyVariablesChanged();
}
TMX_BANKING_BYTE_COMMAND(CmdGetReqSignCount);

template <class Operands>
void HbMacroEngine::CmdGetUserName(Operands& in, int) {
  auto* const target = static_cast<HbStringVariable*>(in.Variable(TypeCode::kString));
  const short role = in.RawId();
  if (!HasRequest(in)) return;
  if (const HbUser* const user = FindUser(role)) target->Set(user->GetBenutzerName());
}
TMX_BANKING_BYTE_COMMAND(CmdGetUserName);

template <class Operands>
void HbMacroEngine::CmdGetUserBlz(Operands& in, int) {
  auto* const target = static_cast<HbStringVariable*>(in.Variable(TypeCode::kString));
  const short role = in.RawId();
  if (!HasRequest(in)) return;
  if (const HbUser* const user = FindUser(role)) target->Set(user->GetKIKKreditsinstitutscode());
}
TMX_BANKING_BYTE_COMMAND(CmdGetUserBlz);

template <class Operands>
void HbMacroEngine::CmdGetUserRpdId(Operands& in, int) {
  auto* const target = static_cast<HbIntVariable*>(in.Variable(TypeCode::kInt));
  if (!HasRequest(in)) return;
  if (const HbUser* const user = FindUser(HbRoleIssuer))
    target->Set(static_cast<short>(user->GetRpdId()));
}
TMX_BANKING_BYTE_COMMAND(CmdGetUserRpdId);

template <class Operands>
void HbMacroEngine::CmdGetUserHbciVersion(Operands& in, int) {
  auto* const target = static_cast<HbIntVariable*>(in.Variable(TypeCode::kInt));
  const short role = in.RawId();
  if (!HasRequest(in)) return;
  if (const HbUser* const user = FindUser(role))
    target->Set(static_cast<short>(user->GetHbciVersion()));
}
TMX_BANKING_BYTE_COMMAND(CmdGetUserHbciVersion);
