// tmx client: the sample host on the command line.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "demo/host/conversation.h"
#include "demo/host/http_transport.h"
#include "demo/host/parameter_store.h"
#include "demo/segments/fields.h"
#include "tmxtools/banking/user_utilities.h"
#include "tmxtools/platform/program.h"
#include "tools/client_prompt.h"
#include "tools/command.h"
#include "tools/crypt_command.h"
#include "tools/output.h"
#include "tools/read_file.h"
#include "tools/utf8.h"

namespace tmx::tools {
namespace {

using demo::BankAccount;
using demo::Conversation;
using Json = nlohmann::ordered_json;

constexpr int kBankRefused = 3;

struct ClientOptions {
  demo::HttpOptions http;
  std::string bank, user, customer;
  unsigned short country = 280;
  std::string pin_file, tan_file, key_file, data, log, macros, product, function, medium;
  bool json = false;
  std::string account, from, to;                               // statement
  std::string pain, pain_format, iban, name, amount, purpose;  // transfer
};

int Complain(const std::string& text, int code) {
  std::fprintf(stderr, "tmx client: %s\n", text.c_str());
  return code;
}

// One run: a user, his parameters from the last run, and a conversation.
class Client {
 public:
  explicit Client(const ClientOptions& options)
      : options_(options), prompt_(options.pin_file, options.tan_file) {}

  // Opens a dialog, does the work, closes the dialog and keeps what was learnt.
  int Run(const std::function<int(Conversation&)>& work);

 private:
  bool Prepare(std::string& problem);
  bool Load(std::string& problem);
  bool Save(std::string& problem);

