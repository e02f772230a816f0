// tmx client and tmx bank serve as programs: results, misbehaving banks over HTTP, and no secret in
// anything that is written.
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/support/temp_dir.h"

namespace tmx {
namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* kProgram = TMX_BINARY_DIR "/bin/tmx";

std::string Content(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

// Programs with a time limit, in a directory for what they write. PIN, TAN and key lie in another.
class ClientTest : public testing::Test {
 protected:
  struct Ending {
    int code = -1;
    std::string output;  // and errors
  };

  ClientTest() {
    Write("pin", "12345\n");
    Write("tan", "123456\n");
    Write("key", "00112233445566778899aabbccddeeff\n");
  }
  ~ClientTest() override { StopBank(); }

  static void SetUpTestSuite() {
    static const TempDir macros;
    macros_ = macros.Path();
    const std::string build = std::string(kProgram) + " macro build --out " + macros_ + " " +
                              TMX_SOURCE_DIR + "/macros/*.hbm";
    ASSERT_EQ(std::system(build.c_str()), 0) << build;
  }

  void Write(const std::string& name, const std::string& text) const {
    std::ofstream(secrets_.File(name)) << text;
  }

  void StartBank(const std::string& script) {
    StopBank();
    Write("script", script);
    // The bank says with which PIN to try it.
    const std::string log = secrets_.File("bank" + std::to_string(++runs_));
    const std::string command = std::string("exec ") + kProgram +
                                " bank serve --port 0 --time-limit 100 --script " +
                                secrets_.File("script") + " >" + log + " 2>&1";
    bank_ = fork();
    if (bank_ == 0) {
      execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
      _exit(127);
    }
    for (int i = 0; i < 600 && url_.empty(); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      const std::string text = Content(log);
      const std::string before = "listening on ";
      const std::size_t at = text.find(before);
      if (at != std::string::npos && text.find('\n', at) != std::string::npos)
        url_ = text.substr(at + before.size(), text.find('\n', at) - at - before.size());
    }
    ASSERT_NE(url_, "") << Content(log);
  }

  void StopBank() {
    if (bank_ > 0) {
      kill(bank_, SIGKILL);
      waitpid(bank_, nullptr, 0);
    }
    bank_ = 0;
    url_.clear();
  }

  Ending Client(const std::string& arguments) {
    const std::string out = written_.File("out" + std::to_string(++runs_));
    const std::string command =
        "timeout 60 " + std::string(kProgram) + " client " + arguments + " --url " + url_ +
        " --bank 99900011 --user 4711 --macros " + macros_ + " --pin-file " + secrets_.File("pin") +
        " --tan-file " + secrets_.File("tan") + " --key-file " + secrets_.File("key") + " --data " +
        written_.File("data") + " --log " + written_.File("log") + " >" + out + " 2>&1 </dev/null";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Content(out)};
  }

  // Neither as they stand nor behind the encryption of the logs.
  void ExpectNoSecrets() {
    std::size_t files = 0;
    for (const auto& entry : fs::recursive_directory_iterator(written_.Path())) {
      if (!entry.is_regular_file()) continue;
      ++files;
      ExpectNoSecret(Content(entry.path()), entry.path());
      if (entry.path().extension() != ".pro") continue;
      const std::string shown = secrets_.File("shown");
      const std::string command = std::string(kProgram) + " log cat " + entry.path().string() +
                                  " --key-file " + secrets_.File("key") + " >" + shown;
      EXPECT_EQ(std::system(command.c_str()), 0) << command;
      EXPECT_THAT(Content(shown), HasSubstr("HKIDN")) << "the log is readable with its key";
      ExpectNoSecret(Content(shown), entry.path());
    }
    EXPECT_GT(files, 0u);
  }

  // A time of day may hold the digits of the PIN among others, as 16:12:34.5 does.
  static void ExpectNoSecret(const std::string& text, const fs::path& where) {
    for (const std::string_view secret : {std::string_view("12345"), std::string_view("123456")})
      for (std::size_t at = text.find(secret); at != std::string::npos;
           at = text.find(secret, at + 1))
        EXPECT_TRUE(IsDigit(text, at - 1) || IsDigit(text, at + secret.size()))
            << where << " holds " << secret << " at " << at;
  }
  static bool IsDigit(const std::string& text, std::size_t at) {
    return at < text.size() && text[at] >= '0' && text[at] <= '9';
  }

  static inline std::string macros_;
  TempDir secrets_;
  TempDir written_;
  std::string url_;
  pid_t bank_ = 0;
  int runs_ = 0;
};

TEST_F(ClientTest, ShowsWhatItLearntAndWhatItIsAskedFor) {
  StartBank("");
  const Ending init = Client("init");
  EXPECT_EQ(init.code, 0) << init.output;
  EXPECT_THAT(init.output, StartsWith("bank         Sandkastenbank\n"
                                      "BPD version  12\n"
                                      "UPD version  3\n"
                                      "user         Erika Sandkorn\n"
                                      "account      DE"));
  EXPECT_THAT(init.output, HasSubstr("\nprocedure    910  Kartenleser, chosen, medium Karte 1\n"));
  EXPECT_THAT(init.output, HasSubstr("\nprocedure    946  Freigabe-App\n"));
  const Ending balance = Client("balance --account 1000471102");
  EXPECT_EQ(balance.code, 0);
  EXPECT_THAT(balance.output, HasSubstr("  5012,50 EUR\n"));
  const Ending statement = Client("statement --account 1000471101 --json");
  EXPECT_EQ(statement.code, 0);
  EXPECT_THAT(statement.output, HasSubstr(":20:"));
  ExpectNoSecrets();
}

TEST_F(ClientTest, MakesATransferAndShowsItsChallenge) {
  StartBank("");
  const Ending accounts = Client("accounts --json");
  const std::size_t last = accounts.output.rfind("\"iban\": \"");
  ASSERT_NE(last, std::string::npos) << accounts.output;
  const std::string to = accounts.output.substr(last + 9, 22);
  const Ending flicker =
      Client("transfer --account 1000471101 --name Erika --amount 12,3 --to " + to);
  EXPECT_EQ(flicker.code, 0) << flicker.output;
  EXPECT_THAT(flicker.output, HasSubstr("Flicker code: 1784047110112000050815\n"));
  EXPECT_THAT(flicker.output, HasSubstr("The bank has taken the transfer.\n"));
  const Ending picture = Client(
      "transfer --account 1000471101 --name Erika --amount 1 --medium 'Leser + Kamera' "
      "--picture " +
      written_.File("picture") + " --to " + to);
  EXPECT_EQ(picture.code, 0) << picture.output;
  EXPECT_THAT(picture.output, HasSubstr("Picture (image/png): " + written_.File("picture")));
  EXPECT_THAT(Content(written_.File("picture")), StartsWith("\x89PNG"));
  EXPECT_THAT(Client("balance --account 1000471102").output, HasSubstr("  5025,80 EUR\n"));
  ExpectNoSecrets();
}

TEST_F(ClientTest, SaysHowAMisbehavingBankEndedIt) {
  struct Row {
    const char* script;
    int code;
    const char* text;
  };
  constexpr Row rows[] = {
      {"cut 200", 1, "it is cut or damaged"},
      {"size 5", 1, "it is cut or damaged"},
      {"message-number 8", 1, "the bank's answer has the message number 8 instead of 1"},
      {"dialog FREMD", 1, "the bank's answer refers to another dialog"},
      {"request 5 dialog FREMD", 1, "the bank's answer belongs to another dialog"},
      {"garbage 5000", 1, "what the bank has sent is no message"},
      {"empty", 1, "the bank's answer is empty"},
      {"base64", 1, "the bank's answer is no Base64"},
      {"status 503", 1, "the bank's server answers with status 503"},
      {"reset", 1, "the bank's answer is cut or does not come in time"},
      {"delay 30000", 1, "the bank's answer does not come in time"},
      {"segment-gap 3", 0, "5012,50 EUR"},
      {"extra 20", 0, "5012,50 EUR"},
      {"delay 10", 0, "5012,50 EUR"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.script);
    fs::remove_all(written_.File("data"));
    StartBank(row.script);
    const Ending ending = Client("balance --wait 5");
    EXPECT_EQ(ending.code, row.code);
    EXPECT_THAT(ending.output, HasSubstr(row.text));
  }
  ExpectNoSecrets();
}

TEST_F(ClientTest, SendsAWrongPinOnce) {
  StartBank("");
  Write("pin", "99999\n");
  for (const char* const code : {"9942", "9942", "9931"}) {
    const Ending ending = Client("balance");
    EXPECT_EQ(ending.code, 3);
    EXPECT_THAT(ending.output, HasSubstr(code));
  }
  Write("pin", "12345\n");
  const Ending locked = Client("balance");
  EXPECT_EQ(locked.code, 3);
  EXPECT_THAT(locked.output, HasSubstr("9930"));
  ExpectNoSecrets();
}

TEST_F(ClientTest, IsSilentAboutProgressWithoutATerminal) {
  StartBank("");
  const Ending ending = Client("accounts");
  EXPECT_EQ(ending.code, 0);
  EXPECT_THAT(ending.output, Not(HasSubstr("\r")));
  EXPECT_THAT(ending.output, Not(HasSubstr("#")));
}

}  // namespace
}  // namespace tmx
