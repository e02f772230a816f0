// Every segment of the checker's table: right, and with one fault of each kind at every place where
// it can have it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/demo/request_model.h"

namespace tmx::demo {
namespace {

using ::testing::StartsWith;

class FormTest : public ::testing::TestWithParam<std::string> {
 protected:
  const test::SegmentForm& Form() const { return FormOf(GetParam()); }
  std::string Name() const { return std::string(Form().name); }

  std::vector<int> Standards() const {
    return Form().standard == 0 ? std::vector<int>{220, 300} : std::vector<int>{Form().standard};
  }

  // Calls `check` with each standard's message, and the segment of the form in it.
  template <class Check>
  void ForEachMessage(Check check) const {
    for (const int standard : Standards()) {
      SCOPED_TRACE(standard);
      ModelMessage message = MessageWith(Form(), standard, true);
      check(message, SegmentOf(message, Form()));
    }
  }

  // Calls `check` with each part of the segment and its form, for the values to be changed.
  template <class Check>
  void ForEachPart(Check check) const {
    const Elements forms = SplitForm(Form().elements);
    ForEachMessage([&](ModelMessage& message, ModelSegment& segment) {
      const Elements right = segment.elements;
      for (std::size_t e = 0; e < right.size(); ++e)
        for (std::size_t p = 0; p < right[e].size(); ++p) {
          SCOPED_TRACE("element " + std::to_string(e) + " part " + std::to_string(p));
          check(message, segment, e, p, forms[e][std::min(p, forms[e].size() - 1)]);
          segment.elements = right;
        }
    });
  }

