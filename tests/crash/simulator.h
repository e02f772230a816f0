// Power cuts at every moment of transactions, on a simulated disk.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <unordered_set>
#include <vector>

#include "tests/support/crash_disk.h"
#include "tmxtools/platform/stream.h"

namespace tmx::crash {

inline const std::string kData = "/home/data";
inline const std::string kLogs = "/logs";
inline const std::string kLog = kLogs + "/log";

// A stream with transactions over the files kData and kLog.
class Store {
 public:
  virtual ~Store() = default;
  virtual SvStream& Stream() = 0;
  virtual void Begin() = 0;
  virtual void Commit() = 0;
  virtual void Rollback() = 0;
  virtual void FlushLog() = 0;
  virtual void Close() = 0;
};

struct StoreKind {
  const char* name;
  std::function<std::unique_ptr<Store>()> open;
  bool can_be_cut;  // to any size
};
StoreKind PlainFiles();
StoreKind CryptFiles();  // tagged, encrypted and signed

// One thing that happened in a workload, and the states (indexes of Trace::states) of which one
// must be there after a crash at this moment. From -1 on nothing is asked, only that nothing
// breaks.
struct Moment {
  enum class Kind { kOperation, kBegun, kCommitted, kRolledBack, kClosed };
  Kind kind = Kind::kOperation;
  MemoryEnv::Operation operation;
  int first_state = -1;
  int last_state = -1;
};

struct Trace {
  CrashDisk::Files start;
  std::vector<std::string> states;
  std::vector<Moment> moments;
};

// Random transactions, nested and plain, committed and rolled back.
Trace Record(const StoreKind& kind, unsigned seed);

// What holds the order of writes.
enum class Barrier {
  kLogBeforeOverwrite,  // all syncs of a log in use
  kLogBeforeGrowth,     // those of a log without a record
  kDataBeforeClearing,  // all syncs of the data
  kDataBeforeBegin,     // those outside of transactions
  kClearing,            // all syncs of an empty log
  kEmptyLogAtOpen,      // that of a log that was found empty
  kLogName,
  kDataName,
  kMark,
};
// Finds the operations that hold one barrier.
class BarrierSearch {
 public:
  explicit BarrierSearch(Barrier barrier) : barrier_(barrier) {}
  // Each is told in its order; `disk` is as before the operation.
  bool Holds(const CrashDisk& disk, const MemoryEnv::Operation& operation);
  void SetInTransaction(bool is) { is_in_transaction_ = is; }

 private:
  Barrier barrier_;
  bool is_in_transaction_ = false;
  bool is_log_changed_ = false;
};
// The same without one of them.
Trace Without(const Trace& trace, Barrier barrier);
// The barriers that are missing where a write needs them, by the order of the operations alone:
//   kLogBeforeOverwrite  after every change of the data, what is durable of the log makes the state
//                        before of it
//   kDataBeforeClearing  the log is cleared only when nothing of the data is unsynced
//   kClearing            the log is empty on the disk when a transaction has ended
//   kLogName             the log's name is on the disk when the data is changed, and is gone from
//                        it after the closing
//   kDataName            the data's name is on the disk when a transaction has ended
std::vector<Barrier> MissingBarriers(const Trace& trace);

// Crashes at every operation of workloads. Where a power cut could leave few states of the disk, it
// goes through all of them, else through some that are chosen at random.
class Simulator {
 public:
  // One barrier may be left out of the recoveries.
  explicit Simulator(unsigned seed, std::optional<Barrier> omitted = {})
      : random_(seed), omitted_(omitted) {}

  // Crashes at each moment of a trace, and again during the recovery.
  void Run(const StoreKind& kind, const Trace& trace);

  // Power cuts in one trace that leave the same and must lead to the same count once.
  std::size_t Crashes() const { return crashes_; }
  // How many operations had all states of the disk after them looked at, and how many only some.
  std::size_t Exhausted() const { return exhausted_; }
  std::size_t Sampled() const { return sampled_; }
  std::size_t Losses() const { return losses_; }
  const std::string& FirstLoss() const { return first_loss_; }

 private:
  struct Allowed {
    std::string first;
    std::string last;
    bool anything = false;
  };
  bool OneIn(std::size_t number) { return random_() % number == 0; }
  CrashModel AnyModel();
  std::vector<CrashDisk::Files> PowerCuts(const CrashDisk& disk, std::size_t samples);
  bool IsNew(const CrashDisk::Files& files, const Allowed& allowed, int depth);
  void CheckPowerCuts(const StoreKind& kind, const CrashDisk& disk, std::size_t samples,
                      const Allowed& allowed, int depth);
  void Check(const StoreKind& kind, const CrashDisk& before, const CrashDisk::Files& files,
             const Allowed& allowed, int depth);

  std::mt19937 random_;
  std::optional<Barrier> omitted_;
  std::unordered_set<std::size_t> seen_;  // hashes of the crashes in one trace
  std::size_t crashes_ = 0;
  std::size_t exhausted_ = 0;
  std::size_t sampled_ = 0;
  std::size_t losses_ = 0;
  std::string first_loss_;
};

}  // namespace tmx::crash
