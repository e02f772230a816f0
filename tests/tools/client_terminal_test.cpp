// tmx client on a terminal: the bar that tells how far it is, and the questions for PIN and TAN.
#include <gmock/gmock.h>
#include <pty.h>
#include <sys/stat.h>

#include <algorithm>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/pseudo_terminal.h"
#include "tests/tools/client_fixture.h"

namespace tmx {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr std::size_t kWidth = 30;  // of the bar

// The lines that stand on a terminal of endless size once it has got these bytes.
std::vector<std::string> LinesOf(const std::string& bytes) {
  const std::string erase = "\033[K";
  std::vector<std::string> lines(1);
  std::size_t column = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    std::string& line = lines.back();
    if (bytes.compare(i, erase.size(), erase) == 0) {
      line.resize(column);
      i += erase.size() - 1;
    } else if (bytes[i] == '\r') {
      column = 0;
    } else if (bytes[i] == '\n') {
      lines.emplace_back();
    } else {
      line.resize(std::max(line.size(), column + 1));
      line[column++] = bytes[i];
    }
  }
  return lines;
}

// One state of the bar.
struct Bar {
  std::size_t done;
  std::string name;  // of the order that waits
};

// Takes each bar with its erasure out of what a terminal got; nothing else is left out.
std::vector<Bar> TakeBars(std::string& bytes) {
  static const std::regex form("\r\\[(#*)(\\.*)\\] ([A-Z]+)\033\\[K\r\033\\[K");
  std::vector<Bar> bars;
  for (std::smatch match; std::regex_search(bytes, match, form);) {
    EXPECT_EQ(match.length(1) + match.length(2), kWidth);
    bars.push_back({static_cast<std::size_t>(match.length(1)), match.str(3)});
    bytes = match.prefix().str() + match.suffix().str();
  }
  return bars;
}

class ClientOnATerminal : public ClientTest {
 protected:
  void SetUp() override {
    if (!test::HasPseudoTerminals()) GTEST_SKIP() << "skipped: no terminals can be made here";
  }

  using Typed = std::vector<std::pair<std::string, std::string>>;

  // Runs a shell's command on a terminal of its own, gives the answers once the terminal's bytes
  // end with what they answer, and puts all that the terminal got into `output`.
  static Ending OnTerminal(const std::string& command, const Typed& typed = {}) {
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
      const std::string limited = "exec timeout --foreground 60 " + command;
      execl("/bin/sh", "sh", "-c", limited.c_str(), nullptr);
      _exit(127);
    }
    Ending ending;
    auto next = typed.begin();
    char bytes[4096];
    // Reading fails once nobody has the terminal open any more.
    for (ssize_t count = 0; (count = read(terminal, bytes, sizeof bytes)) > 0;) {
      ending.output.append(bytes, static_cast<std::size_t>(count));
      if (next == typed.end() || !ending.output.ends_with(next->first)) continue;
      const std::string line = next++->second + '\n';
      EXPECT_EQ(write(terminal, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    }
    close(terminal);
    int status = 0;
    waitpid(child, &status, 0);
    ending.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return ending;
  }

  // From one account to the other; its challenge's picture goes into a directory of its own.
  std::string Transfer(bool asks, const std::string& more = "") {
    std::filesystem::create_directory(pictures_);
    return "env TMPDIR=" + pictures_ + ' ' +
           Command("transfer --account 1000471101 --name Erika --amount 1 " + more + " --to " +
                       Ibans().at(1),
                   asks);
  }
  std::size_t PictureCount() const {
    const std::filesystem::directory_iterator pictures(pictures_);
    return static_cast<std::size_t>(std::distance(begin(pictures), end(pictures)));
  }

  std::string out_ = written_.File("result");
  std::string pictures_ = written_.File("pictures");
};

TEST_F(ClientOnATerminal, DrawsABarForEachMessageAndErasesIt) {
  StartBank("delay 20");
  Ending ending = OnTerminal(Command("accounts") + " >" + out_);
  EXPECT_EQ(ending.code, 0);
  EXPECT_THAT(LinesOf(ending.output), ElementsAre(""));
  const std::vector<Bar> bars = TakeBars(ending.output);
  EXPECT_EQ(ending.output, "") << "there is nothing but bars";
  std::vector<std::string> names;
  for (const Bar& bar : bars) names.push_back(bar.name);
  EXPECT_THAT(names, ElementsAre("HKIDN", "HKTAB", "HKEND", "HKIDN", "HKSPA", "HKEND"));
  ASSERT_FALSE(bars.empty());
  EXPECT_EQ(bars.front().done, 0u);
  for (std::size_t i = 1; i < bars.size(); ++i) EXPECT_GT(bars[i].done, bars[i - 1].done);
  EXPECT_LT(bars.back().done, kWidth) << "who still waits is not at the end";
  EXPECT_THAT(Content(out_), StartsWith("DE"));
  EXPECT_THAT(Content(out_), Not(HasSubstr("\033")));
  EXPECT_THAT(Content(out_), Not(HasSubstr("\r")));
  EXPECT_THAT(Content(out_), Not(HasSubstr("#")));
}

TEST_F(ClientOnATerminal, LeavesResultsTheirLines) {
  StartBank("");
  const Ending ending = OnTerminal(Command("balance --account 1000471102"));
  EXPECT_EQ(ending.code, 0);
  const std::vector<std::string> lines = LinesOf(ending.output);
  ASSERT_EQ(lines.size(), 2u) << ending.output;
  EXPECT_THAT(lines[0], testing::MatchesRegex("DE[0-9]+  5012,50 EUR"));
  EXPECT_EQ(lines[1], "");
}

TEST_F(ClientOnATerminal, DrawsNoBarIntoAFileOfErrors) {
  StartBank("");
  const std::string errors = written_.File("errors");
  const Ending ending = OnTerminal(Command("accounts") + " 2>" + errors);
  EXPECT_EQ(ending.code, 0);
  EXPECT_EQ(Content(errors), "");
  EXPECT_THAT(ending.output, StartsWith("DE"));
  EXPECT_THAT(ending.output, Not(HasSubstr("\033")));
}

TEST_F(ClientOnATerminal, ErasesTheBarBeforeItComplains) {
  StartBank("");
  Write("pin", "99999\n");
  const Ending ending = OnTerminal(Command("accounts"));
  EXPECT_EQ(ending.code, 3);
  const std::vector<std::string> lines = LinesOf(ending.output);
  EXPECT_THAT(lines[0], StartsWith("tmx client: the bank has refused: "));
  EXPECT_EQ(lines.back(), "");
}

TEST_F(ClientOnATerminal, AsksForSecretsWithoutEchoOnLinesOfTheirOwn) {
  StartBank("");
  const Ending ending = OnTerminal(
      Transfer(true), {{"PIN: ", std::string(demo::kPin)}, {"TAN: ", std::string(demo::kTan)}});
  EXPECT_EQ(ending.code, 0) << ending.output;
  ExpectNoSecret(ending.output, "the terminal");
  const std::vector<std::string> lines = LinesOf(ending.output);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "PIN: "), 1);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "TAN: "), 1);
  EXPECT_THAT(lines, Contains("The bank has taken the transfer."));
  EXPECT_THAT(lines, testing::Each(Not(StartsWith("["))));
  ExpectNoSecrets();
}