  const ClientOptions& options_;
  ClientPrompt prompt_;
  std::unique_ptr<demo::StoredUser> stored_ = std::make_unique<demo::StoredUser>();
  std::unique_ptr<demo::ParameterStore> store_;
  std::unique_ptr<HbJob> job_;
  std::unique_ptr<HbMacroEngine> engine_;
};

std::string TextOf(const HbError& error) { return ForOutput(demo::FullText(error)); }

bool Client::Load(std::string& problem) {
  HbUser& user = stored_->user;
  user.SetKIKLaenderkennzeichen(options_.country);
  user.SetKIKKreditsinstitutscode(options_.bank.c_str());
  user.SetBenutzerkennung(options_.user.c_str());
  user.SetKundenId((options_.customer.empty() ? options_.user : options_.customer).c_str());
  user.SetMedia(SecurityMediaPinTan);
  user.SetProtocol(CommunicationProtocolHbci);
  user.SetHbciVersion(300);
  if (options_.key_file.empty()) return true;
  const SecretBytes key =
      ReadKeyFile("--key-file", options_.key_file, demo::ParameterStore::kKeyLength);
  const std::string path = demo::ParameterFilePath(user, options_.data);
  store_ = std::make_unique<demo::ParameterStore>(path, demo::ParameterStore::Key(key.data()));
  HbError error;
  store_->LoadUser(stored_, error);
  if (error.IsSet()) problem = path + ": " + TextOf(error);
  return !error.IsSet();
}

bool Client::Save(std::string& problem) {
  HbError error;
  if (store_ == nullptr || store_->SaveUser(*stored_, error)) return true;
  problem = store_->Path() + ": " + TextOf(error);
  return false;
}

bool Client::Prepare(std::string& problem) {
  if (!Load(problem)) return false;
  job_ = std::make_unique<HbJob>();
  if (!options_.log.empty()) {
    const auto key = ReadFile(options_.key_file);
    std::string text = key.value_or("");
    while (text.ends_with('\n') || text.ends_with('\r')) text.pop_back();
    job_->SetProtocolPathAndKey(options_.log.c_str(), text.c_str());
    if (job_->GetProtocol() == nullptr) problem = options_.log + ": no log can be made there";
  }
  const std::string macros = options_.macros.empty() ? ProgramDirectory() : options_.macros;
  engine_ = std::make_unique<HbMacroEngine>(String(macros.c_str()));
  engine_->SetSecurityHdl(
      Link([this](void* data) { return prompt_.Give(*static_cast<HbCallbackData*>(data)); }));
  std::string files = hbk::HbUserUtilities::getDefaultMacroFiles(stored_->user);
  // The last file is searched first.
  for (std::size_t end = files.size(); problem.empty() && !files.empty();) {
    const std::size_t semicolon = files.rfind(';', end - 1);
    const std::string name = semicolon == std::string::npos ? files : files.substr(semicolon + 1);
    if (!std::filesystem::exists(macros + "/macro/" + name + ".hbz"))
      problem = macros + "/macro/" + name +
                ".hbz is missing: build the macros with tmx macro build and name the directory "
                "with --macros";
    HbError error;
    engine_->PushFile(String(name.c_str()), error);
    files.resize(semicolon == std::string::npos ? 0 : semicolon);
    end = files.size();
  }
  return problem.empty();
}

int Client::Run(const std::function<int(Conversation&)>& work) {
  std::string problem;
  if (const std::string wrong = demo::HttpTransport::ProblemOf(options_.http.url); !wrong.empty())
    return Complain(options_.http.url + ": " + wrong, kWrongUse);
  if (!Prepare(problem)) return Complain(problem, kFindings);
  const demo::HttpTransport transport(options_.http);
  demo::ConversationOptions how;
  if (!options_.product.empty()) how.product = options_.product;
  how.product_version = TMX_VERSION;
  how.wanted_function = options_.function;
  how.wanted_medium = options_.medium;
  Conversation conversation(
      *job_, stored_->user, *engine_, stored_->access,
      [&transport](const std::string& message, std::string& answer, std::string& why) {
        return transport.Exchange(message, answer, why);
      },
      how);
  int exit_code = conversation.Open() ? work(conversation) : kFindings;
  const std::string failed = conversation.Problem();
  conversation.Close();
  if (exit_code != kDone)
    exit_code = Complain(ForOutput(failed),
                         failed.starts_with("the bank has refused") ? kBankRefused : kFindings);
  if (!Save(problem)) return Complain(problem, kFindings);
  return exit_code;
}

// ---- the subcommands --------------------------------------------------------------------------

void Print(const ClientOptions& options, const Json& json, const std::string& table) {
  if (options.json)
    std::printf("%s\n", json.dump(2).c_str());
  else
    std::fputs(table.c_str(), stdout);
}

std::string FieldText(const HbSegment& segment, unsigned long id) {
  String text;
  segment.GetFieldString(text, id);
  return std::string(text.View());
}

int Init(const ClientOptions& options, Conversation& conversation) {
  Json texts = Json::array();
  std::string table;
  for (const std::string& text : conversation.BankTexts()) {
    texts.push_back(Utf8(text));
    table += ForOutput(text) + '\n';
  }
  Print(options, Json{{"bank", texts}}, table);
  return kDone;
}

int Accounts(const ClientOptions& options, Conversation& conversation) {
  std::vector<BankAccount> accounts;
  if (!conversation.Accounts(accounts)) return kFindings;
  Json json = Json::array();
  std::string table;
  for (const BankAccount& account : accounts) {
    json.push_back({{"iban", Utf8(account.iban)},
                    {"bic", Utf8(account.bic)},
                    {"number", Utf8(account.number)},
                    {"bank_code", Utf8(account.bank_code)}});
    table += ForOutput(account.iban + "  " + account.bic + "  " + account.number) + '\n';
  }
  Print(options, json, table);
  return kDone;
}

// The accounts that are meant: the one that was named, or all.
bool ChosenAccounts(const ClientOptions& options, Conversation& conversation,
                    std::vector<BankAccount>& chosen) {
  std::vector<BankAccount> accounts;
  if (!conversation.Accounts(accounts)) return false;
  for (BankAccount& account : accounts)
    if (options.account.empty() || account.iban == options.account ||
        account.number == options.account)
      chosen.push_back(std::move(account));
  if (chosen.empty()) Complain("the bank names no account " + options.account, kFindings);
  return !chosen.empty();
}

int Balance(const ClientOptions& options, Conversation& conversation) {
  std::vector<BankAccount> accounts;
  if (!ChosenAccounts(options, conversation, accounts)) return kFindings;
  Json json = Json::array();
  std::string table;
  for (const BankAccount& account : accounts) {
    Ref<HbSegment> balance;
    if (!conversation.Balance(account, balance)) return kFindings;
    const std::string amount = (FieldText(*balance, demo::field::kBookedSign) == "D" ? "-" : "") +
                               FieldText(*balance, demo::field::kBookedAmount);
    const std::string currency = FieldText(*balance, demo::field::kBookedCurrency);
    json.push_back(
        {{"iban", Utf8(account.iban)}, {"booked", Utf8(amount)}, {"currency", Utf8(currency)}});
    table += ForOutput(account.iban + "  " + amount + ' ' + currency) + '\n';
  }
  Print(options, json, table);
  return kDone;
}

// YYYYMMDD; the null date for an empty text.
bool ParseDay(const std::string& text, HbDate& day) {
  if (text.empty()) return true;
  if (text.size() != 8 || text.find_first_not_of("0123456789") != std::string::npos) return false;
  const auto part = [&](std::size_t at, std::size_t length) {
    return static_cast<unsigned short>(std::stoi(text.substr(at, length)));
  };
  day = HbDate(part(6, 2), part(4, 2), part(0, 4));
  return part(4, 2) >= 1 && part(4, 2) <= 12 && part(6, 2) >= 1 && part(6, 2) <= 31;
}

int Statement(const ClientOptions& options, Conversation& conversation) {
  HbDate from;
  HbDate to;
  if (!ParseDay(options.from, from) || !ParseDay(options.to, to))
    return Complain("--from and --to are days YYYYMMDD", kWrongUse);
  std::vector<BankAccount> accounts;
  if (!ChosenAccounts(options, conversation, accounts)) return kFindings;
  Json json = Json::array();
  std::string table;
  for (const BankAccount& account : accounts) {
    std::vector<Ref<HbSegment>> pages;
    if (!conversation.Statement(account, from, to, pages)) return kFindings;
    Json texts = Json::array();
    for (const Ref<HbSegment>& page : pages) {
      const HbBinaryVariable* const booked = page->GetBinaryVar(demo::field::kStatement);
      if (booked == nullptr) continue;
      const std::string text(reinterpret_cast<const char*>(booked->GetData()), booked->GetLength());
      texts.push_back(Utf8(text));
      table += ForOutput(text);
    }
    json.push_back({{"iban", Utf8(account.iban)}, {"pages", texts}});
  }
  Print(options, json, table);
  return kDone;
}

std::string XmlText(const std::string& text) {
  std::string xml;
  for (const char c : text) {
    if (c == '&')
      xml += "&amp;";
    else if (c == '<')
      xml += "&lt;";
    else if (c == '>')
      xml += "&gt;";
    else
      xml += c;
  }
  return xml;
}

constexpr const char* kPainFormat = "urn:iso:std:iso:20022:tech:xsd:pain.001.001.03";

// A pain.001 with the one transfer of the command line.
std::string PainOf(const ClientOptions& options, const BankAccount& from) {
  const std::string amount = XmlText(options.amount);
  return std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?><Document xmlns=\"") + kPainFormat +
         "\"><CstmrCdtTrfInitn><GrpHdr><MsgId>tmx</MsgId><NbOfTxs>1</NbOfTxs><CtrlSum>" + amount +
         "</CtrlSum></GrpHdr><PmtInf><PmtInfId>tmx</PmtInfId><PmtMtd>TRF</PmtMtd><DbtrAcct><Id>"
         "<IBAN>" +
         XmlText(from.iban) +
         "</IBAN></Id></DbtrAcct><CdtTrfTxInf><Amt><InstdAmt "
         "Ccy=\"EUR\">" +
         amount + "</InstdAmt></Amt><Cdtr><Nm>" + XmlText(options.name) +
         "</Nm></Cdtr><CdtrAcct><Id><IBAN>" + XmlText(options.iban) +
         "</IBAN></Id></CdtrAcct><RmtInf><Ustrd>" + XmlText(options.purpose) +
         "</Ustrd></RmtInf></CdtTrfTxInf></PmtInf></CstmrCdtTrfInitn></Document>";
}

int Transfer(const ClientOptions& options, Conversation& conversation) {
  std::vector<BankAccount> accounts;
  if (!ChosenAccounts(options, conversation, accounts)) return kFindings;
  if (accounts.size() != 1) return Complain("--account says which account pays", kWrongUse);
  std::string pain = PainOf(options, accounts[0]);
  if (!options.pain.empty()) {
    const auto file = ReadFile(options.pain);
    if (!file) return Complain(options.pain + ": cannot be read", kFindings);
    pain = *file;
  }
  const std::string format = options.pain_format.empty() ? kPainFormat : options.pain_format;
  if (!conversation.Transfer(accounts[0], format, pain)) return kFindings;
  Print(options, Json{{"transferred", true}}, "The bank has taken the transfer.\n");
  return kDone;
}

// ---- the command line -------------------------------------------------------------------------

using Work = int (*)(const ClientOptions&, Conversation&);

CLI::App* AddWork(CLI::App& client, const char* name, const char* help, Work work,
                  const std::shared_ptr<ClientOptions>& options, int& exit_code) {
  CLI::App* const command = client.add_subcommand(name, help);
  command->add_option("--url", options->http.url, "address of the bank")->required();
  command->add_option("--bank", options->bank, "bank code")->type_name("CODE")->required();
  command->add_option("--user", options->user, "user id")->type_name("ID")->required();
  command->add_option("--customer", options->customer, "customer id, by default the user id")
      ->type_name("ID");
  command->add_option("--country", options->country, "country of the bank, by default 280");
  command->add_option("--ca", options->http.ca_file, "certificates in PEM to trust")
      ->type_name("FILE");
  command->add_option("--pin-file", options->pin_file, "the PIN, instead of a prompt")
      ->type_name("FILE");
  command->add_option("--tan-file", options->tan_file, "the TAN, instead of a prompt")
      ->type_name("FILE");
  command
      ->add_option("--key-file", options->key_file,
                   "32 hexadecimal digits: the key of the parameter data and of the log;\n"
                   "without it nothing is kept")
      ->type_name("FILE");
  command
      ->add_option("--data", options->data,
                   "below it the parameter data are kept, by default beside the program")
      ->type_name("DIR");
  command->add_option("--log", options->log, "makes a communication log there")
      ->type_name("DIR")
      ->needs("--key-file");
  command
      ->add_option("--macros", options->macros,
                   "macro path, by default the directory of the program")
      ->type_name("DIR");
  command->add_option("--product", options->product, "registration number of the product");
  command->add_option("--procedure", options->function, "security function, as 910");
  command->add_option("--medium", options->medium, "name of the TAN medium");
  command->add_flag("--json", options->json, "print JSON");
  command->callback([=, &exit_code] {
    exit_code = Client(*options).Run(
        [&](Conversation& conversation) { return work(*options, conversation); });
  });
  return command;
}

}  // namespace

