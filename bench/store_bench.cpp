// 64 MB kept secret and protected against changes in a file: an encrypted, signed, tagged stream
// beside a SQLCipher database (pages of 4 KB, raw key). Each run opens the file anew and reads all
// of it, or 100 bytes at each of 100000 random positions; ours checks the whole signature as well
// each time.

#include <benchmark/benchmark.h>
#include <sqlcipher/sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "bench/levels.h"
#include "tmxtools/streams/crypt_file_stream.h"

namespace {

constexpr unsigned char kKey[16] = {1, 2, 4, 7, 8, 11, 13, 14, 16, 19, 21, 22, 25, 26, 28, 31};
constexpr unsigned kMode = 0xE000;  // tagged, encrypted, signed
// What fits into a page of the database beside its own fields.
constexpr std::size_t kRow = 3900;
constexpr std::size_t kRows = (64 << 20) / kRow;
constexpr std::size_t kLength = kRow * kRows;
constexpr std::size_t kReads = 100000;
constexpr std::size_t kReadLength = 100;

// A file that vanishes with the program.
class Store {
 public:
  explicit Store(const char* name) {
    const char* const directory = std::getenv("TMPDIR");
    path_ = std::string(directory ? directory : "/tmp") + "/tmx-bench-" + name;
    std::remove(path_.c_str());
  }
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store() { std::remove(path_.c_str()); }
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

std::vector<char> Row(std::size_t index) {
  std::mt19937 random(static_cast<unsigned>(index));
  std::vector<char> row(kRow);
  for (char& byte : row) byte = static_cast<char>(random());
  return row;
}

// ---- ours -------------------------------------------------------------------------------------

class StreamStore {
 public:
  StreamStore() : store_("stream") {
    HbCryptFileStream stream(String(store_.Path()), kMode | 3, nullptr, 0, nullptr, kKey);
    for (std::size_t i = 0; i < kRows; ++i) stream.Write(Row(i).data(), kRow);
    stream.Close();
  }
  void Open(HbCryptFileStream& stream) const {
    stream.Open(String(store_.Path()), kMode | 1, nullptr, 0, nullptr, kKey);
  }

 private:
  Store store_;
};
const StreamStore& OurStore() {
  static const StreamStore store;
  return store;
}

void StoreRead_Ours(benchmark::State& state) {
  std::vector<char> piece(1 << 16);
  for (auto _ : state) {
    HbCryptFileStream stream;
    OurStore().Open(stream);
    std::size_t total = 0;
    while (const std::size_t length = stream.Read(piece.data(), piece.size())) total += length;
    if (total != kLength) state.SkipWithError("not all was read");
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(kLength) * state.iterations());
}

void StoreReadRandom_Ours(benchmark::State& state) {
  char bytes[kReadLength];
  for (auto _ : state) {
    HbCryptFileStream stream;
    OurStore().Open(stream);
    std::mt19937 random(3);
    for (std::size_t i = 0; i < kReads; ++i) {
      const std::size_t row = random() % kRows;
      stream.Seek(row * kRow + random() % (kRow - kReadLength));
      if (stream.Read(bytes, kReadLength) != kReadLength) state.SkipWithError("not read");
      benchmark::DoNotOptimize(bytes);
    }
  }
}

// ---- the peer ---------------------------------------------------------------------------------

class Database {
 public:
  explicit Database(const std::string& path) {
    Check(sqlite3_open(path.c_str(), &database_));
    Run("PRAGMA key = \"x'00112233445566778899aabbccddeeff00112233445566778899aabbccddeeff'\"");
    Run("PRAGMA cipher_page_size = 4096");
  }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;
  ~Database() { sqlite3_close(database_); }

  void Run(const char* sql) { Check(sqlite3_exec(database_, sql, nullptr, nullptr, nullptr)); }
  sqlite3_stmt* Prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    Check(sqlite3_prepare_v2(database_, sql, -1, &statement, nullptr));
    return statement;
  }

 private:
  void Check(int result) {
    if (result == SQLITE_OK) return;
    std::fprintf(stderr, "the database fails: %s\n", sqlite3_errmsg(database_));
    std::exit(1);
  }
  sqlite3* database_ = nullptr;
};

class DatabaseStore {
 public:
  DatabaseStore() : store_("database") {
    Database database(store_.Path());
    database.Run("CREATE TABLE rows (id INTEGER PRIMARY KEY, bytes BLOB); BEGIN");
    sqlite3_stmt* const insert = database.Prepare("INSERT INTO rows VALUES (?, ?)");
    for (std::size_t i = 0; i < kRows; ++i) {
      const std::vector<char> row = Row(i);
      sqlite3_bind_int64(insert, 1, static_cast<sqlite3_int64>(i));
      sqlite3_bind_blob(insert, 2, row.data(), kRow, SQLITE_STATIC);
      sqlite3_step(insert);
      sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    database.Run("COMMIT");
  }
  const std::string& Path() const { return store_.Path(); }

 private:
  Store store_;
};
const DatabaseStore& PeerStore() {
  static const DatabaseStore store;
  return store;
}

void StoreRead_SqlCipher(benchmark::State& state) {
  std::vector<char> row(kRow);
  PeerStore();
  for (auto _ : state) {
    Database database(PeerStore().Path());
    sqlite3_stmt* const select = database.Prepare("SELECT bytes FROM rows ORDER BY id");
    std::size_t total = 0;
    while (sqlite3_step(select) == SQLITE_ROW) {
      std::memcpy(row.data(), sqlite3_column_blob(select, 0), kRow);
      total += static_cast<std::size_t>(sqlite3_column_bytes(select, 0));
    }
    sqlite3_finalize(select);
    if (total != kLength) state.SkipWithError("not all was read");
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(kLength) * state.iterations());
}

void StoreReadRandom_SqlCipher(benchmark::State& state) {
  char bytes[kReadLength];
  PeerStore();
  for (auto _ : state) {
    Database database(PeerStore().Path());
    sqlite3_stmt* const select = database.Prepare("SELECT bytes FROM rows WHERE id = ?");
    std::mt19937 random(3);
    for (std::size_t i = 0; i < kReads; ++i) {
      sqlite3_bind_int64(select, 1, static_cast<sqlite3_int64>(random() % kRows));
      const std::size_t at = random() % (kRow - kReadLength);
      if (sqlite3_step(select) != SQLITE_ROW) state.SkipWithError("not read");
      std::memcpy(bytes, static_cast<const char*>(sqlite3_column_blob(select, 0)) + at,
                  kReadLength);
      benchmark::DoNotOptimize(bytes);
      sqlite3_reset(select);
    }
    sqlite3_finalize(select);
  }
}

[[maybe_unused]] const bool kRegistered = [] {
  tmx::RegisterAtEachLevel("StoreRead", StoreRead_Ours, "SqlCipher", StoreRead_SqlCipher);
  tmx::RegisterAtEachLevel("StoreReadRandom", StoreReadRandom_Ours, "SqlCipher",
                           StoreReadRandom_SqlCipher);
  return true;
}();

}  // namespace
