// The commands that ask the user for secrets and forget them.

#include <array>
#include <memory>

#include "tmxtools/banking/callback.h"
#include "tmxtools/banking/dialog.h"
#include "tmxtools/banking/request.h"
#include "tmxtools/macro/banking_engine.h"
#include "tmxtools/macro/operands.h"

using tmx::kMalformed;

namespace {

constexpr unsigned short kNoData = 17497;

// Empties the list of what a dialog asks for, however the question ends.
class ItemsCleaner {
 public:
  explicit ItemsCleaner(HbDialog& dialog) : dialog_(&dialog) {}
  ~ItemsCleaner() {
    if (HbDialog* const dialog = dialog_.Get()) dialog->GetCallbackItems()->Clear();
  }
  ItemsCleaner(const ItemsCleaner&) = delete;
  ItemsCleaner& operator=(const ItemsCleaner&) = delete;

 private:
  tmx::ObjectPtr<HbDialog> dialog_;
};

}  // namespace

// How the user is asked for a value.
struct HbMacroEngine::Prompt {
  String label;
  short control = 0;
  bool flag = true;
  short minimum = 0;
  short maximum = 0;

  // Whether the control is one; makes a range of lengths of the limits. 65529 stands for no limit,
  // in the 16 bits of a macro's integer -7.
  bool Normalize() {
    if (minimum < 0) minimum = 0;
    if (minimum > maximum) maximum = static_cast<short>(HbCallbackItem::kAnyLength);
    return control >= HbCallbackControlDefault && control <= HbCallbackControlLast;
  }
  // The question for a field that every macro asks for in the same way. False for other fields.
  bool SetFixed(unsigned long field_id);
};

bool HbMacroEngine::Prompt::SetFixed(unsigned long field_id) {
  struct Fixed {
    unsigned long field_id;
    const char* label;
    HbCallbackControlType control;
    short length;
  };
  static constexpr std::array kFixed = {
      Fixed{4096, "PIN", HbCallbackControlPin, 5},
      Fixed{4099, "TAN", HbCallbackControlTan, 6},
      Fixed{4106, "neue PIN", HbCallbackControlNewPin, 5},
  };
  for (const Fixed& fixed : kFixed) {
    if (fixed.field_id != field_id) continue;
    *this = {fixed.label, static_cast<short>(fixed.control), true, fixed.length, fixed.length};
    return true;
  }
  return false;
}

// ---- asking -----------------------------------------------------------------------------------

template <class Operands>
void HbMacroEngine::CmdNeeds(Operands& in, int count) {
  const short id = in.RawId();
  if (in.Ok() && id < tmx::kFirstVariableTag) SetMacroStatus(kMalformed);
  Prompt prompt;
  if (count == 6) {
    prompt.label = in.Text();
    prompt.control = in.Int();
    prompt.flag = in.Bool();
    prompt.minimum = in.Int();
    prompt.maximum = in.Int();
  }
  if (!in.Ok()) return;
  if (HbDialog* const dialog = GetCurrentDialog()) Ask(*dialog, id, count == 6 ? &prompt : nullptr);
}
TMX_BANKING_BYTE_COMMAND(CmdNeeds);

// Enters a question for the holder's variable, which is made if need be. Nothing is asked for a
// variable that has a value or that is asked for already.
void HbMacroEngine::Ask(HbDialog& dialog, short id, const Prompt* given) {
  HbVariableHolder* const holder = GetCurFrame()->GetHolder(id);
  if (holder == nullptr) return SetMacroStatus(kMalformed);
  const unsigned long field_id = holder->GetRegistryId();
  HbVariables* const registry = holder->GetRegistry();
  if (holder->GetVariable() == nullptr) {
    if (registry == nullptr) return SetMacroStatus(kMalformed);
    holder->SetVariable((*registry)[field_id]);
  }
  if (holder->GetVariable() != nullptr && !holder->GetVariable()->IsNull()) return;
  HbCallbackItems& items = *dialog.GetCallbackItems();
  if (items.GetItemById(field_id) != nullptr) return;
  if (holder->GetVariable() == nullptr) {
    const tmx::NewVariable<HbVariable> created(
        HbVariables::CreateVariable(tmx::StorageType(holder->GetType())));
    if (created == nullptr) return SetMacroStatus(kMalformed);
    holder->SetVariable(created.get());
    registry->Register(field_id, created.get());
  }
  Prompt prompt;
  if (given != nullptr) prompt = *given;
  if (given != nullptr ? !prompt.Normalize() : !prompt.SetFixed(field_id))
    return SetMacroStatus(kMalformed);
  auto item = std::make_unique<HbCallbackItem>(
      field_id, holder->GetVariable(), prompt.label,
      static_cast<HbCallbackControlType>(prompt.control), prompt.flag,
      static_cast<unsigned short>(prompt.minimum), static_cast<unsigned short>(prompt.maximum));
  items.Register(item.release());
}

// The handler may do anything: stop the run, change the request, destroy the dialog.
template <class Operands>
void HbMacroEngine::CmdSecurityDialog(Operands& in, int count) {
  String text;
  if (count == 1) text = in.Text();
  if (!in.Ok()) return;
  HbDialog* const dialog = GetCurrentDialog();
  if (dialog == nullptr) return;
  const ItemsCleaner cleaner(*dialog);
  HbCallbackData data(
      text.Len() == 0 ? HbCallbackData::kEnterValues : HbCallbackData::kEnterValuesWithMessage,
      text, dialog->GetCallbackItems(), GetRequest(), false);
  const Link handler = security_handler_;
  const bool supplied = handler.Call(&data) != 0;
  if (GetCurFrame() == nullptr) return;
  if (!supplied) SetLastCmdError(kNoData);
  NotifyVariablesChanged();
}
TMX_BANKING_BYTE_COMMAND(CmdSecurityDialog);

// ---- forgetting -------------------------------------------------------------------------------

template <class Operands>
void HbMacroEngine::CmdInvalidateSecurityVar(Operands& in, int) {
  const short id = in.RawId();
  HbVariableHolder* const holder = in.Ok() ? GetCurFrame()->GetHolder(id) : nullptr;
  if (holder == nullptr) return;
  HbVariable* variable = holder->GetVariable();
  if (variable == nullptr && holder->GetRegistry() != nullptr)
    variable = (*holder->GetRegistry())[holder->GetRegistryId()];
  if (variable != nullptr) variable->SetNull();
  holder->SetVariable(nullptr);
  NotifyVariablesChanged();
}
TMX_BANKING_BYTE_COMMAND(CmdInvalidateSecurityVar);
