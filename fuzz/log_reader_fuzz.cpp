// The decrypted contents of a communication log: the page index, every page that it names, and the
// blocks. Whatever the bytes say, pages lie inside the contents and have their form, and the blocks
// cover the contents without a gap.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "fuzz/small_disk.h"
#include "tmxtools/platform/memory_stream.h"
#include "tmxtools/streams/log_blocks.h"
#include "tmxtools/streams/protocol_file.h"

namespace {

constexpr unsigned short kMostPages = 6;

void Check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

void CheckPage(HbProtocolFile& log, unsigned short index, std::size_t size) {
  const HbProtocolFile::Page& page = *log.GetPage(index);
  Check(page.start <= size && page.length <= 920, "a page lies outside the contents");
  HbError err;
  // Opening has shown the first one.
  const bool shown = index == 0 || log.GotoPage(index, err);
  Check(shown != err.IsSet(), "a page is shown with an error, or not shown without one");
  Check(log.CurrentIndex() == index, "another page is the current one");
  if (!shown) return;
  const std::string_view screen = log.GetScreen().View();
  Check(std::ranges::count(screen, '\n') == 24, "a screen has not 24 lines");
}

void CheckPages(const std::string& contents) {
  static tmx::SmallDisk disk(1 << 20);
  static const String name("/log");
  const tmx::ScopedEnv scope(disk);
  disk.Put(name.View(), contents);
  HbProtocolFile log;
  HbError err;
  const bool opened = log.ReadUncryptedProtocol(err, name);
  Check(opened == log.IsOpen() && opened != err.IsSet(), "a log is open with an error");
  if (!opened) return;
  const unsigned short count = std::min(log.Count(), kMostPages);
  for (unsigned short i = 0; i < count; ++i) CheckPage(log, i, contents.size());
  err.Clear();
  Check(!log.GotoPage(log.Count(), err) && err.GetCode() == 33785, "there is a page too many");
}

void CheckBlocks(const std::string& contents) {
  SvMemoryStream stream(contents.size());
  stream.Write(contents.data(), contents.size());
  tmx::LogBlocks blocks(stream);
  std::uint32_t end = 0;
  while (blocks.Next()) {
    const tmx::LogBlock& block = blocks.Block();
    Check(block.begin == end && block.end > block.begin, "a block does not follow the one before");
    Check(block.body >= block.begin && block.length <= block.end - block.body,
          "a body lies outside its block");
    Check(!block.is_whole || block.kind != tmx::LogBlock::Kind::Broken, "a broken block is whole");
    end = block.end;
  }
  Check(end == contents.size() && !stream.HasError(), "the blocks do not cover the contents");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  CheckBlocks(bytes);
  // Without the line of the date nothing more is looked at.
  CheckPages(bytes.starts_with("Datum: ") ? bytes : "Datum: 20261121\n" + bytes);
  return 0;
}
