#include "tests/support/bytecode_builder.h"

namespace tmx {

CodeBuilder& CodeBuilder::Op(unsigned opcode, unsigned count) { return Byte(opcode).Byte(count); }

CodeBuilder& CodeBuilder::Byte(unsigned value) {
  bytes_ += static_cast<char>(value & 0xFF);
  return *this;
}

CodeBuilder& CodeBuilder::U16(unsigned value) { return Byte(value >> 8).Byte(value); }

CodeBuilder& CodeBuilder::U32(std::uint32_t value) { return U16(value >> 16).U16(value & 0xFFFF); }

CodeBuilder& CodeBuilder::RawDate(unsigned day, unsigned month, unsigned year) {
  return Byte(day).Byte(month).Byte(year / 100).Byte(year % 100);
}

CodeBuilder& CodeBuilder::RawText(std::string_view text) { return Raw(text).Byte(0); }

CodeBuilder& CodeBuilder::Raw(std::string_view bytes) {
  bytes_ += bytes;
  return *this;
}

CodeBuilder& CodeBuilder::Target(unsigned label) {
  patches_.push_back({label, bytes_.size()});
  U16(0);
  if (label < labels_.size() && labels_[label]) PutU16(patches_.back().at, *labels_[label]);
  return *this;
}

CodeBuilder& CodeBuilder::Bind(unsigned label) {
  if (label >= labels_.size()) labels_.resize(label + 1);
  labels_[label] = bytes_.size();
  for (const Patch& patch : patches_)
    if (patch.label == label) PutU16(patch.at, bytes_.size());
  return *this;
}

void CodeBuilder::PutU16(std::size_t at, std::size_t value) {
  bytes_[at] = static_cast<char>(value >> 8 & 0xFF);
  bytes_[at + 1] = static_cast<char>(value & 0xFF);
}

ImageBuilder& ImageBuilder::Sub(std::string_view name, std::string_view bytecode) {
  Entry(name, static_cast<std::uint32_t>(code_.size()), static_cast<unsigned>(bytecode.size()));
  code_ += bytecode;
  return *this;
}

ImageBuilder& ImageBuilder::Entry(std::string_view name, std::uint32_t offset, unsigned length) {
  index_ += CodeBuilder().RawText(name).U32(offset).U16(length).U16(0).Bytes();
  return *this;
}

std::string HexDump(std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string dump;
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    if (at % 16 == 0) {
      if (at != 0) dump += '\n';
      for (int shift = 12; shift >= 0; shift -= 4) dump += kDigits[at >> shift & 15];
      dump += ':';
    }
    const auto byte = static_cast<unsigned char>(bytes[at]);
    dump += {' ', kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return dump;
}

}  // namespace tmx
