#include "tests/macros/shipped.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "compiler/parser.h"

namespace tmx::test {

std::optional<std::string> ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(in), {});
}

std::string ShippedSource::Name() const { return std::filesystem::path(path).stem().string(); }

ShippedSource Shipped(const std::string& path) {
  const std::optional<std::string> text = ReadFile(TMX_SOURCE_DIR "/" + path);
  EXPECT_TRUE(text) << path;
  return {path, text.value_or("")};
}

std::vector<ShippedSource> AllShipped() {
  std::vector<std::string> paths;
  for (const std::string folder : {"macros", "demo"})
    for (const auto& entry : std::filesystem::directory_iterator(TMX_SOURCE_DIR "/" + folder))
      if (entry.path().extension() == ".hbm")
        paths.push_back(folder + "/" + entry.path().filename().string());
  std::sort(paths.begin(), paths.end());
  std::vector<ShippedSource> sources;
  for (const std::string& path : paths) sources.push_back(Shipped(path));
  return sources;
}

MacroImage Build(const ShippedSource& source, const compiler::Signatures* others) {
  const compiler::Source text(source.path, source.text);
  const compiler::Compiled compiled = compiler::Compile(text, {true, others});
  EXPECT_EQ(compiled.diagnostics.Render(text), "");
  return {source.Name(), compiled.image.index, compiled.image.code};
}

MacroHost::MacroHost(const std::vector<std::string>& paths) {
  host_.PushFile(Build(Shipped("macros/general.hbm")));
  for (const std::string& path : paths) host_.PushFile(Build(Shipped(path)));
}

void MacroHost::Add(const std::string& name, const std::string& source) {
  const compiler::Source general("general.hbm", Shipped("macros/general.hbm").text);
  compiler::Diagnostics diagnostics;
  const compiler::Signatures known = compiler::SignaturesOf(compiler::Parse(general, diagnostics));
  host_.PushFile(Build({name + ".hbm", source}, &known));
}

}  // namespace tmx::test
