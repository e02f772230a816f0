// What a crash may leave behind.
#pragma once

namespace tmx::tools {

// From now on this process leaves no core, and other processes of the user can neither attach to it
// nor read its memory. Where that cannot be had, it goes on without.
void ForbidCoreDumps();

}  // namespace tmx::tools
