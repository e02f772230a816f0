// What a program knows about itself and its surroundings.
#pragma once

#include <string>

#include "tmxtools/platform/export.h"

namespace tmx {

// The directory of the running executable without a closing separator (the root directory alone is
// one); empty when the system does not tell.
TMX_EXPORT std::string ProgramDirectory();

// Whether a file can be opened for reading.
TMX_EXPORT bool IsReadableFile(const std::string& path);

// The value of an environment variable, empty when it is not set.
TMX_EXPORT std::string EnvironmentVariable(const std::string& name);

}  // namespace tmx
