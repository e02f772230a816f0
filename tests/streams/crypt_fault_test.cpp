// Encrypted streams where the operating system or the memory fails, and what they leave in memory.
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "tests/streams/crypt_fixture.h"
#include "tests/support/fault_env.h"
#include "tests/support/memory_env.h"
#include "tests/variables/failing_memory.h"
#include "tmxtools/platform/crypto.h"
#include "tmxtools/streams/crypt_file_stream.h"

namespace tmx {
namespace {

const std::string kOld = TextOf(3210);
// What the two flushes of Work() leave.
const std::string kFirst = kOld + TextOf(100);
const std::string kSecond = "new" + kFirst.substr(3);

std::vector<stored::Form> FileForms() {
  return {{true, true, true, false, kSessionKey, kWrappingKey, ""},
          {false, true, true, false, kSessionKey, kWrappingKey, ""}};
}

// Appends, flushes, changes the beginning, closes, and reads it all again. The first error.
std::uint32_t Work(const stored::Form& form) {
  HbCryptFileStream stream("f", ModeOf(form, kReadWrite), nullptr, 0, KeyBytes(kSessionKey),
                           KeyBytes(kWrappingKey));
  stream.Seek(SvStream::SeekToEnd);
  stream.Write(kFirst.data() + kOld.size(), kFirst.size() - kOld.size());
  stream.Flush();
  stream.Seek(0);
  stream.Write("new", 3);
  stream.Close();
  if (stream.GetError() != 0) return stream.GetError();
  HbCryptFileStream reader("f", ModeOf(form, kReadOnly), nullptr, 0, nullptr,
                           KeyBytes(kWrappingKey));
  std::string text(kSecond.size(), '\0');
  const bool complete = reader.Read(text.data(), text.size()) == text.size();
  EXPECT_TRUE(reader.HasError() || (complete && text == kSecond));
  return reader.GetError();
}

// What a reader makes of the file: a text, or nothing if it refuses.
std::optional<std::string> Reread(const stored::Form& form) {
  HbCryptFileStream reader("f", ModeOf(form, kReadOnly), nullptr, 0, nullptr,
                           KeyBytes(kWrappingKey));
  std::string text(kSecond.size() + 100, '\0');
  text.resize(reader.Read(text.data(), text.size()));
  if (reader.HasError()) return std::nullopt;
  return text;
}

class CryptFault : public testing::Test {
 protected:
  // What lies in the file before each run; nothing: it does not exist.
  void Prepare(const stored::Form& form, bool exists) {
    faults_.Reset();
    memory_.Remove("f");
    if (exists) memory_.Put("f", stored::Build(form, kOld));
  }

