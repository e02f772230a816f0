// tmx client beside a running tmx bank serve, both as programs.
#pragma once

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "demo/bank/secrets.h"
#include "tests/support/temp_dir.h"

namespace tmx {

inline std::string Content(const std::string& path) {
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
    Write("pin", std::string(demo::kPin) + '\n');
    Write("tan", std::string(demo::kTan) + '\n');
    Write("key", "sechzehn Zeichen");
  }
  ~ClientTest() override { StopBank(); }

  static void SetUpTestSuite() {
    static const TempDir macros;
    macros_ = macros.Path();
    const std::string build =
        program_ + " macro build --out " + macros_ + " " + TMX_SOURCE_DIR + "/macros/*.hbm";
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
    const std::string command = "exec " + program_ + " bank serve --port 0 --time-limit 100 " +
                                bank_options_ + " --script " + secrets_.File("script") + " >" +
                                log + " 2>&1";
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

  // A bank for a client that knows nothing of it.
  void StartAgain(const std::string& script) {
    std::filesystem::remove_all(written_.File("data"));
    StartBank(script);
  }

  // A client's command line; PIN and TAN come from files unless it asks for them.
  std::string Command(const std::string& arguments, bool asks = false) const {
    const std::string secrets =
        " --pin-file " + secrets_.File("pin") + " --tan-file " + secrets_.File("tan");
    return program_ + " client " + arguments + " --url " + url_ +
           " --bank 99900011 --user 4711 --macros " + macros_ + (asks ? "" : secrets) +
           " --key-file " + secrets_.File("key") + " --data " + written_.File("data") + " --log " +
           written_.File("log");
  }

  Ending Client(const std::string& arguments) { return Run(Command(arguments)); }

  Ending Run(const std::string& command) {
    const std::string out = written_.File("out" + std::to_string(++runs_));
    const int status =
        std::system(("timeout 60 " + command + " >" + out + " 2>&1 </dev/null").c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Content(out)};
  }

  // Another one than the others have takes the place of an option.
  Ending ClientWithout(const std::string& option, const std::string& arguments) {
    std::string command = Command(arguments);
    const std::size_t last = command.rfind(' ' + option + ' ');
    if (last != command.find(' ' + option + ' '))
      command.erase(last, command.find(' ', last + option.size() + 2) - last);
    return Run(command);
  }

  // Of the accounts, in the bank's order.
  std::vector<std::string> Ibans() {
    std::istringstream lines(Client("accounts").output);
    std::vector<std::string> ibans;
    for (std::string line; std::getline(lines, line);)
      ibans.push_back(line.substr(0, line.find(' ')));
    return ibans;
  }

  // What the newest log holds.
  std::string LastLog() {
    std::string newest;
    for (const auto& entry : std::filesystem::directory_iterator(written_.File("log")))
      newest = std::max(newest, entry.path().string());
    return Decrypted(newest);
  }
  std::string Decrypted(const std::string& log) {
    const std::string shown = secrets_.File("shown");
    const std::string command =
        program_ + " log cat " + log + " --key-file " + secrets_.File("key") + " >" + shown;
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    return Content(shown);
  }

  // Neither as they stand nor behind the encryption of the logs.
  void ExpectNoSecrets() {
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(written_.Path())) {
      if (!entry.is_regular_file()) continue;
      ++files;
      ExpectNoSecret(Content(entry.path().string()), entry.path().string());
      if (entry.path().extension() != ".pro") continue;
      const std::string log = Decrypted(entry.path().string());
      EXPECT_THAT(log, testing::HasSubstr("HKIDN")) << "the log is readable with its key";
      ExpectNoSecret(log, entry.path().string());
    }
    EXPECT_GT(files, 0u);
  }

  static void ExpectNoSecret(const std::string& text, const std::string& where) {
    for (const std::string_view secret : {demo::kPin, demo::kTan})
      EXPECT_EQ(text.find(secret), std::string::npos) << where << " holds " << secret;
  }

  static inline const std::string program_ = TMX_BINARY_DIR "/bin/tmx";
  static inline std::string macros_;
  TempDir secrets_;
  TempDir written_;
  std::string bank_options_;
  std::string url_;
  pid_t bank_ = 0;
  int runs_ = 0;
};

}  // namespace tmx
