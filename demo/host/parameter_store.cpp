#include "demo/host/parameter_store.h"

#include <algorithm>
#include <functional>
#include <new>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "tmxtools/banking/user_utilities.h"
#include "tmxtools/platform/crypto.h"
#include "tmxtools/platform/dir_entry.h"
#include "tmxtools/platform/env.h"
#include "tmxtools/streams/crypt_file_stream.h"
#include "tmxtools/streams/transaction_crypt_file_stream.h"

namespace tmx::demo {
namespace {

constexpr std::uint16_t kPathNotFound = 17736;
constexpr std::uint16_t kLocked = 17739;
constexpr std::uint16_t kGeneral = 17741;
constexpr std::uint16_t kCannotCreate = 17742;
constexpr std::uint16_t kInvalidParameter = 17743;
constexpr std::uint16_t kOutOfMemory = 17748;
constexpr std::uint16_t kWrongFormat = 17749;
constexpr std::chrono::milliseconds kAgain{100};
constexpr unsigned long kMostBytes = 64UL << 20;
constexpr unsigned short kSealed = stream_mode::Read | stream_mode::Write | crypt_mode::Tagged |
                                   crypt_mode::Encrypt | crypt_mode::Sign;

bool Fail(HbError& error, std::uint16_t code, const std::string& path, const char* why) {
  const std::string param = path + ": " + why;
  error.SetError(code, String(std::string_view(param).substr(0, String::MaxLen)));
  return false;
}

// The stream's error, if it has one, with the file's name.
bool Succeeded(const SvStream& stream, const std::string& path, HbError& error) {
  HbError cause;
  cause.SetStreamState(stream);
  if (!cause.IsSet()) return true;
  error.SetError(cause.GetCode(), String(std::string_view(path).substr(0, String::MaxLen)));
  return false;
}

constexpr char kEmpty[] = "empty";
constexpr char kAnotherKey[] = "made with another key, or damaged";
// What an encrypted stream says of stored bytes that are none of its own.
constexpr std::uint32_t kDamage[] = {stream_error::General, stream_error::ReadError,
                                     stream_error::WrongFormat};

// A stored file that is open, and locked against everybody else.
class OpenFile {
 public:
  OpenFile(const std::string& path, const ParameterStore::Key& key) : path_(path), key_(key) {}

  // The content of a file that is there.
  bool Read(std::string& content, HbError& error) {
    const auto info = CurrentEnv().Info(path_);
    // An empty file would be taken for a new one.
    if (info.Ok() && info.value.size == 0) return Fail(error, kWrongFormat, path_, kEmpty);
    ParameterStore::Key session;
    if (!CurrentCrypto().FillRandom(session.Data(), session.Size()))
      return Fail(error, kGeneral, path_, "no random bytes");
    stream_.Open(String(std::string_view(path_)), String(std::string_view(path_ + ".log")),
                 kSealed | stream_mode::NoCreate, nullptr, 0, session.Data(), key_.Data());
    return IsGenuine(error) && ReadAll(content, error);
  }

  // Replaces the content of a file that was read.
  bool Write(const std::string& content, HbError& error) {
    stream_.BeginTrans();
    stream_.SetStreamSize(0);
    stream_.Seek(0);
    stream_.Write(content.data(), content.size());
    stream_.CommitTrans();
    return Succeeded(stream_, path_, error);
  }

 private:
  bool IsGenuine(HbError& error) {
    const bool is_damaged = std::ranges::count(kDamage, stream_.GetError()) > 0;
    if (!is_damaged && !Succeeded(stream_, path_, error)) return false;
    if (!is_damaged && stream_.CheckSignature()) return true;
    return Fail(error, kWrongFormat, path_, kAnotherKey);
  }
  bool ReadAll(std::string& content, HbError& error) {
    const unsigned long size = stream_.Size();
    if (size > kMostBytes) return Fail(error, kWrongFormat, path_, "too large");
    content.resize(size);
    stream_.Seek(0);
    content.resize(stream_.Read(content.data(), size));
    return Succeeded(stream_, path_, error);
  }

