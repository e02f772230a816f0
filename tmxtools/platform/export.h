// TMX_EXPORT marks what a host may use; everything else stays hidden inside the shared library.
#pragma once

#define TMX_EXPORT __attribute__((visibility("default")))
