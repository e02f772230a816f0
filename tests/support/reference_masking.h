// The rules of masking, byte by byte and nothing else: the definition that the library's masker is
// held against.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tmx {

// Copies share the list, so that one for each message costs nothing.
class ReferenceMasker {
 public:
  explicit ReferenceMasker(std::string_view list)
      : entries_(std::make_shared<const std::vector<Entry>>(ParseAll(list))) {}

  void Mask(char* data, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) Byte(data[i]);
  }

 private:
  struct Entry {
    std::string text;
    std::vector<unsigned long> positions;
  };

  static std::vector<Entry> ParseAll(std::string_view list) {
    std::vector<Entry> entries;
    while (!list.empty()) {
      const std::size_t end = std::min(list.find(';'), list.size());
      entries.push_back(Parse(std::string(list.substr(0, end))));
      list.remove_prefix(std::min(end + 1, list.size()));
    }
    return entries;
  }

  static Entry Parse(const std::string& text) {
    Entry entry{text, {}};
    for (std::size_t at = text.find('+'); at != std::string::npos; at = text.find('+', at + 1))
      entry.positions.push_back(std::strtoul(text.c_str() + at + 1, nullptr, 10));
    return entry;
  }

  void Byte(char& byte) {
    if (to_skip_ > 0) {
      if (identifier_ != std::string_view("HNVSD")) {
        --to_skip_;
        return;
      }
      to_skip_ = 0;
      element_ = 1;
      identifier_.clear();
    }
    if (is_escaped_) {
      is_escaped_ = false;
      if (is_masking_) byte = '*';
      return;
    }
    switch (byte) {
      case '\'':
        element_ = 1;
        group_element_ = 1;
        is_masking_ = false;
        identifier_.clear();
        entry_ = nullptr;
        break;
      case '+':
        ++element_;
        group_element_ = 1;
        is_masking_ = entry_ != nullptr && IsListed();
        break;
      case ':':
        ++group_element_;
        if (element_ == 1 && group_element_ == 2) LookUp();
        break;
      case '?':
        is_escaped_ = true;
        if (is_masking_) byte = '*';
        break;
      case '@':
        if (reads_length_) {
          to_skip_ = Number(length_);
          length_.clear();
        }
        reads_length_ = !reads_length_;
        break;
      default:
        if (reads_length_) {
          length_ += byte;
        } else if (element_ == 1 && group_element_ == 1) {
          identifier_ += byte;
        } else if (is_masking_) {
          byte = '*';
        }
    }
  }

  void LookUp() {
    entry_ = nullptr;
    for (const Entry& entry : *entries_) {
      if (entry.text.compare(0, identifier_.size(), identifier_) != 0) continue;
      entry_ = &entry;
      return;
    }
  }

  bool IsListed() const {
    for (const unsigned long position : entry_->positions)
      if (position == element_) return true;
    return false;
  }

  // A 32-bit number that wraps; what is not above 0 is no length.
  static std::int64_t Number(const std::string& text) {
    std::size_t i = 0;
    while (i < text.size() && text[i] == ' ') ++i;
    const bool is_negative = i < text.size() && text[i] == '-';
    if (i < text.size() && (text[i] == '-' || text[i] == '+')) ++i;
    std::int64_t value = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i)
      value = (value * 10 + (text[i] - '0')) % (std::int64_t{1} << 32);
    if (is_negative) value = (std::int64_t{1} << 32) - value;
    value %= std::int64_t{1} << 32;
    return value >= std::int64_t{1} << 31 ? 0 : value;
  }

  std::shared_ptr<const std::vector<Entry>> entries_;
  const Entry* entry_ = nullptr;
  std::uint32_t element_ = 1;
  std::uint32_t group_element_ = 1;
  std::string identifier_;
  bool is_masking_ = false;
  bool is_escaped_ = false;
  bool reads_length_ = false;
  std::string length_;
  std::int64_t to_skip_ = 0;
};

}  // namespace tmx
