#include "tmxtools/textres/start_up.h"

#include <algorithm>

namespace tmx {

std::string FindTextResource(std::string_view program_directory, std::string_view search_path,
                             PathSyntax syntax,
                             const std::function<bool(const std::string&)>& is_readable) {
  constexpr std::string_view name = "textres.bin";
  std::string beside_program(program_directory);
  beside_program += syntax.directory_separator;
  beside_program += name;
  if (is_readable(beside_program)) return beside_program;
  while (!search_path.empty()) {
    const std::size_t end = std::min(search_path.find(syntax.list_separator), search_path.size());
    std::string candidate(search_path.substr(0, end));
    search_path.remove_prefix(std::min(end + 1, search_path.size()));
    if (candidate.empty()) continue;
    if (candidate.back() != syntax.directory_separator) candidate += syntax.directory_separator;
    candidate += name;
    if (is_readable(candidate)) return candidate;
  }
  return beside_program;
}

}  // namespace tmx
