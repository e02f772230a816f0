// The compiler on any text, the disassembler and the verifier on any files.
//
// The first byte says what the rest is: an odd one a macro file, whose index has the length in the
// second byte, an even one a source, with debug marks if its second bit is set. What the
// disassembler writes must compile to the same bytes.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "compiler/compiler.h"
#include "compiler/disassembler.h"
#include "compiler/verifier.h"

namespace {

using tmx::compiler::MacroImage;
using tmx::compiler::Source;

void CheckImage(const MacroImage& image) {
  const Source source("dump.hbm", tmx::compiler::Disassemble(image).source);
  const auto again = Compile(source);
  // An index can be too long for a compiler's output only.
  if (image.index.size() > tmx::compiler::kLongestIndex) return;
  if (again.image.index != image.index || again.image.code != image.code) {
    std::fprintf(stderr, "%s\n%s", again.diagnostics.Render(source).c_str(), source.Text().c_str());
    std::abort();
  }
  for (const auto& finding : tmx::compiler::Verify({{"f", image.index, image.code}}).findings)
    if (Describe(finding).empty()) std::abort();
}

void CheckSource(const std::string& text, bool marks) {
  const Source source("fuzz.hbm", text);
  const auto compiled = Compile(source, {marks, nullptr});
  if (compiled.diagnostics.HasErrors() && compiled.diagnostics.Render(source).empty()) std::abort();
  if (!compiled.diagnostics.HasErrors()) CheckImage(compiled.image);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::string rest(reinterpret_cast<const char*>(data) + 1, size - 1);
  if (data[0] % 2 == 0) {
    CheckSource(rest, (data[0] & 2) != 0);
  } else {
    const std::size_t index = data[1];
    CheckImage({rest.substr(1, index), rest.size() > index + 1 ? rest.substr(index + 1) : ""});
  }
  return 0;
}