  MemoryEnv memory_;
  FaultEnv faults_{memory_};
  ScopedEnv scope_{faults_};
};

TEST_F(CryptFault, EveryFailingCallOfTheSystemEndsInItsErrorAndLosesNothingUnnoticed) {
  struct Kind {
    EnvCall call;
    std::set<std::uint32_t> errors;
  };
  const Kind kinds[] = {{EnvCall::kOpen, {0x1019, 0x20D}}, {EnvCall::kClaim, {0x20D}},
                        {EnvCall::kSize, {0x20D, 0x212}},  {EnvCall::kRead, {0xB0F}},
                        {EnvCall::kWrite, {0xC10}},        {EnvCall::kSetSize, {0xC10}}};
  std::size_t failures = 0;
  for (const stored::Form& form : FileForms()) {
    for (const Kind& kind : kinds) {
      for (const auto lasting : {FaultEnv::Lasting::kOnce, FaultEnv::Lasting::kForGood}) {
        for (std::size_t nth = 1;; ++nth) {
          SCOPED_TRACE(NameOf(form) + ", call " + std::to_string(static_cast<int>(kind.call)) +
                       ", number " + std::to_string(nth));
          Prepare(form, true);
          faults_.Fail(kind.call, nth, std::errc::io_error, lasting);
          const std::uint32_t error = Work(form);
          const bool failed = faults_.Count(kind.call) >= nth;
          faults_.Reset();
          const auto text = Reread(form);
          if (!failed) {
            EXPECT_EQ(error, 0u);
            EXPECT_EQ(text, kSecond);
            break;
          }
          ++failures;
          EXPECT_TRUE(kind.errors.contains(error)) << error;
          if (text) EXPECT_TRUE(*text == kOld || *text == kFirst || *text == kSecond);
        }
      }
    }
  }
  EXPECT_GT(failures, 60u);
}

// A new file, and one with the older magic, which is brought up to date.
TEST_F(CryptFault, AFailureWhileAHeaderIsWrittenLeavesAFileThatIsRefusedOrGood) {
  const stored::Form form = FileForms()[0];
  stored::Form older = form;
  older.older_magic = true;
  std::size_t failures = 0;
  for (const std::string& before : {std::string(), stored::Build(older, kOld)}) {
    for (const EnvCall call : {EnvCall::kOpen, EnvCall::kSize, EnvCall::kRead, EnvCall::kWrite}) {
      for (std::size_t nth = 1;; ++nth) {
        memory_.Put("f", before);
        faults_.Reset();
        faults_.Fail(call, nth, std::errc::io_error);
        {
          HbCryptFileStream stream("f", ModeOf(form, kReadWrite), nullptr, 0, KeyBytes(kSessionKey),
                                   KeyBytes(kWrappingKey));
          stream.Write("new", 3);
          stream.Close();
          const bool failed = faults_.Count(call) >= nth;
          EXPECT_EQ(stream.HasError(), failed) << nth;
          failures += failed ? 1 : 0;
        }
        const bool failed = faults_.Count(call) >= nth;
        faults_.Reset();
        const auto text = Reread(form);
        const std::string changed = before.empty() ? "new" : "new" + kOld.substr(3);
        if (text) EXPECT_TRUE(*text == changed || (*text == kOld && !before.empty()));
        if (failed) continue;
        EXPECT_EQ(text, changed);
        break;
      }
    }
  }
  EXPECT_GT(failures, 20u);
}

// A crypto library that fails at one of its calls.
class FailingCrypto : public CryptoProvider {
 public:
  explicit FailingCrypto(int allowed) : allowed_(allowed), before_(SetCrypto(this)) {}
  ~FailingCrypto() override { SetCrypto(before_); }
  bool HasFailed() const { return allowed_ < 0; }

  void NormaliseKeyHalf(std::uint8_t* half) const override { inner_.NormaliseKeyHalf(half); }
  std::unique_ptr<TripleDes> MakeTripleDes(const std::uint8_t* key) const override {
    return Fails() ? nullptr : inner_.MakeTripleDes(key);
  }
  std::unique_ptr<AsymmetricKey> MakeAsymmetricKey(const std::uint8_t* bytes, std::size_t length,
                                                   AsymmetricUse use) const override {
    if (Fails()) return nullptr;
    return std::make_unique<Key>(*this, inner_.MakeAsymmetricKey(bytes, length, use));
  }
  bool FillRandom(std::uint8_t* bytes, std::size_t count) const override {
    return !Fails() && inner_.FillRandom(bytes, count);
  }

 private:
  struct Key : AsymmetricKey {
    Key(const FailingCrypto& crypto, std::unique_ptr<AsymmetricKey> key)
        : owner(crypto), inner(std::move(key)) {}
    std::size_t BlockLength() const override { return inner->BlockLength(); }
    std::optional<SecretBytes> Forward(const std::uint8_t* text,
                                       std::size_t length) const override {
      if (owner.Fails()) return std::nullopt;
      return inner->Forward(text, length);
    }
    std::optional<SecretBytes> Inverse(const std::uint8_t* block,
                                       std::size_t length) const override {
      auto text = inner->Inverse(block, length);
      if (owner.Fails()) text->pop_back();  // another text than was sealed
      return text;
    }
    const FailingCrypto& owner;
    std::unique_ptr<AsymmetricKey> inner;
  };

