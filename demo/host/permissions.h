// What the parameters of bank and user allow.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "demo/host/bank_account.h"
#include "demo/host/report.h"
#include "tmxtools/banking/user.h"
#include "tmxtools/core/amount.h"

namespace tmx::demo {

// Asked before a request is built. Where something is forbidden, the report says which parameter
// forbids it. Conversations have one signature a message: what needs more is forbidden.
//
// Owner: its maker; user and report must outlive it. Empty state: a user without parameters, whom
// the bank offers nothing. Threads: the user's.
class Permissions {
 public:
  Permissions(const HbUser& user, Report& report) : user_(user), report_(report) {}

  // The newest version of an order that the bank offers and that lies between those; 0 without one.
  unsigned short VersionOf(const char* order, unsigned short newest, unsigned short oldest) const;
  // Whether an order may be given with PIN and TAN.
  bool IsForPinAndTan(const char* order) const;
  // That, and whether the user may give it for an account.
  bool IsAllowedFor(const BankAccount& account, const char* order) const;
  bool NeedsTan(const char* order) const;
  // Whether an order may be given without a two-step procedure.
  bool AllowsOneStep(const char* order) const;
  // Whether the bank takes SEPA orders in a format. One that names none takes any.
  bool TakesFormat(const std::string& format) const;
  // Whether SEPA orders may name an account by its number, beside the IBAN. Nothing is reported.
  bool AllowsNationalAccounts() const;
  // Reports that they may not.
  void ForbidNationalAccount(const BankAccount& account) const;
  // Whether each payment is within the limits of the account and of the order on it. These are
  // limits of a single order (E): what a day or a month has left only the bank knows.
  bool AreWithinLimits(const BankAccount& account, const char* order,
                       const std::vector<HbAmount>& payments) const;
  // Whether a message of so many bytes may be sent.
  bool IsShortEnough(std::size_t bytes) const;

 private:
  bool Forbid(std::string why) const { return report_.Fail(Outcome::kForbidden, std::move(why)); }
  // Where HIPINS speaks of an order: the distance of its fields from those of the first.
  std::optional<unsigned long> PlaceInPinParameters(const HbSegment& parameters,
                                                    const char* order) const;
  const HbSegment* RightsOf(const BankAccount& account) const;
  // The same in HIUPD.
  std::optional<unsigned long> PlaceInRights(const HbSegment& rights, const char* order) const;

  const HbUser& user_;
  Report& report_;
};

}  // namespace tmx::demo
