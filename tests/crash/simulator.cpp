#include "tests/crash/simulator.h"

#include <algorithm>
#include <utility>

#include "tests/support/reference_undo_log.h"
#include "tmxtools/streams/transaction_crypt_file_stream.h"
#include "tmxtools/streams/transaction_file_stream.h"

namespace tmx::crash {
namespace {

using Kind = MemoryEnv::Operation::Kind;

class PlainStore : public Store {
 public:
  SvStream& Stream() override { return stream_; }
  void Begin() override { stream_.BeginTrans(); }
  void Commit() override { stream_.CommitTrans(); }
  void Rollback() override { stream_.RollbackTrans(); }
  void FlushLog() override { stream_.FlushLog(); }
  void Close() override { stream_.Close(); }

 private:
  HbTransactionFileStream stream_{"data", kLog.c_str(), stream_mode::Read | stream_mode::Write};
};

class CryptStore : public Store {
 public:
  CryptStore() {
    unsigned char session_key[] = "session key ....";
    unsigned char wrapping_key[] = "wrapping key ...";
    stream_.Open("data", kLog.c_str(),
                 stream_mode::Read | stream_mode::Write | crypt_mode::Tagged | crypt_mode::Encrypt |
                     crypt_mode::Sign,
                 nullptr, 0, session_key, wrapping_key);
  }
  SvStream& Stream() override { return stream_; }
  void Begin() override { stream_.BeginTrans(); }
  void Commit() override { stream_.CommitTrans(); }
  void Rollback() override { stream_.RollbackTrans(); }
  void FlushLog() override { stream_.FlushLog(); }
  void Close() override { stream_.Close(); }

 private:
  HbTransactionCryptFileStream stream_;
};

std::string ReadAll(SvStream& stream) {
  std::string bytes(stream.Size(), '\0');
  stream.Seek(0);
  bytes.resize(stream.Read(bytes.data(), bytes.size()));
  return bytes;
}

// Runs one workload and writes down what it does to the disk.
class Recorder {
 public:
  Recorder(const StoreKind& kind, unsigned seed) : kind_(kind), random_(seed) {}

  Trace Run() {
    const ScopedEnv scope(env_);
    env_.MakeDir(kLogs);
    Prepare();
    trace_.states = {model_};
    env_.SetListener([this](const MemoryEnv::Operation& operation) {
      trace_.moments.push_back({Moment::Kind::kOperation, operation, first_, last_});
    });
    // A file that is being made anew is nothing yet.
    Allow(trace_.start.count(kData) > 0 ? 0 : -1);
    store_ = kind_.open();
    const std::size_t transactions = 1 + Below(3);
    for (std::size_t i = 0; i < transactions; ++i) Transaction();
    store_->Close();
    Mark(Moment::Kind::kClosed);
    return std::move(trace_);
  }

 private:
  std::size_t Below(std::size_t limit) { return random_() % limit; }
  std::string Bytes(std::size_t count) {
    std::string bytes(count, '\0');
    for (char& byte : bytes) byte = static_cast<char>('a' + Below(26));
    return bytes;
  }
  void Allow(int first, int last) {
    first_ = first;
    last_ = last;
  }
  void Allow(int only) { Allow(only, only); }
  void Mark(Moment::Kind kind) { trace_.moments.push_back({kind, {}, first_, last_}); }
  int Newest() const { return static_cast<int>(trace_.states.size()) - 1; }

  // The file as an earlier run left it, if there was one.
  void Prepare() {
    const std::size_t sizes[] = {0, 1 + Below(40), 250 + Below(10), Below(400), 9000};
    const std::size_t choice = Below(6);
    if (choice == 5) return;
    const auto store = kind_.open();
    model_ = Bytes(sizes[choice]);
    store->Stream().Write(model_.data(), model_.size());
    store->Stream().Sync();
    store->Close();
    trace_.start[kData] = env_.Get(kData);
    env_.Put(kData, trace_.start[kData]);
  }

