// One of the bank's two-step procedures.
#pragma once

#include <optional>
#include <string>

#include "demo/segments/fields.h"
#include "tmxtools/banking/user.h"

namespace tmx::demo {

inline constexpr const char* kOneStep = "999";  // the security function without a TAN

// What HITANS says about a procedure. Owner: its maker; the user's parameters must outlive it, and
// taking others over ends it. Threads: the user's.
class TanProcedure {
 public:
  // The newest version that describes a security function.
  static std::optional<TanProcedure> Find(const HbUser& user, const std::string& function);

  // Of the HKTAN to be sent.
  unsigned short Version() const { return parameters_->GetSegmentVersion(); }
  std::string Text(unsigned long field) const;
  long Number(unsigned long field, long otherwise) const;
  // Whether the order is sent first and its TAN afterwards.
  bool SendsOrderFirst() const;
  bool NeedsMedium() const;
  // Whether HKTAN names a class of its challenge.
  bool NeedsChallengeClass() const;
  // Whether HKTAN names the account of its order.
  bool NamesOrderAccount() const;
  // Whether HKTAN names an account that pays for messages with TANs.
  bool NamesPayingAccount() const;
  // Whether orders are confirmed on another device. If so: whether the client may ask the bank by
  // itself if that was done, and whether it may when the user says that it was.
  bool IsDecoupled() const { return Text(field::kProcedureZkaName).starts_with("Decoupled"); }
  bool AllowsAutomaticQuestions() const { return Flag(field::kProcedureAutomatic); }
  bool AllowsManualQuestions() const { return Flag(field::kProcedureManual); }

 private:
  TanProcedure(const HbSegment& parameters, unsigned long offset)
      : parameters_(&parameters), offset_(offset) {}

  // Of a yes or no; yes without one.
  bool Flag(unsigned long field) const;

  const HbSegment* parameters_;
  unsigned long offset_;  // of the procedure's fields from those of the first
};

}  // namespace tmx::demo
