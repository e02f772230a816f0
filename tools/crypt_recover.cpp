// tmx crypt recover: shows what a leftover undo log would undo, and does it.
#include <cstdio>
#include <memory>

#include "tmxtools/platform/file_stream.h"
#include "tmxtools/streams/transaction_file_stream.h"
#include "tmxtools/streams/undo_log.h"
#include "tools/crypt_command.h"

namespace tmx::tools {
namespace {

struct RecoverOptions {
  std::string data, log;
  bool apply = false;
};

void PrintRecords(UndoLogReader& reader) {
  for (UndoRecord record; reader.Previous(record);)
    std::printf("put back %u bytes at offset %u\n", record.length, record.offset);
}

// Prints what attaching the log would do to the data.
int Show(const RecoverOptions& options) {
  SvFileStream data(String(options.data), stream_mode::Read);
  if (data.HasError()) return Refuse(options.data, data);
  SvFileStream log(String(options.log), stream_mode::Read);
  if (log.HasError()) return Refuse(options.log, log);
  const auto length = static_cast<std::uint32_t>(data.Size());
  UndoLogReader reader(log);
  if (!log.HasError() && reader.RecordCount() == 0 && reader.DataLength() > length) {
    // A transaction that shortens a file logs what it cuts off. Undoing this would only do harm.
    return Refuse(options.log, "no undo log of this file: would add bytes that it does not hold",
                  stream_error::WrongFormat);
  }
  if (reader.IsEmpty() || reader.MayBeCut(length)) {
    std::puts("nothing to undo");
  } else {
    PrintRecords(reader);
    std::printf("restore the length %u (now %u)\n", reader.DataLength(), length);
  }
  if (data.HasError()) return Refuse(options.data, data);
  return log.HasError() ? Refuse(options.log, log) : int{kDone};
}

int Apply(const RecoverOptions& options) {
  HbTransactionFileStream stream(String(options.data), String(options.log),
                                 stream_mode::Read | stream_mode::Write | stream_mode::NoCreate);
  if (!stream.HasError()) stream.Close();
  if (stream.HasError()) return Refuse(options.data, stream);
  std::puts("done; the log is removed");
  return kDone;
}

int Recover(const RecoverOptions& options) {
  const int shown = Show(options);
  return shown == kDone && options.apply ? Apply(options) : shown;
}

}  // namespace

void AddCryptRecoverCommand(CLI::App& crypt, int& exit_code) {
  const auto options = std::make_shared<RecoverOptions>();
  CLI::App* const recover = crypt.add_subcommand(
      "recover", "Print what the undo log of a transaction that never ended would undo.");
  recover->add_option("DATA", options->data, "the file that the transaction changed")->required();
  recover->add_option("LOG", options->log, "its undo log")->required();
  recover->add_flag("--apply", options->apply, "do it: put the old bytes back, remove the log");
  recover->callback([=, &exit_code] { exit_code = Recover(*options); });
}

}  // namespace tmx::tools
