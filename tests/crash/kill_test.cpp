// Real processes killed in the middle of their transactions. How many is said by TMX_KILLS.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "tests/crash/numbered_file.h"
#include "tests/support/temp_dir.h"
#include "tmxtools/streams/transaction_file_stream.h"

namespace {

using tmx::crash::ContentOf;
using tmx::crash::NumberOf;
using tmx::crash::ReadWhole;

std::size_t Kills() {
  const char* const text = std::getenv("TMX_KILLS");
  return text == nullptr ? 20 : std::strtoull(text, nullptr, 10);
}

// A child that commits and tells; killed at the latest with this.
class Child {
 public:
  Child(const std::string& data, const std::string& log) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return;
    reading_ = ends[0];
    pid_ = fork();
    if (pid_ == 0) {
      dup2(ends[1], STDOUT_FILENO);
      execl(TMX_KILL_CHILD, TMX_KILL_CHILD, data.c_str(), log.c_str(), nullptr);
      _exit(127);
    }
    close(ends[1]);
  }
  ~Child() {
    Kill();
    if (reading_ >= 0) close(reading_);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  bool IsRunning() const { return pid_ > 0; }
  // Waits for the first commit, for ten seconds at most; then the child is at work.
  bool AwaitFirst() {
    pollfd ready{reading_, POLLIN, 0};
    return poll(&ready, 1, 10000) == 1 && (ready.revents & POLLIN) != 0;
  }
  // True when it was the killing that ended it.
  bool Kill() {
    if (pid_ <= 0) return false;
    kill(pid_, SIGKILL);
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
  }
  // The last commit that it told of; 0 for none.
  std::uint32_t LastNumber() const {
    std::uint32_t last = 0;
    std::uint32_t number = 0;
    while (read(reading_, &number, sizeof(number)) == sizeof(number)) last = number;
    return last;
  }

 private:
  pid_t pid_ = -1;
  int reading_ = -1;
};

TEST(KilledProcesses, LoseNothingThatWasCommitted) {
  const tmx::TempDir directory;
  const std::string data = directory.File("data");
  const std::string log = directory.File("log");
  std::mt19937 random(1);
  std::size_t leftovers = 0;
  const std::size_t kills = Kills();
  for (std::size_t i = 0; i < kills; ++i) {
    std::uint32_t told = 0;
    {
      Child child(data, log);
      ASSERT_TRUE(child.IsRunning());
      ASSERT_TRUE(child.AwaitFirst());
      usleep(static_cast<useconds_t>(random() % 20000));
      ASSERT_TRUE(child.Kill()) << "it ended by itself";
      told = child.LastNumber();
    }
    ASSERT_GT(told, 0u);
    std::error_code ignored;
    if (std::filesystem::file_size(log, ignored) > 0) ++leftovers;
    HbTransactionFileStream stream;
    stream.Open(String(data), String(log), tmx::stream_mode::Read | tmx::stream_mode::Write);
    ASSERT_EQ(stream.GetError(), 0u);
    const std::uint32_t number = NumberOf(stream);
    ASSERT_GE(number, told) << "a commit is gone";
    ASSERT_LE(number, told + 1) << "what was not committed is there";
    ASSERT_TRUE(ReadWhole(stream) == ContentOf(number)) << "torn";
  }
  std::cout << kills << " processes killed, " << leftovers
            << " of them within a transaction, nothing lost\n";
}

}  // namespace
