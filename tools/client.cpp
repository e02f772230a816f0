#include "tools/client.h"

#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>

#include "tmxtools/banking/user_utilities.h"
#include "tmxtools/platform/program.h"
#include "tmxtools/streams/log_key.h"
#include "tools/client_progress.h"
#include "tools/command.h"
#include "tools/core_dump.h"
#include "tools/key_file.h"
#include "tools/output.h"

namespace tmx::tools {
namespace {

using demo::Outcome;

constexpr std::chrono::seconds kPatience{10};  // with other runs on the same data
constexpr unsigned short kHbci22 = 220;

std::string TextOf(const HbError& error) { return ForOutput(demo::FullText(error)); }

}  // namespace

int CodeOf(Outcome outcome) {
  if (outcome == Outcome::kRefused) return kBankRefused;
  if (outcome == Outcome::kUncertain) return kUncertain;
  return kFindings;
}

int Complain(const std::string& text, int code) {
  std::fprintf(stderr, "tmx client: %s\n", text.c_str());
  return code;
}

// The job shares the key's bytes; whoever has them last can wipe them.
Client::~Client() {
  if (job_ != nullptr) job_->SetProtocolPathAndKey(String(), String());
  Wipe(log_key_);
}

bool Client::Load(std::string& problem) {
  HbUser& user = stored_->user;
  user.SetKIKLaenderkennzeichen(options_.country);
  user.SetKIKKreditsinstitutscode(options_.bank.c_str());
  user.SetBenutzerkennung(options_.user.c_str());
  user.SetKundenId((options_.customer.empty() ? options_.user : options_.customer).c_str());
  user.SetMedia(SecurityMediaPinTan);
  // The macro files and the directory of the parameters follow from protocol and version.
  user.SetProtocol(options_.hbci == kHbci22 ? CommunicationProtocolInternet
                                            : CommunicationProtocolHbci);
  user.SetHbciVersion(options_.hbci);
  if (options_.key_file.empty()) return true;
  const SecretBytes key =
      ReadKeyFile("--key-file", options_.key_file, demo::ParameterStore::kKeyLength);
  const std::string path = demo::ParameterFilePath(user, options_.data);
  store_ = std::make_unique<demo::ParameterStore>(path, demo::ParameterStore::Key(key.data()),
                                                  kPatience);
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

bool Client::OpenLog(std::string& problem) {
  if (options_.log.empty()) return true;
  // As tmx log reads it. Of a longer text the rest would not count, and hexadecimal digits would
  // make a key of half the bits.
  log_key_ = ReadLogKey("--key-file", options_.key_file);
  if (log_key_.Len() > LogKey::Size())
    throw UnusableKey("--key-file", options_.key_file, "the key of a log must be 16 bytes");
  job_->SetProtocolPathAndKey(options_.log.c_str(), log_key_);
  if (job_->GetProtocol() != nullptr) return true;
  HbError error;  // asked again, the job says why
  if (job_->OpenNewProtocol(error)) return true;
  problem = options_.log + ": " + ForOutput(error.GetText()->View()) + " (" +
            std::to_string(error.GetCode()) + ")";
  return false;
}

bool Client::LoadMacros(std::string& problem) {
  const std::string macros = options_.macros.empty() ? ProgramDirectory() : options_.macros;
  engine_ = std::make_unique<HbMacroEngine>(String(macros.c_str()));
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
    if (problem.empty() && error.IsSet()) problem = name + ": " + TextOf(error);
    files.resize(semicolon == std::string::npos ? 0 : semicolon);
    end = files.size();
  }
  return problem.empty();
}

bool Client::Prepare(std::string& problem) {
  job_ = std::make_unique<HbJob>();
  // Whether anything can be kept is better known before anything is sent.
  return Load(problem) && OpenLog(problem) && LoadMacros(problem) && Save(problem);
}

int Client::Converse(const Work& work) {
  ClientProgress progress;
  engine_->SetSecurityHdl(Link([&](void* data) {
    progress.Hide();
    return prompt_.Give(*static_cast<HbCallbackData*>(data));
  }));
  const demo::HttpTransport transport(options_.http);
  demo::ConversationOptions how;
  if (!options_.product.empty()) stored_->access.registration_number = options_.product;
  how.product_version = TMX_VERSION;
  how.wanted_function = options_.function;
  how.wanted_medium = options_.medium;
  how.progress = &progress.Record();
  how.is_confirmed = [&] {
    progress.Hide();
    return prompt_.IsConfirmed();
  };
  how.show = [&](const demo::Challenge& challenge) {
    progress.Hide();
    prompt_.Show(challenge);
  };
  demo::Conversation conversation(
      *job_, stored_->user, *engine_, stored_->access,
      [&transport](std::string_view message, std::string& answer, std::string& why) {
        return transport.Exchange(message, answer, why);
      },
      how);
  const int exit_code = conversation.Open() ? work(conversation, *stored_) : kFailed;
  const Outcome outcome = conversation.LastOutcome();
  const std::string problem = conversation.Problem();
  conversation.Close();
  progress.Hide();
  return exit_code == kFailed ? Complain(ForOutput(problem), CodeOf(outcome)) : exit_code;
}

int Client::Run(const Work& work) {
  ForbidCoreDumps();  // there will be a PIN in memory
  umask(S_IRWXG | S_IRWXO);
  std::signal(SIGPIPE, SIG_IGN);  // what is under way ends in order though nobody listens
  std::string problem;
  if (const std::string wrong = demo::HttpTransport::ProblemOf(options_.http.url); !wrong.empty())
    return Complain(options_.http.url + ": " + wrong, kWrongUse);
  if (!Prepare(problem)) return Complain(problem, kFindings);
  const int exit_code = Converse(work);
  if (Save(problem)) return exit_code;
  return Complain(problem + "; what the bank told about itself is not kept", exit_code);
}

}  // namespace tmx::tools
