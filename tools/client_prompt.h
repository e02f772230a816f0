// What a bank's user is asked and shown: PIN, TAN and challenges.
#pragma once

#include <string>

#include "demo/host/challenge.h"
#include "tmxtools/banking/callback.h"
#include "tmxtools/platform/secret.h"

namespace tmx::tools {

// Answers the engine's questions. A PIN is asked for once and kept for the run; a TAN each time,
// behind the bank's challenge. What is shown goes to standard error.
//
// Owner: its maker. Empty state: no PIN yet. Threads: one at a time.
class ClientPrompt {
 public:
  // Empty paths ask on the terminal. A challenge's picture is put into a file; without a path into
  // one of the system's directory for such files, named by its type, which goes with this object,
  // with the next picture, or with a signal that ends the program.
  ClientPrompt(std::string pin_file, std::string tan_file, std::string picture)
      : pin_file_(std::move(pin_file)),
        tan_file_(std::move(tan_file)),
        picture_(std::move(picture)) {}
  ~ClientPrompt() { DropPicture(); }
  ClientPrompt(const ClientPrompt&) = delete;
  ClientPrompt& operator=(const ClientPrompt&) = delete;

  // Sets the values that are asked for. 0 when one is not given.
  long Give(HbCallbackData& data);
  // Waits until the user says that he has confirmed elsewhere. False when he gives up.
  bool IsConfirmed();
  // What comes with a challenge beside its text, and the text of a confirmation elsewhere.
  void Show(const demo::Challenge& challenge);

 private:
  bool GiveItem(HbCallbackItem& item, const String& message);
  bool Ask(const std::string& question, SecretBytes& secret);
  bool FromFile(const std::string& path, SecretBytes& secret);
  bool KeepPicture(const std::string& type, const std::string& bytes);
  void DropPicture();

  std::string pin_file_;
  std::string tan_file_;
  std::string picture_;
  bool is_picture_ours_ = false;  // to be removed
  SecretBytes pin_;
};

}  // namespace tmx::tools
