#include "demo/host/permissions.h"

#include "demo/host/segment_values.h"

namespace tmx::demo {
namespace {

constexpr unsigned long kAllowedJobStep = 101240;
constexpr unsigned long kTanJobStep = 100;

}  // namespace

unsigned short Permissions::VersionOf(const char* order, unsigned short newest,
                                      unsigned short oldest) const {
  for (unsigned short version = newest; version >= oldest; --version)
    if (user_.GetBPDSegment(order, version, false) != nullptr) return version;
  std::string parameter = std::string(order) + 'S';
  parameter[1] = 'I';
  report_.Fail(Outcome::kForbidden, "the bank does not offer " + std::string(order) +
                                        ": its parameters hold no " + parameter + " of version " +
                                        std::to_string(oldest) + " to " + std::to_string(newest));
  return 0;
}

bool Permissions::IsAllowedFor(const BankAccount& account, const char* order) const {
  const HbSegment* const rights = user_.GetUPDSegment(String(account.number.c_str()));
  if (rights == nullptr) return true;
  std::string job;
  for (unsigned long at = 0; HasText(*rights, field::kAllowedJob + at, job); at += kAllowedJobStep)
    if (job == order) return true;
  const HbSegment* const general = user_.GetUPDSegment(String());
  if (general != nullptr && TextOf(*general, field::kUpdUsage) == "1") return true;
  return report_.Fail(Outcome::kForbidden, "HIUPD does not name " + std::string(order) +
                                               " among the orders of account " + account.number);
}

bool Permissions::NeedsTan(const char* order) const {
  const HbSegment* const parameters = user_.GetBPDSegment("HIPINS", 0, true);
  if (parameters == nullptr) return false;
  std::string job;
  for (unsigned long at = 0; HasText(*parameters, field::kTanJob + at, job); at += kTanJobStep) {
    bool needed = false;
    if (job == order) return parameters->GetFieldBool(needed, field::kTanNeeded + at) && needed;
  }
  return false;
}

}  // namespace tmx::demo
