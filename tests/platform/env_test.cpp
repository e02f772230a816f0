#include "tmxtools/platform/env.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>

#include "tests/support/fault_env.h"
#include "tests/support/memory_env.h"
#include "tests/support/print.h"
#include "tests/support/temp_dir.h"
#include "tmxtools/platform/dir_entry.h"
#include "tmxtools/platform/program.h"

namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

constexpr tmx::FileAccess kRead{.read = true};
constexpr tmx::FileAccess kCreate{.read = true, .write = true, .create = true};

// What the operating system and its twin in memory must both do.
class EnvContract : public testing::TestWithParam<bool> {
 protected:
  tmx::Env& env() { return GetParam() ? static_cast<tmx::Env&>(memory_) : tmx::SystemEnv(); }
  std::string Path(const std::string& name) {
    return (GetParam() ? "/home" : directory_.Path()) + "/" + name;
  }
  void Write(const std::string& name, const std::string& bytes) {
    const auto file = env().Open(Path(name), kCreate);
    ASSERT_TRUE(file.Ok());
    ASSERT_EQ(file.value->WriteAt(0, bytes.data(), bytes.size()).value, bytes.size());
  }
  std::string Read(const std::string& name) {
    const auto file = env().Open(Path(name), kRead);
    if (!file.Ok()) return "missing";
    std::string bytes(100, '\0');
    bytes.resize(file.value->ReadAt(0, bytes.data(), bytes.size()).value);
    return bytes;
  }

  tmx::TempDir directory_;
  tmx::MemoryEnv memory_;
};

INSTANTIATE_TEST_SUITE_P(Both, EnvContract, testing::Bool(),
                         [](const auto& instance) { return instance.param ? "Memory" : "System"; });

TEST_P(EnvContract, ReadsAndWritesAtPositions) {
  const auto file = env().Open(Path("f"), kCreate);
  ASSERT_TRUE(file.Ok());
  EXPECT_EQ(file.value->WriteAt(3, "xyz", 3).value, 3u);
  EXPECT_EQ(file.value->Size().value, 6u);
  char buffer[8];
  const auto read = file.value->ReadAt(1, buffer, 8);
  EXPECT_TRUE(read.Ok());
  EXPECT_EQ(std::string_view(buffer, read.value), std::string_view("\0\0xyz", 5));
  EXPECT_EQ(file.value->ReadAt(6, buffer, 8).value, 0u);
  EXPECT_EQ(file.value->ReadAt(0x1FFFFFFFF, buffer, 8).value, 0u);
}

TEST_P(EnvContract, ChangesSizesAndSyncs) {
  Write("f", "abc");
  const auto file = env().Open(Path("f"), kCreate);
  EXPECT_EQ(file.value->SetSize(5), std::errc{});
  EXPECT_EQ(Read("f"), std::string("abc\0\0", 5));
  EXPECT_EQ(file.value->SetSize(1), std::errc{});
  EXPECT_EQ(file.value->Sync(), std::errc{});
  EXPECT_EQ(Read("f"), "a");
  EXPECT_EQ(env().SyncDir(GetParam() ? "/home" : directory_.Path()), std::errc{});
}

TEST_P(EnvContract, TellsWhatIsMissing) {
  EXPECT_EQ(env().Open(Path("f"), kRead).error, std::errc::no_such_file_or_directory);
  EXPECT_EQ(env().Open(Path("no/f"), kCreate).error, std::errc::no_such_file_or_directory);
  EXPECT_EQ(env().Open("", kCreate).error, std::errc::no_such_file_or_directory);
  EXPECT_EQ(env().Info(Path("f")).error, std::errc::no_such_file_or_directory);
  EXPECT_EQ(env().Remove(Path("f")), std::errc::no_such_file_or_directory);
  EXPECT_EQ(env().Rename(Path("f"), Path("g")), std::errc::no_such_file_or_directory);
  EXPECT_EQ(env().List(Path("d")).error, std::errc::no_such_file_or_directory);
  EXPECT_EQ(env().SyncDir(Path("d")), std::errc::no_such_file_or_directory);
}

