#pragma once

#include "tmxtools/banking/object_link.h"
#include "tmxtools/banking/segment.h"
#include "tmxtools/banking/user_types.h"
#include "tmxtools/macro/engine.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/link.h"
#include "tmxtools/platform/ref.h"
#include "tmxtools/platform/string.h"
#include "tmxtools/variables/variables.h"

class HbDialog;
class HbMessage;
class HbRequest;
class HbUser;

// Executes macros that work for a request: beside the commands of the generic engine those that
// bind variables to the request's values and items, to the response under construction, to the
// parameter data of the request's issuer and to the security variables of the dialog; that ask the
// user for what is missing; and that record return codes.
//
//   HbMacroEngine engine("/path");
//   engine.SetSecurityHdl(Link(&AskTheUser));
//   engine.SetRequest(&request);
//   request.SetClientData(&message);
//   message.SetClientData(&dialog);
//   engine.Call(engine.LoadSub("Balance", err), err);
//
// Client data are where the engine looks for the message and the dialog.
//
// Holders are bound to registries that the engine does not own; a registry that dies leaves its
// holders without one. The security handler and subclasses of requests may use Stop, Call (refused
// with 17499), PushFile, PopFile, ClearFiles and SetRequest, as may the observer.
//
// Owner: the host. It owns the response under construction; the request is the host's, and one that
// dies counts as none. Empty state: no request, no handler. Threads: one at a time, together with
// the request's tree. Codes: those of the generic engine; 17490 also for a holder, a segment of
// parameters or a user that is missing; 17497 (of the last command) when the user gave no data;
// 17498 "request has no message" or "request has no dialog"; 17501 without a request.
class TMX_EXPORT HbMacroEngine : public MeMacroEngine {
 public:
  // The classes of holders beside those of HbVariableHolder.
  enum HolderClass : unsigned short {
    kRequestValues = 4,
    kRequestItem = 5,
    kResponse = 6,
    kBankParameters = 7,
    kUserParameters = 8,
    kSecurity = HbVariableHolder::kSecret,
  };

  explicit HbMacroEngine(const String& macro_path);
  ~HbMacroEngine() override;

  // Drops the response under construction and begins with the first request item. Null is no
  // request.
  void SetRequest(HbRequest* request);
  HbRequest* GetRequest() const noexcept;
  // Called with an HbCallbackData; gives non-zero when the user supplied the data.
  void SetSecurityHdl(const Link& handler) { security_handler_ = handler; }

  // The response under construction, null without one.
  HbSegment* GetResponse() const noexcept { return response_.Get(); }
  // Counted from 1; 0 before the first request.
  unsigned short GetCurrentRequestItem() const noexcept { return current_item_; }

 protected:
  void Dispatch(unsigned short opcode, unsigned short count) override;
  // The dialog of the request's message. Null after setting 17501 or 17498.
  HbDialog* GetCurrentDialog();
  // Binds the holders of a class in all frames to a registry, which may be null; they forget their
  // variables.
  void ResetHolderOfClass(unsigned short holder_class, HbVariables* registry);

 private:
  struct Declaration;
  struct Prompt;

  const std::type_info& DecodingType() const override;
  bool DispatchDecoded(unsigned short opcode, unsigned short count,
                       tmx::DecodedOperands& operands) override;

  void DropResponse() noexcept;
  // Whether all operands were read and there is a request; 17501 without one.
  template <class Operands>
  bool HasRequest(const Operands& in) {
    if (in.GaveUp()) return false;
    if (GetRequest() == nullptr) {
      SetMacroStatus(kNoRequest);
      return false;
    }
    return in.Ok();
  }
  // The live message that the request's client data names, or null. There must be a request.
  HbMessage* FindMessage() const noexcept;
  // The request's user in a role. Null after setting 17490.
  const HbUser* FindUser(int role);
  HbSegment* RequestItem(unsigned short number) const;
  template <class Operands>
  static Declaration ReadDeclaration(Operands& in);
  void Declare(const Declaration& declaration, HolderClass holder_class, HbVariables* registry);
  void DeclareBankParameter(const Declaration& declaration, const String& name,
                            unsigned short version, bool is_segment_name);
  // The holder of a group's field. Null after setting 17490.
  HbVariableHolder* FindGroupHolder(short id);
  void MoveGroupHolder(HbVariableHolder& holder, std::uint32_t field_id);
  void Ask(HbDialog& dialog, short id, const Prompt* prompt);

  static constexpr unsigned short kNoRequest = 17501;

  // Each command of the table, reading its operands from the bytes or from decoded code.
#define TMX_DECLARE_COMMAND(number, command, ...) \
  template <class Operands>                       \
  void command(Operands& in, int count);
  TMX_BANKING_OPCODES(TMX_DECLARE_COMMAND)
#undef TMX_DECLARE_COMMAND

  Link security_handler_;
  tmx::ObjectPtr<HbRequest> request_;
  unsigned short current_item_ = 0;
  tmx::Ref<HbSegment> response_;
};
