// The commands that declare variables of segments and choose the segments and fields behind them.

#include "tmxtools/banking/dialog.h"
#include "tmxtools/banking/request.h"
#include "tmxtools/banking/user.h"
#include "tmxtools/macro/banking_engine.h"
#include "tmxtools/macro/operands.h"

using tmx::kMalformed;

// What every declaration says.
struct HbMacroEngine::Declaration {
  unsigned short type;
  short id;
  std::uint32_t field_id;
};

// ---- declarations -----------------------------------------------------------------------------

template <class Operands>
HbMacroEngine::Declaration HbMacroEngine::ReadDeclaration(Operands& in) {
  Declaration declaration{};
  declaration.type = in.RawByte();
  declaration.id = in.RawId();
  declaration.field_id = static_cast<std::uint32_t>(in.RawLong());
  return declaration;
}

// A holder that exists keeps its type and its variable. The ids of new ones are dense.
void HbMacroEngine::Declare(const Declaration& declaration, HolderClass holder_class,
                            HbVariables* registry) {
  HbStackFrame& frame = *GetCurFrame();
  if (HbVariableHolder* const existing = frame.GetHolder(declaration.id))
    return existing->Bind(registry, declaration.field_id, holder_class);
  frame.AppendHolder(declaration.type, holder_class)
      .Bind(registry, declaration.field_id, holder_class);
  NotifyVariablesChanged();
  if (GetCurFrame() != nullptr &&
      static_cast<unsigned short>(declaration.id) != GetCurFrame()->GetMaxVarId())
    SetMacroStatus(kMalformed);
}

template <class Operands>
void HbMacroEngine::CmdHolderResponse(Operands& in, int) {
  const Declaration declaration = ReadDeclaration(in);
  if (in.Ok()) Declare(declaration, kResponse, response_.Get());
}
TMX_BANKING_COMMAND(CmdHolderResponse);

template <class Operands>
void HbMacroEngine::CmdHolderSecurity(Operands& in, int) {
  const Declaration declaration = ReadDeclaration(in);
  if (!HasRequest(in)) return;
  if (HbDialog* const dialog = GetCurrentDialog())
    Declare(declaration, kSecurity, &dialog->GetSecurityVariables());
}
TMX_BANKING_COMMAND(CmdHolderSecurity);

template <class Operands>
void HbMacroEngine::CmdHolderRequest(Operands& in, int) {
  const Declaration declaration = ReadDeclaration(in);
  if (HasRequest(in)) Declare(declaration, kRequestValues, &GetRequest()->GetValues());
}
TMX_BANKING_COMMAND(CmdHolderRequest);

template <class Operands>
void HbMacroEngine::CmdHolderRequestItem(Operands& in, int) {
  const Declaration declaration = ReadDeclaration(in);
  if (HasRequest(in)) Declare(declaration, kRequestItem, RequestItem(current_item_));
}
TMX_BANKING_COMMAND(CmdHolderRequestItem);

// Without a registry until CmdGotoUPD chooses one.
template <class Operands>
void HbMacroEngine::CmdHolderUpd(Operands& in, int) {
  const Declaration declaration = ReadDeclaration(in);
  if (in.Ok()) Declare(declaration, kUserParameters, nullptr);
}
TMX_BANKING_COMMAND(CmdHolderUpd);

void HbMacroEngine::DeclareBankParameter(const Declaration& declaration, const String& name,
                                         unsigned short version, bool is_segment_name) {
  const HbUser* const issuer = FindUser(HbRoleIssuer);
  if (issuer == nullptr) return;
  HbSegment* const segment = issuer->GetBPDSegment(name, version, is_segment_name);
  if (segment == nullptr) return SetMacroStatus(kMalformed);
  Declare(declaration, kBankParameters, segment);
}

