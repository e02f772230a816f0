// Standard input and complaints of `tmx crypt`.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tmxtools/platform/memory_stream.h"
#include "tools/crypt_command.h"
#include "tools/output.h"
#include "tools/progress.h"

namespace tmx::tools {
int Refuse(const std::string& file, const std::string& what) {
  std::fprintf(stderr, "tmx crypt: %s: %s\n", file.c_str(), what.c_str());
  return kRefused;
}

int Refuse(const std::string& file, const SvStream& stream) {
  HbError error;
  error.SetStreamState(stream);
  const std::uint32_t code = stream.GetError() & stream_error::CodeMask;
  return Refuse(file, std::to_string(error.GetCode()) + " (stream error " + std::to_string(code) +
                          "): " + ForOutput(error.GetText()->View()));
}

int Refuse(const std::string& file, const std::string& what, std::uint32_t stream_error) {
  SvMemoryStream stream;
  stream.SetError(stream_error);
  Refuse(file, what);
  return Refuse(file, stream);
}

int Refuse(const std::string& file, const HbError& error) {
  for (const HbError* cause = &error; cause != nullptr && cause->IsSet();
       cause = cause->GetPrev()) {
    std::string what =
        std::to_string(cause->GetCode()) + ": " + ForOutput(cause->GetText()->View());
    if (cause->GetParamText() != nullptr && cause->GetParamText()->Len() > 0) {
      what += " (" + ForOutput(cause->GetParamText()->View()) + ")";
    }
    Refuse(file, what);
  }
  return kRefused;
}

std::uint64_t InputSize() {
  struct stat info {};
  if (fstat(STDIN_FILENO, &info) != 0 || !S_ISREG(info.st_mode)) return 0;
  return static_cast<std::uint64_t>(info.st_size);
}

bool CopyInput(const std::string& name, SvStream& stream) {
  std::setvbuf(stdin, nullptr, _IONBF, 0);
  Progress progress("tmx crypt: " + name, InputSize());
  SecretBytes piece(kCryptPiece);
  while (const std::size_t length = std::fread(piece.data(), 1, piece.size(), stdin)) {
    if (stream.Write(piece.data(), length) != length) return false;
    progress.Advance(length);
  }
  if (std::ferror(stdin) != 0)
    return Refuse("standard input", std::strerror(errno), stream_error::ReadError), false;
  return true;
}

}  // namespace tmx::tools
