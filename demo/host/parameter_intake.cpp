#include "demo/host/parameter_intake.h"

#include <algorithm>
#include <set>
#include <vector>

#include "demo/host/segment_values.h"

namespace tmx::demo {
namespace {

constexpr int kAllowedFunctions = 3920;

bool IsBankParameter(const std::string& code) {
  return code == "HIBPA" || code == "HIKOM" || code == "HISHV" ||
         (code.size() == 6 && code.starts_with("HI") && code.ends_with('S'));
}

bool IsUserParameter(const std::string& code) { return code == "HIUPA" || code == "HIUPD"; }

// The responses of a tree. One that several objects hold, as an order does with those of its second
// step, counts once.
class Responses {
 public:
  explicit Responses(const HbObject& object) { Collect(object); }
  const std::vector<HbSegment*>& All() const { return all_; }

 private:
  void Collect(const HbObject& object) {
    for (unsigned short i = 0; i < object.ResponseCount(); ++i)
      if (HbSegment* const each = object.GetResponse(i); known_.insert(each).second)
        all_.push_back(each);
    for (unsigned short i = 0; i < object.GetChildCount(); ++i)
      if (const HbObject* const child = object.GetChild(i)) Collect(*child);
  }

  std::vector<HbSegment*> all_;
  std::set<const HbSegment*> known_;
};

void TakeAllowedFunctions(const HbSegment& codes, Access& access) {
  constexpr unsigned long kParameterStep = 10;
  ForEachCode(codes, [&](short code, unsigned long at) {
    if (code != kAllowedFunctions) return;
    access.allowed_functions.clear();
    std::string function;
    for (unsigned long id = field::kReturnParameter + at; HasText(codes, id, function);
         id += kParameterStep)
      access.allowed_functions.push_back(function);
  });
}

}  // namespace

void TakeParameters(const HbDialog& dialog, HbUser& user, Access& access) {
  const Responses responses(dialog);
  const std::vector<HbSegment*>& all = responses.All();
  const auto has = [&all](const char* code) {
    return std::ranges::any_of(all,
                               [code](const HbSegment* each) { return CodeOf(*each) == code; });
  };
  HbInternalUser& kept = *user.GetInternalUser();
  const bool bank = has("HIBPA");
  const bool rights = has("HIUPA");
  if (bank) kept.ClearBPDs(true, true);
  if (rights) kept.ClearUPDs(false);
  for (HbSegment* const segment : all) {
    const std::string code = CodeOf(*segment);
    if (bank && IsBankParameter(code)) kept.InsertBPDSegment(segment, true);
    if (rights && IsUserParameter(code)) kept.InsertUPDSegment(segment);
    if (code == "HIRMS") TakeAllowedFunctions(*segment, access);
  }
  if (bank) kept.SetBPDUpdated(true);
  if (rights) kept.SetUPDUpdated(true);
}

}  // namespace tmx::demo
