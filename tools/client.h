// What the subcommands of tmx client share: a user, his parameters and a conversation.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "demo/host/conversation.h"
#include "demo/host/http_transport.h"
#include "demo/host/parameter_store.h"
#include "tools/client_prompt.h"

namespace tmx::tools {

struct ClientOptions {
  demo::HttpOptions http;
  std::string bank, user, customer;
  unsigned short country = 280;
  unsigned short hbci = 300;  // version of the standard: 300, or 220 for HBCI 2.2 with a PIN
  std::string pin_file, tan_file, picture, key_file, data, log, macros, product, function, medium;
  bool json = false;
  std::string account, from, to;                               // statement
  std::string pain, pain_format, iban, name, amount, purpose;  // transfer
  std::string payment;                                         // what the file `pain` holds
};

// What a run ends with beside the codes of all commands.
inline constexpr int kBankRefused = 3;
inline constexpr int kUncertain = 5;  // a transfer was sent, but nobody knows what became of it

// The code of a conversation that has failed.
int CodeOf(demo::Outcome outcome);
// Says what went wrong, and gives the code.
int Complain(const std::string& text, int code);

// One run: a user, his parameters from the last run, and a conversation. The options outlive it.
class Client {
 public:
  using Work = std::function<int(demo::Conversation&, const demo::StoredUser&)>;
  // What work ends with whose conversation has a problem that is not said yet.
  static constexpr int kFailed = -1;

  explicit Client(const ClientOptions& options)
      : options_(options), prompt_(options.pin_file, options.tan_file, options.picture) {}
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // Opens a dialog, does the work, closes the dialog and keeps what was learnt. Work that ends with
  // another code than 0 and kFailed has said itself what the problem is. What happened at the bank
  // decides about the code: what cannot be written afterwards is only said.
  int Run(const Work& work);

 private:
  bool Prepare(std::string& problem);
  bool Load(std::string& problem);
  bool OpenLog(std::string& problem);
  bool LoadMacros(std::string& problem);
  bool Save(std::string& problem);
  int Converse(const Work& work);

  const ClientOptions& options_;
  ClientPrompt prompt_;
  std::unique_ptr<demo::StoredUser> stored_ = std::make_unique<demo::StoredUser>();
  std::unique_ptr<demo::ParameterStore> store_;
  String log_key_;
  std::unique_ptr<HbJob> job_;
  std::unique_ptr<HbMacroEngine> engine_;
};

}  // namespace tmx::tools
