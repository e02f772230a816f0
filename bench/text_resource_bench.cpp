// Text resources: from a file of 100000 lines to the first looked-up text, beside the loader that
// anybody would write; and the time that loading the library takes, beside the crypto library
// alone.
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tmxtools/textres/text_res.h"

namespace {

namespace fs = std::filesystem;

constexpr int kLines = 100000;

// A file as hosts have them: one section, keys in no order, texts of some words.
const std::string& SampleFile() {
  static const std::string path = [] {
    std::vector<int> codes(kLines);
    for (int i = 0; i < kLines; ++i) codes[static_cast<std::size_t>(i)] = 10000 + i;
    std::shuffle(codes.begin(), codes.end(), std::mt19937(1));
    std::string name = (fs::temp_directory_path() / "text_resource_bench.bin").string();
    std::ofstream out(name, std::ios::binary);
    out << "[DEUTSCH]\n";
    for (const int code : codes)
      out << code << ":\t\tDer Auftrag " << code << " wurde angenommen.\n";
    return name;
  }();
  return path;
}

void FirstLookup_Ours(benchmark::State& state) {
  const std::string& path = SampleFile();
  for (auto _ : state) {
    HbTextResFile file;
    file.load(path);
    const auto text = file.find_section("DEUTSCH")->find_value("77777");
    if (!text || !text->starts_with("Der Auftrag 77777")) return state.SkipWithError("wrong text");
  }
}
BENCHMARK(FirstLookup_Ours)->Unit(benchmark::kMillisecond);

std::string Trim(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(" \t\r\n\v\f");
  if (begin == std::string::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t\r\n\v\f") + 1 - begin);
}

void FirstLookup_NaiveLoader(benchmark::State& state) {
  const std::string& path = SampleFile();
  for (auto _ : state) {
    std::map<std::string, std::string> texts;
    std::ifstream in(path, std::ios::binary);
    for (std::string line; std::getline(in, line);) {
      const std::string text = Trim(line);
      const std::size_t colon = text.find(':');
      if (colon != std::string::npos)
        texts[Trim(text.substr(0, colon))] = Trim(text.substr(colon + 1));
    }
    const auto found = texts.find("77777");
    if (found == texts.end() || !found->second.starts_with("Der Auftrag 77777"))
      return state.SkipWithError("wrong text");
  }
}
BENCHMARK(FirstLookup_NaiveLoader)->Unit(benchmark::kMillisecond);

void Message_Ours(benchmark::State& state) {
  HbTextResFile file;
  file.load(SampleFile());
  const HbTextResSection& section = *file.find_section("DEUTSCH");
  int code = 10000;
  for (auto _ : state) {
    benchmark::DoNotOptimize(section.find_value(std::to_string(code)));
    code = code < 109000 ? code + 997 : 10000;
  }
}
BENCHMARK(Message_Ours);

// Loads a library in a fresh process, this program again; the time is taken there, around dlopen().
constexpr std::string_view kLoadOption = "--load-library=";

int PrintLoadTime(const char* library) {
  const auto begin = std::chrono::steady_clock::now();
  const bool is_loaded = dlopen(library, RTLD_NOW | RTLD_LOCAL) != nullptr;
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
  if (!is_loaded) return 1;
  std::printf("%.9f\n", time.count());
  return 0;
}

void LoadLibrary(benchmark::State& state, const std::string& library) {
  const std::string program = fs::read_symlink("/proc/self/exe").string();
  const std::string command = "'" + program + "' " + std::string(kLoadOption) + library;
  for (auto _ : state) {
    FILE* const child = popen(command.c_str(), "r");
    double seconds = 0;
    const bool is_read = child != nullptr && std::fscanf(child, "%lf", &seconds) == 1;
    if (child == nullptr || pclose(child) != 0 || !is_read)
      return state.SkipWithError("the library cannot be loaded");
    state.SetIterationTime(seconds);
  }
}

void LoadLibrary_Ours(benchmark::State& state) {
  const fs::path program = fs::read_symlink("/proc/self/exe");
  LoadLibrary(state, (program.parent_path().parent_path() / "lib/libtmxtools.so").string());
}
BENCHMARK(LoadLibrary_Ours)->UseManualTime()->Iterations(200);

void LoadLibrary_Libcrypto(benchmark::State& state) { LoadLibrary(state, "libcrypto.so.3"); }
BENCHMARK(LoadLibrary_Libcrypto)->UseManualTime()->Iterations(200);

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::string_view(argv[1]).starts_with(kLoadOption))
    return PrintLoadTime(argv[1] + kLoadOption.size());
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  std::error_code ignored;
  fs::remove(SampleFile(), ignored);
  return 0;
}
