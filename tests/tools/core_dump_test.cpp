#include "tools/core_dump.h"

#include <gmock/gmock.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "tests/support/silent_server.h"
#include "tests/support/temp_dir.h"

namespace tmx {
namespace {

namespace fs = std::filesystem;

// Whether a process that may leave a core still may after an action.
template <class Action>
std::string AfterIn(Action action) {
  const pid_t child = fork();
  if (child == 0) {
    rlimit limit{};
    getrlimit(RLIMIT_CORE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_CORE, &limit);
    prctl(PR_SET_DUMPABLE, 1, 0, 0, 0);
    action();
    getrlimit(RLIMIT_CORE, &limit);
    const bool is_dumpable = prctl(PR_GET_DUMPABLE, 0, 0, 0, 0) != 0;
    _exit((is_dumpable ? 1 : 0) + (limit.rlim_max != 0 ? 2 : 0));
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (!WIFEXITED(status)) return "killed";
  return std::string((WEXITSTATUS(status) & 1) != 0 ? "dumpable" : "not dumpable") +
         ((WEXITSTATUS(status) & 2) != 0 ? ", any size" : ", size 0");
}

TEST(CoreDumps, AreForbiddenByFlagAndByLimit) {
  EXPECT_THAT(AfterIn([] {}), testing::StartsWith("dumpable"));
  EXPECT_EQ(AfterIn(&tools::ForbidCoreDumps), "not dumpable, size 0");
}

// With the PIN in its memory, while it waits for a bank.
TEST(CoreDumps, AreNotMadeOfTheClient) {
  const TempDir files;
  const SilentServer bank;
  std::ofstream(files.File("pin")) << "geheim";
  std::ofstream(files.File("key")) << "sechzehn Zeichen";
  const std::string program = TMX_BINARY_DIR "/bin/tmx";
  const std::string macros =
      program + " macro build --out " + files.Path() + " " TMX_SOURCE_DIR "/macros/*.hbm";
  ASSERT_EQ(std::system(macros.c_str()), 0);
  const std::string command = "ulimit -S -c $(ulimit -H -c); cd " + files.Path() + " && exec " +
                              program + " client accounts --bank 99900011 --user 4711 --macros . " +
                              "--pin-file pin --key-file key --data data --log log --url " +
                              bank.Url();
  const pid_t client = fork();
  if (client == 0) {
    execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    _exit(127);
  }
  const auto has_sent = [&files] {
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(files.File("log"), none))
      return entry.file_size() > 200;  // more than the head of a log
    return false;
  };
  for (int i = 0; i < 1200 && !has_sent(); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_TRUE(has_sent());
  std::ifstream limits("/proc/" + std::to_string(client) + "/limits");
  EXPECT_THAT(std::string(std::istreambuf_iterator<char>(limits), {}),
              testing::ContainsRegex("Max core file size +0 +0 "));
  kill(client, SIGABRT);
  int status = 0;
  ASSERT_EQ(waitpid(client, &status, 0), client);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_FALSE(WCOREDUMP(status));
}

}  // namespace
}  // namespace tmx
