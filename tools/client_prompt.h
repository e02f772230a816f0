// What only the user knows: PIN and TAN, from files or from the terminal.
#pragma once

#include <string>

#include "tmxtools/banking/callback.h"
#include "tmxtools/platform/secret.h"

namespace tmx::tools {

// Answers the engine's questions. A PIN is asked for once and kept for the run; a TAN each time,
// behind the bank's challenge.
//
// Owner: its maker. Empty state: no PIN yet. Threads: one at a time.
class ClientPrompt {
 public:
  // Empty paths ask on the terminal.
  ClientPrompt(std::string pin_file, std::string tan_file)
      : pin_file_(std::move(pin_file)), tan_file_(std::move(tan_file)) {}

  // Sets the values that are asked for. 0 when one is not given.
  long Give(HbCallbackData& data);

 private:
  bool GiveItem(HbCallbackItem& item, const String& message);
  bool Ask(const std::string& question, SecretBytes& secret);
  bool FromFile(const std::string& path, SecretBytes& secret);

  std::string pin_file_;
  std::string tan_file_;
  SecretBytes pin_;
};

}  // namespace tmx::tools
