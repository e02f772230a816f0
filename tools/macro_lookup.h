// What macro files tell about a run of them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "compiler/macro_image.h"
#include "compiler/verifier.h"
#include "tmxtools/macro/opcode_table.h"

namespace tmx::tools {

class MacroLookup {
 public:
  // The files in the order in which they were pushed.
  explicit MacroLookup(const std::vector<compiler::CheckedFile>& files);

  // Where in the sources it stands, "balance.hbm:12", by the marks of file and line in the code in
  // front of a byte. Empty where there are none, where the subroutine is not there, and where
  // something in front of the byte is no instruction.
  std::string PlaceOf(std::string_view subroutine, std::size_t position) const;
  // The same in one of the files.
  std::string PlaceIn(std::string_view file, std::string_view subroutine,
                      std::size_t position) const;
  // The types that the subroutine declares for its parameters.
  std::vector<TypeCode> ParametersOf(std::string_view subroutine) const;

 private:
  struct File {
    std::string name;
    compiler::MacroImage image;
    compiler::Index index;

    // False if it is not there.
    bool Find(std::string_view subroutine, std::string_view& code) const;
  };

  // The code that a call finds; none if there is no such subroutine.
  std::string_view CodeOf(std::string_view subroutine) const;

  std::vector<File> files_;  // the one that is searched first in front
};

}  // namespace tmx::tools
