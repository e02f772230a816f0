#include "tmxtools/textres/number_text.h"

namespace com::velmora::core {

const char* bad_lexical_cast::what() const noexcept { return "bad lexical cast"; }

}  // namespace com::velmora::core