  void Transaction() {
    // What is written outside of a transaction may be torn until the next one begins.
    if (Below(4) == 0) {
      Allow(-1);
      Change();
    }
    store_->Begin();
    trace_.states.push_back(model_);
    const std::string before = model_;
    Allow(Newest());
    Mark(Moment::Kind::kBegun);
    Changes();
    if (Below(4) == 0) {
      store_->Rollback();
      model_ = before;
      Mark(Moment::Kind::kRolledBack);
      return;
    }
    trace_.states.push_back(model_);
    Allow(Newest() - 1, Newest());
    store_->Commit();
    Allow(Newest());
    Mark(Moment::Kind::kCommitted);
  }

  void Changes() {
    const std::size_t changes = Below(5);
    for (std::size_t i = 0; i < changes; ++i) {
      const bool is_nested = Below(5) == 0;
      if (is_nested) store_->Begin();
      Change();
      if (is_nested) Below(2) == 0 ? store_->Commit() : store_->Rollback();
      if (Below(6) == 0) store_->FlushLog();
      if (Below(6) == 0) store_->Stream().Flush();
    }
  }

  void Change() {
    if (kind_.can_be_cut && Below(5) == 0) {
      const std::size_t size = Below(model_.size() + (is_small_ ? 3 : 30));
      store_->Stream().SetStreamSize(size);
      model_.resize(size);
      return;
    }
    const bool appends = Below(3) == 0;
    const std::size_t at = appends ? model_.size() : Below(model_.size() + 1);
    const bool is_large = !is_small_ && Below(12) == 0;
    const std::string bytes = Bytes(is_large ? 8000 + Below(400) : 1 + Below(is_small_ ? 3 : 300));
    store_->Stream().Seek(at);
    store_->Stream().Write(bytes.data(), bytes.size());
    if (at + bytes.size() > model_.size()) model_.resize(at + bytes.size());
    model_.replace(at, bytes.size(), bytes);
  }