  // These are looked at before the forms of segments.
  bool IsEnvelopeValue(const ModelSegment& segment, std::size_t element) const {
    return segment.code == "HNVSD" || (segment.code == "HNHBK" && element < 2);
  }
};

TEST_P(FormTest, IsAcceptedWithAllValuesAndWithTheMandatoryOnes) {
  for (const int standard : Standards())
    for (const bool is_full : {true, false}) {
      const std::string bytes = ToBytes(MessageWith(Form(), standard, is_full));
      EXPECT_EQ(test::CheckMessage(bytes), "") << bytes;
    }
}

TEST_P(FormTest, BelongsToItsStandardAlone) {
  if (Form().standard == 0) return;
  ModelMessage message = MessageWith(Form(), Form().standard, true);
  message[0].elements[1] = {Form().standard == 220 ? "300" : "220"};
  EXPECT_THAT(test::CheckMessage(ToBytes(message)), StartsWith("unknown segment "));
}

TEST_P(FormTest, HasNoGapBeforeIt) {
  ForEachMessage([](ModelMessage& message, ModelSegment& segment) {
    segment.number = std::to_string(std::stoi(segment.number) + 1);
    EXPECT_THAT(test::CheckMessage(ToBytes(message)), ::testing::ContainsRegex("number"));
  });
}

TEST_P(FormTest, HasAKnownVersionAndAnswersNothing) {
  ForEachMessage([this](ModelMessage& message, ModelSegment& segment) {
    segment.behind_head = ":1";
    EXPECT_EQ(test::CheckMessage(ToBytes(message)), "reference in " + Name());
    segment.behind_head.clear();
    segment.version = "99";
    EXPECT_EQ(test::CheckMessage(ToBytes(message)), "unknown segment " + segment.code + ":99");
  });
}

TEST_P(FormTest, MissesNoMandatoryElement) {
  ForEachPart([this](const ModelMessage& message, ModelSegment& segment, std::size_t e,
                     std::size_t p, const std::string& form) {
    if (!IsMandatory(form) || (IsRepeated(form) && p > 0)) return;
    if (IsRepeated(form)) segment.elements[e].resize(p + 1);
    segment.elements[e][p].clear();
    DropEmptyEnds(segment.elements);
    const std::string problem = test::CheckMessage(ToBytes(message));
    if (IsEnvelopeValue(segment, e))
      EXPECT_NE(problem, "");
    else
      EXPECT_EQ(problem, "mandatory element missing in " + Name());
  });
}

TEST_P(FormTest, HasTheTypesOfItsElements) {
  ForEachPart([this](const ModelMessage& message, ModelSegment& segment, std::size_t e,
                     std::size_t p, const std::string& form) {
    segment.elements[e][p] = ValueOfWrongType(form);
    const std::string problem = test::CheckMessage(ToBytes(message));
    if (IsEnvelopeValue(segment, e))
      EXPECT_NE(problem, "");
    else
      EXPECT_EQ(problem, "type in " + Name());
  });
}

TEST_P(FormTest, EndsWithoutEmptyElementsAndParts) {
  ForEachMessage([this](ModelMessage& message, ModelSegment& segment) {
    const Elements right = segment.elements;
    segment.elements.push_back({""});
    EXPECT_EQ(test::CheckMessage(ToBytes(message)), segment.code == "HNVSD"
                                                        ? "HNVSD without bytes"
                                                        : "trailing empty element in " + Name());
    for (std::size_t e = 0; e < right.size(); ++e) {
      segment.elements = right;
      segment.elements[e].emplace_back();
      EXPECT_EQ(test::CheckMessage(ToBytes(message)), "trailing empty part in " + Name()) << e;
    }
  });
}

TEST_P(FormTest, HasNoMoreElementsAndParts) {
  ForEachMessage([this](ModelMessage& message, ModelSegment& segment) {
    const Elements right = segment.elements;
    const Elements forms = SplitForm(Form().elements);
    segment.elements.push_back({"1"});
    EXPECT_EQ(test::CheckMessage(ToBytes(message)),
              segment.code == "HNVSD" ? "HNVSD without bytes" : "too many elements in " + Name());
    for (std::size_t e = 0; e < right.size(); ++e) {
      if (IsRepeated(forms[e].back())) continue;
      segment.elements = right;
      segment.elements[e].emplace_back("1");
      EXPECT_EQ(test::CheckMessage(ToBytes(message)), "too many parts in " + Name()) << e;
    }
  });
}

TEST_P(FormTest, EscapesEveryCharacterThatDelimits) {
  ForEachPart([](const ModelMessage& message, ModelSegment& segment, std::size_t e, std::size_t p,
                 const std::string& form) {
    std::string& value = segment.elements[e][p];
    if (value != kEscaped) return;
    for (const char c : {'+', ':', '\'', '?', '@'}) {
      if (c == ':' && IsRepeated(form)) continue;  // one value more
      value = kEscaped;
      value.erase(value.find(std::string("?") + c), 1);
      EXPECT_NE(test::CheckMessage(ToBytes(message)), "") << value;
    }
  });
}

TEST_P(FormTest, AnnouncesItsBytesRightly) {
  ForEachPart([](const ModelMessage& message, ModelSegment& segment, std::size_t e, std::size_t p,
                 const std::string&) {
    if (segment.elements[e][p] != kBytes) return;
    for (const char* const wrong : {"@2@x'y", "@4@x'y", "@@x'y", "@3x'y", "@99999@x'y"}) {
      segment.elements[e][p] = wrong;
      EXPECT_NE(test::CheckMessage(ToBytes(message)), "") << wrong;
    }
  });
}

TEST_P(FormTest, StandsInAMessageOfTheRightSize) {
  ForEachMessage([](const ModelMessage& message, const ModelSegment&) {
    for (const int wrong : {-1, 1}) {
      EXPECT_EQ(test::CheckMessage(ToBytes(message, wrong)), "size");
      EXPECT_NE(test::CheckMessage(ToBytes(message, 0, wrong)), "");
    }
  });
}

std::vector<std::string> AllNames() {
  std::vector<std::string> names;
  for (const test::SegmentForm& form : test::SegmentForms()) names.emplace_back(form.name);
  return names;
}

INSTANTIATE_TEST_SUITE_P(All, FormTest, ::testing::ValuesIn(AllNames()), [](const auto& test) {
  std::string name = test.param;
  name.erase(name.find(':'), 1);
  return name;
});

// ---- references ---------------------------------------------------------------------------------

struct Reference {
  const char* name;
  std::size_t element, part;
  const char* rule;
  const char* value = "3";
};

// What must be the same in two segments, changed in one of them.
TEST(StrictMessageChecker, FindsEveryWrongReference) {
  for (const Reference& reference : {Reference{"HNHBS:1", 0, 0, "message number of HNHBS"},
                                     {"HNHBK:3", 2, 0, "message number of HNHBK", "0"},
                                     {"HNSHK:4", 0, 1, "profile of HNSHK", "2"},
                                     {"HNSHK:4", 1, 0, "profile of HNSHK", "910"},
                                     {"HNVSK:3", 0, 1, "profile of HNVSK", "2"},
                                     {"HNSHA:1", 0, 0, "control reference"},
                                     {"HNSHA:2", 0, 0, "control reference"},
                                     {"HNVSK:2", 2, 2, "system id of HNVSK"},
                                     {"HNVSK:3", 3, 2, "system id of HNVSK"},
                                     {"HNVSK:2", 5, 0, "bank or user of HNVSK"},
                                     {"HNVSK:2", 5, 2, "bank or user of HNVSK"},
                                     {"HNVSK:3", 6, 1, "bank or user of HNVSK"},
                                     {"HNVSK:3", 6, 2, "bank or user of HNVSK"},
                                     {"HKIDN:2", 2, 0, "system id of HKIDN"},
                                     {"HKEND:1", 0, 0, "dialog of HKEND"},
                                     {"HKTAN:5", 1, 0, "order of HKTAN"},
                                     {"HKTAN:7", 1, 0, "order of HKTAN"}}) {
    const test::SegmentForm& form = FormOf(reference.name);
    for (const int standard : {220, 300}) {
      if (form.standard != 0 && form.standard != standard) continue;
      ModelMessage message = MessageWith(form, standard, true);
      SegmentOf(message, form).elements[reference.element][reference.part] = reference.value;
      EXPECT_EQ(test::CheckMessage(ToBytes(message)), reference.rule) << reference.name;
    }
  }
}

TEST(StrictMessageChecker, FindsWhatAProcessOfHKTANLacks) {
  const struct {
    const char* process;
    std::size_t element,
        behind_list;  // which one is left out; version 5 has a list before the last
    const char* rule;
  } rows[] = {{"4", 1, 0, "process 4 of HKTAN without an order"},
              {"2", 4, 0, "process of HKTAN without a reference"},
              {"2", 5, 1, "process of HKTAN without its end"},
              {"S", 4, 0, "process of HKTAN without a reference"},
              {"S", 5, 1, "process of HKTAN without its end"}};
  for (const char* const name : {"HKTAN:5", "HKTAN:6", "HKTAN:7"})
    for (const auto& row : rows) {
      SCOPED_TRACE(std::string(name) + ' ' + row.rule);
      ModelMessage message = MessageWith(FormOf(name), 300, true);
      Elements& elements = SegmentOf(message, FormOf(name)).elements;
      elements[0] = {row.process};
      EXPECT_EQ(test::CheckMessage(ToBytes(message)), "");
      const bool has_list = std::string_view(name).ends_with('5');
      elements[row.element + (has_list ? row.behind_list : 0)] = {""};
      EXPECT_EQ(test::CheckMessage(ToBytes(message)), row.rule);
      elements[0] = {"1"};
      EXPECT_EQ(test::CheckMessage(ToBytes(message)), "process of HKTAN");
    }
}

}  // namespace
}  // namespace tmx::demo
