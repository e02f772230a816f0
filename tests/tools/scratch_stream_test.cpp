#include "tools/scratch_stream.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/memory_env.h"

namespace tmx::tools {
namespace {

// Temporary files have a name here.
class NamingEnv : public MemoryEnv {
 public:
  EnvResult<std::unique_ptr<EnvFile>> OpenTemporary() override {
    return Open("temporary", {.read = true, .write = true, .create = true});
  }
};

TEST(ScratchStream, GivesBackWhatWasWrittenAndShowsNoneOfItOnTheDisk) {
  NamingEnv env;
  const ScopedEnv scope(env);
  std::string text;
  for (int i = 0; text.size() < 200000; ++i) text += "plain text " + std::to_string(i) + '\n';
  ScratchStream stream;
  EXPECT_EQ(stream.Write(text.data(), text.size()), text.size());
  EXPECT_EQ(stream.Size(), text.size());
  EXPECT_GE(env.Get("temporary").size(), text.size() / 24 * 24);
  EXPECT_EQ(env.Get("temporary").find("plain"), std::string::npos);
  std::string read(text.size() + 1, '\0');
  stream.Seek(0);
  EXPECT_EQ(stream.Read(read.data(), read.size()), text.size());
  read.resize(text.size());
  EXPECT_EQ(read, text);
  EXPECT_FALSE(stream.HasError());
}

TEST(ScratchStream, EachHasAKeyOfItsOwn) {
  NamingEnv env;
  const ScopedEnv scope(env);
  const std::string text(100000, 'x');
  std::string stored[2];
  for (std::string& bytes : stored) {
    ScratchStream stream;
    stream.Write(text.data(), text.size());
    bytes = env.Get("temporary").substr(100, 1000);
  }
  EXPECT_EQ(stored[0].size(), 1000u);
  EXPECT_NE(stored[0], stored[1]);
}

}  // namespace
}  // namespace tmx::tools
