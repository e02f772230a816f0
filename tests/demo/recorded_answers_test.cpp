// Recorded answers of banks, turned into segments by the shipped macros and held against a reader
// of the test's own. The recordings are no part of the tree: they lie beside it, or where
// TMX_DIALOGS says.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>

#include "demo/host/answer_reader.h"
#include "demo/host/conversation.h"
#include "demo/segments/fields.h"
#include "tests/demo/shipped_macros.h"
#include "tmxtools/banking/user.h"

namespace tmx::demo {
namespace {

namespace fs = std::filesystem;

// ---- the test's own reader ----------------------------------------------------------------------

struct WireSegment {
  std::string code;
  long number = 0;
  long version = 0;
  long reference = 0;
  std::vector<std::vector<std::string>> elements;  // without escapes and announcements of bytes

  std::string Name() const { return code + std::to_string(version); }
  std::string At(std::size_t element, std::size_t part = 0) const {
    if (element >= elements.size() || part >= elements[element].size()) return "";
    return elements[element][part];
  }
  std::size_t Values() const {
    std::size_t count = 0;
    for (const auto& parts : elements)
      count += static_cast<std::size_t>(std::count_if(
          parts.begin(), parts.end(), [](const auto& part) { return !part.empty(); }));
    return count;
  }
};

bool IsDelimiter(char c) { return c == '+' || c == ':' || c == '\''; }

// Takes binary data whose length may be off by some bytes: it ends at the delimiter that is nearest
// to the end announced.
std::string TakeBytes(std::string_view& rest) {
  std::size_t digits = 0;
  const std::size_t length = std::stoul(std::string(rest.substr(1, 12)), &digits);
  rest.remove_prefix(digits + 2);
  for (std::size_t off = 0; off < 10; ++off)
    for (const std::size_t end : {length - off, length + off})
      if (end < rest.size() && IsDelimiter(rest[end])) {
        std::string bytes(rest.substr(0, end));
        rest.remove_prefix(end);
        return bytes;
      }
  throw std::runtime_error("binary data without an end");
}

std::string TakeText(std::string_view& rest) {
  std::string text;
  for (; !IsDelimiter(rest.at(0)); rest.remove_prefix(1)) {
    if (rest.front() == '?') rest.remove_prefix(1);
    text += rest.at(0);
  }
  return text;
}

long ToLong(const std::string& digits) { return digits.empty() ? 0 : std::stol(digits); }

// The segments of a message, those in a container behind it. Throws for what is no message.
std::vector<WireSegment> ReadWire(std::string_view rest) {
  std::vector<WireSegment> segments;
  while (!rest.empty()) {
    std::vector<std::vector<std::string>> elements(1);
    for (char last = '+'; last != '\''; rest.remove_prefix(1)) {
      elements.back().push_back(rest.at(0) == '@' ? TakeBytes(rest) : TakeText(rest));
      last = rest.at(0);
      if (last == '+') elements.emplace_back();
    }
    WireSegment segment;
    std::vector<std::string>& head = elements.front();
    head.resize(4);
    segment.code = head[0];
    segment.number = ToLong(head[1]);
    segment.version = ToLong(head[2]);
    segment.reference = ToLong(head[3]);
    segment.elements.assign(elements.begin() + 1, elements.end());
    segments.push_back(std::move(segment));
    if (segments.back().code != "HNVSD") continue;
    for (WireSegment& inner : ReadWire(segments.back().At(0))) segments.push_back(std::move(inner));
  }
  return segments;
}

// ---- where the standard puts what the host looks for --------------------------------------------

struct Place {
  const char* name;  // of the segment, with its version
  std::size_t element;
  std::size_t part;
  unsigned long id;
  unsigned long step = 0;  // not 0: repeated in each element from this one on,
  std::size_t every = 0;   // or, if not 0, each so many parts
};

constexpr std::size_t kMostRepetitions = 999;

constexpr Place kPlaces[] = {
    {"HNHBK3", 2, 0, field::kDialogId},
    {"HNHBK3", 3, 0, field::kMessageNumber},
    {"HNHBK3", 4, 0, field::kAnsweredDialog},
    {"HNHBS1", 0, 0, field::kMessageNumber},
    {"HIRMG2", 0, 0, field::kReturnCode, 100130},
    {"HIRMG2", 0, 2, field::kReturnText, 100130},
    {"HIRMS2", 0, 0, field::kReturnCode, 100130},
    {"HIRMS2", 0, 1, field::kReturnElement, 100130},
    {"HIRMS2", 0, 2, field::kReturnText, 100130},
    {"HIRMS2", 0, 3, field::kReturnParameter, 100130},
    {"HIRMS2", 0, 4, field::kReturnParameter + 10, 100130},
    {"HIBPA3", 0, 0, field::kBpdVersion},
    {"HIBPA3", 1, 1, field::kBankCode},
    {"HIBPA3", 2, 0, field::kBankName},
    {"HIBPA3", 3, 0, field::kMaxJobKinds},
    {"HIBPA3", 5, 0, field::kStandardVersion, 1, 1},
    {"HIBPA3", 6, 0, field::kMaxMessageSize},
    {"HIKOM4", 2, 1, field::kServiceAddress, 10},
    {"HIUPA4", 0, 0, field::kUserId},
    {"HIUPA4", 1, 0, field::kUpdVersion},
    {"HIUPA4", 2, 0, field::kUpdUsage},
    {"HIUPD6", 0, 0, field::kAccountNumber},
    {"HIUPD6", 0, 3, field::kBankCode},
    {"HIUPD6", 1, 0, field::kIban},
    {"HIUPD6", 2, 0, field::kCustomerId},
    {"HIUPD6", 3, 0, field::kAccountType},
    {"HIUPD6", 4, 0, field::kCurrency},
    {"HIUPD6", 5, 0, field::kOwnerName},
    {"HIUPD6", 7, 0, field::kAccountProduct},
    {"HIUPD6", 9, 0, field::kAllowedJob, 101240},
    {"HIUPD6", 9, 1, field::kAllowedJobSignatures, 101240},
    {"HIUPD6", 9 + kMostRepetitions, 0, field::kAccountData},
    {"HISYN4", 0, 0, field::kSystemId},
    {"HISPA1", 0, 0, field::kIsSepaAccount, 100},
    {"HISPA1", 0, 1, field::kIban, 100},
    {"HISPA1", 0, 2, field::kBic, 100},
    {"HISPA1", 0, 3, field::kAccountNumber, 100},
    {"HISPA1", 0, 6, field::kBankCode, 100},
    {"HISPA2", 0, 1, field::kIban, 100},
    {"HISPA2", 0, 3, field::kAccountNumber, 100},
    {"HISAL5", 0, 0, field::kAccountNumber},
    {"HISAL5", 1, 0, field::kAccountProduct},
    {"HISAL5", 2, 0, field::kCurrency},
    {"HISAL5", 3, 0, field::kBookedSign},
    {"HISAL5", 3, 1, field::kBookedAmount},
    {"HISAL5", 3, 2, field::kBookedCurrency},
    {"HISAL5", 3, 3, field::kBookedDate},
    {"HISAL5", 4, 1, field::kPendingAmount},
    {"HISAL5", 4, 3, field::kPendingDate},
    {"HISAL5", 5, 0, field::kCreditLine},
    {"HISAL5", 6, 0, field::kAvailable},
    {"HIKAZ5", 0, 0, field::kStatement},
    {"HIKAZ5", 1, 0, field::kPendingStatement},
    {"HIKAZ7", 0, 0, field::kStatement},
    {"HIKAZ7", 1, 0, field::kPendingStatement},
    {"HITAN6", 0, 0, field::kTanProcess},
    {"HITAN6", 2, 0, field::kOrderReference},
    {"HITAN6", 3, 0, field::kChallenge},
    {"HITAN6", 4, 0, field::kChallengeHhdUc},
    {"HITAN6", 6, 0, field::kTanMedium},
    {"HITAB4", 0, 0, field::kTanOption},
    {"HITAB4", 1, 0, field::kMediumClass, 1000},
    {"HITAB4", 1, 1, field::kMediumStatus, 1000},
    {"HITAB4", 1, 12, field::kMediumName, 1000},
    {"HIPINS1", 3, 0, field::kPinMinLength},
    {"HIPINS1", 3, 1, field::kPinMaxLength},
    {"HIPINS1", 3, 2, field::kTanMaxLength},
    {"HIPINS1", 3, 5, field::kTanJob, 100, 2},
    {"HIPINS1", 3, 6, field::kTanNeeded, 100, 2},
    {"HITANS6", 3, 0, field::kOneStepAllowed},
    {"HITANS6", 3, 3, field::kSecurityFunction, 1000, 21},
    {"HITANS6", 3, 5, field::kProcedureId, 1000, 21},
    {"HITANS6", 3, 8, field::kProcedureName, 1000, 21},
    {"HITANS6", 3, 9, field::kProcedureTanLength, 1000, 21},
    {"HITANS6", 3, 21, field::kProcedureMediumNeeded, 1000, 21},
    {"HIKAZS5", 2, 0, field::kStorageDays},
    {"HIKAZS6", 3, 0, field::kStorageDays},
    {"HIKAZS7", 3, 0, field::kStorageDays},
    {"HICAZS1", 3, 3, field::kCamtFormats, 1, 1},
    {"HISPAS1", 3, 3, field::kSepaFormat, 1, 1},
    {"HISALS5", 0, 0, field::kMaxJobs},
    {"HISALS6", 2, 0, field::kSecurityClass},
};

// What stands at the place, field by field.
std::map<unsigned long, std::string> ValuesAt(const Place& place, const WireSegment& segment) {
  std::map<unsigned long, std::string> values;
  unsigned long id = place.id;
  if (place.step == 0) {
    values[id] = segment.At(place.element, place.part);
  } else if (place.every == 0) {
    const std::size_t end = std::min(segment.elements.size(), place.element + kMostRepetitions);
    for (std::size_t i = place.element; i < end; ++i, id += place.step)
      values[id] = segment.At(i, place.part);
  } else if (place.element < segment.elements.size()) {
    const std::size_t parts = segment.elements[place.element].size();
    for (std::size_t i = place.part; i < parts; i += place.every, id += place.step)
      values[id] = segment.At(place.element, i);
  }
  return values;
}

// ---- what the macros have read ------------------------------------------------------------------

std::string TwoDigits(unsigned number) {
  return {static_cast<char>('0' + number / 10 % 10), static_cast<char>('0' + number % 10)};
}

// A field as a segment would write it; empty without one.
std::string Shown(const HbSegment& segment, unsigned long id) {
  const HbVariable* const variable = segment[id];
  if (variable == nullptr) return "";
  short small = 0;
  long number = 0;
  bool flag = false;
  HbDate day;
  String text;
  if (segment.GetFieldInt16(small, id)) return std::to_string(small);
  if (segment.GetFieldInt32(number, id)) return std::to_string(number);
  if (segment.GetFieldBool(flag, id)) return flag ? "J" : "N";
  if (segment.GetFieldDate(day, id))
    return std::to_string(day.GetYear()) + TwoDigits(day.GetMonth()) + TwoDigits(day.GetDay());
  if (segment.GetFieldString(text, id)) return std::string(text.View());
  const HbBinaryVariable* const bytes = segment.GetBinaryVar(id);
  if (bytes == nullptr) return "(no value)";
  return {reinterpret_cast<const char*>(bytes->GetData()), bytes->GetLength()};
}

// The value as a number is shown, where the field is one.
std::string Comparable(const std::string& value, const HbSegment& segment, unsigned long id) {
  long number = 0;
  short small = 0;
  if (!segment.GetFieldInt32(number, id) && !segment.GetFieldInt16(small, id)) return value;
  return std::to_string(ToLong(value));
}

std::size_t CountFields(HbSegment& segment) {
  std::size_t count = 0;
  HbVariablesIter walk(&segment);
  for (HbVariable* variable = walk.GetFirst(); variable != nullptr; variable = walk.GetNext())
    count += walk.GetId() > field::kSegmentReference;
  return count;
}

// ---- the recordings -----------------------------------------------------------------------------

fs::path Folder() {
  if (const char* named = std::getenv("TMX_DIALOGS"); named != nullptr && *named != '\0')
    return named;
  return fs::path(TMX_SOURCE_DIR) / ".." / "shared" / "data" / "dialogs";
}

std::string BytesOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

class RecordedAnswers : public ::testing::Test {
 protected:
  struct Answer {
    fs::path path;
    std::string bytes;
    std::vector<WireSegment> wire;
    AnswerReader::Result read;
  };

