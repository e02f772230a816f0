// What the parameters of bank and user allow.
#pragma once

#include "demo/host/bank_account.h"
#include "demo/host/report.h"
#include "tmxtools/banking/user.h"

namespace tmx::demo {

// Asked before a request is built. Where something is forbidden, the report says which parameter
// forbids it.
//
// Owner: its maker; user and report must outlive it. Empty state: a user without parameters, whom
// the bank offers nothing. Threads: the user's.
class Permissions {
 public:
  Permissions(const HbUser& user, Report& report) : user_(user), report_(report) {}

  // The newest version of an order that the bank offers and that lies between those; 0 without one.
  unsigned short VersionOf(const char* order, unsigned short newest, unsigned short oldest) const;
  bool IsAllowedFor(const BankAccount& account, const char* order) const;
  bool NeedsTan(const char* order) const;

 private:
  const HbUser& user_;
  Report& report_;
};

}  // namespace tmx::demo
