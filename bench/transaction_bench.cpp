// Durable transactions of 1 KB in a file of 1 MB: a transaction file stream beside SQLite with a
// rollback journal that is truncated, everything synced (TRUNCATE, FULL). Both wait for the disk,
// so they are held against each other by the clock.

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "tmxtools/streams/transaction_file_stream.h"

namespace {

constexpr std::size_t kRecord = 1024;
constexpr std::size_t kRecords = 1024;

// Where a file system waits for a disk; a directory in memory would tell nothing.
std::string PathOf(const char* name) {
  const char* const directory = std::getenv("TMX_BENCH_DISK");
  return std::string(directory ? directory : ".") + "/tmx-bench-" + name;
}

void RemoveFiles(const std::string& path) {
  for (const char* const ending : {"", "-log", "-journal"}) std::remove((path + ending).c_str());
}

std::vector<char> Record(std::mt19937::result_type number) {
  return std::vector<char>(kRecord, static_cast<char>(number));
}

void Transaction_Ours(benchmark::State& state) {
  const std::string path = PathOf("transactions");
  RemoveFiles(path);
  {
    HbTransactionFileStream stream(String(path), String(path + "-log"), 3);
    for (std::size_t i = 0; i < kRecords; ++i) stream.Write(Record(0).data(), kRecord);
    stream.Sync();
    std::mt19937 random(4);
    for (auto _ : state) {
      const std::vector<char> record = Record(random());
      stream.BeginTrans();
      stream.Seek(random() % kRecords * kRecord);
      stream.Write(record.data(), kRecord);
      stream.CommitTrans();
      if (stream.HasError()) state.SkipWithError("not committed");
    }
  }
  RemoveFiles(path);
}

void Transaction_Sqlite(benchmark::State& state) {
  const std::string path = PathOf("sqlite");
  RemoveFiles(path);
  sqlite3* database = nullptr;
  sqlite3_open(path.c_str(), &database);
  const auto run = [&](const char* sql) {
    if (sqlite3_exec(database, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
      state.SkipWithError(sqlite3_errmsg(database));
  };
  run("PRAGMA journal_mode = TRUNCATE; PRAGMA synchronous = FULL");
  run("CREATE TABLE records (id INTEGER PRIMARY KEY, bytes BLOB); BEGIN");
  sqlite3_stmt* put = nullptr;
  sqlite3_prepare_v2(database, "REPLACE INTO records VALUES (?, ?)", -1, &put, nullptr);
  const auto store = [&](std::size_t id, const std::vector<char>& record) {
    sqlite3_bind_int64(put, 1, static_cast<sqlite3_int64>(id));
    sqlite3_bind_blob(put, 2, record.data(), kRecord, SQLITE_STATIC);
    if (sqlite3_step(put) != SQLITE_DONE) state.SkipWithError(sqlite3_errmsg(database));
    sqlite3_reset(put);
  };
  for (std::size_t i = 0; i < kRecords; ++i) store(i, Record(0));
  run("COMMIT");
  std::mt19937 random(4);
  for (auto _ : state) {
    const std::vector<char> record = Record(random());
    store(random() % kRecords, record);  // a transaction of its own
  }
  sqlite3_finalize(put);
  sqlite3_close(database);
  RemoveFiles(path);
}

BENCHMARK(Transaction_Ours)->UseRealTime();
BENCHMARK(Transaction_Sqlite)->UseRealTime();

}  // namespace
