#include "demo/host/tan_procedure.h"

#include "demo/host/segment_values.h"

namespace tmx::demo {
namespace {

constexpr unsigned short kNewest = 7;
constexpr unsigned short kOldest = 6;
constexpr unsigned long kStep = 1000;
constexpr const char* kMust = "2";
constexpr const char* kOrderFirst = "2";

}  // namespace

std::optional<TanProcedure> TanProcedure::Find(const HbUser& user, const std::string& function) {
  for (unsigned short version = kNewest; version >= kOldest; --version) {
    const HbSegment* const parameters = user.GetBPDSegment("HITANS", version, true);
    std::string described;
    for (unsigned long offset = 0;
         parameters != nullptr &&
         HasText(*parameters, field::kSecurityFunction + offset, described);
         offset += kStep)
      if (described == function) return TanProcedure(*parameters, offset);
  }
  return std::nullopt;
}

std::string TanProcedure::Text(unsigned long id) const {
  return TextOf(*parameters_, id + offset_);
}

long TanProcedure::Number(unsigned long id, long otherwise) const {
  return NumberOf(*parameters_, id + offset_, otherwise);
}

bool TanProcedure::Flag(unsigned long id) const {
  bool flag = true;
  return !parameters_->GetFieldBool(flag, id + offset_) || flag;
}

bool TanProcedure::SendsOrderFirst() const { return Text(field::kProcedureProcess) == kOrderFirst; }

bool TanProcedure::NeedsChallengeClass() const {
  bool needed = false;
  return parameters_->GetFieldBool(needed, field::kProcedureChallengeClass + offset_) && needed;
}

bool TanProcedure::NeedsMedium() const { return Text(field::kProcedureMediumNeeded) == kMust; }

bool TanProcedure::NamesOrderAccount() const {
  return Text(field::kProcedureOrderAccount) == kMust;
}

bool TanProcedure::NamesPayingAccount() const { return Text(field::kProcedureSmsAccount) == kMust; }

}  // namespace tmx::demo
