// How much memory the commands take that work with more data than they hold.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/long_run.h"
#include "tests/support/pseudo_terminal.h"

extern char** environ;

#if defined(__SANITIZE_ADDRESS__)
#define TMX_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TMX_SANITIZED 1
#endif
#endif

namespace tmx {
namespace {

namespace fs = std::filesystem;

constexpr double kBound = 32;  // MB

struct Outcome {
  double peak = 0;  // MB, of tmx or of this program before it became tmx
  int exit = -1;
};

// Runs commands in a directory of their own.
class Memory : public testing::Test {
 protected:
  void SetUp() override {
#ifdef TMX_SANITIZED
    GTEST_SKIP() << "skipped: sanitizers take memory of their own";
#endif
    char name[] = "/tmp/tmx_memory_XXXXXX";
    ASSERT_NE(mkdtemp(name), nullptr);
    directory_ = name;
    WriteFile("key", "0123456789abcdef");
    base_ = Run("--version").peak;
  }
  void TearDown() override {
    if (!directory_.empty()) fs::remove_all(directory_);
  }

  std::string Path(const std::string& name) const { return directory_ / name; }
  void WriteFile(const std::string& name, std::string_view bytes) const {
    std::ofstream(Path(name), std::ios::binary) << bytes;
  }
  // From the file "in" to the file "out".
  Outcome Run(const std::string& arguments) const {
    const std::string line = "cd " + directory_.string() + "; exec " TMX_BINARY_DIR "/bin/tmx " +
                             arguments + " >out" + (fs::exists(Path("in")) ? " <in" : "");
    const char* const argv[] = {"sh", "-c", line.c_str(), nullptr};
    pid_t child = 0;
    Outcome outcome;
    if (posix_spawn(&child, "/bin/sh", nullptr, nullptr, const_cast<char**>(argv), environ) != 0)
      return outcome;
    return Wait(child);
  }
  void ExpectLittle(const std::string& arguments) const {
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.exit, 0) << arguments;
    EXPECT_LT(outcome.peak - base_, kBound) << arguments;
  }

  // As a person who looks at a log in a terminal: each text is what is waited for before the keys
  // behind it.
  using Keys = std::pair<std::string, std::string>;
  Outcome View(const std::string& log, const std::vector<Keys>& keys) const {
    Outcome outcome;
    int terminal = -1;
    const winsize size{24, 80, 0, 0};
    const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
    if (child < 0) return outcome;
    if (child == 0) {
      if (chdir(directory_.c_str()) == 0)
        execl(TMX_BINARY_DIR "/bin/tmx", "tmx", "log", "view", log.c_str(), "--key-file", "key",
              nullptr);
      _exit(127);
    }
    std::string seen;
    auto next = keys.begin();
    for (char buffer[4096];;) {
      constexpr int patience = 600000;  // milliseconds
      pollfd output{terminal, POLLIN, 0};
      if (poll(&output, 1, patience) == 0) kill(child, SIGKILL);
      const ssize_t count = read(terminal, buffer, sizeof(buffer));
      if (count <= 0) break;  // it has ended
      seen.append(buffer, static_cast<std::size_t>(count));
      if (next == keys.end() || seen.find(next->first) == std::string::npos) continue;
      const std::string& pressed = next++->second;
      if (write(terminal, pressed.data(), pressed.size()) < 0) break;
      seen.clear();
    }
    EXPECT_EQ(next - keys.begin(), std::ssize(keys)) << "the screen showed " << seen;
    close(terminal);
    return Wait(child);
  }
  static Outcome Wait(pid_t child) {
    Outcome outcome;
    int status = 0;
    rusage usage{};
    if (wait4(child, &status, 0, &usage) != child) return outcome;
    outcome.peak = static_cast<double>(usage.ru_maxrss) / 1024;
    outcome.exit = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
  }
  // Goes to the end, looks everywhere for what is nowhere, folds, jumps, and exports.
  void ExpectToBeViewedInLittle(const std::string& log) const {
    if (!test::HasPseudoTerminals()) GTEST_SKIP() << "skipped: no terminals can be made here";
    const Outcome outcome = View(log, {{"Datum: ", "G"},
                                       {"100 %", "/gibt es nicht\r"},
                                       {"not found", "N"},
                                       {"not found", "g"},
                                       {"Datum: ", "r"},
                                       {"HBCI message received", "Z"},
                                       {"\x1b[0m ...", "e"},
                                       {"write all", "view.txt\r"},
                                       {"bytes written to", "Zq"}});
    EXPECT_EQ(outcome.exit, 0);
    EXPECT_LT(outcome.peak - base_, kBound);
    ExpectLittle("log export " + log + " --key-file key");
    EXPECT_EQ(fs::file_size(Path("view.txt")), fs::file_size(Path("out")));
    fs::remove(Path("view.txt"));
  }