TEST_P(EnvContract, RefusesPathsWithAZeroByte) {
  const std::string bad = Path(std::string("f\0g", 3));
  EXPECT_EQ(env().Open(bad, kCreate).error, std::errc::invalid_argument);
  EXPECT_EQ(env().Info(bad).error, std::errc::invalid_argument);
  EXPECT_EQ(env().Remove(bad), std::errc::invalid_argument);
  EXPECT_EQ(env().MakeDir(bad), std::errc::invalid_argument);
  EXPECT_NE(env().Rename(Path("f"), bad), std::errc{});
}

TEST_P(EnvContract, RenamesOverAnExistingFile) {
  Write("f", "new");
  Write("g", "old");
  EXPECT_EQ(env().Rename(Path("f"), Path("g")), std::errc{});
  EXPECT_EQ(Read("f"), "missing");
  EXPECT_EQ(Read("g"), "new");
}

TEST_P(EnvContract, ListsAndRemovesDirectories) {
  EXPECT_EQ(env().MakeDir(Path("d")), std::errc{});
  EXPECT_EQ(env().MakeDir(Path("d")), std::errc::file_exists);
  Write("d/f", "abc");
  Write("g", "");
  EXPECT_THAT(env().List(Path("d")).value, ElementsAre("f"));
  EXPECT_TRUE(env().Info(Path("d")).value.is_directory);
  EXPECT_FALSE(env().Info(Path("d/f")).value.is_directory);
  EXPECT_EQ(env().Info(Path("d/f")).value.size, 3u);
  EXPECT_EQ(env().List(Path("g")).error, std::errc::not_a_directory);
  EXPECT_EQ(env().Open(Path("d"), kRead).error, std::errc::is_a_directory);
  EXPECT_EQ(env().Remove(Path("d")), std::errc::directory_not_empty);
  EXPECT_EQ(env().SyncDir(Path("d")), std::errc{});
  EXPECT_EQ(env().Remove(Path("d/f")), std::errc{});
  EXPECT_EQ(env().Remove(Path("d")), std::errc{});
  EXPECT_FALSE(env().Info(Path("d")).Ok());
}

TEST_P(EnvContract, KeepsARemovedFileForThoseWhoHaveItOpen) {
  Write("f", "abc");
  const auto file = env().Open(Path("f"), kRead);
  EXPECT_EQ(env().Remove(Path("f")), std::errc{});
  char buffer[3];
  EXPECT_EQ(file.value->ReadAt(0, buffer, 3).value, 3u);
}

TEST_P(EnvContract, MakesTemporaryFilesWithoutAName) {
  const auto file = env().OpenTemporary();
  ASSERT_TRUE(file.Ok());
  EXPECT_EQ(file.value->WriteAt(0, "abc", 3).value, 3u);
  char buffer[4];
  EXPECT_EQ(file.value->ReadAt(0, buffer, 4).value, 3u);
}

TEST_P(EnvContract, FillsWithRandomBytes) {
  std::set<unsigned char> seen;
  unsigned char bytes[1000];
  EXPECT_EQ(env().FillRandom(bytes, sizeof(bytes)), std::errc{});
  seen.insert(bytes, bytes + sizeof(bytes));
  EXPECT_GT(seen.size(), 100u);
}

TEST(SystemEnv, KnowsItsSurroundings) {
  tmx::Env& env = tmx::SystemEnv();
  EXPECT_EQ(env.WorkingDir().value, std::filesystem::current_path().string());
  const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
  EXPECT_EQ(env.ProgramDir().value, std::filesystem::path(program).parent_path().string());
  ASSERT_EQ(setenv("TMXTOOLS_TEST_VARIABLE", "value", 1), 0);
  EXPECT_EQ(env.Variable("TMXTOOLS_TEST_VARIABLE"), "value");
  unsetenv("TMXTOOLS_TEST_VARIABLE");
  EXPECT_EQ(env.Variable("TMXTOOLS_TEST_VARIABLE"), std::nullopt);
}

