#pragma once

// Everything that the library offers, for hosts that do not pick their headers one by one.

#include "tmxtools/macro/opcode_table.h"
#include "tmxtools/platform/big_int.h"
#include "tmxtools/platform/caller_thread.h"
#include "tmxtools/platform/clock.h"
#include "tmxtools/platform/converter.h"
#include "tmxtools/platform/date.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/link.h"
#include "tmxtools/platform/mutex.h"
#include "tmxtools/platform/point.h"
#include "tmxtools/platform/stream.h"
#include "tmxtools/platform/string.h"
