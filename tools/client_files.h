// The files that the options of tmx client name.
#pragma once

#include "tools/client.h"

namespace tmx::tools {

// Looks at them before anything is sent: a TAN that is missed once its challenge has come leaves an
// order behind. Reads the payment, and takes its format from it unless one is given. Says what is
// wrong, and gives kWrongUse; else kDone.
int TakeFiles(ClientOptions& options);

}  // namespace tmx::tools
