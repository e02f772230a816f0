#include "tools/client_prompt.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string_view>

#include "tools/last_will.h"
#include "tools/output.h"
#include "tools/silent_terminal.h"

namespace tmx::tools {
namespace {

constexpr unsigned long kPin = 4096;
constexpr std::size_t kLongest = 256;

// A bank's text for a terminal, which must not take it for commands.
std::string Harmless(std::string_view latin1) {
  std::string text(latin1);
  std::ranges::replace_if(
      text,
      [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return (byte < 0x20 && c != '\n') || (byte >= 0x7F && byte < 0xA0);
      },
      ' ');
  return ForOutput(text);
}

// The ending of a picture's file, by which programs know what it is.
struct PictureEnding {
  std::string_view type;
  std::string_view ending;
};
constexpr PictureEnding kEndings[] = {
    {"image/png", ".png"}, {"image/jpeg", ".jpg"},     {"image/gif", ".gif"},
    {"image/bmp", ".bmp"}, {"image/svg+xml", ".svg"},  {"image/tiff", ".tif"},
    {"image/jpg", ".jpg"}, {"image/x-ms-bmp", ".bmp"}, {"image/webp", ".webp"},
};

// Empty for a type that is not known.
std::string EndingOf(std::string type) {
  std::ranges::transform(type, type.begin(), [](unsigned char c) { return std::tolower(c); });
  const auto found = std::ranges::find(kEndings, type, &PictureEnding::type);
  return found == std::end(kEndings) ? "" : std::string(found->ending);
}

// Only the user may read it.
int MakeFile(const std::string& path) {
  return open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
}
// The same where nothing else is.
int MakeTemporary(const std::string& ending, std::string& path) {
  std::error_code ignored;
  const std::string name = "tmx_challenge_XXXXXX" + ending;
  path = (std::filesystem::temp_directory_path(ignored) / name).string();
  return mkostemps(path.data(), static_cast<int>(ending.size()), O_CLOEXEC);
}

}  // namespace

void ClientPrompt::DropPicture() {
  if (!is_picture_ours_) return;
  unlink(picture_.c_str());
  RemoveAtSignal("");
  is_picture_ours_ = false;
  picture_.clear();
}

bool ClientPrompt::KeepPicture(const std::string& type, const std::string& bytes) {
  DropPicture();
  is_picture_ours_ = picture_.empty();
  const int file = is_picture_ours_ ? MakeTemporary(EndingOf(type), picture_) : MakeFile(picture_);
  if (is_picture_ours_) RemoveAtSignal(picture_);
  if (file < 0) return false;
  const bool written =
      write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  return close(file) == 0 && written;
}

void ClientPrompt::Show(const demo::Challenge& challenge) {
  if (challenge.is_elsewhere) std::fprintf(stderr, "%s\n", Harmless(challenge.text).c_str());
  if (challenge.kind == demo::ChallengeKind::kFlicker)
    std::fprintf(stderr, "Flicker code: %s\n", Harmless(challenge.bytes).c_str());
  if (challenge.kind != demo::ChallengeKind::kPicture) return;
  const bool kept = KeepPicture(challenge.type, challenge.bytes);
  std::fprintf(stderr, kept ? "Picture (%s): %s\n" : "The picture (%s) cannot be written: %s\n",
               Harmless(challenge.type).c_str(), picture_.c_str());
}

bool ClientPrompt::FromFile(const std::string& path, SecretBytes& secret) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                             std::fclose);
  if (file == nullptr) {
    std::fprintf(stderr, "tmx client: %s: cannot be read\n", path.c_str());
    return false;
  }
  std::setvbuf(file.get(), nullptr, _IONBF, 0);  // no copy of the secret stays in a buffer
  secret.resize(kLongest);
  secret.resize(std::fread(secret.data(), 1, secret.size(), file.get()));
  while (!secret.empty() && (secret.back() == '\n' || secret.back() == '\r')) secret.pop_back();
  return !secret.empty();
}

bool ClientPrompt::Ask(const std::string& question, SecretBytes& secret) {
  SilentTerminal terminal;
  if (!terminal.IsReady()) {
    std::fprintf(stderr, "tmx client: no terminal to ask on: give --pin-file and --tan-file\n");
    return false;
  }
  terminal.Say(question);
  std::string line;
  line.reserve(kLongest);
  const bool given = terminal.ReadLine(line) && !line.empty();
  terminal.Say("\n");
  secret.assign(line.begin(), line.end());
  Wipe(line.data(), line.size());
  return given;
}

bool ClientPrompt::IsConfirmed() {
  SilentTerminal terminal;
  if (!terminal.IsReady()) {
    std::fprintf(stderr, "tmx client: no terminal to ask on whether the order is confirmed\n");
    return false;
  }
  terminal.Say("Press Enter once it is confirmed, or type n to give up: ");
  std::string line;
  const bool given = terminal.ReadLine(line);
  terminal.Say("\n");
  return given && line.empty();
}

bool ClientPrompt::GiveItem(HbCallbackItem& item, const String& message) {
  HbVariable* const value = item.GetValue();
  if (value == nullptr || value->GetType() != kStringType) {
    std::fprintf(stderr, "tmx client: the macros want a %s that is no text\n",
                 Harmless(item.GetLabel().View()).c_str());
    return false;
  }
  const bool is_pin = item.GetVarId() == kPin;
  SecretBytes secret;
  if (is_pin && !pin_.empty()) {
    secret = pin_;
  } else {
    const std::string& path = is_pin ? pin_file_ : tan_file_;
    const std::string question =
        (message.Len() > 0 ? Harmless(message.View()) + "\n" : std::string()) +
        Harmless(item.GetLabel().View()) + ": ";
    if (path.empty() ? !Ask(question, secret) : !FromFile(path, secret)) return false;
    if (is_pin) pin_ = secret;
  }
  if (secret.size() < item.GetMinLenght() || secret.size() > item.GetMaxLenght()) {
    std::fprintf(stderr, "tmx client: the %s has %u to %u characters\n",
                 Harmless(item.GetLabel().View()).c_str(), item.GetMinLenght(),
                 item.GetMaxLenght());
    return false;
  }
  static_cast<HbStringVariable*>(value)->Set(
      String(std::string_view(reinterpret_cast<const char*>(secret.data()), secret.size())));
  return true;
}

long ClientPrompt::Give(HbCallbackData& data) {
  HbCallbackItems& items = *data.GetParameters();
  for (unsigned short i = 0; i < items.Count(); ++i)
    if (!GiveItem(*items.GetItem(i), data.GetMessage())) return 0;
  return 1;
}

}  // namespace tmx::tools