  const StoreKind& kind_;
  std::mt19937 random_;
  const bool is_small_ = Below(2) == 0;  // so that a power cut could leave few states
  MemoryEnv env_;
  std::unique_ptr<Store> store_;
  std::string model_;
  Trace trace_;
  int first_ = 0;
  int last_ = 0;
};

}  // namespace

StoreKind PlainFiles() {
  return {"plain files", [] { return std::make_unique<PlainStore>(); }, true};
}

StoreKind CryptFiles() {
  return {"encrypted files", [] { return std::make_unique<CryptStore>(); }, false};
}

Trace Record(const StoreKind& kind, unsigned seed) { return Recorder(kind, seed).Run(); }

bool BarrierSearch::Holds(const CrashDisk& disk, const MemoryEnv::Operation& operation) {
  const bool is_log = operation.path == kLog;
  const bool is_sync = operation.kind == Kind::kSync;
  const std::size_t log_size = is_log ? disk.LiveBytes(kLog).size() : 0;
  constexpr std::size_t smallest_record = 12;
  const bool was_log_changed = is_log_changed_;
  is_log_changed_ = is_log_changed_ || (is_log && !is_sync && operation.kind != Kind::kCreate);
  switch (barrier_) {
    case Barrier::kLogBeforeOverwrite:
      return is_sync && is_log && log_size > 0;
    case Barrier::kLogBeforeGrowth:
      return is_sync && is_log && log_size > 0 && log_size <= smallest_record;
    case Barrier::kDataBeforeClearing:
      return is_sync && !is_log;
    case Barrier::kDataBeforeBegin:
      return is_sync && !is_log && !is_in_transaction_;
    case Barrier::kClearing:
      return is_sync && is_log && log_size == 0;
    case Barrier::kEmptyLogAtOpen:
      return is_sync && is_log && log_size == 0 && !was_log_changed;
    case Barrier::kLogName:
      return operation.kind == Kind::kSyncDir && operation.path == kLogs;
    case Barrier::kDataName:
      return operation.kind == Kind::kSyncDir && operation.path != kLogs;
    case Barrier::kMark:
      return operation.kind == Kind::kWrite && is_log && operation.bytes == std::string(8, '\xFF');
  }
  return false;
}

Trace Without(const Trace& trace, Barrier barrier) {
  Trace result = trace;
  result.moments.clear();
  CrashDisk disk(trace.start, {kLog});
  BarrierSearch search(barrier);
  for (const Moment& moment : trace.moments) {
    if (moment.kind == Moment::Kind::kOperation) {
      if (search.Holds(disk, moment.operation)) continue;
      disk.Apply(moment.operation);
    } else {
      search.SetInTransaction(moment.kind == Moment::Kind::kBegun);
    }
    result.moments.push_back(moment);
  }
  return result;
}

std::vector<Barrier> MissingBarriers(const Trace& trace) {
  std::vector<Barrier> missing;
  const auto require = [&missing](bool holds, Barrier barrier) {
    if (!holds) missing.push_back(barrier);
  };
  CrashDisk disk(trace.start, {kLog});
  bool is_open = false;  // a transaction
  std::string before;
  for (const Moment& moment : trace.moments) {
    if (moment.kind == Moment::Kind::kOperation) {
      const MemoryEnv::Operation& operation = moment.operation;
      const bool changes = operation.kind == Kind::kWrite || operation.kind == Kind::kSetSize;
      if (changes && operation.path == kLog && operation.kind == Kind::kSetSize &&
          operation.offset == 0) {
        require(!disk.HasUnsynced(kData), Barrier::kDataBeforeClearing);
        is_open = false;
      }
      disk.Apply(operation);
      if (changes && operation.path == kData && is_open) {
        const std::string data = disk.LiveBytes(kData);
        const std::string log = disk.DurableBytes(kLog);
        require(reference::Recover(data, log) == before, Barrier::kLogBeforeOverwrite);
        require(disk.IsNameDurable(kLog), Barrier::kLogName);
      }
    } else if (moment.kind == Moment::Kind::kBegun) {
      is_open = true;
      before = disk.LiveBytes(kData);
    } else if (moment.kind == Moment::Kind::kClosed) {
      require(!disk.IsNameDurable(kLog), Barrier::kLogName);
    } else {
      require(disk.IsNameDurable(kData), Barrier::kDataName);
      require(disk.LiveBytes(kLog).empty() && !disk.HasUnsynced(kLog), Barrier::kClearing);
    }
  }
  return missing;
}

// ---- crashing ---------------------------------------------------------------------------------

namespace {

struct Recovered {
  std::string content;
  std::uint32_t error = 0;
  std::vector<MemoryEnv::Operation> operations;
  std::size_t until_open = 0;  // how many of them
};

Recovered Recover(const StoreKind& kind, const CrashDisk::Files& files) {
  Recovered result;
  MemoryEnv env;
  env.MakeDir(kLogs);
  for (const auto& [path, bytes] : files) env.Put(path, bytes);
  env.SetListener(
      [&result](const MemoryEnv::Operation& operation) { result.operations.push_back(operation); });
  const ScopedEnv scope(env);
  const auto store = kind.open();
  result.until_open = result.operations.size();
  result.content = ReadAll(store->Stream());
  result.error = store->Stream().GetError();
  store->Close();
  if (result.error == 0) result.error = store->Stream().GetError();
  return result;
}

}  // namespace

CrashModel Simulator::AnyModel() {
  const auto share = [this] {
    constexpr CrashModel::Share shares[] = {CrashModel::Share::kNothing,
                                            CrashModel::Share::kEverything,
                                            CrashModel::Share::kSome, CrashModel::Share::kSome};
    return shares[random_() % 4];
  };
  return {share(), share(), share()};
}

std::vector<CrashDisk::Files> Simulator::PowerCuts(const CrashDisk& disk, std::size_t samples) {
  constexpr std::size_t few = 64;
  if (const auto all = disk.AllSurvivors(few)) {
    ++exhausted_;
    return {all->begin(), all->end()};
  }
  ++sampled_;
  std::vector<CrashDisk::Files> some;
  for (std::size_t i = 0; i < samples; ++i) some.push_back(disk.Survivors(AnyModel(), random_));
  return some;
}

bool Simulator::IsNew(const CrashDisk::Files& files, const Allowed& allowed, int depth) {
  std::size_t all = static_cast<std::size_t>(depth) * 2 + (allowed.anything ? 1 : 0);
  const auto add = [&all](const std::string& text) {
    all = all * 0x9E3779B97F4A7C15 + std::hash<std::string>()(text);
  };
  add(allowed.first);
  add(allowed.last);
  for (const auto& [path, bytes] : files) {
    add(path);
    add(bytes);
  }
  return seen_.insert(all).second;
}

void Simulator::CheckPowerCuts(const StoreKind& kind, const CrashDisk& disk, std::size_t samples,
                               const Allowed& allowed, int depth) {
  for (const CrashDisk::Files& files : PowerCuts(disk, samples)) {
    if (IsNew(files, allowed, depth)) Check(kind, CrashDisk(files, {kLog}), files, allowed, depth);
  }
}

void Simulator::Run(const StoreKind& kind, const Trace& trace) {
  constexpr std::size_t samples = 6;
  seen_.clear();
  CrashDisk disk(trace.start, {kLog});
  for (const Moment& moment : trace.moments) {
    if (moment.kind == Moment::Kind::kOperation) disk.Apply(moment.operation);
    Allowed allowed;
    allowed.anything = moment.first_state < 0;
    if (!allowed.anything) {
      allowed.first = trace.states[static_cast<std::size_t>(moment.first_state)];
      allowed.last = trace.states[static_cast<std::size_t>(moment.last_state)];
    }
    // Only the process dies: nothing is lost, but a power cut may follow during the recovery.
    Check(kind, disk, disk.Live(), allowed, 0);
    CheckPowerCuts(kind, disk, samples, allowed, 0);
  }
}

// Recovers from `files`, which lie on a disk in the state `before`, and crashes meanwhile.
void Simulator::Check(const StoreKind& kind, const CrashDisk& before, const CrashDisk::Files& files,
                      const Allowed& allowed, int depth) {
  ++crashes_;
  const Recovered recovered = Recover(kind, files);
  const bool is_good = allowed.anything ||
                       (recovered.error == 0 &&
                        (recovered.content == allowed.first || recovered.content == allowed.last));
  if (!is_good) {
    ++losses_;
    if (first_loss_.empty()) {
      first_loss_ = std::string(kind.name) + ", " + std::to_string(crashes_) + "th crash, error " +
                    std::to_string(recovered.error) + ", " +
                    std::to_string(recovered.content.size()) + " bytes instead of " +
                    std::to_string(allowed.first.size()) + " or " +
                    std::to_string(allowed.last.size());
    }
    return;
  }
  constexpr int deepest = 2;
  // Long recoveries have their turn more seldom, for they have more moments.
  const std::size_t turns = (1 + recovered.operations.size() / 4) * (depth == 0 ? 1 : 4);
  if (depth == deepest || !OneIn(turns)) return;
  CrashDisk disk = before;
  std::optional<BarrierSearch> omitted;
  if (omitted_) omitted.emplace(*omitted_);
  for (std::size_t i = 0; i < recovered.operations.size(); ++i) {
    if (omitted && omitted->Holds(disk, recovered.operations[i])) continue;
    disk.Apply(recovered.operations[i]);
    // What the opening has shown stays.
    const bool was_seen = i + 1 >= recovered.until_open && !allowed.anything;
    const Allowed then = was_seen ? Allowed{recovered.content, recovered.content, false} : allowed;
    CheckPowerCuts(kind, disk, 1, then, depth + 1);
  }
}

}  // namespace tmx::crash
