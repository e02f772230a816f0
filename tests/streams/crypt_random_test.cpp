// Random operations on encrypted streams, held against a plain text and against streams that got
// the same text in other portions.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>

#include "tests/streams/crypt_fixture.h"
#include "tests/support/long_run.h"

namespace tmx {
namespace {

using Random = std::mt19937;

std::size_t Below(Random& random, std::size_t limit) { return limit == 0 ? 0 : random() % limit; }

// Mostly small numbers, now and then a large one.
std::size_t SomeLength(Random& random) {
  static const std::size_t kLimits[] = {2, 9, 30, 100, 1500, 120000};
  return Below(random, kLimits[Below(random, 20) == 0 ? 5 : Below(random, 5)]);
}

std::string SomeText(Random& random, std::size_t length) {
  std::string text(length, '\0');
  for (char& c : text) c = static_cast<char>(random());
  return text;
}

// One stream and how it cuts what it is given; 0: not at all.
struct Portioned {
  std::unique_ptr<OpenCryptStream> stream;
  std::size_t portion;

  void Write(const std::string& text) {
    const std::size_t step = portion == 0 ? std::max<std::size_t>(text.size(), 1) : portion;
    for (std::size_t at = 0; at < text.size(); at += step) {
      const std::string piece = text.substr(at, step);
      ASSERT_EQ(stream->Put(piece), piece.size());
    }
  }

  std::string Read(std::size_t count) {
    if (portion == 0) return stream->Get(count);
    std::string text;
    while (text.size() < count) {
      const std::string piece = stream->Get(std::min(portion, count - text.size()));
      if (piece.empty()) break;
      text += piece;
    }
    return text;
  }
};

class CryptRandom : public testing::TestWithParam<int> {
 protected:
  void Begin(const stored::Form& form) {
    form_ = form;
    for (const std::size_t portion : {0u, 1u, 7u, 24u, 250u, 30000u}) {
      streams_.push_back({std::make_unique<OpenCryptStream>(), portion});
      ASSERT_TRUE(streams_.back().stream->OpenAs(form_, kReadWrite));
    }
  }

  void Step(Random& random) {
    const std::size_t length = SomeLength(random);
    switch (Below(random, 8)) {
      case 0:
      case 1:
      case 2: {
        const std::string text = SomeText(random, length);
        for (Portioned& each : streams_) each.Write(text);
        model_.replace(at_, std::min(text.size(), model_.size() - at_), text);
        at_ += text.size();
        break;
      }
      case 3:
        for (Portioned& each : streams_) ASSERT_EQ(each.Read(length), model_.substr(at_, length));
        at_ = std::min(model_.size(), at_ + length);
        break;
      case 4:
      case 5:
        at_ = Below(random, 4) == 0 ? model_.size() : Below(random, model_.size() + 1);
        for (Portioned& each : streams_) ASSERT_EQ(each.stream->Seek(at_), at_);
        break;
      case 6:
        for (Portioned& each : streams_) {
          ASSERT_EQ(each.stream->Size(), model_.size());
          each.stream->Flush();
        }
        Compare();
        break;
      case 7:
        if (Below(random, 5) == 0) Reopen();
        break;
    }
    for (Portioned& each : streams_) {
      ASSERT_EQ(each.stream->GetError(), 0u);
      ASSERT_EQ(each.stream->Tell(), at_);
    }
  }

  // Invariant 4.
  void Compare() {
    const std::string expected = stored::Build(form_, model_);
    for (Portioned& each : streams_) {
      ASSERT_TRUE(each.stream->Stored() == expected)
          << "portions of " << each.portion << ", " << model_.size() << " bytes";
    }
  }

  void Reopen() {
    for (Portioned& each : streams_) {
      each.stream->Close();
      each.stream = std::make_unique<OpenCryptStream>(each.stream->Stored());
      ASSERT_TRUE(each.stream->OpenAs(form_, kReadWrite));
    }
    at_ = 0;
    Compare();
  }

  stored::Form form_;
  std::vector<Portioned> streams_;
  std::string model_;
  std::size_t at_ = 0;
};

TEST_P(CryptRandom, StreamsHoldWhatAPlainTextHoldsHoweverItIsCut) {
  const int seed = GetParam();
  std::vector<stored::Form> forms = AllForms();
  std::erase_if(forms, [](const stored::Form& form) { return form.UsesRsa(); });
  Random random(static_cast<unsigned>(seed));
  Begin(forms[static_cast<std::size_t>(seed) % forms.size()]);
  SCOPED_TRACE(NameOf(form_));
  for (int step = 0; step < 60 && !HasFatalFailure(); ++step) Step(random);
  if (!HasFatalFailure()) Reopen();
}

INSTANTIATE_TEST_SUITE_P(Seeds, CryptRandom, testing::Range(0, test::Runs(48, 3000)));

// The hash must not remember what later writes change; these are the places where it resumes.
TEST(CryptOrder, WritesInAnyOrderStoreTheSame) {
  for (const stored::Form& form : AllForms()) {
    if (form.UsesRsa()) continue;
    const std::string text = TextOf(61234);
    Random random(7);
    OpenCryptStream stream;
    ASSERT_TRUE(stream.OpenAs(form, kReadWrite));
    stream.Put(std::string(text.size(), ' '));
    std::vector<std::size_t> places;
    for (std::size_t at = 0; at < text.size(); at += 411) places.push_back(at);
    std::shuffle(places.begin(), places.end(), random);
    for (const std::size_t at : places) {
      stream.Seek(at);
      stream.Put(text.substr(at, 411));
      if (Below(random, 10) == 0) stream.Flush();
    }
    stream.Flush();
    EXPECT_TRUE(stream.Stored() == stored::Build(form, text)) << NameOf(form);
  }
}

}  // namespace
}  // namespace tmx
