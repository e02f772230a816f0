#include "tmxtools/core/error.h"

#include <gtest/gtest.h>

#include <concepts>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/variables/failing_memory.h"
#include "tmxtools/platform/memory_stream.h"
#include "tmxtools/textres/message_resolver.h"

namespace tmx {
namespace {

// Gives a few codes short texts and counts how often it was asked.
class Texts : public IMessageResolver {
 public:
  Texts() { MessageResolverManager::getInstance()->add(this); }
  ~Texts() override { MessageResolverManager::getInstance()->remove(this); }
  bool canResolve(unsigned short code) const override { return code < 10; }
  std::string getMessage(unsigned short code) override {
    ++asked;
    if (throws) throw 1;
    return code == 9 ? "" : text + std::to_string(code);
  }
  bool setLanguage(hbk::HbLanguageType) override { return false; }

  int asked = 0;
  bool throws = false;
  std::string text = "T";
};

class Error : public testing::Test {
 protected:
  static std::string Full(const HbError& error) {
    String out("old");
    error.GetFull(out);
    return std::string(out.View());
  }
  Texts texts_;
};

TEST_F(Error, AResolverThatThrowsCostsOnlyTheText) {
  texts_.throws = true;
  for (const bool with_parameter : {false, true}) {
    HbError error;
    if (with_parameter)
      error.SetError(7, String("parameter"));
    else
      error.SetError(7);
    ASSERT_TRUE(error.IsSet());
    EXPECT_EQ(error.GetCode(), 7);
    EXPECT_EQ(error.GetText()->View(), "");
    EXPECT_EQ(error.GetParamText()->View(), with_parameter ? "parameter" : "");
  }
}

TEST_F(Error, NullHasNothing) {
  const HbError error;
  EXPECT_FALSE(error.IsSet());
  EXPECT_FALSE(static_cast<bool>(error));
  EXPECT_EQ(error.GetCode(), 0);
  EXPECT_EQ(error.GetErrKind(), ErrKindNone);
  EXPECT_EQ(error.GetText(), nullptr);
  EXPECT_EQ(error.GetParamText(), nullptr);
  EXPECT_EQ(error.GetPrev(), nullptr);
}

TEST_F(Error, CarriesCodeTextParameterAndCause) {
  const HbError cause(1);
  const HbError error(2, String("p"), cause);
  EXPECT_TRUE(error);
  EXPECT_EQ(error.GetCode(), 2);
  EXPECT_EQ(error.GetText()->View(), "T2");
  EXPECT_EQ(error.GetParamText()->View(), "p");
  ASSERT_NE(error.GetPrev(), nullptr);
  EXPECT_EQ(error.GetPrev()->GetText(), cause.GetText());
}

TEST_F(Error, KindFollowsFromTheCodeAlone) {
  const auto kind = [](unsigned short code) { return HbError(code).GetErrKind(); };
  EXPECT_EQ(kind(0), ErrKindNone);
  EXPECT_EQ(kind(1), ErrKindWarning);
  EXPECT_EQ(kind(0x3FFF), ErrKindWarning);
  EXPECT_EQ(kind(0x4000), ErrKindError);
  EXPECT_EQ(kind(0x7FFF), ErrKindError);
  EXPECT_EQ(kind(0x8000), ErrKindCritical);
  EXPECT_EQ(kind(0xBFFF), ErrKindCritical);
  EXPECT_EQ(kind(0xC000), ErrKindFatal);
  EXPECT_EQ(kind(0xFFFF), ErrKindFatal);
}

TEST_F(Error, CodeZeroCountsAsSet) {
  HbError error;
  error.SetError(0);
  EXPECT_TRUE(error.IsSet());
  EXPECT_EQ(error.GetCode(), 0);
  EXPECT_EQ(error.GetErrKind(), ErrKindNone);
}

TEST_F(Error, TextIsLookedUpOnce) {
  const HbError error(3);
  const HbError copy = error;
  texts_.text = "other";
  EXPECT_EQ(copy.GetText()->View(), "T3");
  EXPECT_EQ(Full(copy), "T3");
  EXPECT_EQ(texts_.asked, 1);
}

TEST_F(Error, AnUnknownCodeHasTheFallbackText) {
  EXPECT_EQ(HbError(0x4123).GetText()->View(), "Unresolved Error code: 16675 ResId: 291");
  EXPECT_EQ(HbError(9).GetText()->View(), "");
}

TEST_F(Error, GetFullOfNullIsEmpty) { EXPECT_EQ(Full(HbError()), ""); }

TEST_F(Error, GetFullHasNoEmptyParentheses) {
  EXPECT_EQ(Full(HbError(1)), "T1");
  EXPECT_EQ(Full(HbError(1, String("p"))), "T1 (p)");
}

TEST_F(Error, GetFullOfAChainHasOneLineEach) {
  EXPECT_EQ(Full(HbError(3, HbError(2, String("p"), HbError(1)))), "T3\nT2 (p)\nT1");
}

TEST_F(Error, GetFullStopsAtTheLimitOfATextAndMayFillItsOwnParameter) {
  const String long_param(std::string_view(std::string(65000, 'x')));
  const HbError error(2, long_param, HbError(1, long_param));
  const std::string full = Full(error);
  EXPECT_EQ(full.size(), 65535U);
  EXPECT_EQ(full.substr(0, 4) + full.substr(65004, 5), "T2 ()\nT1 " + std::string());
}

TEST_F(Error, GetPrevWithoutCauseIsNullNotAHandle) {
  EXPECT_EQ(HbError(1).GetPrev(), nullptr);
  EXPECT_EQ(HbError(1, HbError()).GetPrev(), nullptr);
}

TEST_F(Error, CopiesShareOneRecord) {
  HbError error(1);
  HbError copy = error;
  EXPECT_EQ(copy.GetText(), error.GetText());
  const HbError& self = error;
  error = self;
  copy = error;
  EXPECT_EQ(copy.GetText(), error.GetText());
  error.Clear();
  EXPECT_FALSE(error);
  EXPECT_EQ(copy.GetText()->View(), "T1");
  error.Clear();
}

// Too low a count gives the record back while a copy needs it, too high a one never.
TEST_F(Error, AssigningToItselfChangesNoCounts) {
  for (const bool is_shared : {false, true}) {
    HbError error(1, String("a parameter that is not held inline"));
    HbError copy = is_shared ? error : HbError();
    const HbError& self = error;
    std::size_t early = 0;
    std::size_t late = 0;
    {
      const WatchedMemory watched({"parameter that"});  // so short that it is held inline
      error = self;
      if (is_shared) {
        copy = error;  // another handle on the same record
        copy = std::move(error);
        error = copy;
        copy.Clear();
      }
      early = watched.Leaked();
      error.Clear();
      late = watched.Leaked();
    }
    EXPECT_EQ(early, 0U);
    EXPECT_EQ(late, 1U);
  }
}

TEST_F(Error, MovingLeavesNull) {
  HbError error(1);
  HbError moved = std::move(error);
  EXPECT_FALSE(error.IsSet());  // NOLINT(bugprone-use-after-move): null is promised
  error = std::move(moved);
  EXPECT_EQ(error.GetCode(), 1);
  HbError& self = error;
  error = std::move(self);
  EXPECT_EQ(error.GetCode(), 1);
}

TEST_F(Error, SetErrorWithItselfWrapsTheFormerError) {
  HbError error(1, String("a"));
  error.SetError(2, error);
  EXPECT_EQ(Full(error), "T2\nT1 (a)");
  error.SetError(3, String("b"), error);
  EXPECT_EQ(Full(error), "T3 (b)\nT2\nT1 (a)");
}

TEST_F(Error, ArgumentsMayBePartsOfTheError) {
  HbError error(2, String("a text that is not held inline"), HbError(1, String("q")));
  error.SetError(3, *error.GetParamText());
  EXPECT_EQ(Full(error), "T3 (a text that is not held inline)");
  error = HbError(2, HbError(1));
  error = *error.GetPrev();
  EXPECT_EQ(Full(error), "T1");
  error = HbError(3, HbError(2, HbError(1)));
  error.SetError(4, *error.GetPrev());
  EXPECT_EQ(Full(error), "T4\nT2\nT1");
  error.SetError(5, *error.GetPrev()->GetText(), *error.GetPrev());
  EXPECT_EQ(Full(error), "T5 (T2)\nT2\nT1");
}

// Every way to make a record, into a handle that may already hold one.
using Make = void (*)(HbError& error, const String& param, const HbError& prev);
constexpr Make kMakers[] = {
    [](HbError& error, const String&, const HbError&) { error.SetError(2); },
    [](HbError& error, const String&, const HbError& prev) { error.SetError(2, prev); },
    [](HbError& error, const String& param, const HbError&) { error.SetError(2, param); },
    [](HbError& error, const String& param, const HbError& prev) {
      error.SetError(2, param, prev);
    },
    [](HbError& error, const String&, const HbError&) { error = HbError(2); },
    [](HbError& error, const String&, const HbError& prev) { error = HbError(2, prev); },
    [](HbError& error, const String& param, const HbError&) { error = HbError(2, param); },
    [](HbError& error, const String& param, const HbError& prev) {
      error = HbError(2, param, prev);
    }};

// Makes a record with less and less lack of memory, until there is enough. An error may come
// without its text, but never without its parameter or its cause.
void MakeWithoutMemory(Make make, std::size_t failures) {
  const String param("a parameter that is not held inline");
  const HbError prev(1);
  HbError whole;
  make(whole, param, prev);
  bool complete = false;
  for (std::size_t allowed = 0; !complete; ++allowed) {
    HbError error(3);
    {
      const FailingMemory failing(allowed, failures);
      EXPECT_NO_THROW(make(error, param, prev));
    }
    ASSERT_LT(allowed, 100U);
    if (error.IsSet()) {
      EXPECT_EQ(error.GetCode(), 2);
      EXPECT_EQ(*error.GetParamText(), *whole.GetParamText());
      EXPECT_EQ(error.GetPrev() != nullptr, whole.GetPrev() != nullptr);
      complete = *error.GetText() == *whole.GetText();
      EXPECT_TRUE(complete || error.GetText()->IsEmpty());
    } else {
      EXPECT_EQ(error.GetErrKind(), ErrKindNone);
      EXPECT_EQ(error.GetText(), nullptr);
      EXPECT_EQ(error.GetParamText(), nullptr);
      EXPECT_EQ(error.GetPrev(), nullptr);
    }
    if (allowed == 0 && failures == SIZE_MAX) EXPECT_FALSE(error.IsSet());
  }
}

TEST_F(Error, WithoutMemoryForARecordItIsLeftNullAndNothingIsThrown) {
  texts_.text = "a text that is not held inline ";
  for (const Make make : kMakers)
    for (const std::size_t failures : {std::size_t{1}, SIZE_MAX}) MakeWithoutMemory(make, failures);
}

TEST_F(Error, WithoutMemoryToWrapItsOwnErrorIsGivenUp) {
  HbError error(1, String("a"));
  const HbError former = error;
  {
    const FailingMemory failing(0);
    error.SetError(2, error);
  }
  EXPECT_FALSE(error.IsSet());
  EXPECT_EQ(Full(former), "T1 (a)");
}

TEST_F(Error, AChainOfAMillionLinksNeedsNoStack) {
  HbError error;
  for (int i = 0; i < 1'000'000; ++i) error.SetError(1, error);
  EXPECT_EQ(Full(error).size(), 65535U);
  error.Clear();
  EXPECT_FALSE(error);
}

TEST_F(Error, TheCountSticksInsteadOfWrapping) {
  HbError error(1, String("p"));
  // The record outlives its handles; what refers to it tells the leak check that this is meant.
  static const String* volatile stuck = nullptr;
  stuck = error.GetText();
  {
    const std::vector<HbError> copies(70000, error);
    EXPECT_EQ(copies.back().GetText(), error.GetText());
  }
  const HbError last = error;
  error.Clear();
  EXPECT_EQ(Full(last), "T1 (p)");
  EXPECT_EQ(stuck->View(), "T1");
}

template <class Number>
concept ComparesWithErrors = requires(const HbError& error, Number number) {
  error == number;
}
|| requires(const HbError& error, Number number) { number != error; };

TEST_F(Error, DoesNotCompareWithNumbers) {
  static_assert(!ComparesWithErrors<int>);
  static_assert(!ComparesWithErrors<unsigned short>);
  static_assert(!ComparesWithErrors<bool>);
  EXPECT_EQ(HbError(5).GetCode(), 5);
}

TEST_F(Error, StreamErrorsHaveCodes) {
  const std::pair<std::uint32_t, unsigned short> rows[] = {
      {0x20D, 0x454D},  {0x212, 0x4552}, {0x213, 0x4553},      {0x302, 0x4547},
      {0x31C, 0x4548},  {0x507, 0x454A}, {0x518, 0x454C},      {0x708, 0x454B},
      {0x81A, 0x454F},  {0x909, 0x4557}, {0x90E, 0x4549},      {0x911, 0x4554},
      {0xB0F, 0x4550},  {0xC10, 0x4551}, {0xE14, 0x4556},      {0xF15, 0x4555},
      {0x1019, 0x454E}, {0x1, 0x4558},   {0x3FFFFFFF, 0x4558}, {0x40000302, 0x4547}};
  for (const auto& [stream_error, code] : rows) {
    SvMemoryStream stream;
    stream.SetError(stream_error);
    HbError error(1, String("p"), HbError(2));
    error.SetStreamState(stream);
    EXPECT_EQ(error.GetCode(), code) << stream_error;
    EXPECT_EQ(error.GetErrKind(), ErrKindError);
    EXPECT_TRUE(error.GetParamText()->IsEmpty());
    EXPECT_EQ(error.GetPrev(), nullptr);
  }
}

TEST_F(Error, AStreamWithoutErrorOrWithAWarningKeepsTheStatus) {
  SvMemoryStream stream;
  HbError error(7);
  error.SetStreamState(stream);
  EXPECT_EQ(error.GetCode(), 7);
  stream.SetError(0x80000302);
  error.SetStreamState(stream);
  EXPECT_EQ(error.GetCode(), 7);
}

class Handler : public HbErrorHandler {
 public:
  int hooks = 0;