TEST(Program, AsksTheCurrentEnvironment) {
  tmx::MemoryEnv memory;
  const tmx::ScopedEnv scope(memory);
  memory.Put("f", "");
  memory.SetVariable("PATH", "/a:/b");
  EXPECT_EQ(tmx::ProgramDirectory(), "/home/bin");
  EXPECT_TRUE(tmx::IsReadableFile("/home/f"));
  EXPECT_FALSE(tmx::IsReadableFile("/home/g"));
  EXPECT_FALSE(tmx::IsReadableFile("/home"));
  EXPECT_EQ(tmx::EnvironmentVariable("PATH"), "/a:/b");
  EXPECT_EQ(tmx::EnvironmentVariable("OTHER"), "");
}

TEST(MemoryEnv, APowerCutLosesWhatWasNotSynced) {
  tmx::MemoryEnv memory;
  memory.Put("f", "abcd");
  const auto file = memory.Open("f", kCreate);
  file.value->WriteAt(0, "AB", 2);
  ASSERT_EQ(file.value->Sync(), std::errc{});
  file.value->WriteAt(2, "CD", 2);
  file.value->SetSize(10);
  memory.Open("new", kCreate);
  EXPECT_EQ(memory.Unsynced("f").size(), 2u);
  memory.PowerCut();
  EXPECT_EQ(memory.Get("f"), "ABcd");
  EXPECT_FALSE(memory.Info("new").Ok());
  EXPECT_EQ(file.value->WriteAt(0, "x", 1).error, std::errc::io_error);
}

TEST(MemoryEnv, APowerCutMayTearOrKeepWrites) {
  tmx::MemoryEnv memory;
  memory.Put("f", "abcd");
  const auto file = memory.Open("f", kCreate);
  file.value->WriteAt(0, "ABCD", 4);
  file.value->WriteAt(4, "EFGH", 4);
  memory.PowerCut([](const std::string&, const auto& change) {
    return change.offset == 0 ? std::size_t{2} : std::size_t{0};
  });
  EXPECT_EQ(memory.Get("f"), "ABcd");
}

TEST(MemoryEnv, NamesReachTheDiskWithTheirDirectory) {
  tmx::MemoryEnv memory;
  memory.Put("old", "abc");
  memory.Open("new", kCreate).value->Sync();
  memory.Remove("old");
  ASSERT_EQ(memory.SyncDir("/home"), std::errc{});
  memory.Open("later", kCreate);
  memory.PowerCut();
  EXPECT_THAT(memory.List("/home").value, UnorderedElementsAre("new"));
}

TEST(FaultEnv, FailsTheNthCallOnceOrForGood) {
  tmx::MemoryEnv memory;
  tmx::FaultEnv faults(memory);
  const auto make = [&](const char* name) { return faults.MakeDir(name) == std::errc{}; };
  faults.Fail(tmx::EnvCall::kMakeDir, 2, std::errc::io_error);
  EXPECT_TRUE(make("a"));
  EXPECT_FALSE(make("b"));
  EXPECT_TRUE(make("b"));
  faults.Fail(tmx::EnvCall::kMakeDir, 1, std::errc::io_error, tmx::FaultEnv::Lasting::kForGood);
  EXPECT_FALSE(make("c"));
  EXPECT_FALSE(make("c"));
  EXPECT_EQ(faults.Count(tmx::EnvCall::kMakeDir), 5u);
  faults.Reset();
  EXPECT_TRUE(make("c"));
}

// Names of files and directories.

DirEntry Entry(const char* path) { return DirEntry(path); }

TEST(DirEntry, JoinsComponents) {
  EXPECT_EQ((Entry("/a") + "b" + "c").GetFull(), "/a/b/c");
  EXPECT_EQ((Entry("/a/") + "b").GetFull(), "/a/b");
  EXPECT_EQ((Entry("") + "b").GetFull(), "b");
}

TEST(DirEntry, BecomesAbsolute) {
  tmx::MemoryEnv memory;
  const tmx::ScopedEnv scope(memory);
  for (const auto& [path, expected] :
       {std::pair{"f", "/home/f"}, std::pair{"./d/../f", "/home/f"}, std::pair{"..", "/"},
        std::pair{"../../x", "/x"}, std::pair{"/a//b/./c/", "/a/b/c"}, std::pair{"/", "/"},
        std::pair{"/..", "/"}, std::pair{"", ""}}) {
    DirEntry entry(path);
    EXPECT_TRUE(entry.ToAbs());
    EXPECT_EQ(entry.GetFull(), expected) << path;
  }
}

