#include "tmxtools/textres/text_res.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <utility>

#include "tests/support/fault_env.h"
#include "tests/support/temp_dir.h"

namespace tmx {
namespace {

using testing::ElementsAre;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// All of a file in one text: "[section]key=value;key=value".
std::string Flat(const HbTextResFile& file) {
  std::string text;
  for (const HbTextResSection& section : file) {
    text += "[" + section.name() + "]";
    for (const HbTextRes& entry : section) text += entry.name() + "=" + entry.value() + ";";
  }
  return text;
}

class TextResFile : public testing::Test {
 protected:
  std::string Write(const std::string& bytes, const std::string& name = "a.bin") {
    const std::string path = directory_.File(name);
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
  }
  // What a file with these bytes holds.
  std::string Loaded(const std::string& bytes) {
    HbTextResFile file;
    CaptureStdout();
    EXPECT_TRUE(file.load(Write(bytes)));
    warnings_ = GetCapturedStdout();
    return Flat(file);
  }

  TempDir directory_;
  std::string warnings_;
};

TEST(TextRes, IsValidWithANameAndEqualInNameAndValue) {
  EXPECT_FALSE(HbTextRes().is_valid());
  EXPECT_FALSE(HbTextRes("", "x").is_valid());
  EXPECT_TRUE(HbTextRes("a", "").is_valid());
  EXPECT_TRUE(HbTextRes("a", "b") == HbTextRes("a", "b"));
  EXPECT_TRUE(HbTextRes("a", "b") != HbTextRes("a", "c"));
  EXPECT_TRUE(HbTextRes("a", "b") != HbTextRes("b", "b"));
}

TEST(TextResSection, AddedValueReplacesTheOneBefore) {
  HbTextResSection section("s");
  section.add_value("k", "1");
  HbTextRes& entry = section.add_value("k", "2");
  EXPECT_EQ(entry.value(), "2");
  EXPECT_EQ(&entry, &*section.begin());
  EXPECT_TRUE(section.exist_value("k"));
  EXPECT_FALSE(section.exist_value("x"));
  EXPECT_EQ(section.find_value("k"), "2");
  EXPECT_EQ(std::distance(section.begin(), section.end()), 1);
}

TEST(TextResSection, IsValidWithANameAndEqualInNameAndEntries) {
  EXPECT_FALSE(HbTextResSection().is_valid());
  HbTextResSection a("s"), b("s"), c("t");
  EXPECT_TRUE(a.is_valid());
  EXPECT_TRUE(a == b);
  EXPECT_TRUE(a != c);
  a.add_value("k", "1");
  EXPECT_TRUE(a != b);
  b.add_value("k", "1");
  EXPECT_TRUE(a == b);
  b = a;
  a.add_value("k", "2");
  EXPECT_EQ(b.find_value("k"), "1");
}

TEST(TextResIterators, WalkBothWaysInByteOrder) {
  HbTextResSection section("s");
  for (const char* key : {"b", "\xE4", "a", "10", "9"}) section.add_value(key, key);
  std::vector<std::string> keys;
  for (HbTextRes_iter i = section.begin(); i != section.end(); ++i) keys.push_back(i->name());
  EXPECT_THAT(keys, ElementsAre("10", "9", "a", "b", "\xE4"));
  HbTextRes_const_iter i = section.begin();
  EXPECT_TRUE(i == std::as_const(section).begin());
  EXPECT_EQ((*i++).name(), "10");
  EXPECT_EQ((*++i).name(), "a");
  EXPECT_EQ((*i--).name(), "a");
  EXPECT_EQ((*--i).name(), "10");
  HbTextRes_const_iter copy;
  copy = i;
  EXPECT_TRUE(copy == i);
  HbTextResFile file;
  file.add_section("b");
  file.add_section("a");
  HbTextResSection_iter sections = file.begin();
  EXPECT_EQ((*sections).name(), "a");
  EXPECT_EQ((*++sections).name(), "b");
  EXPECT_TRUE(++sections == file.end());
}

TEST_F(TextResFile, WithOnlyEntriesHasOneSectionDefault) {
  EXPECT_EQ(Loaded("b:2\na:1\n"), "[default]a=1;b=2;");
}

TEST_F(TextResFile, OnlyTheFirstColonSeparates) {
  EXPECT_EQ(Loaded("a:b:c"), "[default]a=b:c;");
  EXPECT_EQ(Loaded(":b"), "[default]=b;");
  EXPECT_EQ(Loaded(":"), "[default]=;");
}

TEST_F(TextResFile, OfTheSameKeyTheLaterValueStays) {
  EXPECT_EQ(Loaded("a:1\na:2\nA:3"), "[default]A=3;a=2;");
}

TEST_F(TextResFile, TheSameHeaderTwiceContinuesTheSection) {
  EXPECT_EQ(Loaded("[s]\na:1\nb:1\n[t]\na:5\n[s]\na:2\nc:3"), "[s]a=2;b=1;c=3;[t]a=5;");
}

TEST_F(TextResFile, AHeaderWithoutBracketWarnsWithItsLineNumber) {
  EXPECT_EQ(Loaded("\n[s]\na:1\n[t\nb:2\n["), "[s]a=1;b=2;");
  EXPECT_EQ(warnings_,
            "WARNING: no match for section-end, ']' is missing in line 4\n"
            "WARNING: no match for section-end, ']' is missing in line 6\n");
  EXPECT_EQ(Loaded("[t] # x\n"), "");
  EXPECT_EQ(warnings_, "WARNING: no match for section-end, ']' is missing in line 1\n");
}

TEST_F(TextResFile, ALineWithoutColonWarnsWithItsLineNumber) {
  EXPECT_EQ(Loaded("[s]\n\r\n # x\nnothing\na:1"), "[s]a=1;");
  EXPECT_EQ(warnings_, "WARNING: no match for key-end, ':' is missing in line 4\n");
}

TEST_F(TextResFile, ALineWithoutColonStillBeginsTheDefaultSection) {
  EXPECT_EQ(Loaded("nothing"), "[default]");
}

TEST_F(TextResFile, BlankLinesAndCommentsAreIgnored) {
  EXPECT_EQ(Loaded("  \t\v\f\r\n#a:1\n   # b:2\n\n"), "");
  EXPECT_EQ(warnings_, "");
  EXPECT_EQ(Loaded(""), "");
}

TEST_F(TextResFile, BlanksAroundLinesKeysAndValuesDoNotCount) {
  EXPECT_EQ(Loaded("\t a b \t: c  d \r\n"), "[default]a b=c  d;");
  EXPECT_EQ(Loaded("a:\xA0"), "[default]a=\xA0;");
}

TEST_F(TextResFile, BlanksInsideTheBracketsBelongToTheName) {
  EXPECT_EQ(Loaded("  [ s ]  \na:1\n[]\nb:2\n[x]y]\n"), "[]b=2;[ s ]a=1;[x]y]");
}

TEST_F(TextResFile, TheLastLineNeedsNoEndAndBytesMayBeZero) {
  EXPECT_EQ(Loaded(std::string("a\0b:\0", 5)), std::string("[default]a\0b=\0;", 15));
}

TEST_F(TextResFile, LoadingMergesIntoWhatIsThere) {
  HbTextResFile file;
  file.section().add_value("x", "0");
  file.add_section("s").add_value("a", "0");
  ASSERT_TRUE(file.load(Write("[s]\na:1\nb:1\n")));
  ASSERT_TRUE(file.load(Write("[s]\nb:2\nc:2\n", "b.bin")));
  EXPECT_EQ(file.find_section("s")->find_value("a"), "1");
  EXPECT_EQ(file.find_section("s")->find_value("b"), "2");
  EXPECT_EQ(Flat(file), "[default]x=0;[s]a=1;b=2;c=2;");
}

TEST_F(TextResFile, LookingUpChangingAndCopyingShowTheSameWhetherOrderedYetOrNot) {
  HbTextResFile file;
  ASSERT_TRUE(file.load(Write("[s]\na:1\nb:2\na:3\nlonger than eight bytes:4\n")));
  const HbTextResFile copy = file;
  HbTextResSection& section = file.section("s");
  EXPECT_EQ(section.find_value("a"), "3");
  EXPECT_EQ(section.find_value("longer than eight bytes"), "4");
  EXPECT_FALSE(section.exist_value("longer than eight byteS"));
  EXPECT_FALSE(section.exist_value(""));
  section.add_value("a", "9");
  EXPECT_EQ(section.find_value("a"), "9");
  EXPECT_EQ(section.find_value("b"), "2");
  EXPECT_EQ(Flat(copy), "[s]a=3;b=2;longer than eight bytes=4;");
  HbTextResFile assigned;
  assigned = copy;
  EXPECT_TRUE(*assigned.begin() == *copy.begin());
  EXPECT_FALSE(*assigned.begin() == section);
}

TEST_F(TextResFile, KeepsTheEntriesWhenTheFileChangesOnDisk) {
  HbTextResFile file;
  const std::string path = Write("a:1\n");
  ASSERT_TRUE(file.load(path));
  Write("");
  EXPECT_EQ(Flat(file), "[default]a=1;");
}

TEST_F(TextResFile, AnEmptyNameMeansTheOneOfTheCallBefore) {
  HbTextResFile file;
  EXPECT_FALSE(file.load(""));
  EXPECT_FALSE(file.save(""));
  const std::string path = Write("a:1\n");
  ASSERT_TRUE(file.load(path));
  Write("a:2\n");
  ASSERT_TRUE(file.load(""));
  EXPECT_EQ(Flat(file), "[default]a=2;");
  ASSERT_TRUE(file.save(""));
  EXPECT_EQ(ReadAll(path), "[default]\na:\t\t2\n\n");
}

TEST_F(TextResFile, IsSavedInOrderAndWithoutComments) {
  HbTextResFile file;
  const std::string path = Write("# x\nz:1\n[b]\nk:v:w\n[a]\n2:b\n10:a\n");
  ASSERT_TRUE(file.load(path));
  ASSERT_TRUE(file.save(path));
  const std::string saved = "[a]\n10:\t\ta\n2:\t\tb\n\n[b]\nk:\t\tv:w\n\n[default]\nz:\t\t1\n\n";
  EXPECT_EQ(ReadAll(path), saved);
  HbTextResFile again;
  ASSERT_TRUE(again.load(path));
  EXPECT_EQ(Flat(again), Flat(file));
}

TEST_F(TextResFile, WhatCannotBeOpenedIsFalse) {
  HbTextResFile file;
  EXPECT_FALSE(file.load(directory_.File("missing.bin")));
  EXPECT_FALSE(file.load(directory_.Path()));
  EXPECT_FALSE(file.load(std::string("a\0b", 3)));
  EXPECT_FALSE(file.save(directory_.File("missing/a.bin")));
  EXPECT_FALSE(file.is_valid());
}

TEST_F(TextResFile, AFailingDiskGivesFalseOrNothingNeverHalfAFile) {
  const std::string path = Write("[s]\na:1\n");
  FaultEnv env(SystemEnv());
  const ScopedEnv scope(env);
  for (const EnvCall call : {EnvCall::kOpen, EnvCall::kSize, EnvCall::kRead}) {
    env.Fail(call, 1, std::errc::io_error);
    HbTextResFile file;
    EXPECT_FALSE(file.load(path));
    EXPECT_FALSE(file.is_valid());
    EXPECT_TRUE(file.load(path));
  }
}

TEST_F(TextResFile, SavingIsTrueOnceTheFileIsOpen) {
  FaultEnv env(SystemEnv());
  const ScopedEnv scope(env);
  HbTextResFile file;
  file.section().add_value("a", "1");
  env.Fail(EnvCall::kOpen, 1, std::errc::permission_denied);
  EXPECT_FALSE(file.save(directory_.File("b.bin")));
  env.Fail(EnvCall::kWrite, 1, std::errc::no_space_on_device);
  EXPECT_TRUE(file.save(directory_.File("b.bin")));
}

TEST_F(TextResFile, IsValidWithASection) {
  HbTextResFile file;
  EXPECT_FALSE(file.is_valid());
  EXPECT_FALSE(file.exist_section("default"));
  EXPECT_EQ(&file.section(), &file.section("default"));
  EXPECT_TRUE(file.is_valid());
  EXPECT_TRUE(file.exist_section("default"));
  EXPECT_EQ(file.section().name(), "default");
}

TEST_F(TextResFile, TrimsWhatIsspaceMeans) {
  struct Open : HbTextResFile {
    using HbTextResFile::str_trim;
  };
  EXPECT_EQ(Open::str_trim(" \t\n\v\f\ra b\r "), "a b");
  EXPECT_EQ(Open::str_trim(" \n "), "");
  EXPECT_EQ(Open::str_trim(""), "");
  EXPECT_EQ(Open::str_trim("\xA0x"), "\xA0x");
}

TEST_F(TextResFile, FindsEveryOfManyKeys) {
  std::string bytes = "[s]\n";
  for (int i = 0; i < 5000; ++i) bytes += std::to_string(i * 7) + ": v" + std::to_string(i) + "\n";
  HbTextResFile file;
  ASSERT_TRUE(file.load(Write(bytes)));
  const HbTextResSection& section = *file.find_section("s");
  for (int i = 0; i < 35000; ++i) {
    const auto value = section.find_value(std::to_string(i));
    ASSERT_EQ(value.has_value(), i % 7 == 0) << i;
    if (value) {
      ASSERT_EQ(*value, "v" + std::to_string(i / 7));
    }
  }
}

TEST_F(TextResFile, ManySectionsTakeLittleMemory) {
  std::string bytes;
  for (int i = 0; i < 20000; ++i) bytes += "[" + std::to_string(i) + "]\na:1\n";
  HbTextResFile file;
  ASSERT_TRUE(file.load(Write(bytes)));
  EXPECT_EQ(std::distance(file.begin(), file.end()), 20000);
  EXPECT_EQ(file.section("19999").find_value("a"), "1");
}

}  // namespace
}  // namespace tmx
