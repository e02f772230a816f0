// The segments of requests as the shipped macros write them: all of the table, with all their
// values and with the mandatory ones alone.
#include <gtest/gtest.h>

#include <regex>

#include "demo/host/macro_runner.h"
#include "demo/segments/layouts.h"
#include "tests/demo/request_model.h"
#include "tests/demo/shipped_macros.h"

namespace tmx::demo {
namespace {

class WrittenSegments : public ::testing::Test {
 protected:
  WrittenSegments() {
    HbError error;
    EXPECT_TRUE(engine_.PushFile("hbcim4", error));
  }

  static void Put(HbSegment& values, const Field& field, unsigned long id, char type) {
    const std::string text = type == 't' ? kText : RightValue(std::string(1, type));
    const std::string bytes = "x'y";
    switch (field.type) {
      case FieldType::kText:
        values.PutFieldString(String(text.c_str()), id);
        break;
      case FieldType::kInt:
        values.PutFieldInt16(1, id);
        break;
      case FieldType::kNumber:
        values.PutFieldInt32(1, id);
        break;
      case FieldType::kDate:
        values.PutFieldDate(HbDate(15, 1, 2026), id);
        break;
      case FieldType::kYesNo:
        values.PutFieldBool(false, id);
        break;
      case FieldType::kBinary:
        values.PutFieldBinary(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
                              id);
        break;
      case FieldType::kAmount:
        FAIL() << "no request has an amount";
    }
  }

  // The segment as the macros write it with all values, or with the mandatory ones.
  std::string Written(const Layout& layout, int version, bool is_full) {
    std::vector<Element> elements;
    EXPECT_EQ(ParseLayout(layout.text, elements), "");
    const std::string name = layout.code + std::to_string(version);
    const Elements forms =
        SplitForm(FormOf(std::string(layout.code) + ':' + std::to_string(version)).elements);
    HbRequest request(layout.code, static_cast<unsigned short>(version), 1);
    if (elements.size() != forms.size()) return "other elements than those of the checker";
    for (std::size_t e = 0; e < elements.size(); ++e) {
      const std::vector<Part>& parts = elements[e].parts;
      if (parts.size() != forms[e].size()) return "other parts than those of the checker";
      for (std::size_t p = 0; p < parts.size(); ++p) {
        if (!is_full && !IsMandatory(forms[e][p])) continue;
        const Field& field = *parts[p].field;
        Put(request.GetValues(), field, field.id, TypeOf(forms[e][p]));
        if (is_full && parts[p].step != 0)
          Put(request.GetValues(), field, field.id + parts[p].step, TypeOf(forms[e][p]));
      }
    }
    if (std::string_view(layout.code) == "HKTAN") {
      request.GetValues().PutFieldString("4", field::kTanProcess);
      request.GetValues().PutFieldString("HKTAN", field::kOrderCode);
    }
    MacroRunner runner(engine_);
    HbError error;
    std::string written;
    EXPECT_TRUE(runner.Run(request, name, error, written, long{3})) << FullText(error);
    // The host puts bytes in the place of marks.
    static const std::regex kMark("\x1A[0-9]+\x1A");
    return std::regex_replace(written, kMark, kBytes);
  }

  HbMacroEngine engine_{MacroPath().c_str()};
};

TEST_F(WrittenSegments, AreThoseThatTheCheckerAccepts) {
  std::size_t count = 0;
  for (const Layout& layout : AllLayouts()) {
    if (!std::string_view(layout.code).starts_with("HK")) continue;
    for (int version = layout.first_version; version <= layout.last_version; ++version)
      for (const bool is_full : {true, false}) {
        SCOPED_TRACE(layout.code + std::to_string(version));
        ModelSegment expected =
            Filled(FormOf(std::string(layout.code) + ':' + std::to_string(version)), 300, is_full);
        expected.number = "3";
        EXPECT_EQ(Written(layout, version, is_full), ToBytes(expected));
        ++count;
      }
  }
  EXPECT_GT(count, 40u);
}

}  // namespace
}  // namespace tmx::demo
