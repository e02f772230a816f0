#include "tmxtools/streams/transaction_file_stream.h"

#include <new>
#include <string>

#include "tmxtools/platform/env.h"

namespace mode = tmx::stream_mode;
namespace codes = tmx::stream_error;

namespace {

// What stands before a file's name in its path: its directory, or nothing for the working
// directory.
std::string_view DirectoryOf(const String& name) {
  const std::string_view path = name.View();
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? "" : path.substr(0, slash == 0 ? 1 : slash);
}

}  // namespace

HbTransactionFileStream::~HbTransactionFileStream() { HbTransactionFileStream::Close(); }

void HbTransactionFileStream::Open(const String& data_name, const String& log_name,
                                   unsigned short mode_bits) {
  Close();
  ResetError();
  // A truncation must wait until the log is held and was applied.
  const bool truncates = (mode_bits & mode::Truncate) != 0;
  data_file_.Open(data_name, static_cast<unsigned short>(mode_bits & ~mode::Truncate));
  Guarded([&] {
    if (TakeError(data_file_)) OpenLog(log_name);
    if (!HasError() && IsDurable()) SyncEmptyFiles();
  });
  if (HasError()) {
    data_file_.Close();
    log_file_.Close();
    return;
  }
  SetStreams(&data_file_, &log_file_);
  if (truncates) SetStreamSize(0);
}

void HbTransactionFileStream::OpenLog(const String& name) {
  const std::string path(name.View());
  constexpr int attempts = 8;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    log_file_.Open(name, mode::Read | mode::Write | mode::DenyAll);
    if (!TakeError(log_file_)) return;
    // Whoever held the log before may just have deleted it.
    if (tmx::CurrentEnv().Info(path).error != std::errc::no_such_file_or_directory) return;
  }
  SetError(codes::LockingViolation);
}

// An empty file may be a new one, also when it was an earlier process that made it, and an empty
// log one that an earlier process cleared and did not live to sync. (Invariant 6)
void HbTransactionFileStream::SyncEmptyFiles() {
  const bool is_new_data = data_file_.Size() == 0;
  const bool is_new_log = log_file_.Size() < tmx::UndoLog::LengthSize;
  if (is_new_log) log_file_.Sync();
  if (!TakeError(data_file_) || !TakeError(log_file_)) return;
  const std::string_view data_directory = DirectoryOf(data_file_.GetFileName());
  const std::string_view log_directory = DirectoryOf(log_file_.GetFileName());
  if (is_new_log) SyncDirectory(log_directory);
  if (is_new_data && !(is_new_log && data_directory == log_directory)) {
    SyncDirectory(data_directory);
  }
}

void HbTransactionFileStream::Close() {
  HbTransactionStream::Close();
  if (!IsOpen()) return;
  data_file_.Close();
  // Deleted while it is held, so that nobody else's log can be meant.
  if (!HasError() && !HasLeftLog()) Guarded([this] { RemoveLog(); });
  log_file_.Close();
}

void HbTransactionFileStream::RemoveLog() {
  const String& name = log_file_.GetFileName();
  const std::errc error = tmx::CurrentEnv().Remove(std::string(name.View()));
  if (error == std::errc::no_such_file_or_directory) return;
  Note(error);
  if (!HasError() && IsDurable()) SyncDirectory(DirectoryOf(name));
}

void HbTransactionFileStream::SyncDirectory(std::string_view path) {
  tmx::Env& env = tmx::CurrentEnv();
  const auto directory =
      path.empty() ? env.WorkingDir() : tmx::EnvResult<std::string>{std::string(path), {}};
  Note(directory.Ok() ? env.SyncDir(directory.value) : directory.error);
}

void HbTransactionFileStream::Note(std::errc error) {
  if (error != std::errc{}) SetError(tmx::StreamErrorOf(error, codes::General));
}

template <class Operation>
void HbTransactionFileStream::Guarded(Operation operation) {
  try {
    operation();
  } catch (const std::bad_alloc&) {
    SetError(codes::OutOfMemory);
  }
}
