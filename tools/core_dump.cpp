#include "tools/core_dump.h"

#include <sys/prctl.h>
#include <sys/resource.h>

namespace tmx::tools {

// Cores that go to a program instead of a file are made whatever the limit is, so both are needed.
void ForbidCoreDumps() {
  const rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
  prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
}

}  // namespace tmx::tools
