// The key of a communication log.
#pragma once

#include "tmxtools/platform/crypto.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/secret.h"
#include "tmxtools/platform/string.h"

namespace tmx {

using LogKey = Secret<TripleDes::KeyLength>;

// The key that a text stands for: its first 16 bytes, filled up with zero bytes. It is both session
// key and key-encryption key of the log's stream.
TMX_EXPORT LogKey MakeLogKey(const String& text);

}  // namespace tmx