TEST(DirEntry, StaysAsItIsWhenItCannotBecomeAbsolute) {
  tmx::MemoryEnv memory;
  tmx::FaultEnv faults(memory);
  const tmx::ScopedEnv scope(faults);
  faults.Fail(tmx::EnvCall::kWorkingDir, 1, std::errc::no_such_file_or_directory);
  DirEntry entry("f");
  EXPECT_FALSE(entry.ToAbs());
  EXPECT_EQ(entry.GetFull(), "f");
  const std::string longest(65535, 'x');
  DirEntry long_entry{String(std::string_view(longest))};
  EXPECT_FALSE(long_entry.ToAbs());
  EXPECT_EQ(long_entry.GetFull().View(), longest);
  EXPECT_THROW(long_entry += "y", std::length_error);
}

TEST(DirEntry, HasNameAndExtension) {
  EXPECT_EQ(Entry("/a.b/c.tar.gz").GetName(), "c.tar.gz");
  EXPECT_EQ(Entry("/a.b/c.tar.gz").GetExtension(), "gz");
  EXPECT_EQ(Entry("/a.b/c").GetExtension(), "");
  EXPECT_EQ(Entry("/a/.profile").GetExtension(), "");
  EXPECT_EQ(Entry("c.").GetExtension(), "");
  EXPECT_EQ(Entry("..").GetExtension(), "");
}

TEST(DirEntry, ReplacesTheExtensionOfTheLastComponent) {
  for (const auto& [path, expected] : {std::pair{"/a.b/c", "/a.b/c.x"}, std::pair{"c.y", "c.x"},
                                       std::pair{"c.", "c.x"}, std::pair{".c", ".c.x"}}) {
    DirEntry entry(path);
    entry.SetExtension("x");
    EXPECT_EQ(entry.GetFull(), expected);
  }
  DirEntry entry("c.y");
  entry.SetExtension("");
  EXPECT_EQ(entry.GetFull(), "c");
}

TEST(DirEntry, MakesAndRemovesDirectories) {
  tmx::MemoryEnv memory;
  const tmx::ScopedEnv scope(memory);
  EXPECT_TRUE(Entry("/home/a/b/c").MakeDir());
  EXPECT_TRUE(Entry("/home/a/b/c").IsDirectory());
  EXPECT_TRUE(Entry("/home/a/b").MakeDir());
  EXPECT_TRUE(Entry("rel/ative").MakeDir());
  EXPECT_TRUE(Entry("/home/rel/ative").Exists());
  EXPECT_FALSE(Entry("/home/a").Remove());
  EXPECT_TRUE(Entry("/home/a/b/c").Remove());
  EXPECT_FALSE(Entry("/home/a/b/c").Exists());
  memory.Put("f", "");
  EXPECT_FALSE(Entry("/home/f/d").MakeDir());
  EXPECT_FALSE(Entry("").MakeDir());
  EXPECT_TRUE(Entry("f").Exists());
  EXPECT_FALSE(Entry("f").IsDirectory());
}

TEST(Dir, ListsMatchingNamesInOrder) {
  tmx::MemoryEnv memory;
  const tmx::ScopedEnv scope(memory);
  for (const char* name : {"50102001.pro", "50102000.pro", "5010200.pro", "50102000.log", "x"}) {
    memory.Put(name, "");
  }
  const auto list = [](const char* pattern) {
    const Dir dir(Entry("/home"), pattern);
    return std::vector<String>(dir.begin(), dir.end());
  };
  EXPECT_THAT(list("50102???.pro"), ElementsAre(String("50102000.pro"), String("50102001.pro")));
  EXPECT_THAT(list("*.pro").size(), 3u);
  EXPECT_THAT(list("*0*0*.*o*").size(), 4u);
  EXPECT_THAT(list("?"), ElementsAre(String("x")));
  EXPECT_THAT(list("*").size(), 5u);
  EXPECT_TRUE(list("").empty());
  EXPECT_TRUE(list("x?").empty());
  EXPECT_EQ(list("x**"), list("x"));
  EXPECT_EQ(Dir(Entry("/missing")).Count(), 0u);
  EXPECT_EQ(Dir(Entry("/home"), "x")[0], "x");
}

}  // namespace
