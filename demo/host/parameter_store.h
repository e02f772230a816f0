// Users with their parameter data, kept between runs of a host.
#pragma once

#include <chrono>
#include <string>

#include "demo/host/stored_user.h"
#include "tmxtools/core/error.h"
#include "tmxtools/platform/secret.h"

namespace tmx::demo {

// An encrypted and signed file of users that a crash leaves as it was before or after a change,
// never between; docs/formats.md describes it. While it is read or written nobody else can open it,
// in this process or another; between two operations it is closed.
//
// Owner: its maker. Empty state: no file, which holds no users. Threads: one at a time. Codes:
// those of streams (17735 to 17752), each with the file's name: 17749 for another key and for
// anything that is damaged, 17750 for a version of the format that is not known, 17739 while
// somebody else has it open. After an error the file is as it was before.
class ParameterStore {
 public:
  static constexpr std::size_t kKeyLength = 16;
  using Key = Secret<kKeyLength>;

  // Makes nothing yet; the directory is made with the file. For so long each operation waits for
  // others who have the file open, or are about to fill it.
  ParameterStore(std::string path, const Key& key, std::chrono::milliseconds patience = {})
      : path_(std::move(path)), key_(key), patience_(patience) {}

  const std::string& Path() const { return path_; }

  // Appends all users of the file; no file is no error.
  bool Load(StoredUsers& users, HbError& error) const;
  // Fills a user that names itself by country, bank code, Benutzerkennung and Kunden-ID. False
  // without an error if the file does not have it.
  bool LoadUser(std::unique_ptr<StoredUser>& user, HbError& error) const;
  // Replaces everything in the file.
  bool Save(const StoredUsers& users, HbError& error) const;
  // Replaces the same user in the file, or adds it; the others stay.
  bool SaveUser(const StoredUser& user, HbError& error) const;

 private:
  std::string path_;
  Key key_;
  std::chrono::milliseconds patience_;
};

// The file for a user: "users.par" in the directory of the parameter data from dialogs. With a base
// that directory lies below the base, else below that of the program. Empty for an access that has
// none.
std::string ParameterFilePath(const HbUser& user, const std::string& base);

}  // namespace tmx::demo
