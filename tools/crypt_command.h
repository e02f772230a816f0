// The subcommands of `tmx crypt`, which stand in several files.
#pragma once

#include <CLI/CLI.hpp>
#include <cstddef>
#include <optional>
#include <string>

#include "tmxtools/core/error.h"
#include "tmxtools/platform/secret.h"
#include "tmxtools/platform/stream.h"
#include "tools/command.h"
#include "tools/key_file.h"

namespace tmx::tools {

// cbc and recover.
void AddCryptCbcCommand(CLI::App& crypt, int& exit_code);
void AddCryptRecoverCommand(CLI::App& crypt, int& exit_code);

// Bytes are handled in pieces of this length.
constexpr std::size_t kCryptPiece = 1 << 18;

// For names of files: the empty one, of a variable that is not set, say, must not pass for none.
inline CLI::Validator NotEmpty() {
  return {[](const std::string& name) { return std::string(name.empty() ? "is empty" : ""); }, "",
          ""};
}

// Says on standard error what a user should know about a file; gives kRefused.
int Refuse(const std::string& file, const std::string& what);
// The same for the error of a stream: its code, the number of the stream error, the code's text.
int Refuse(const std::string& file, const SvStream& stream);
// Both, for what no stream has noticed.
int Refuse(const std::string& file, const std::string& what, std::uint32_t stream_error);
// The same for an error with its causes, one a line.
int Refuse(const std::string& file, const HbError& error);
// Puts the rest of standard input into a stream. False after an error: it says what went wrong with
// standard input, while an error of the stream is the caller's to tell.
bool CopyInput(const std::string& name, SvStream& stream);
// How many bytes standard input has, as far as that is known before reading; else 0.
std::uint64_t InputSize();

}  // namespace tmx::tools
