// tmx crypt under RSA keys, held against streams that plain OpenSSL calls build and read.
#include <gtest/gtest.h>

#include "tests/support/stored_stream.h"
#include "tests/tools/golden.h"

namespace tmx {
namespace {

const std::string kText = "Ein Text, der geheim ist: \xE4\xF6\xFC und eine Null \0.";

stored::Form FormOf(bool tagged, bool encrypted, bool is_signed) {
  return {tagged, encrypted, is_signed, false, "a session's key.", "", ""};
}

std::string FlagsOf(const stored::Form& form) {
  return std::string(form.tagged ? " --tagged" : "") + (form.encrypted ? " --encrypt" : "") +
         (form.is_signed ? " --sign" : "");
}

// Every form that RSA plays a part in.
const stored::Form kForms[] = {FormOf(false, true, false), FormOf(false, false, true),
                               FormOf(false, true, true), FormOf(true, false, true),
                               FormOf(true, true, true)};

// The outcome of one command line in a directory with both halves of the test's key and a file.
struct Outcome {
  std::string out, err;
  std::string exit = "0";
  std::string result;  // what the file "stream" holds afterwards
};

Outcome RunLine(const std::string& command, const std::string& input, const std::string& stream) {
  const golden::Document done =
      golden::RunCases({"",
                        {{"file", "public", stored::TestRsaKey().public_pem},
                         {"file", "private", stored::TestRsaKey().private_pem},
                         {"file", "stream", stream},
                         {"run", "", command},
                         {"stdin", "", input},
                         {"result", "stream", ""}}},
                       TMX_BINARY_DIR "/bin");
  Outcome outcome;
  for (const golden::Section& section : done.sections) {
    if (section.kind == "stdout") outcome.out = section.text;
    if (section.kind == "stderr") outcome.err = section.text;
    if (section.kind == "exit") outcome.exit = section.argument;
    if (section.kind == "result") outcome.result = section.text;
  }
  return outcome;
}

TEST(CryptRsa, WritesWithThePublicKeyWhatTheOtherReaderReads) {
  for (stored::Form form : kForms) {
    const Outcome wrote =
        RunLine("tmx crypt write" + FlagsOf(form) + " --rsa-key public stream", kText, "old");
    EXPECT_EQ(wrote.exit + wrote.out + wrote.err, "0") << FlagsOf(form);
    form.rsa_key = stored::TestRsaKey().private_pem;
    EXPECT_EQ(stored::Parse(form, wrote.result), kText) << FlagsOf(form);
  }
}

TEST(CryptRsa, ReadsWithThePrivateKeyWhatTheOtherWriterBuilds) {
  for (stored::Form form : kForms) {
    form.rsa_key = stored::TestRsaKey().public_pem;
    const std::string stream = stored::Build(form, kText);
    const std::string options = FlagsOf(form) + " --rsa-key private";
    const Outcome read = RunLine("tmx crypt read" + options + " stream", "", stream);
    EXPECT_EQ(read.exit + read.err, "0") << options;
    EXPECT_EQ(read.out, kText) << options;
    const Outcome verified = RunLine("tmx crypt verify --json" + options + " stream", "", stream);
    EXPECT_EQ(verified.out, std::string(R"({"file":"stream","good":true,"signatureChecked":)") +
                                (form.is_signed ? "true" : "false") +
                                ",\"length\":" + std::to_string(kText.size()) + "}\n");
  }
}

TEST(CryptRsa, InfoNeedsTheLengthOfTheKeyAlone) {
  for (stored::Form form : kForms) {
    form.rsa_key = stored::TestRsaKey().public_pem;
    const std::string stream = stored::Build(form, kText);
    const stored::Layout layout = stored::LayoutOf(form);
    const Outcome info =
        RunLine("tmx crypt info --json" + FlagsOf(form) + " --rsa-key public stream", "", stream);
    const auto field = [](const char* name, std::size_t value) {
      return '"' + std::string(name) + "\":" + std::to_string(value);
    };
    EXPECT_EQ(info.exit + info.err, "0");
    for (const std::string& part :
         {field("signatureLength", layout.key_block_flag - layout.signature),
          field("keyBlockLength", layout.data - layout.key_block), field("dataStart", layout.data),
          field("plainLength", kText.size())}) {
      EXPECT_NE(info.out.find(part + (part.starts_with("\"plain") ? "}" : ",")), std::string::npos)
          << part << " in " << info.out;
    }
  }
}

TEST(CryptRsa, RefusesOtherKeysAndChangedBytesWithoutAByteOfTheText) {
  stored::Form form = FormOf(true, true, true);
  form.rsa_key = stored::TestRsaKey().public_pem;
  const std::string stream = stored::Build(form, kText);
  const std::string tool = "tmx crypt read --tagged --encrypt --sign ";
  for (const char* const options : {"--rsa-key public", "--rsa-key stream"}) {
    const Outcome read = RunLine(tool + options + " stream", "", stream);
    EXPECT_EQ(read.exit, "4") << options;
    EXPECT_EQ(read.out, "") << options;
    EXPECT_NE(read.err.find("no usable key"), std::string::npos) << read.err;
    EXPECT_NE(read.err.find("(stream error 525)"), std::string::npos) << read.err;
  }
  const stored::Layout layout = stored::LayoutOf(form);
  for (const std::size_t at : {layout.signature, layout.data, stream.size() - 1}) {
    std::string changed = stream;
    changed[at] = static_cast<char>(changed[at] ^ 1);
    const Outcome read = RunLine(tool + "--rsa-key private stream", "", changed);
    EXPECT_EQ(read.exit, "4") << at;
    EXPECT_EQ(read.out, "") << at;
    EXPECT_NE(read.err.find("(stream error 2831)"), std::string::npos) << read.err;
  }
}

TEST(CryptRsa, AFileStaysWhenTheKeyCannotBeUsed) {
  const Outcome wrote = RunLine("tmx crypt write --sign --rsa-key stream stream", kText, "old");
  EXPECT_EQ(wrote.exit, "4");
  EXPECT_EQ(wrote.result, "old");
}

}  // namespace
}  // namespace tmx