 protected:
  void OnStatusSet() override { ++hooks; }
};

class ErrorHandler : public Error {
 protected:
  Handler handler_;
};

TEST_F(ErrorHandler, BeginsWithoutStatus) { EXPECT_FALSE(handler_.GetStatus()); }

TEST_F(ErrorHandler, StoresTheStatusAndCallsTheHook) {
  EXPECT_EQ(&handler_.SetStatus(1), &handler_.GetStatus());
  EXPECT_EQ(Full(handler_.GetStatus()), "T1");
  handler_.SetStatus(2, String("p"));
  EXPECT_EQ(Full(handler_.GetStatus()), "T2 (p)");
  handler_.SetStatus(3, handler_.GetStatus());
  EXPECT_EQ(Full(handler_.GetStatus()), "T3\nT2 (p)");
  handler_.SetStatus(4, String("q"), HbError(1));
  EXPECT_EQ(Full(handler_.GetStatus()), "T4 (q)\nT1");
  handler_.SetStatus(HbError(5));
  EXPECT_EQ(Full(handler_.GetStatus()), "T5");
  EXPECT_EQ(handler_.hooks, 5);
  handler_.ResetStatus();
  EXPECT_FALSE(handler_.GetStatus());
  EXPECT_EQ(handler_.hooks, 5);
}

TEST_F(ErrorHandler, SetStatusZeroIsSetAndCallsNoHook) {
  handler_.SetStatus(0);
  EXPECT_TRUE(handler_.GetStatus().IsSet());
  EXPECT_EQ(handler_.GetStatus().GetCode(), 0);
  handler_.SetStatus(0, String("p"));
  EXPECT_EQ(handler_.GetStatus().GetParamText()->View(), "p");
  handler_.SetStatus(0, String("p"), HbError(1));
  EXPECT_NE(handler_.GetStatus().GetPrev(), nullptr);
  EXPECT_EQ(handler_.hooks, 0);
}

TEST_F(ErrorHandler, SetStatusZeroWithCauseChangesNothing) {
  handler_.SetStatus(1);
  handler_.SetStatus(0, HbError(2));
  EXPECT_EQ(Full(handler_.GetStatus()), "T1");
  EXPECT_EQ(handler_.hooks, 1);
}

TEST_F(ErrorHandler, AnUnsetCauseIsLeftOut) {
  handler_.SetStatus(1, HbError());
  EXPECT_EQ(handler_.GetStatus().GetPrev(), nullptr);
  EXPECT_EQ(handler_.hooks, 1);
}

TEST_F(ErrorHandler, AnUnsetStatusIsStoredWithoutTheHookAndCodeZeroWithIt) {
  handler_.SetStatus(1);
  handler_.SetStatus(HbError());
  EXPECT_FALSE(handler_.GetStatus());
  EXPECT_EQ(handler_.hooks, 1);
  HbError zero;
  zero.SetError(0);
  handler_.SetStatus(zero);
  EXPECT_EQ(handler_.hooks, 2);
}

TEST_F(ErrorHandler, CopiesShareTheStatus) {
  handler_.SetStatus(1);
  const Handler copy(handler_);
  EXPECT_EQ(copy.GetStatus().GetText(), handler_.GetStatus().GetText());
  Handler assigned;
  assigned = handler_;
  handler_.ResetStatus();
  EXPECT_EQ(Full(assigned.GetStatus()), "T1");
}

}  // namespace
}  // namespace tmx
