// The reference tables of docs/macro-language.md, made from the opcode table.
#pragma once

#include <optional>
#include <string>

namespace tmx::compiler {

// One row for each command: how it is written, its opcode, its counts and what it does.
std::string CommandTable();

// The document with the text between its marks `<!-- commands -->` and `<!-- end -->` replaced by
// the table; none if the marks are not there.
std::optional<std::string> WithCommandTable(const std::string& document);

}  // namespace tmx::compiler