  fs::path directory_;
  double base_ = 0;  // what tmx takes to do nothing
};

// Segments that are all alike but for their words. Not in one text: what this program has held
// counts for what it starts, too.
void WriteMessage(const std::string& path, int size) {
  std::ofstream file(path, std::ios::binary);
  file << "HNHBK:1:3+000000000300+300+D1+2'";
  for (int i = 0; file.tellp() < size; ++i) {
    const std::string number = std::to_string(10000000 + i);
    file << "HIKAZ:3:5+DE" << number << "0044053:COBADEFF+Herr M\xFCller " << number
         << "+@28@:61:" << number << " Zeile\r\nund <b>'";
  }
  file << "HNHBS:4:1+2'";
}

// One element of that length.
void WriteElement(const std::string& path, int size) {
  std::ofstream file(path, std::ios::binary);
  file << "HIKAZ:3:5+@" << size << '@';
  for (int i = 0; i < size; ++i) file.put('a');
  file << '\'';
}

TEST_F(Memory, ALogIsWrittenAndShownInLittle) {
  constexpr int kSize = 8 << 20;  // eightfold as lists of elements
  WriteMessage(Path("segments"), kSize);
  WriteElement(Path("element"), kSize);
  ExpectLittle("log write logs --key-file key --sent segments --received element --xml segments");
  fs::rename(fs::directory_iterator(Path("logs"))->path(), Path("log"));
  for (const std::string command : {"list", "show", "cat", "export", "export --format json",
                                    "export --format html", "export --anonymise"})
    ExpectLittle("log " + command + " log --key-file key");
  ExpectLittle("log salvage log saved --key-file key");
  ExpectToBeViewedInLittle("log");
}

TEST_F(Memory, ALogOfTheFormatsLengthIsShownInLittle) {
  if (!test::Runs(false, true)) GTEST_SKIP() << "skipped: only with TMX_LONG=1";
  constexpr int kSize = 8 << 20;
  WriteMessage(Path("segments"), kSize);
  WriteElement(Path("element"), kSize);
  WriteElement(Path("large"), 20 * kSize);
  std::string messages = " --sent large";
  for (int i = 0; i < 20; ++i) messages += " --sent segments --received element";
  ExpectLittle("log write logs --key-file key" + messages);
  fs::rename(fs::directory_iterator(Path("logs"))->path(), Path("log"));
  EXPECT_GT(fs::file_size(Path("log")), 500000000u);
  ExpectToBeViewedInLittle("log");
}

TEST_F(Memory, CbcIsAppliedInLittle) {
  WriteFile("iv", "01234567");
  WriteFile("in", "");
  fs::resize_file(Path("in"), 48 << 20);
  ExpectLittle("crypt cbc encrypt --pad --key-file key --iv-file iv");
  fs::rename(Path("out"), Path("in"));
  ExpectLittle("crypt cbc decrypt --pad --key-file key --iv-file iv");
  EXPECT_EQ(fs::file_size(Path("out")), std::uintmax_t{48} << 20);
}

TEST_F(Memory, AStreamIsWrittenAndReadInLittle) {
  WriteFile("in", "");
  fs::resize_file(Path("in"), 48 << 20);
  const std::string flags = " --tagged --encrypt --sign --kek-file key stream";
  for (const std::string command : {"write", "info", "verify", "read"})
    ExpectLittle("crypt " + command + flags);
  EXPECT_EQ(fs::file_size(Path("out")), fs::file_size(Path("in")));
}

// Half a gigabyte is written and read, so this is one of the long tests.
TEST_F(Memory, AStreamOfTheFormatsLengthIsWrittenAndReadInLittle) {
  if (!test::Runs(false, true)) GTEST_SKIP() << "skipped: only with TMX_LONG=1";
  constexpr std::uintmax_t kLongest = 523263991;
  WriteFile("in", "");
  fs::resize_file(Path("in"), kLongest);
  const std::string flags = " --tagged --encrypt --sign --kek-file key stream";
  for (const std::string command : {"write", "verify", "read"})
    ExpectLittle("crypt " + command + flags);
  EXPECT_EQ(fs::file_size(Path("out")), kLongest);
  // One byte more would make a stream that nobody can open.
  const auto before = fs::last_write_time(Path("stream"));
  fs::resize_file(Path("in"), kLongest + 1);
  EXPECT_EQ(Run("crypt write" + flags).exit, 4);
  EXPECT_EQ(fs::last_write_time(Path("stream")), before);
}

}  // namespace
}  // namespace tmx