  void SetUp() override {
    if (!fs::is_directory(Folder()))
      GTEST_SKIP() << "no recorded dialogs beside the tree; TMX_DIALOGS can name their folder";
    HbError error;
    for (const char* name : {"hbcim4", "pt0"}) ASSERT_TRUE(engine_.PushFile(name, error)) << name;
    AnswerReader reader(engine_);
    for (const auto& entry : fs::recursive_directory_iterator(Folder())) {
      if (!entry.path().filename().string().ends_with("answer.hbci")) continue;
      Answer answer{entry.path(), BytesOf(entry.path()), {}, {}};
      ASSERT_NO_THROW(answer.wire = ReadWire(answer.bytes)) << answer.path;
      answer.read = reader.Read(answer.bytes);
      ASSERT_EQ(answer.read.segments.size(), answer.wire.size()) << answer.path;
      answers_.push_back(std::move(answer));
    }
    ASSERT_GT(answers_.size(), 0u) << Folder();
  }

  // Calls for each segment of all answers with what the test and what the macros have read.
  template <class Check>
  void ForEach(Check check) {
    for (Answer& answer : answers_)
      for (std::size_t i = 0; i < answer.wire.size(); ++i) {
        SCOPED_TRACE(answer.path.string() + " " + answer.wire[i].Name());
        check(answer.wire[i], *answer.read.segments[i]);
      }
  }