  const std::string& path_;
  const ParameterStore::Key& key_;
  HbTransactionCryptFileStream stream_;
};

bool IsThere(const std::string& path) {
  return CurrentEnv().Info(path).error != std::errc::no_such_file_or_directory;
}

std::string Parent(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// Makes a directory with those above it, and has their names reach the disk.
bool MakeDirectory(const std::string& directory) {
  std::vector<std::string> changed;
  for (std::string made = directory; !IsThere(made) && made != Parent(made); made = Parent(made))
    changed.push_back(Parent(made));
  if (!DirEntry(String(std::string_view(directory))).MakeDir()) return false;
  return std::ranges::all_of(changed, [](const std::string& parent) {
    return CurrentEnv().SyncDir(parent) == std::errc{};
  });
}

// Makes a whole file without users under another name, so that what has the right name is always
// whole.
bool Make(const std::string& made, const std::string& path, const ParameterStore::Key& key,
          HbError& error) {
  ParameterStore::Key session;
  if (!CurrentCrypto().FillRandom(session.Data(), session.Size()))
    return Fail(error, kGeneral, path, "no random bytes");
  HbCryptFileStream stream(String(std::string_view(made)),
                           kSealed | stream_mode::Truncate | stream_mode::DenyAll, nullptr, 0,
                           session.Data(), key.Data());
  const std::string content = EncodeUsers({});
  stream.Write(content.data(), content.size());
  stream.Sync();
  if (!Succeeded(stream, made, error)) return false;
  Env& env = CurrentEnv();
  return (env.Rename(made, path) == std::errc{} && env.SyncDir(Parent(path)) == std::errc{}) ||
         Fail(error, kCannotCreate, path, "cannot be made");
}

// Makes a file without users where there is none. Several may want to: who holds the gate makes it.
// The gate is never renamed, so nobody who has it open has the file itself; and it goes only once
// the file is there, which is what everybody looks for who has a gate that has gone.
bool Create(const std::string& path, const ParameterStore::Key& key, HbError& error) {
  if (IsThere(path)) return true;
  if (!MakeDirectory(Parent(path)))
    return Fail(error, kPathNotFound, path, "the directory cannot be made");
  Env& env = CurrentEnv();
  const std::string name = path + ".lock";
  const auto gate = env.Open(name, {.read = true, .write = true, .create = true});
  if (!gate.Ok()) return Fail(error, kCannotCreate, name, "cannot be made");
  const std::errc held =
      gate.value->Claim({.reads = true, .writes = true, .denies_read = true, .denies_write = true});
  if (held == std::errc::resource_unavailable_try_again)
    return Fail(error, kLocked, name, "somebody else makes the file");
  if (held != std::errc{}) return Fail(error, kCannotCreate, name, "cannot be locked");
  if (!IsThere(path) && !Make(path + ".new", path, key, error)) return false;
  env.Remove(name);
  return true;
}

bool ReadUsers(OpenFile& file, const std::string& path, StoredUsers& users, HbError& error) {
  std::string content;
  if (!file.Read(content, error)) return false;
  HbError cause;
  if (DecodeUsers(content, users, cause)) return true;
  error.SetError(cause.GetCode(), String(std::string_view(path)), cause);
  return false;
}

// What is written may depend on the users that are stored.
using Choose = std::function<std::vector<const StoredUser*>(const StoredUsers& stored)>;

bool Change(const std::string& path, const ParameterStore::Key& key, const Choose& choose,
            HbError& error) {
  if (!Create(path, key, error)) return false;
  OpenFile file(path, key);
  StoredUsers stored;
  if (!ReadUsers(file, path, stored, error)) return false;
  const std::string content = EncodeUsers(choose(stored));
  if (content.size() > kMostBytes) return Fail(error, kInvalidParameter, path, "too large");
  return file.Write(content, error);
}

// Whether somebody else is at the file who will be done soon.
bool IsPassing(const HbError& error) {
  const String* const text = error.GetParamText();
  return error.GetCode() == kLocked ||
         (error.GetCode() == kWrongFormat && text != nullptr && text->View().ends_with(kEmpty));
}

// No exception leaves the store. An operation that met others at the file had no effect.
template <class Operation>
bool Guarded(const std::string& path, std::chrono::milliseconds patience, HbError& error,
             Operation operation) {
  try {
    const auto end = std::chrono::steady_clock::now() + patience;
    for (bool done = operation();; done = operation()) {
      if (done || !IsPassing(error) || std::chrono::steady_clock::now() >= end) return done;
      error.Clear();
      std::this_thread::sleep_for(kAgain);
    }
  } catch (const std::length_error&) {
    return Fail(error, kInvalidParameter, path, "a text is too long, or there is too much");
  } catch (const std::bad_alloc&) {
    error.SetError(kOutOfMemory);
    return false;
  }
}

}  // namespace

bool ParameterStore::Load(StoredUsers& users, HbError& error) const {
  return Guarded(path_, patience_, error, [&] {
    OpenFile file(path_, key_);
    return !IsThere(path_) || ReadUsers(file, path_, users, error);
  });
}

bool ParameterStore::LoadUser(std::unique_ptr<StoredUser>& user, HbError& error) const {
  StoredUsers users;
  if (!Load(users, error)) return false;
  const auto found =
      std::ranges::find_if(users, [&](const auto& stored) { return stored->IsSameAs(*user); });
  if (found == users.end()) return false;
  user = std::move(*found);
  return true;
}

bool ParameterStore::Save(const StoredUsers& users, HbError& error) const {
  return Guarded(path_, patience_, error, [&] {
    const auto all = [&](const StoredUsers&) {
      std::vector<const StoredUser*> chosen;
      for (const auto& user : users) chosen.push_back(user.get());
      return chosen;
    };
    return Change(path_, key_, all, error);
  });
}

bool ParameterStore::SaveUser(const StoredUser& user, HbError& error) const {
  return Guarded(path_, patience_, error, [&] {
    const auto others_and_user = [&](const StoredUsers& stored) {
      std::vector<const StoredUser*> chosen;
      for (const auto& other : stored)
        if (!other->IsSameAs(user)) chosen.push_back(other.get());
      chosen.push_back(&user);
      return chosen;
    };
    return Change(path_, key_, others_and_user, error);
  });
}

std::string ParameterFilePath(const HbUser& user, const std::string& base) {
  std::string directory = hbk::HbUserUtilities::getOnlineBpdDir(user);
  if (directory.empty()) return directory;
  const auto program = CurrentEnv().ProgramDir();
  if (!base.empty() && program.Ok() && directory.starts_with(program.value))
    directory.replace(0, program.value.size(), base);
  return directory + "/users.par";
}

}  // namespace tmx::demo
