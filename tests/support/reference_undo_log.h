// The undo log of a transaction once more, from its description alone: no code of the library.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tmx::reference {

struct UndoRecord {
  std::uint32_t offset = 0;
  std::string old_bytes;
  bool operator==(const UndoRecord&) const = default;
};

struct UndoLog {
  std::uint32_t data_length = 0;
  std::vector<UndoRecord> records;  // the whole ones, oldest first
};

std::string Number(std::uint32_t number);
std::string WriteUndoLog(const UndoLog& log);
UndoLog ReadUndoLog(const std::string& bytes);
// Whether a crash may have left this of a log whose data was never changed: not even the length is
// there, or nothing certain follows it and it is `data_length` without some of its upper bytes.
bool IsTorn(const std::string& log, std::uint64_t data_length);
// What a leftover log makes of the data. Fails by throwing std::length_error where the data would
// grow beyond `limit`.
std::string Recover(std::string data, const std::string& log, std::uint64_t limit = 0xFFFFFFFE);

}  // namespace tmx::reference