  HbMacroEngine engine_{MacroPath().c_str()};
  std::vector<Answer> answers_;
};

TEST_F(RecordedAnswers, HaveTheirSegmentsInOrder) {
  ForEach([](const WireSegment& wire, const HbSegment& segment) {
    EXPECT_EQ(segment.GetSegmentKennung().View(), wire.code);
    EXPECT_EQ(segment.GetSegmentVersion(), wire.version);
    EXPECT_EQ(Shown(segment, field::kSegmentNumber), std::to_string(wire.number));
    EXPECT_EQ(Shown(segment, field::kSegmentReference), std::to_string(wire.reference));
  });
}

TEST_F(RecordedAnswers, HaveTheValuesWhereTheHostLooksForThem) {
  std::map<std::string, std::size_t> compared;
  ForEach([&compared](const WireSegment& wire, const HbSegment& segment) {
    for (const Place& place : kPlaces) {
      if (wire.Name() != place.name) continue;
      for (const auto& [id, value] : ValuesAt(place, wire)) {
        EXPECT_TRUE(Shown(segment, id) == (value.empty() ? "" : Comparable(value, segment, id)))
            << id << ": '" << Shown(segment, id) << "' instead of '" << value << "'";
        compared[place.name] += !value.empty();
      }
    }
  });
  // Every segment of the table stands in the recordings with some values.
  for (const Place& place : kPlaces) EXPECT_GT(compared[place.name], 0u) << place.name;
}

TEST_F(RecordedAnswers, LoseNoValue) {
  ForEach([](const WireSegment& wire, HbSegment& segment) {
    if (wire.code == "HNVSD") return;
    EXPECT_EQ(CountFields(segment), wire.Values());
  });
}

TEST_F(RecordedAnswers, KeepUnknownSegmentsElementByElement) {
  std::size_t unknown = 0;
  ForEach([&unknown](const WireSegment& wire, const HbSegment& segment) {
    if (segment[field::kMaxJobs] != nullptr || wire.code.size() != 6 || wire.Values() == 0) return;
    ++unknown;
    for (std::size_t e = 0; e < wire.elements.size(); ++e)
      for (std::size_t p = 0; p < wire.elements[e].size(); ++p)
        EXPECT_EQ(Shown(segment, kOtherElements + (e + 1) * kOtherElementStep + p), wire.At(e, p));
  });
  EXPECT_GT(unknown, 100u);
}

bool IsBankParameter(const std::string& code) {
  return code == "HIBPA" || code == "HIKOM" || code == "HISHV" ||
         (code.size() == 6 && code.ends_with('S'));
}

TEST_F(RecordedAnswers, FillAUser) {
  std::size_t bank_parameters = 0;
  std::size_t accounts = 0;
  for (const Answer& answer : answers_) {
    HbUser user(nullptr, nullptr);
    user.SetHbciVersion(300);
    std::size_t bpd = 0;
    std::size_t upd = 0;
    for (std::size_t i = 0; i < answer.wire.size(); ++i) {
      const WireSegment& wire = answer.wire[i];
      HbSegment* const segment = answer.read.segments[i].Get();
      if (IsBankParameter(wire.code)) {
        user.GetInternalUser()->InsertBPDSegment(segment, true);
        ++bpd;
        EXPECT_NE(
            user.GetBPDSegment(wire.code.c_str(), static_cast<unsigned short>(wire.version), true),
            nullptr)
            << answer.path << wire.Name();
      }
      if (wire.code != "HIUPA" && wire.code != "HIUPD") continue;
      user.GetInternalUser()->InsertUPDSegment(segment);
      ++upd;
      if (wire.code == "HIUPA") continue;
      ++accounts;
      EXPECT_EQ(user.GetUPDSegment(String(wire.At(0).c_str())), segment) << answer.path;
      for (std::size_t job = 9; job < wire.elements.size() && !wire.At(job).empty(); ++job)
        EXPECT_EQ(user.GetNumSigNeeded(String(wire.At(0).c_str()), String(wire.At(job).c_str())),
                  ToLong(wire.At(job, 1)))
            << answer.path << wire.At(job);
    }
    EXPECT_EQ(user.BPDSegmentCount(true, true), bpd) << answer.path;
    EXPECT_EQ(user.UPDSegmentCount(), upd) << answer.path;
    bank_parameters += bpd;
  }
  EXPECT_GT(bank_parameters, 100u);
  EXPECT_GT(accounts, 4u);
}

// Only what is really wrong in a recording is told.
TEST_F(RecordedAnswers, AreReadWithoutProblems) {
  for (const Answer& answer : answers_)
    for (const MessageProblem& problem : answer.read.problems)
      ADD_FAILURE() << answer.path << ": " << problem.position << ": " << problem.what;
}

// A bank that sends the answer of another conversation is no reason to stop without a word.
TEST_F(RecordedAnswers, GiveEveryConversationAnEnd) {
  engine_.SetSecurityHdl(Link([](void* data) -> long {
    HbCallbackItems& items = *static_cast<HbCallbackData*>(data)->GetParameters();
    for (unsigned short i = 0; i < items.Count(); ++i)
      static_cast<HbStringVariable*>(items.GetItem(i)->GetValue())->Set("12345");
    return 1;
  }));
  for (const Answer& answer : answers_) {
    HbUser user(nullptr, nullptr);
    user.SetKIKLaenderkennzeichen(280);
    user.SetKIKKreditsinstitutscode("99900011");
    user.SetBenutzerkennung("4711");
    user.SetKundenId("4711");
    HbJob job(nullptr, nullptr);
    Access access;
    ConversationOptions options;
    options.wait = [](std::chrono::seconds) {};
    const auto exchange = [&answer](std::string_view, std::string& bytes, std::string&) {
      bytes = answer.bytes;
      return true;
    };
    Conversation conversation(job, user, engine_, access, exchange, options);
    EXPECT_TRUE(conversation.Open() || !conversation.Problem().empty()) << answer.path;
  }
}

}  // namespace
}  // namespace tmx::demo
