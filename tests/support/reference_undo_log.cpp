#include "tests/support/reference_undo_log.h"

#include <stdexcept>

namespace tmx::reference {
namespace {

std::uint32_t NumberAt(const std::string& bytes, std::size_t position) {
  std::uint32_t number = 0;
  for (std::size_t i = 4; i-- > 0;) {
    number = number * 256 + static_cast<unsigned char>(bytes.at(position + i));
  }
  return number;
}

void Resize(std::string& data, std::uint64_t size, std::uint64_t limit) {
  if (size > limit) throw std::length_error("the data would grow beyond its limit");
  data.resize(size);
}

}  // namespace

std::string Number(std::uint32_t number) {
  std::string bytes;
  for (int i = 0; i < 4; ++i, number /= 256) bytes += static_cast<char>(number % 256);
  return bytes;
}

std::string WriteUndoLog(const UndoLog& log) {
  std::string bytes = Number(log.data_length);
  for (const UndoRecord& record : log.records) {
    const auto start = static_cast<std::uint32_t>(bytes.size());
    bytes += Number(record.offset) + Number(static_cast<std::uint32_t>(record.old_bytes.size()));
    bytes += record.old_bytes + Number(start);
  }
  return bytes;
}

UndoLog ReadUndoLog(const std::string& bytes) {
  UndoLog log;
  if (bytes.size() < 4) return log;
  log.data_length = NumberAt(bytes, 0);
  for (std::uint64_t at = 4; at + 12 <= bytes.size();) {
    const std::uint64_t length = NumberAt(bytes, at + 4);
    if (at + 12 + length > bytes.size() || NumberAt(bytes, at + 8 + length) != at) break;
    log.records.push_back({NumberAt(bytes, at), bytes.substr(at + 8, length)});
    at += 12 + length;
  }
  return log;
}

bool IsTorn(const std::string& log, std::uint64_t data_length) {
  if (log.size() < 4) return true;
  // Numbers are only looked at where all four bytes are there.
  for (std::size_t at = 4; at + 4 <= log.size() && at < 12; at += 4) {
    if (NumberAt(log, at) != 0) return false;
  }
  const std::string now = Number(static_cast<std::uint32_t>(data_length));
  const std::string then = log.substr(0, 4);
  if (then == now) return false;
  for (std::size_t kept = 0; kept < 4; ++kept) {
    if (then == now.substr(0, kept) + std::string(4 - kept, '\0')) return true;
  }
  return false;
}

std::string Recover(std::string data, const std::string& bytes, std::uint64_t limit) {
  if (bytes.size() < 4) return data;
  const UndoLog log = ReadUndoLog(bytes);
  if (!IsTorn(bytes, data.size())) Resize(data, log.data_length, limit);
  for (std::size_t i = log.records.size(); i-- > 0;) {
    const UndoRecord& record = log.records[i];
    if (record.old_bytes.empty()) continue;
    const std::uint64_t end = std::uint64_t{record.offset} + record.old_bytes.size();
    if (end > data.size()) Resize(data, end, limit);
    data.replace(record.offset, record.old_bytes.size(), record.old_bytes);
  }
  return data;
}

}  // namespace tmx::reference
