#include "demo/host/permissions.h"

#include <algorithm>
#include <string_view>

#include "demo/host/segment_values.h"

namespace tmx::demo {
namespace {

constexpr unsigned long kAllowedJobStep = 101240;
constexpr unsigned long kTanJobStep = 100;
constexpr std::size_t kKilobyte = 1024;

// "HISALS" for "HKSAL".
std::string ParameterOf(const char* order) {
  std::string parameter = std::string(order) + 'S';
  parameter[1] = 'I';
  return parameter;
}

// What a single order may move; null without such a limit.
struct Limit {
  bool IsExceededBy(const HbAmount& payment) const {
    return !most.IsNull() && payment.GetCurrency() == most.GetCurrency() && payment > most;
  }
  HbAmount most;
};

Limit LimitIn(const HbSegment& rights, unsigned long type, unsigned long amount,
              unsigned long currency) {
  HbAmount most;
  if (TextOf(rights, type) != "E" || !rights.GetFieldAmount(most, amount)) return {};
  return {HbAmount(most.GetBigInt(most.GetPrecision()), most.GetPrecision(),
                   String(std::string_view(TextOf(rights, currency))))};
}

// A bank may write it with zeros in front here and without there.
bool IsSameNumber(std::string_view one, std::string_view other) {
  const auto without_zeros = [](std::string_view number) {
    return number.substr(std::min(number.find_first_not_of('0'), number.size()));
  };
  return without_zeros(one) == without_zeros(other);
}

std::string FullText(const HbAmount& amount) { return std::string(amount.GetFull().View()); }

std::string NeedsSignatures(const std::string& parameter, long signatures, const char* order) {
  return parameter + " demands " + std::to_string(signatures) + " signatures for " + order;
}

}  // namespace

unsigned short Permissions::VersionOf(const char* order, unsigned short newest,
                                      unsigned short oldest) const {
  const std::string parameter = ParameterOf(order);
  for (unsigned short version = newest; version >= oldest; --version) {
    const HbSegment* const offer = user_.GetBPDSegment(order, version, false);
    if (offer == nullptr) continue;
    const long signatures = NumberOf(*offer, field::kMinSignatures);
    if (signatures <= 1) return version;
    Forbid(NeedsSignatures(parameter, signatures, order));
    return 0;
  }
  Forbid("the bank does not offer " + std::string(order) + ": its parameters hold no " + parameter +
         " of version " + std::to_string(oldest) + " to " + std::to_string(newest));
  return 0;
}

std::optional<unsigned long> Permissions::PlaceInPinParameters(const HbSegment& parameters,
                                                               const char* order) const {
  std::string job;
  for (unsigned long at = 0; HasText(parameters, field::kTanJob + at, job); at += kTanJobStep)
    if (job == order) return at;
  return std::nullopt;
}

bool Permissions::IsForPinAndTan(const char* order) const {
  const HbSegment* const parameters = user_.GetBPDSegment("HIPINS", 0, true);
  if (parameters == nullptr || PlaceInPinParameters(*parameters, order)) return true;
  return Forbid("HIPINS does not name " + std::string(order) +
                " among the orders with PIN and TAN");
}

bool Permissions::NeedsTan(const char* order) const {
  const HbSegment* const parameters = user_.GetBPDSegment("HIPINS", 0, true);
  const auto place =
      parameters != nullptr ? PlaceInPinParameters(*parameters, order) : std::nullopt;
  bool needed = false;
  return place && parameters->GetFieldBool(needed, field::kTanNeeded + *place) && needed;
}

const HbSegment* Permissions::RightsOf(const BankAccount& account) const {
  for (unsigned short i = 0; i < user_.UPDSegmentCount(); ++i) {
    const HbSegment& rights = *user_.GetUPDSegment(i);
    if (CodeOf(rights) != "HIUPD") continue;
    const std::string iban = TextOf(rights, field::kIban);
    const bool is_same =
        !iban.empty() && !account.iban.empty()
            ? iban == account.iban
            : IsSameNumber(TextOf(rights, field::kAccountNumber), account.number) &&
                  TextOf(rights, field::kSubaccount) == account.subaccount;
    if (is_same) return &rights;
  }
  return nullptr;
}

std::optional<unsigned long> Permissions::PlaceInRights(const HbSegment& rights,
                                                        const char* order) const {
  std::string job;
  for (unsigned long at = 0; HasText(rights, field::kAllowedJob + at, job); at += kAllowedJobStep)
    if (job == order) return at;
  return std::nullopt;
}

bool Permissions::IsAllowedFor(const BankAccount& account, const char* order) const {
  if (!IsForPinAndTan(order)) return false;
  const HbSegment* const rights = RightsOf(account);
  if (const auto at = rights != nullptr ? PlaceInRights(*rights, order) : std::nullopt) {
    const long signatures = NumberOf(*rights, field::kAllowedJobSignatures + *at);
    return signatures <= 1 || Forbid(NeedsSignatures("HIUPD", signatures, order));
  }
  const HbSegment* const general = user_.GetUPDSegment(String());
  if (general == nullptr || TextOf(*general, field::kUpdUsage) == "1") return true;
  if (rights == nullptr) return Forbid("no HIUPD is about account " + account.number);
  return Forbid("HIUPD does not name " + std::string(order) + " among the orders of account " +
                account.number);
}

bool Permissions::AllowsOneStep(const char* order) const {
  if (NeedsTan(order))
    return Forbid("HIPINS demands a TAN for " + std::string(order) +
                  ", and no two-step procedure is chosen");
  for (unsigned short version = 7; version >= 6; --version) {
    const HbSegment* const procedures = user_.GetBPDSegment("HITANS", version, true);
    bool allowed = true;
    if (procedures != nullptr && procedures->GetFieldBool(allowed, field::kOneStepAllowed) &&
        !allowed)
      return Forbid("HITANS allows no orders without a two-step procedure");
  }
  return true;
}

bool Permissions::TakesFormat(const std::string& format) const {
  const HbSegment* const sepa = user_.GetBPDSegment("HISPAS", 1, true);
  std::string known;
  std::string all;
  for (unsigned long at = 0; sepa != nullptr && HasText(*sepa, field::kSepaFormat + at, known);
       ++at) {
    if (known == format) return true;
    all += (all.empty() ? "" : ", ") + known;
  }
  return all.empty() || Forbid("HISPAS does not name the format " + format + ", but " + all);
}

bool Permissions::AllowsNationalAccounts() const {
  const HbSegment* const sepa = user_.GetBPDSegment("HISPAS", 1, true);
  bool allowed = true;
  return sepa == nullptr || !sepa->GetFieldBool(allowed, field::kNationalAccountAllowed) || allowed;
}

void Permissions::ForbidNationalAccount(const BankAccount& account) const {
  Forbid("HISPAS allows no orders that name account " + account.number +
         " by its number, and it has no IBAN");
}

bool Permissions::AreWithinLimits(const BankAccount& account, const char* order,
                                  const std::vector<HbAmount>& payments) const {
  const HbSegment* const rights = RightsOf(account);
  if (rights == nullptr) return true;
  std::vector<Limit> limits{
      LimitIn(*rights, field::kLimitType, field::kLimitAmount, field::kLimitCurrency)};
  if (const auto at = PlaceInRights(*rights, order))
    limits.push_back(LimitIn(*rights, field::kAllowedJobLimitType + *at,
                             field::kAllowedJobLimit + *at, field::kAllowedJobLimitCurrency + *at));
  for (const Limit& limit : limits)
    for (const HbAmount& payment : payments)
      if (limit.IsExceededBy(payment))
        return Forbid("HIUPD allows at most " + FullText(limit.most) + " for one " + order +
                      ", not " + FullText(payment));
  return true;
}

bool Permissions::IsShortEnough(std::size_t bytes) const {
  const HbSegment* const bank = user_.GetBPDSegment("HIBPA", 0, true);
  const long most = bank != nullptr ? NumberOf(*bank, field::kMaxMessageSize) : 0;
  if (most <= 0 || bytes <= static_cast<std::size_t>(most) * kKilobyte) return true;
  return Forbid("the message has " + std::to_string(bytes) + " bytes, HIBPA allows " +
                std::to_string(most) + " KB");
}

}  // namespace tmx::demo