template <class Operands>
void HbMacroEngine::CmdHolderRequestBpd(Operands& in, int) {
  const Declaration declaration = ReadDeclaration(in);
  if (!HasRequest(in)) return;
  const HbRequest& request = *GetRequest();
  DeclareBankParameter(declaration, request.GetRequestName(), request.GetRequestVersion(), false);
}
TMX_BANKING_COMMAND(CmdHolderRequestBpd);

template <class Operands>
void HbMacroEngine::CmdHolderGeneralBpd(Operands& in, int) {
  const Declaration declaration = ReadDeclaration(in);
  const String& name = in.RawString();
  const auto version = static_cast<unsigned short>(in.RawId());
  if (HasRequest(in)) DeclareBankParameter(declaration, name, version, true);
}
TMX_BANKING_COMMAND(CmdHolderGeneralBpd);

// ---- segments ---------------------------------------------------------------------------------

template <class Operands>
void HbMacroEngine::CmdGotoUPD(Operands& in, int) {
  const auto index = static_cast<unsigned short>(in.Int());
  if (!HasRequest(in)) return;
  const HbUser* const issuer = FindUser(HbRoleIssuer);
  if (issuer == nullptr) return;
  ResetHolderOfClass(kUserParameters,
                     index < issuer->UPDSegmentCount() ? issuer->GetUPDSegment(index) : nullptr);
}
TMX_BANKING_COMMAND(CmdGotoUPD);

template <class Operands>
void HbMacroEngine::CmdSetCurrentRequestItem(Operands& in, int) {
  const auto number = static_cast<unsigned short>(in.Int());
  if (!HasRequest(in) || number == current_item_) return;
  current_item_ = number;
  ResetHolderOfClass(kRequestItem, RequestItem(number));
}
TMX_BANKING_COMMAND(CmdSetCurrentRequestItem);

// ---- groups of fields -------------------------------------------------------------------------

// The frame's last holder cannot be one of a group; that is meant so.
HbVariableHolder* HbMacroEngine::FindGroupHolder(short id) {
  HbVariableHolder* const holder = GetCurFrame()->GetHolder(id);
  if (holder != nullptr && id < GetCurFrame()->GetMaxVarId()) return holder;
  SetMacroStatus(kMalformed);
  return nullptr;
}

void HbMacroEngine::MoveGroupHolder(HbVariableHolder& holder, std::uint32_t field_id) {
  holder.SetVariable(nullptr);
  holder.Bind(holder.GetRegistry(), field_id, holder.GetHolderClass());
  NotifyVariablesChanged();
}

template <class Operands>
void HbMacroEngine::CmdFirstDEG(Operands& in, int) {
  const short id = in.RawId();
  const auto start = static_cast<std::uint32_t>(in.Long());
  if (!in.Ok()) return;
  HbVariableHolder* const holder = FindGroupHolder(id);
  if (holder != nullptr && holder->GetRegistryId() != start) MoveGroupHolder(*holder, start);
}
TMX_BANKING_COMMAND(CmdFirstDEG);

template <class Operands>
void HbMacroEngine::CmdNextDEG(Operands& in, int) {
  const short id = in.RawId();
  const auto step = static_cast<std::uint32_t>(in.Long());
  if (!in.Ok()) return;
  if (HbVariableHolder* const holder = FindGroupHolder(id))
    MoveGroupHolder(*holder, static_cast<std::uint32_t>(holder->GetRegistryId()) + step);
}
TMX_BANKING_COMMAND(CmdNextDEG);

template <class Operands>
void HbMacroEngine::CmdGotoDEG(Operands& in, int) {
  const short id = in.RawId();
  const auto base = static_cast<std::uint32_t>(in.Long());
  const auto stride = static_cast<std::uint32_t>(in.Long());
  const std::uint32_t index = static_cast<unsigned short>(in.Int());
  if (!in.Ok()) return;
  const std::uint32_t field_id = index * stride + base;
  HbVariableHolder* const holder = FindGroupHolder(id);
  if (holder != nullptr && holder->GetRegistryId() != field_id) MoveGroupHolder(*holder, field_id);
}
TMX_BANKING_COMMAND(CmdGotoDEG);
