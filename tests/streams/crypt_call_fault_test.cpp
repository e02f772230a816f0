// Every operation of encrypted files and of the CBC crypter over an operating system whose n-th
// call fails, for all n, once and for good, and where memory ends.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <new>
#include <optional>
#include <set>
#include <string_view>

#include "tests/streams/crypt_fixture.h"
#include "tests/support/fault_env.h"
#include "tests/support/memory_env.h"
#include "tests/variables/failing_memory.h"
#include "tmxtools/streams/cbc_crypter.h"
#include "tmxtools/streams/crypt_file_stream.h"
#include "tmxtools/streams/file.h"

namespace tmx {
namespace {

using Lasting = FaultEnv::Lasting;

const std::string kOld = "a line\n" + TextOf(1700);

// What an operation does to a stream that is open, and the text that it leaves of kOld.
struct Operation {
  const char* name;
  std::function<void(HbCryptFileStream&)> run;
  std::string after;
};

std::string Overwritten(std::size_t at, const std::string& text) {
  std::string after = kOld;
  return after.replace(at, text.size(), text);
}

void PutAt(SvStream& stream, unsigned long at, const std::string& text) {
  stream.Seek(at);
  stream.Write(text.data(), text.size());
}

std::vector<Operation> Operations() {
  const std::string many = TextOf(1500);
  return {
      {"open and close", [](HbCryptFileStream&) {}, kOld},
      {"read",
       [](HbCryptFileStream& stream) {
         String line;
         std::string text(kOld.size(), '\0');
         stream.Seek(0);
         const bool read_line = stream.ReadLine(line);
         const unsigned long size = stream.Size();
         stream.Seek(0);
         const bool complete = stream.Read(text.data(), text.size()) == text.size();
         if (stream.HasError()) return;
         EXPECT_TRUE(read_line && line == "a line" && complete && text == kOld);
         EXPECT_EQ(size, kOld.size());
       },
       kOld},
      {"check", [](HbCryptFileStream& stream) { stream.CheckSignature(); }, kOld},
      {"overwrite", [](HbCryptFileStream& stream) { PutAt(stream, 100, "another text"); },
       Overwritten(100, "another text")},
      {"overwrite many blocks", [=](HbCryptFileStream& stream) { PutAt(stream, 101, many); },
       Overwritten(101, many)},
      {"append",
       [=](HbCryptFileStream& stream) {
         PutAt(stream, static_cast<unsigned long>(kOld.size()), many);
         stream.Flush();
       },
       kOld + many},
      {"write a line",
       [](HbCryptFileStream& stream) {
         stream.Seek(0);
         stream.WriteLine("A LINE");
       },
       Overwritten(0, "A LINE\n")},
      {"sync",
       [](HbCryptFileStream& stream) {
         PutAt(stream, 0, "new");
         stream.Sync();
       },
       Overwritten(0, "new")},
      {"begin anew",
       [](HbCryptFileStream& stream) {
         stream.SetStreamSize(0);
         PutAt(stream, 0, "new");
       },
       "new"},
  };
}

std::vector<stored::Form> Forms() {
  std::vector<stored::Form> forms;
  for (stored::Form form : AllForms()) {
    if (!form.UsesRsa() || (form.tagged && form.encrypted)) forms.push_back(form);
  }
  return forms;
}

// The kinds of calls that files make, and the errors that are documented for them.
const std::map<EnvCall, std::set<std::uint32_t>> kErrors = {
    {EnvCall::kOpen, {0x1019, 0x20D}}, {EnvCall::kClaim, {0x20D}}, {EnvCall::kSize, {0x20D, 0x212}},
    {EnvCall::kRead, {0xB0F}},         {EnvCall::kWrite, {0xC10}}, {EnvCall::kSetSize, {0xC10}},
    {EnvCall::kSync, {0xC10}},
};

class CryptCallFault : public testing::Test {
 protected:
  static void Open(HbCryptFileStream& stream, const stored::Form& form, unsigned short access) {
    std::string rsa = form.rsa_key;
    auto* const key = rsa.empty() ? nullptr : reinterpret_cast<unsigned char*>(rsa.data());
    const bool writes = (access & stream_mode::Write) != 0;
    stream.Open("f", ModeOf(form, access), key, static_cast<long>(rsa.size()),
                KeyBytes(writes ? form.session_key : ""), KeyBytes(form.wrapping_key));
  }

