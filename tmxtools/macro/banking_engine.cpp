#include "tmxtools/macro/banking_engine.h"

#include <typeinfo>

#include "tmxtools/banking/dialog.h"
#include "tmxtools/banking/message.h"
#include "tmxtools/banking/request.h"
#include "tmxtools/macro/operands.h"

using tmx::kMalformed;

namespace {

constexpr unsigned short kNoMessageOrDialog = 17498;

}  // namespace

HbMacroEngine::HbMacroEngine(const String& macro_path) : MeMacroEngine(macro_path) {}

HbMacroEngine::~HbMacroEngine() = default;

void HbMacroEngine::SetRequest(HbRequest* request) {
  DropResponse();
  request_.Set(request);
  current_item_ = 1;
}

// Not in templates: there clang 14 forgets to destroy what such an assignment takes by value.
void HbMacroEngine::DropResponse() noexcept { response_ = {}; }

HbRequest* HbMacroEngine::GetRequest() const noexcept { return request_.Get(); }

// ---- dispatch ---------------------------------------------------------------------------------

void HbMacroEngine::Dispatch(unsigned short opcode, unsigned short count) {
  const tmx::Opcode* const row = tmx::FindOpcode(opcode);
  if (row == nullptr || row->engine != tmx::EngineKind::kBanking)
    return MeMacroEngine::Dispatch(opcode, count);
  if (!row->Accepts(count)) return SetMacroStatus(kMalformed);
  tmx::ByteOperands operands(*this);
  switch (opcode) {
#define TMX_CASE(number, command, ...) \
  case number:                         \
    return command(operands, count);
    TMX_BANKING_OPCODES(TMX_CASE)
#undef TMX_CASE
  }
}

const std::type_info& HbMacroEngine::DecodingType() const { return typeid(HbMacroEngine); }

// Of other commands than these and the generic engine's nothing is decoded.
bool HbMacroEngine::DispatchDecoded(unsigned short opcode, unsigned short count,
                                    tmx::DecodedOperands& operands) {
  switch (opcode) {
#define TMX_CASE(number, command) \
  case number:                    \
    command(operands, count);     \
    break;
    TMX_DECODED_BANKING_COMMANDS(TMX_CASE)
#undef TMX_CASE
  }
  return !operands.GaveUp();
}

// ---- the request's surroundings ---------------------------------------------------------------

HbMessage* HbMacroEngine::FindMessage() const noexcept {
  return HbMessage::FindLive(GetRequest()->GetClientData());
}

HbDialog* HbMacroEngine::GetCurrentDialog() {
  if (GetRequest() == nullptr) {
    SetStatus(kNoRequest);
    return nullptr;
  }
  const HbMessage* const message = FindMessage();
  if (message == nullptr) {
    SetStatus(kNoMessageOrDialog, "request has no message");
    return nullptr;
  }
  HbDialog* const dialog = HbDialog::FindLive(message->GetClientData());
  if (dialog == nullptr) SetStatus(kNoMessageOrDialog, "request has no dialog");
  return dialog;
}

const HbUser* HbMacroEngine::FindUser(int role) {
  const HbUser* const user = GetRequest()->GetUser(static_cast<HbRole>(role));
  if (user == nullptr) SetMacroStatus(kMalformed);
  return user;
}

HbSegment* HbMacroEngine::RequestItem(unsigned short number) const {
  const HbRequest& request = *GetRequest();
  if (number == 0 || number > request.ReqItemCount()) return nullptr;
  return request.GetReqItem(static_cast<unsigned short>(number - 1));
}

void HbMacroEngine::ResetHolderOfClass(unsigned short holder_class, HbVariables* registry) {
  const HbCallStack* const stack = GetCallStack();
  if (stack == nullptr) return;
  for (unsigned short f = 0; f < stack->Count(); ++f) {
    const HbStackFrame& frame = *(*stack)[f];
    for (unsigned short h = 0; h < frame.GetHolderCount(); ++h) {
      HbVariableHolder& holder = *frame.GetHolderByPos(h);
      if (holder.GetHolderClass() != holder_class) continue;
      holder.SetVariable(nullptr);
      holder.Bind(registry, holder.GetRegistryId(), holder_class);
    }
  }
  NotifyVariablesChanged();
}
