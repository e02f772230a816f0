// tmx bank: the sandbox bank on the loopback address.
#include <signal.h>

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "demo/bank/bank_endpoint.h"
#include "tools/bank_server.h"
#include "tools/command.h"
#include "tools/read_file.h"

namespace tmx::tools {
namespace {

constexpr const char* kExitCodes =
    "Exit codes: 0 ended by a signal or after its time, 1 a file cannot be used or the port "
    "cannot\n"
    "be taken, 2 wrong use.";
constexpr int kLongestRun = 24 * 60 * 60;  // seconds

struct BankCommandOptions {
  ServerSetup server;
  std::vector<std::string> tls;
  std::string script;
  std::string today;
  int time_limit = 0;
  demo::BankOptions bank;
};

int Complain(const std::string& text, ExitCode code) {
  std::fprintf(stderr, "%s\n", text.c_str());
  return code;
}

// The script that was asked for; nothing after a complaint.
std::optional<demo::Script> ReadScript(const std::string& path) {
  if (path.empty()) return demo::Script();
  const auto text = ReadFile(path);
  if (!text) {
    Complain(path + ": cannot be read", kFindings);
    return std::nullopt;
  }
  auto script = demo::Script::Parse(*text);
  if (const auto* const error = std::get_if<demo::ScriptError>(&script)) {
    Complain(path + ":" + std::to_string(error->line) + ": " + error->text, kFindings);
    return std::nullopt;
  }
  return std::get<demo::Script>(std::move(script));
}

// Signals that end the bank wait until it asks for them, on whichever thread they arrive.
class EndSignals {
 public:
  EndSignals() {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGINT);
    sigaddset(&signals_, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
  }
  // Returns with the first signal, or after so many seconds if there is a limit.
  void Wait(int time_limit) {
    if (time_limit == 0) {
      int signal = 0;
      sigwait(&signals_, &signal);
      return;
    }
    const timespec limit{time_limit, 0};
    sigtimedwait(&signals_, nullptr, &limit);
  }

 private:
  sigset_t signals_;
};

void PrintWelcome(const std::string& url, const demo::BankOptions& options) {
  std::printf("listening on %s\nbank code %s, today %s, TAN %s\n", url.c_str(),
              std::string(demo::kBankCode).c_str(), demo::DayText(options.today).c_str(),
              options.tan.c_str());
  demo::Ledger ledger(options.today);
  for (const demo::User& user : ledger.Users()) {
    std::string functions;
    for (const std::string& function : user.functions) functions += " " + function;
    std::printf("user %s, customer %s, PIN %s, procedures%s\n", user.id.c_str(),
                user.customer.c_str(), user.pin.c_str(), functions.c_str());
  }
  std::fflush(stdout);
}

int Serve(BankCommandOptions options) {
  auto script = ReadScript(options.script);
  if (!script) return kFindings;
  if (!options.today.empty()) {
    const auto today = demo::ParseDay(options.today);
    if (!today) return Complain("--today: '" + options.today + "' is no day YYYYMMDD", kWrongUse);
    options.bank.today = *today;
  }
  if (!options.tls.empty()) {
    options.server.certificate = options.tls[0];
    options.server.key = options.tls[1];
  }
  EndSignals signals;
  BankServer server;
  if (const auto error = server.Bind(options.server)) return Complain(*error, kFindings);
  const std::string address = "127.0.0.1:" + std::to_string(server.Port()) + "/";
  options.bank.address = address;
  demo::BankEndpoint endpoint(options.bank, std::move(*script));
  server.Serve(endpoint);
  PrintWelcome((options.tls.empty() ? "http://" : "https://") + address, options.bank);
  signals.Wait(options.time_limit);
  server.Stop();
  return kDone;
}

std::string ScriptFooter() {
  return "A script has one rule a line, [request N] ACTION [ARGUMENT]; '#' begins a comment. A "
         "rule\n"
         "without a request holds for all. The bank still does what it is asked to do.\n" +
         demo::Script::Help() + '\n' + kExitCodes;
}

}  // namespace

void AddBankCommand(CLI::App& program, int& exit_code) {
  const auto options = std::make_shared<BankCommandOptions>();
  CLI::App* const bank = program.add_subcommand(
      "bank", "A bank of two users that lives in memory, to try things with.");
  bank->require_subcommand(1);
  bank->footer(kExitCodes);
  CLI::App* const serve = bank->add_subcommand(
      "serve",
      "Answer FinTS 3.0 with PIN and TAN over HTTP on 127.0.0.1 until SIGTERM or SIGINT. The "
      "first\n"
      "line on standard output names the address; users, PINs and the TAN follow.");
  serve->add_option("--port", options->server.port, "0 takes any free port")
      ->required()
      ->check(CLI::Range(0, 65535));
  serve->add_option("--tls", options->tls, "HTTPS with a certificate and its key, files in PEM")
      ->type_name("CERT KEY")
      ->expected(2);
  serve->add_option("--script", options->script, "misbehave as the file says")->type_name("FILE");
  serve->add_option("--time-limit", options->time_limit, "end after so many seconds")
      ->check(CLI::Range(1, kLongestRun));
  serve->add_option("--today", options->today, "the bank's calendar stands still on YYYYMMDD")
      ->type_name("DAY");
  serve->add_option("--page", options->bank.page_entries, "bookings on a page of a statement")
      ->check(CLI::Range(1, 1000));
  serve
      ->add_option("--confirm-after", options->bank.confirm_after,
                   "how many questions say that a confirmation in the app is still missing")
      ->check(CLI::Range(0, 1000));
  serve->add_flag("--ask-by-hand", options->bank.asks_by_hand,
                  "allow questions for a confirmation only when a client's user wants them");
  serve->add_flag("--tan-at-login", options->bank.tan_at_login,
                  "ask for a TAN when a dialog begins");
  serve->add_option("--bpd-version", options->bank.bpd_version, "version of the bank's parameters")
      ->check(CLI::Range(1, 999));
  serve->add_option("--upd-version", options->bank.upd_version, "version of the users' parameters")
      ->check(CLI::Range(1, 999));
  serve->footer(ScriptFooter());
  serve->callback([options, &exit_code] { exit_code = Serve(*options); });
}

}  // namespace tmx::tools