  // What the other reader makes of the file.
  std::optional<std::string> Text(const stored::Form& form) {
    return stored::Parse(form, memory_.Get("f"));
  }

  // Runs `attempt` with each call of each kind failing, as long as it says that the call was made.
  void FailEach(const std::vector<Lasting>& lastings,
                const std::function<bool(EnvCall call)>& attempt) {
    for (const auto& [call, errors] : kErrors) {
      for (const Lasting lasting : lastings) {
        for (nth_ = 1;; ++nth_) {
          SCOPED_TRACE("call " + std::to_string(static_cast<int>(call)) + ", number " +
                       std::to_string(nth_) + (lasting == Lasting::kOnce ? "" : " and all others"));
          faults_.Reset();
          faults_.Fail(call, nth_, std::errc::io_error, lasting);
          if (!attempt(call)) break;
          ++failures_;
          ASSERT_LT(nth_, 1000u);
        }
      }
    }
    faults_.Reset();
  }
  // Whether the call was made; from now on all goes well.
  bool EndFaults(EnvCall call) {
    const bool failed = faults_.Count(call) >= nth_;
    faults_.Reset();
    return failed;
  }

  MemoryEnv memory_;
  FaultEnv faults_{memory_};
  ScopedEnv scope_{faults_};
  std::size_t nth_ = 0;
  std::size_t failures_ = 0;
};

// An unsigned stream has no signature that could be checked.
bool IsRefused(const Operation& operation, const stored::Form& form) {
  return std::string_view(operation.name) == "check" && !form.is_signed;
}

TEST_F(CryptCallFault, EveryOperationEndsInItsErrorAndWhatIsSignedIsOldOrNewOrRefused) {
  for (const stored::Form& form : Forms()) {
    const std::string before = stored::Build(form, kOld);
    for (const Operation& operation : Operations()) {
      SCOPED_TRACE(NameOf(form) + ", " + operation.name);
      FailEach({Lasting::kOnce, Lasting::kForGood}, [&](EnvCall call) {
        memory_.Put("f", before);
        HbCryptFileStream stream;
        Open(stream, form, kReadWrite);
        operation.run(stream);
        stream.Close();
        const std::uint32_t error = stream.GetError();
        const bool failed = EndFaults(call);
        const auto text = Text(form);
        if (!failed) {
          EXPECT_EQ(error, IsRefused(operation, form) ? 525u : 0u);
          EXPECT_TRUE(text == operation.after);
          return false;
        }
        EXPECT_TRUE(kErrors.at(call).contains(error) ||
                    (IsRefused(operation, form) && error == 525))
            << error;
        if (form.is_signed && text) EXPECT_TRUE(*text == kOld || *text == operation.after);
        // Whatever is left, the library reads it as the other reader does.
        Open(stream, form, kReadOnly);
        std::string read(kOld.size() + 2000, '\0');
        read.resize(stream.Read(read.data(), read.size()));
        if (text) EXPECT_EQ(stream.GetError(), 0u);
        if (text) EXPECT_TRUE(read == *text);
        return true;
      });
    }
  }
  EXPECT_GT(failures_, 1000u);
}

// A changed block stays changed until it is stored.
TEST_F(CryptCallFault, AnOperationThatFailedOnceCanBeRepeated) {
  for (const stored::Form& form : Forms()) {
    const std::string before = stored::Build(form, kOld);
    for (const Operation& operation : Operations()) {
      if (IsRefused(operation, form)) continue;
      SCOPED_TRACE(NameOf(form) + ", " + operation.name);
      FailEach({Lasting::kOnce}, [&](EnvCall call) {
        memory_.Put("f", before);
        HbCryptFileStream stream;
        Open(stream, form, kReadWrite);
        if (stream.HasError()) Open(stream, form, kReadWrite);
        operation.run(stream);
        stream.Flush();
        if (stream.HasError()) {
          stream.ResetError();
          operation.run(stream);
        }
        stream.Close();
        EXPECT_EQ(stream.GetError(), 0u);
        EXPECT_TRUE(Text(form) == operation.after);
        return EndFaults(call);
      });
    }
  }
  EXPECT_GT(failures_, 500u);
}

TEST_F(CryptCallFault, AnOperationThatRanOutOfMemoryIs2321AndCanBeRepeated) {
  for (const stored::Form& form : Forms()) {
    if (form.UsesRsa()) continue;  // OpenSSL has its own memory
    const std::string before = stored::Build(form, kOld);
    for (const Operation& operation : Operations()) {
      if (IsRefused(operation, form)) continue;
      SCOPED_TRACE(NameOf(form) + ", " + operation.name);
      bool failed = true;
      for (std::size_t allowed = 0; failed; ++allowed) {
        ASSERT_LT(allowed, 1000u);
        memory_.Put("f", before);
        HbCryptFileStream stream;
        Open(stream, form, kReadWrite);
        try {
          const FailingMemory failing(allowed);
          operation.run(stream);
          stream.Flush();
          failed = stream.HasError();
        } catch (const std::bad_alloc&) {
          failed = true;  // in the operation itself
        }
        if (stream.HasError()) EXPECT_EQ(stream.GetError(), 2321u);
        if (failed) {
          ++failures_;
          stream.ResetError();
          operation.run(stream);
        }
        stream.Close();
        EXPECT_EQ(stream.GetError(), 0u);
        EXPECT_TRUE(Text(form) == operation.after) << allowed;
      }
    }
  }
  EXPECT_GT(failures_, 50u);
}

TEST_F(CryptCallFault, LinesOfAnEncryptedFileEndInACodeThatSticks) {
  const std::string before =
      stored::Build({true, true, true, false, kSessionKey, kWrappingKey, ""}, kOld);
  constexpr unsigned short kMode =
      kReadWrite | crypt_mode::Tagged | crypt_mode::Encrypt | crypt_mode::Sign;
  FailEach({Lasting::kOnce, Lasting::kForGood}, [&](EnvCall call) {
    memory_.Put("f", before);
    HbFile file("f");
    HbError err;
    String line;
    if (file.Open(err, kMode, nullptr, 0, KeyBytes(kSessionKey), KeyBytes(kWrappingKey))) {
      file.ReadLine(line, err);
      file.WriteLine("another line", err);
    }
    file.Close();
    const bool failed = EndFaults(call);
    HbError status = file.GetStatus();
    EXPECT_EQ(status.IsSet(), failed);
    if (failed) {
      EXPECT_TRUE(status.GetCode() >= 0x4547 && status.GetCode() <= 0x4558) << status.GetCode();
      EXPECT_EQ(*status.GetParamText(), "/home/f");
      EXPECT_FALSE(file.ReadLine(line, err));
      EXPECT_EQ(err.GetCode(), status.GetCode());
    }
    return failed;
  });
  EXPECT_GT(failures_, 20u);
}

// From a file to a file.
TEST_F(CryptCallFault, TheCbcCrypterEndsInItsCodeWithTheStreamsErrorAsTheCause) {
  constexpr unsigned char kVector[9] = "vectorIV";
  HbtdCbcCrypter crypter;
  crypter.SetKey(KeyBytes(kWrappingKey));
  crypter.SetIV(kVector);
  const std::string plain = TextOf(20000);  // three pieces
  std::string cipher;
  for (const bool encrypts : {true, false}) {
    SCOPED_TRACE(encrypts ? "encrypt" : "decrypt");
    const std::string input = encrypts ? plain : cipher;
    memory_.Put("in", input);
    FailEach({Lasting::kOnce, Lasting::kForGood}, [&](EnvCall call) {
      memory_.Put("out", "");
      HbError err;
      bool done = false;
      {
        SvFileStream in("in", stream_mode::Read);
        SvFileStream out("out", kReadWrite);
        done = encrypts ? crypter.Encrypt(err, in, out, true) : crypter.Decrypt(err, in, out, true);
      }
      const bool failed = EndFaults(call);
      EXPECT_EQ(memory_.Get("in"), input);
      EXPECT_EQ(done, !failed);
      EXPECT_EQ(err.IsSet(), failed);
      if (!failed) {
        if (encrypts) cipher = memory_.Get("out");
        if (!encrypts) EXPECT_EQ(memory_.Get("out"), plain);
        return false;
      }
      EXPECT_EQ(err.GetCode(), encrypts ? 17756 : 17757);
      EXPECT_TRUE(*err.GetParamText() == "Input" || *err.GetParamText() == "Output");
      EXPECT_TRUE(err.GetPrev() != nullptr && err.GetPrev()->GetCode() >= 0x4547 &&
                  err.GetPrev()->GetCode() <= 0x4558);
      return true;
    });
    EXPECT_EQ(cipher.size(), plain.size() + 8);
  }
  EXPECT_GT(failures_, 30u);
}

}  // namespace
}  // namespace tmx