void AddClientCommand(CLI::App& program, int& exit_code) {
  CLI::App* const client = program.add_subcommand(
      "client",
      "A sample host: FinTS 3.0 with PIN and TAN. Exit code 1 when it cannot be done, 3 when the\n"
      "bank refuses. After a refused PIN nothing more is sent.");
  client->require_subcommand(1);
  const auto options = std::make_shared<ClientOptions>();
  const auto add = [&](const char* name, const char* help, Work work) {
    return AddWork(*client, name, help, work, options, exit_code);
  };
  const auto account = [&](CLI::App* command) {
    command->add_option("--account", options->account, "IBAN or number, by default all accounts");
  };
  add("init", "Get a system id, the procedures and the parameter data; say what the bank says.",
      Init);
  add("accounts", "List the accounts.", Accounts);
  account(add("balance", "Show the booked balances.", Balance));
  CLI::App* const statement = add("statement", "Print statements, MT940 of all pages.", Statement);
  account(statement);
  statement->add_option("--from", options->from, "first day")->type_name("YYYYMMDD");
  statement->add_option("--to", options->to, "last day")->type_name("YYYYMMDD");
  CLI::App* const transfer = add("transfer", "Make a SEPA transfer, with a TAN.", Transfer);
  transfer->add_option("--account", options->account, "IBAN or number of the account that pays")
      ->required();
  CLI::Option* const pain =
      transfer->add_option("--pain", options->pain, "a pain.001 to send as it is")
          ->type_name("FILE");
  transfer->add_option("--pain-format", options->pain_format, "its URN");
  for (const auto& [name, target, help] :
       {std::tuple("--to", &options->iban, "IBAN that is paid"),
        std::tuple("--name", &options->name, "name of who is paid"),
        std::tuple("--amount", &options->amount, "amount in EUR, as 12.34"),
        std::tuple("--purpose", &options->purpose, "purpose")})
    transfer->add_option(name, *target, help)->excludes(pain);
}

}  // namespace tmx::tools
