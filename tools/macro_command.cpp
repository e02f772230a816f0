// tmx macro: compiles macro sources, looks into macro files and checks them.
#include "tools/macro_command.h"

#include <cstdio>
#include <filesystem>
#include <map>
#include <optional>
#include <set>

#include "compiler/compiler.h"
#include "compiler/disassembler.h"
#include "compiler/keywords.h"
#include "compiler/parser.h"
#include "compiler/verifier.h"
#include "tools/command.h"
#include "tools/macro_files.h"
#include "tools/macro_lookup.h"
#include "tools/output.h"

namespace tmx::tools {
namespace {

using compiler::CheckedFile;
using compiler::Compiled;
using compiler::MacroImage;
using compiler::Signatures;
using compiler::Source;

// ---- build ------------------------------------------------------------------------------------

struct BuildOptions {
  std::vector<std::string> sources;
  std::string out;
  bool strip = false;
};

// The macro file that a source belongs to: NAME.hbm and NAME.PART.hbm are compiled to one.
std::string NameOf(const std::string& source) {
  const std::string file = std::filesystem::path(source).filename().string();
  return file.substr(0, file.find('.'));
}

// The sources, or none if one cannot be read.
std::optional<std::vector<Source>> ReadSources(const BuildOptions& options) {
  std::vector<Source> sources;
  std::set<std::string> names;
  for (const std::string& path : options.sources) {
    auto text = ReadBytes(path);
    if (!text) return ComplainOf(path, "read"), std::nullopt;
    if (!names.insert(std::filesystem::path(path).filename().string()).second)
      return Complain(path + ": another source makes the macro file '" + NameOf(path) + "'"),
             std::nullopt;
    sources.emplace_back(path, std::move(*text));
  }
  return sources;
}

Signatures AllSignatures(const std::vector<Source>& sources) {
  Signatures all;
  for (const Source& source : sources) {
    compiler::Diagnostics ignored;
    all.merge(SignaturesOf(compiler::Parse(source, ignored)));
  }
  return all;
}

bool WriteImage(const std::string& out, const std::string& name, const MacroImage& image) {
  const std::string directory = MacroDirectory(out);
  std::error_code failure;
  std::filesystem::create_directories(directory, failure);
  if (failure) return Complain(directory + ": cannot be made: " + failure.message()), false;
  for (const auto& [extension, bytes] :
       {std::pair(".hbz", &image.index), std::pair(".hbx", &image.code)}) {
    const std::string path = directory + "/" + name + extension;
    if (!WriteBytes(path, *bytes)) return ComplainOf(path, "written"), false;
  }
  return true;
}

bool AddToImage(std::map<std::string, MacroImage>& images, const std::string& source,
                MacroImage compiled) {
  const std::string name = NameOf(source);
  const auto [whole, fresh] = images.try_emplace(name, std::move(compiled));
  if (fresh) return true;
  const std::string problem = compiler::Join(whole->second, compiled);
  if (!problem.empty()) Complain(source + ": cannot be a part of '" + name + "': " + problem);
  return problem.empty();
}

// Writes nothing unless every source compiles.
int Build(const BuildOptions& options) {
  const auto sources = ReadSources(options);
  if (!sources) return kFindings;
  const Signatures all = AllSignatures(*sources);
  const compiler::CompileOptions how{!options.strip, sources->size() > 1 ? &all : nullptr};
  std::map<std::string, MacroImage> images;
  bool good = true;
  for (const Source& source : *sources) {
    Compiled compiled = Compile(source, how);
    const std::string messages = ForOutput(compiled.diagnostics.Render(source));
    std::fwrite(messages.data(), 1, messages.size(), stderr);
    good = good && !compiled.diagnostics.HasErrors() &&
           AddToImage(images, source.Name(), std::move(compiled.image));
  }
  for (const auto& [name, image] : images) good = good && WriteImage(options.out, name, image);
  return good ? kDone : kFindings;
}

// ---- list and dump ----------------------------------------------------------------------------

// None, with a complaint, if a part of the file is missing.
std::optional<MacroImage> ReadImage(const MacroSet& set, const std::string& name) {
  const std::string path = MacroDirectory(set.path) + "/" + name;
  const auto read = [&](const char* extension) {
    auto bytes = ReadBytes(path + extension);
    if (!bytes) ComplainOf(path + extension, "read");
    return bytes;
  };
  auto index = read(".hbz");
  auto code = read(".hbx");
  if (!index || !code) return std::nullopt;
  return MacroImage{std::move(*index), std::move(*code)};
}

void PrintProblems(const std::string& name, const compiler::Disassembly& disassembly) {
  for (const std::string& problem : disassembly.problems)
    Complain(name + ": " + ForOutput(problem));
}

int List(const MacroSet& set) {
  int exit_code = kDone;
  std::printf("%-12s %-32s %10s %6s %8s\n", "file", "subroutine", "offset", "length", "reserved");
  for (const std::string& name : set.files) {
    const auto image = ReadImage(set, name);
    if (!image) {
      exit_code = kFindings;
      continue;
    }
    for (const compiler::IndexEntry& entry : compiler::ReadIndex(image->index).entries)
      std::printf("%-12s %-32s %10u %6u %8u\n", ForOutput(name).c_str(),
                  compiler::NameOrQuoted(entry.name).c_str(), entry.offset, entry.length,
                  entry.reserved);
    const compiler::Disassembly disassembly = compiler::Disassemble(*image);
    PrintProblems(name, disassembly);
    if (!disassembly.problems.empty()) exit_code = kFindings;
  }
  return exit_code;
}

int Dump(const MacroSet& set) {
  int exit_code = kDone;
  for (const std::string& name : set.files) {
    const auto image = ReadImage(set, name);
    if (!image) {
      exit_code = kFindings;
      continue;
    }
    const compiler::Disassembly disassembly = compiler::Disassemble(*image);
    if (set.files.size() > 1) std::printf("# %s.hbm\n", name.c_str());
    std::fwrite(disassembly.source.data(), 1, disassembly.source.size(), stdout);
    PrintProblems(name, disassembly);
    if (!disassembly.problems.empty()) exit_code = kFindings;
  }
  return exit_code;
}

// ---- check ------------------------------------------------------------------------------------

struct CheckOptions {
  std::vector<std::string> entries;
  bool allow_dynamic = false;
  bool no_warnings = false;
};

// NAME or NAME(type,...); none if a type is unknown.
std::optional<compiler::EntryPoint> ParseEntry(const std::string& text) {
  const std::size_t open = text.find('(');
  compiler::EntryPoint entry{text.substr(0, open), {}};
  if (open == std::string::npos) return entry;
  if (!text.ends_with(')')) return std::nullopt;
  std::string types = text.substr(open + 1, text.size() - open - 2);
  while (!types.empty()) {
    const std::size_t comma = types.find(',');
    const TypeCode type = compiler::TypeNamed(types.substr(0, comma));
    if (type == TypeCode::kNone || type == TypeCode::kChar) return std::nullopt;
    entry.parameters.push_back(type);
    types = comma == std::string::npos ? "" : types.substr(comma + 1);
  }
  return entry;
}

// With the line of the source behind the position, where marks tell it.
std::string Line(const compiler::Finding& finding, const MacroLookup& lookup) {
  std::string line = compiler::Describe(finding);
  const std::string position =
      finding.file + ": " + finding.subroutine + '+' + std::to_string(finding.offset);
  const std::string place = lookup.PlaceIn(finding.file, finding.subroutine, finding.offset);
  if (!place.empty() && line.starts_with(position))
    line.insert(position.size(), " (" + place + ')');
  return line;
}

int Check(const MacroSet& set, const CheckOptions& options) {
  std::vector<compiler::EntryPoint> entries;
  for (const std::string& text : options.entries) {
    const auto entry = ParseEntry(text);
    if (!entry) return Complain("unknown type in '" + text + "'"), kWrongUse;
    entries.push_back(*entry);
  }
  using Kind = compiler::Finding::Kind;
  int faults = 0;
  int warnings = 0;
  std::string last;
  const std::vector<CheckedFile> files = ReadMacroFiles(set.path, set.files);
  const MacroLookup lookup(files);
  for (const compiler::Finding& finding : Verify(files, entries).findings) {
    const std::string line = Line(finding, lookup);
    if (line == last) continue;  // the same fault in another operand
    last = line;
    const bool counts = finding.kind == Kind::kFault ||
                        (finding.kind == Kind::kUnchecked && !options.allow_dynamic);
    (counts ? faults : warnings) += 1;
    if (counts || !options.no_warnings) std::printf("%s\n", ForOutput(line).c_str());
  }
  if (faults > 0) std::printf("%d found\n", faults);
  return faults > 0 ? kFindings : kDone;
}

// An empty path, as from a variable of a script that is not set, would mean the root directory.
void AddPath(CLI::App& command, const char* name, std::string& path, const char* help) {
  command.add_option(name, path, help)
      ->required()
      ->type_name("DIR")
      ->check([](const std::string& text) { return text.empty() ? "the path is empty" : ""; });
}

void AddBuild(CLI::App& macro, int& exit_code) {
  const auto options = std::make_shared<BuildOptions>();
  CLI::App* const command = macro.add_subcommand(
      "build",
      "Compile sources to DIR/macro/NAME.hbz and NAME.hbx. NAME.hbm and NAME.PART.hbm become one\n"
      "file. Nothing is written when a source has an error; the exit code is 1 then.");
  command->add_option("SOURCE", options->sources, "macro sources, NAME.hbm or NAME.PART.hbm")
      ->required();
  AddPath(*command, "--out", options->out, "the macro path to write below");
  command->add_flag("--strip", options->strip, "leave out the marks for diagnostics");
  command->callback([=, &exit_code] { exit_code = Build(*options); });
}

void AddCheck(CLI::App& macro, int& exit_code) {
  CLI::App* const command = macro.add_subcommand("check",
                                                 "Follow every path through the files and report "
                                                 "what would end a run with 17490. Exit code 1\n"
                                                 "when something was found.");
  const auto set = AddMacroSet(*command);
  const auto options = std::make_shared<CheckOptions>();
  command
      ->add_option("--entry", options->entries,
                   "where runs start and with what parameters, by default every subroutine with\n"
                   "those that it declares")
      ->type_name("NAME[(TYPE,...)]")
      ->expected(1)
      ->take_all()
      ->allow_extra_args(false);
  command->add_flag("--allow-dynamic-calls", options->allow_dynamic,
                    "accept calls whose target only a variable knows, which cannot be checked");
  command->add_flag("--no-warnings", options->no_warnings, "print only what is wrong");
  command->callback([=, &exit_code] { exit_code = Check(*set, *options); });
}

void AddReader(CLI::App& macro, const char* name, const char* help, int (*run)(const MacroSet&),
               int& exit_code) {
  CLI::App* const command = macro.add_subcommand(name, help);
  const auto set = AddMacroSet(*command);
  command->callback([=, &exit_code] { exit_code = run(*set); });
}

}  // namespace

std::shared_ptr<MacroSet> AddMacroSet(CLI::App& command) {
  auto set = std::make_shared<MacroSet>();
  AddPath(command, "--path", set->path, "the macro path; files lie in DIR/macro");
  command.add_option("--file", set->files, "a macro file, without extension; may be repeated")
      ->required()
      ->type_name("NAME")
      ->expected(1)
      ->take_all()
      ->allow_extra_args(false);
  return set;
}

void AddMacroCommand(CLI::App& program, int& exit_code) {
  CLI::App* const macro =
      program.add_subcommand("macro", "Compile, look into, check and run macros.");
  macro->require_subcommand(1);
  AddBuild(*macro, exit_code);
  AddReader(*macro, "list", "Print the subroutines of macro files and what is wrong with them.",
            List, exit_code);
  AddReader(*macro, "dump",
            "Print macro files as source that compiles to the same bytes. What is wrong with them\n"
            "is said on standard error, with exit code 1.",
            Dump, exit_code);
  AddCheck(*macro, exit_code);
  AddMacroRunCommands(*macro, exit_code);
}

}  // namespace tmx::tools
