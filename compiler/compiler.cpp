#include "compiler/compiler.h"

#include "compiler/parser.h"
#include "compiler/subroutine_compiler.h"

namespace tmx::compiler {
namespace {

std::string WithoutDirectory(const std::string& name) {
  const std::size_t slash = name.find_last_of("/\\");
  return slash == std::string::npos ? name : name.substr(slash + 1);
}

class FileCompiler {
 public:
  FileCompiler(const Source& source, const CompileOptions& options)
      : source_(source), options_(options), file_(Parse(source, result_.diagnostics)) {}

  Compiled Run() {
    result_.image.code = file_.magic.value_or(std::string(kCodeMagic));
    const Signatures own = SignaturesOf(file_);
    const SubroutineContext context{WithoutDirectory(source_.Name()), file_.verbatim,
                                    options_.debug_marks && !file_.verbatim, own, options_.others};
    for (const Item& item : file_.items) Add(item, context);
    if (result_.image.index.size() > kLongestIndex)
      result_.diagnostics.Error({}, "the index has " + std::to_string(result_.image.index.size()) +
                                        " bytes, at most " + std::to_string(kLongestIndex) +
                                        " are possible");
    if (result_.diagnostics.HasErrors()) result_.image = {};
    return std::move(result_);
  }

 private:
  void Add(const Item& item, const SubroutineContext& context) {
    MacroImage& image = result_.image;
    switch (item.kind) {
      case Item::Kind::kSubroutine:
        return AddSubroutine(item.subroutine, context);
      case Item::Kind::kRaw:
        image.code += item.bytes;
        return;
      case Item::Kind::kIndexRaw:
        image.index += item.bytes;
        return;
      case Item::Kind::kEntry:
        CheckName(item.entry.name, item.at);
        AppendEntry(image.index, {item.entry.name, static_cast<std::uint32_t>(item.entry.offset),
                                  static_cast<std::uint16_t>(item.entry.length),
                                  static_cast<std::uint16_t>(item.entry.reserved)});
        return;
    }
  }

  void CheckName(const std::string& name, Position at) {
    if (name.find('\0') != std::string::npos)
      result_.diagnostics.Error(at, "a name may not hold the byte \\x00, which ends it");
  }

  void AddSubroutine(const Subroutine& subroutine, const SubroutineContext& context) {
    const auto [first, fresh] = lines_.try_emplace(subroutine.name, subroutine.at.line);
    if (!fresh && subroutine.listed) {
      const std::string text = "'" + subroutine.name + "' stands already in line " +
                               std::to_string(first->second) + ", which calls find first";
      if (file_.verbatim)
        result_.diagnostics.Warning(subroutine.at, text);
      else
        result_.diagnostics.Error(subroutine.at, text);
    }
    CheckName(subroutine.name, subroutine.at);
    MacroImage& image = result_.image;
    const std::string code = CompileSubroutine(subroutine, context, result_.diagnostics);
    if (subroutine.listed)
      AppendEntry(image.index, {subroutine.name, static_cast<std::uint32_t>(image.code.size()),
                                static_cast<std::uint16_t>(code.size()),
                                static_cast<std::uint16_t>(subroutine.reserved)});
    image.code += code;
  }

  const Source& source_;
  const CompileOptions& options_;
  Compiled result_;
  const File file_;
  std::map<std::string, int> lines_;
};

}  // namespace

Signatures SignaturesOf(const File& file) {
  Signatures signatures;
  for (const Item& item : file.items) {
    if (item.kind != Item::Kind::kSubroutine) continue;
    std::vector<TypeCode> types;
    for (const Statement& parameter : item.subroutine.parameters) types.push_back(parameter.type);
    signatures.try_emplace(item.subroutine.name, std::move(types));
  }
  return signatures;
}

Compiled Compile(const Source& source, const CompileOptions& options) {
  return FileCompiler(source, options).Run();
}

}  // namespace tmx::compiler
