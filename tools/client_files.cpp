#include "tools/client_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <system_error>

#include "demo/host/payment_file.h"
#include "tools/command.h"

namespace tmx::tools {
namespace {

std::string TextOf(int error) { return std::generic_category().message(error); }

// Why a file cannot give anything; empty if it can. A pipe is not opened: that would use it up.
std::string ProblemOf(const std::string& path) {
  struct stat file {};
  if (stat(path.c_str(), &file) != 0 || access(path.c_str(), R_OK) != 0) return TextOf(errno);
  if (S_ISDIR(file.st_mode)) return TextOf(EISDIR);
  return S_ISREG(file.st_mode) && file.st_size == 0 ? "is empty" : "";
}

// Of a file or a pipe.
std::string ReadStart(const std::string& path, std::size_t most) {
  std::string bytes(most, '\0');
  std::ifstream file(path, std::ios::binary);
  file.read(bytes.data(), static_cast<std::streamsize>(most));
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  return bytes;
}

}  // namespace

int TakeFiles(ClientOptions& options) {
  for (const auto& [name, path] :
       {std::pair("--pin-file", &options.pin_file), std::pair("--tan-file", &options.tan_file),
        std::pair("--ca", &options.http.ca_file), std::pair("--pain", &options.pain)}) {
    const std::string problem = path->empty() ? "" : ProblemOf(*path);
    if (!problem.empty())
      return Complain(std::string(name) + ' ' + *path + ": " + problem, kWrongUse);
  }
  if (options.pain.empty()) return kDone;
  options.payment = ReadStart(options.pain, demo::kLongestPayment + 1);
  const std::string problem = demo::ProblemOfPayment(options.payment, options.pain_format);
  return problem.empty() ? kDone : Complain("--pain " + options.pain + ": " + problem, kWrongUse);
}

}  // namespace tmx::tools