constexpr const char* kIsConfirmed = "Press Enter once it is confirmed, or type n to give up: ";

TEST_F(ClientOnATerminal, AsksTheUserBeforeEachQuestionForAConfirmation) {
  bank_options_ = "--ask-by-hand --confirm-after 1";
  StartBank("");
  const Ending ending =
      OnTerminal(Transfer(false, "--procedure 946"), {{kIsConfirmed, ""}, {kIsConfirmed, ""}});
  EXPECT_EQ(ending.code, 0) << ending.output;
  const std::vector<std::string> lines = LinesOf(ending.output);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), kIsConfirmed), 2);
  EXPECT_THAT(lines, Contains("The bank has taken the transfer."));
}

TEST_F(ClientOnATerminal, LeavesATransferThatItsUserDoesNotConfirm) {
  bank_options_ = "--ask-by-hand";
  StartBank("");
  const Ending ending = OnTerminal(Transfer(false, "--procedure 946"), {{kIsConfirmed, "n"}});
  EXPECT_EQ(ending.code, 5) << ending.output;
  EXPECT_THAT(ending.output, HasSubstr("confirmed later, it is still carried out"));
}

TEST_F(ClientOnATerminal, WithoutATerminalNobodyCanSayThatHeHasConfirmed) {
  bank_options_ = "--ask-by-hand";
  StartBank("");
  const Ending ending = Run("setsid " + Transfer(false, "--procedure 946"));
  EXPECT_EQ(ending.code, 5) << ending.output;
  EXPECT_THAT(ending.output, HasSubstr("no terminal to ask on whether the order is confirmed\n"));
}

// Named by its type, so that programs show it.
TEST_F(ClientOnATerminal, RemovesThePictureOfAChallenge) {
  StartBank("");
  const Ending ending = OnTerminal(Transfer(false, "--medium 'Leser + Kamera'"));
  EXPECT_EQ(ending.code, 0) << ending.output;
  EXPECT_THAT(ending.output, HasSubstr("Picture (image/png): " + pictures_ + "/tmx_challenge_"));
  EXPECT_THAT(ending.output, HasSubstr(".png\r\n"));
  EXPECT_EQ(PictureCount(), 0u);
}

TEST_F(ClientOnATerminal, LeavesNoPictureAndAnEchoWhenItIsInterruptedAtTheQuestion) {
  StartBank("");
  Write("steps", "trap : INT\n" + Transfer(true, "--medium 'Leser + Kamera'") +
                     "\necho ended with $?\nstty\n");
  const std::string interrupt = "\x03";
  const Ending ending = OnTerminal("sh " + secrets_.File("steps"),
                                   {{"PIN: ", std::string(demo::kPin)}, {"TAN: ", interrupt}});
  EXPECT_THAT(ending.output, HasSubstr(".png\r\n"));
  EXPECT_THAT(ending.output, HasSubstr("ended with " + std::to_string(128 + SIGINT)));
  EXPECT_THAT(ending.output, HasSubstr("baud"));
  EXPECT_THAT(ending.output, Not(HasSubstr("-echo")));
  EXPECT_EQ(PictureCount(), 0u);
}

TEST_F(ClientOnATerminal, RemovesThePictureWhenItIsEnded) {
  StartBank("");
  const std::string tan = secrets_.File("pipe");
  ASSERT_EQ(mkfifo(tan.c_str(), 0600), 0);
  std::string command = Transfer(false, "--medium 'Leser + Kamera'");
  const std::string file = secrets_.File("tan");
  command.replace(command.find(file), file.size(), tan);
  // It waits for somebody to write into the pipe.
  Write("steps", command + " & client=$!\nwhile ! ls " + pictures_ +
                     " | grep png; do sleep 0.05; done\nkill -TERM $client\nwait $client\n");
  const Ending ending = Run("sh " + secrets_.File("steps"));
  EXPECT_EQ(ending.code, 128 + SIGTERM) << ending.output;
  EXPECT_THAT(ending.output, HasSubstr(".png\n"));
  EXPECT_EQ(PictureCount(), 0u);
}

}  // namespace
}  // namespace tmx