  bool Fails() const { return allowed_ >= 0 && allowed_-- == 0; }

  mutable int allowed_;
  const CryptoProvider* before_;
  const CryptoProvider& inner_ = [this]() -> const CryptoProvider& {
    SetCrypto(before_);
    const CryptoProvider& inner = CurrentCrypto();
    SetCrypto(this);
    return inner;
  }();
};

TEST_F(CryptFault, WhereTheCryptoLibraryFailsTheErrorIs525) {
  int failures = 0;
  for (stored::Form form : AllForms()) {
    stored::Form older = form;
    older.older_magic = form.tagged;
    form.session_key.clear();  // so that one is made up
    for (const std::string& before : {std::string(), stored::Build(older, kOld)}) {
      for (int allowed = 0;; ++allowed) {
        SCOPED_TRACE(NameOf(form) + ", call " + std::to_string(allowed));
        const FailingCrypto crypto(allowed);
        OpenCryptStream stream(before);
        const bool valid = stream.OpenAs(form, kReadWrite);
        stream.Put("new");
        stream.Flush();
        if (!crypto.HasFailed()) {
          EXPECT_EQ(stream.GetError(), 0u);
          break;
        }
        ++failures;
        EXPECT_TRUE(stream.GetError() == 525 || (!valid && stream.GetError() == 3088))
            << stream.GetError();
        if (!valid && before.empty()) EXPECT_EQ(stream.Get(1), "");
        // Whoever goes on all the same gets errors, or a stream.
        for (int attempt = 0; attempt < 2; ++attempt) {
          stream.ResetError();
          stream.CheckSignature();
          stream.ResetError();
          stream.SetStreamSize(0);
          stream.Put("new");
          stream.Flush();
          stream.ResetError();
          stream.inner.Seek(0);
          stream.Open();
          EXPECT_TRUE(!stream.HasError() || stream.GetError() == 525) << stream.GetError();
        }
      }
    }
  }
  EXPECT_GT(failures, 50);
}

TEST_F(CryptFault, AFullDiskIsDiskFullAndWorkGoesOnWhenThereIsRoomAgain) {
  const stored::Form form = FileForms()[0];
  for (std::size_t nth = 1; nth < 12; ++nth) {
    Prepare(form, true);
    HbCryptFileStream stream("f", ModeOf(form, kReadWrite), nullptr, 0, KeyBytes(kSessionKey),
                             KeyBytes(kWrappingKey));
    faults_.Fail(EnvCall::kWrite, nth, std::errc::no_space_on_device);
    std::string text = kOld;
    stream.Seek(SvStream::SeekToEnd);
    for (int piece = 0; piece < 4; ++piece) {
      const std::string more = TextOf(500);
      const unsigned long done = stream.Write(more.data(), more.size());
      text += more.substr(0, done);
      if (stream.HasError()) {
        EXPECT_EQ(stream.GetError(), 0x909u);
        stream.ResetError();
      }
      stream.Flush();
      if (stream.HasError()) {
        EXPECT_EQ(stream.GetError(), 0x909u);
        stream.ResetError();
        stream.Flush();
        EXPECT_EQ(stream.GetError(), 0u);
      }
    }
    stream.Close();
    EXPECT_EQ(stored::Parse(form, memory_.Get("f")), text) << nth;
  }
}

TEST_F(CryptFault, WhereMemoryEndsTheErrorIs2321) {
  for (const stored::Form& form : FileForms()) {
    for (std::size_t allowed = 0;; ++allowed) {
      const std::string bytes = stored::Build(form, kOld);
      auto inner = std::make_unique<SvMemoryStream>();
      inner->Write(bytes.data(), bytes.size());
      inner->Seek(0);
      std::uint32_t error = 0;
      {
        const FailingMemory failing(allowed);
        class Stream : public HbCryptStream {
         public:
          using HbCryptStream::Init;
          using HbCryptStream::Open;
        } stream;
        if (stream.Init(nullptr, 0, KeyBytes(kSessionKey), ModeOf(form, kReadWrite), inner.get(),
                        KeyBytes(kWrappingKey))) {
          stream.Open();
        }
        stream.Seek(SvStream::SeekToEnd);
        stream.Write(kFirst.data() + kOld.size(), kFirst.size() - kOld.size());
        stream.Flush();
        error = stream.GetError();
      }
      if (error == 0) {
        EXPECT_EQ(stored::Parse(form, std::string(inner->View())), kFirst);
        break;
      }
      EXPECT_EQ(error, 2321u) << allowed;
      ASSERT_LT(allowed, 1000u);
    }
  }
}

TEST_F(CryptFault, AStreamWithoutStateIs2321AndThen525) {
  std::optional<HbCryptStream> stream;
  {
    const FailingMemory failing(0);
    stream.emplace();
  }
  char byte = 0;
  EXPECT_EQ(stream->GetError(), 2321u);
  stream->ResetError();
  EXPECT_EQ(stream->Read(&byte, 1), 0u);
  EXPECT_EQ(stream->GetError(), 2321u);
  stream->ResetError();
  EXPECT_EQ(stream->Write(&byte, 1), 0u);
  EXPECT_EQ(stream->GetError(), 2321u);
  stream->ResetError();
  stream->Seek(1);
  EXPECT_EQ(stream->GetError(), 2321u);
  stream->ResetError();
  stream->Flush();
  EXPECT_EQ(stream->GetError(), 2321u);
  stream->ResetError();
  EXPECT_FALSE(stream->CheckSignature());
  EXPECT_EQ(stream->GetError(), 525u);
  stream->Close();
}

// Invariant 8. The keys of the session and of the wrapping stand in memory as they are given, with
// parity and adjusted; of the plain text any 24 bytes would be found in it.
TEST_F(CryptFault, KeysAndPlainTextAreWipedBeforeMemoryIsGivenBack) {
  const std::string text = TextOf(5000);
  for (const stored::Form& form : AllForms()) {
    if (!form.encrypted) continue;
    const std::string bytes = stored::Build(form, text);
    std::string read(text.size(), '\0');
    std::vector<std::string> secrets = {kSessionKey.substr(0, 8), kWrappingKey.substr(0, 8),
                                        stored::AdjustedKey(kSessionKey).substr(0, 8),
                                        stored::AdjustedKey(kWrappingKey).substr(0, 8)};
    for (std::size_t at = 0; at + 8 <= text.size(); at += 24) secrets.push_back(text.substr(at, 8));
    bool readable = false;
    std::size_t given = 0;
    std::size_t leaked = 0;
    {
      const WatchedMemory watched(secrets);
      auto stream = std::make_unique<OpenCryptStream>(bytes);
      readable = stream->OpenAs(form, kReadWrite);
      stream->Read(read.data(), read.size());
      stream->Seek(100);
      stream->Write(text.data(), text.size());
      stream->Flush();
      stream.reset();
      given = watched.Given();
      leaked = watched.Leaked();
    }
    EXPECT_TRUE(readable);
    EXPECT_EQ(read, text);
    EXPECT_GT(given, 3u);
    EXPECT_EQ(leaked, 0u) << NameOf(form);
  }
}

TEST_F(CryptFault, TheSearchForSecretsFindsThem) {
  const WatchedMemory watched({"a secret"});
  auto* const text = new std::string("here is a secret for all to see");
  delete text;
  EXPECT_EQ(watched.Leaked(), 1u);
}

}  // namespace
}  // namespace tmx
