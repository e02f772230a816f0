// tmx client: the sample host on the command line.
#include <chrono>
#include <memory>
#include <string>
#include <tuple>

#include "demo/day.h"
#include "demo/host/payment_writer.h"
#include "tools/client_files.h"
#include "tools/client_orders.h"
#include "tools/command.h"

namespace tmx::tools {
namespace {

using Order = int (*)(const ClientOptions&, demo::Conversation&, const demo::StoredUser&);

std::string CheckVersion(const std::string& text) {
  return text == "300" || text == "220" ? "" : "'" + text + "' is neither 300 nor 220";
}
std::string CheckNoHbci22(const std::string& text) {
  return text == "220" ? "HBCI 2.2 is for init, accounts and balance only" : "";
}

CLI::App* AddOrder(CLI::App& client, const char* name, const char* help, Order order,
                   const std::shared_ptr<ClientOptions>& options, int& exit_code) {
  CLI::App* const command = client.add_subcommand(name, help);
  command->add_option("--url", options->http.url, "address of the bank")->required();
  command->add_option("--bank", options->bank, "bank code")->type_name("CODE")->required();
  command->add_option("--user", options->user, "user id")->type_name("ID")->required();
  command->add_option("--customer", options->customer, "customer id, by default the user id")
      ->type_name("ID");
  command->add_option("--country", options->country, "country of the bank, by default 280");
  command
      ->add_option("--hbci", options->hbci,
                   "version of the standard: 300 for FinTS 3.0, the default, or 220 for\n"
                   "HBCI 2.2, with a PIN alone")
      ->type_name("VERSION")
      ->check(CheckVersion);
  command->add_option("--ca", options->http.ca_file, "certificates in PEM to trust")
      ->type_name("FILE");
  command
      ->add_option_function<int>(
          "--wait",
          [options](int seconds) { options->http.whole_time = std::chrono::seconds(seconds); },
          "seconds until an answer must be there, by default 120")
      ->type_name("SECONDS")
      ->check(CLI::Range(1, 3600));
  command->add_option("--pin-file", options->pin_file, "the PIN, instead of a prompt")
      ->type_name("FILE");
  command->add_option("--tan-file", options->tan_file, "the TAN, instead of a prompt")
      ->type_name("FILE");
  command
      ->add_option("--picture", options->picture,
                   "where the picture of a challenge is put, by default a file that is\n"
                   "removed at the end")
      ->type_name("FILE");
  command
      ->add_option("--key-file", options->key_file,
                   "16 bytes, or without a log 32 hexadecimal digits: the key of the\n"
                   "parameter data and of the log; without it nothing is kept")
      ->type_name("FILE");
  command
      ->add_option("--data", options->data,
                   "below it the parameter data are kept, by default beside the program")
      ->type_name("DIR")
      ->needs("--key-file");
  command->add_option("--log", options->log, "makes a communication log there")
      ->type_name("DIR")
      ->needs("--key-file");
  command
      ->add_option("--macros", options->macros,
                   "macro path, by default the directory of the program")
      ->type_name("DIR");
  command->add_option("--product", options->product,
                      "registration number of the product, kept with the parameter data");
  command->add_option("--procedure", options->function, "security function, as 910");
  command->add_option("--medium", options->medium, "name of the TAN medium, one that init lists");
  command->add_flag("--json", options->json, "print JSON");
  command->callback([=, &exit_code] {
    exit_code = TakeFiles(*options);
    if (exit_code != kDone) return;
    exit_code =
        Client(*options).Run([&](demo::Conversation& conversation, const demo::StoredUser& stored) {
          return order(*options, conversation, stored);
        });
  });
  return command;
}

std::string CheckDay(const std::string& text) {
  return demo::ParseDay(text) ? "" : "'" + text + "' is no day YYYYMMDD";
}

std::string CheckAmount(const std::string& text) {
  return PaymentAmount(text).empty() ? "'" + text + "' is no amount as 12.34" : "";
}

}  // namespace

void AddClientCommand(CLI::App& program, int& exit_code) {
  CLI::App* const client = program.add_subcommand(
      "client",
      "A sample host: FinTS 3.0 with PIN and TAN, or HBCI 2.2 with a PIN. After a refused PIN\n"
      "nothing more is sent.");
  client->footer(
      "Exit codes: 0 done, 1 it cannot be done, 2 wrong use, 3 the bank refuses, 5 a transfer was\n"
      "sent, but nobody knows what became of it: look at the statement before it is made again.");
  client->require_subcommand(1);
  const auto options = std::make_shared<ClientOptions>();
  const auto add = [&](const char* name, const char* help, Order order) {
    return AddOrder(*client, name, help, order, options, exit_code);
  };
  const auto account = [&](CLI::App* command) {
    command->add_option("--account", options->account, "IBAN or number, by default all accounts");
  };
  add("init", "Get and show parameter data, accounts and TAN procedures.", ShowAccess);
  add("accounts", "List the accounts.", ListAccounts);
  account(add("balance", "Show the booked balances.", ShowBalances));
  CLI::App* const statement =
      add("statement", "Print statements of all pages: MT940, or camt where there is no other.",
          PrintStatements);
  account(statement);
  for (const auto& [name, target, help] : {std::tuple("--from", &options->from, "first day"),
                                           std::tuple("--to", &options->to, "last day")})
    statement->add_option(name, *target, help)->type_name("YYYYMMDD")->check(CheckDay);
  CLI::App* const transfer = add("transfer", "Make a SEPA transfer, with a TAN.", MakeTransfer);
  for (CLI::App* const command : {statement, transfer})
    command->get_option("--hbci")->check(CheckNoHbci22);
  transfer->add_option("--account", options->account, "IBAN or number of the account that pays")
      ->required();
  CLI::Option_group* const what = transfer->add_option_group("What is paid");
  CLI::Option* const pain =
      what->add_option("--pain", options->pain, "a pain.001 to send as it is")->type_name("FILE");
  CLI::Option* const iban = what->add_option("--to", options->iban, "IBAN that is paid");
  what->require_option(1);
  transfer
      ->add_option("--pain-format", options->pain_format,
                   "URN of the pain.001, by default that in the file; without --pain that of\n"
                   "pain.001.001.03, the default, or of pain.001.001.09")
      ->check([pain](const std::string& text) -> std::string {
        if (pain->count() > 0 || text == demo::kPain00103 || text == demo::kPain00109) return "";
        return "a payment is written as " + std::string(demo::kPain00103) + " or " +
               demo::kPain00109 + " only";
      });
  CLI::Option* const name = transfer->add_option("--name", options->name, "name of who is paid");
  CLI::Option* const amount =
      transfer->add_option("--amount", options->amount, "amount in EUR, as 12.34")
          ->check(CheckAmount);
  CLI::Option* const purpose = transfer->add_option("--purpose", options->purpose, "purpose");
  for (CLI::Option* const part : {name, amount, purpose}) part->needs(iban);
  iban->needs(name)->needs(amount);
}

}  // namespace tmx::tools
