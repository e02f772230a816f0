#include "tmxtools/streams/masking.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstring>
#include <optional>

#include "tmxtools/platform/syntax_scan.h"
#include "tmxtools/platform/word_bytes.h"

namespace tmx {
namespace {

constexpr std::string_view kContainer = "HNVSD";
constexpr std::size_t kBlock = SyntaxScan::kBlock;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsLetterOrDigit(char c) {
  return IsDigit(c) || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// The text up to the separator, which is taken away with it.
std::string_view TakeField(std::string_view& text, char separator) {
  const std::size_t end = std::min(text.find(separator), text.size());
  const std::string_view field = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return field;
}

std::optional<MaskingList::Entry> ParseEntry(std::string_view text) {
  const std::string_view identifier = text.substr(0, text.find('+'));
  if (identifier.empty() || identifier.size() > MaskingList::kLongestIdentifier ||
      !std::ranges::all_of(identifier, IsLetterOrDigit) || identifier.size() == text.size())
    return std::nullopt;
  MaskingList::Entry entry{std::string(identifier), {}};
  for (std::string_view rest = text.substr(identifier.size()); !rest.empty();) {
    std::uint16_t position = 0;
    const char* const begin = rest.data() + 1;
    const char* const end = rest.data() + rest.size();
    const auto [next, error] = std::from_chars(begin, end, position);
    if (rest.front() != '+' || error != std::errc{} || position < 2) return std::nullopt;
    entry.positions.push_back(position);
    rest.remove_prefix(static_cast<std::size_t>(next - rest.data()));
  }
  return entry;
}

// The Segmentkennung at the start of a segment as MaskingList::Pack() makes it, if it has 5 to 7
// capital letters and a ":" behind it. Anything else is 0 and left to the byte-wise rules.
std::uint64_t PlainHead(const char* data, std::size_t available) {
  if (available < sizeof(std::uint64_t)) return 0;
  const std::uint64_t word = LoadBytes(data);
  const std::uint64_t colons = TopBitsWhereEqual(word, ':');
  if (colons == 0) return 0;
  const int length = std::countr_zero(colons) / 8;
  if (length < 5) return 0;
  const std::uint64_t name = (std::uint64_t{1} << (8 * length)) - 1;
  // 0x41 to 0x5F: three top bits as in 0x40, and low bits that are not all 0.
  const std::uint64_t wrong_rows = (word & InEveryByte(0xE0)) ^ InEveryByte(0x40);
  const std::uint64_t with_low_bits = (word & InEveryByte(0x1F)) + InEveryByte(0x1F);
  const std::uint64_t wrong = wrong_rows | (~with_low_bits & InEveryByte(0x20));
  return (wrong & name) == 0 ? word & name : 0;
}

// Elements are short, and a call of the library's function would cost more than their bytes; so up
// to 16 of them go in two stores, which may overlap.
template <class Word>
void HideEnds(char* data, std::size_t count) {
  const Word stars = static_cast<Word>(InEveryByte('*'));
  std::memcpy(data, &stars, sizeof stars);
  std::memcpy(data + count - sizeof stars, &stars, sizeof stars);
}
void Hide(char* data, std::size_t count) {
  if (count > 16) {
    std::memset(data, '*', count);
  } else if (count >= 8) {
    HideEnds<std::uint64_t>(data, count);
  } else if (count >= 4) {
    HideEnds<std::uint32_t>(data, count);
  } else {
    for (std::size_t i = 0; i < count; ++i) data[i] = '*';
  }
}

}  // namespace

// ---- the list -----------------------------------------------------------------------------------

bool MaskingList::Entry::Masks(std::uint32_t element) const {
  return std::ranges::find(positions, element) != positions.end();
}

MaskingList::MaskingList() { Add(kFixedList); }

bool MaskingList::Add(std::string_view entries) {
  std::vector<Entry> all = entries_;
  while (!entries.empty()) {
    const bool has_more = entries.find(';') != std::string_view::npos;
    const std::optional<Entry> entry = ParseEntry(TakeField(entries, ';'));
    if (!entry || (has_more && entries.empty())) return false;
    const auto known = std::ranges::find(all, entry->identifier, &Entry::identifier);
    if (known == all.end()) {
      all.push_back(*entry);
    } else {
      known->positions.insert(known->positions.end(), entry->positions.begin(),
                              entry->positions.end());
    }
  }
  entries_ = std::move(all);
  BuildSlots();
  return true;
}

std::size_t MaskingList::SlotOf(std::uint64_t packed) const {
  constexpr std::uint64_t kGolden = 0x9E3779B97F4A7C15u;
  auto slot = static_cast<std::size_t>((packed * kGolden) >> shift_);
  while (slots_[slot].packed != packed && slots_[slot].packed != 0)
    slot = (slot + 1) & (slots_.size() - 1);
  return slot;
}

const MaskingList::Entry* MaskingList::Find(std::string_view identifier) const {
  const auto begins_so = [identifier](const Entry& entry) {
    return std::string_view(entry.identifier).starts_with(identifier);
  };
  if (identifier.size() < kShortest || identifier.size() > kLongest) {
    const auto entry = std::ranges::find_if(entries_, begins_so);
    return entry == entries_.end() ? nullptr : &*entry;
  }
  // A slot without an entry names the first one, which the comparison then refuses.
  const Entry& entry = entries_[slots_[SlotOf(Pack(identifier))].entry];
  return begins_so(entry) ? &entry : nullptr;
}

std::uint64_t MaskingList::Pack(std::string_view identifier) {
  char bytes[sizeof(std::uint64_t)] = {};
  std::memcpy(bytes, identifier.data(), std::min(identifier.size(), kLongest));
  return LoadBytes(bytes);
}

void MaskingList::BuildSlots() {
  constexpr std::size_t kFewest = 64, kSlotsForEach = 4;
  const std::size_t most = entries_.size() * (kLongest - kShortest + 1);
  slots_.assign(std::bit_ceil(std::max(kFewest, most * kSlotsForEach)), {});
  shift_ = 64u - static_cast<unsigned>(std::countr_zero(slots_.size()));
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    const std::string_view identifier = entries_[i].identifier;
    const std::size_t longest = std::min(identifier.size(), kLongest);
    for (std::size_t length = kShortest; length <= longest; ++length) {
      const std::uint64_t packed = Pack(identifier.substr(0, length));
      Slot& slot = slots_[SlotOf(packed)];
      if (slot.packed == 0) slot = {packed, static_cast<std::uint32_t>(i)};  // the first one stands
    }
  }
}

// ---- byte-wise rules, from one syntax character to the next -------------------------------------

void MessageMasker::LengthText::Append(std::string_view text) {
  for (const char c : text) {
    if (is_over_) return;
    if (!has_begun_) {
      if (c == ' ') continue;
      has_begun_ = true;
      is_negative_ = c == '-';
      if (c == '-' || c == '+') continue;
    }
    if (IsDigit(c)) {
      value_ = value_ * 10 + static_cast<std::uint32_t>(c - '0');
    } else {
      is_over_ = true;
    }
  }
}

std::uint32_t MessageMasker::LengthText::Take() {
  const auto value = static_cast<std::int32_t>(is_negative_ ? 0 - value_ : value_);
  *this = {};
  return value > 0 ? static_cast<std::uint32_t>(value) : 0;
}

bool MessageMasker::IsAtStart() const {
  return element_ == 1 && group_element_ == 1 && identifier_length_ == 0 && entry_ == nullptr &&
         !is_masking_ && !is_escaped_ && !reads_length_ && to_skip_ == 0;
}

void MessageMasker::EndSegment() {
  element_ = 1;
  group_element_ = 1;
  is_masking_ = false;
  identifier_length_ = 0;
  entry_ = nullptr;
}

void MessageMasker::EndElement() {
  ++element_;
  group_element_ = 1;
  is_masking_ = entry_ != nullptr && entry_->Masks(element_);
}

void MessageMasker::EndGroupElement() {
  ++group_element_;
  if (element_ == 1 && group_element_ == 2)
    entry_ = list_.Find({identifier_.data(), identifier_length_});
}

// Bytes that are no syntax characters.
void MessageMasker::Text(char* data, std::size_t from, std::size_t to) {
  if (from == to) return;
  if (reads_length_) {
    length_.Append({data + from, to - from});
  } else if (element_ == 1 && group_element_ == 1) {
    const std::size_t count = std::min(to - from, identifier_.size() - identifier_length_);
    std::memcpy(identifier_.data() + identifier_length_, data + from, count);
    identifier_length_ += count;
  } else if (is_masking_) {
    Hide(data + from, to - from);
  }
}

std::size_t MessageMasker::Walk(char* data, std::size_t size, std::size_t at) {
  const auto find_all = SyntaxScanFor(CurrentCpuLevel()).find_all;
  const auto escape = [&] {
    if (is_masking_) data[at] = '*';
    ++at;
  };
  while (at < size) {
    if (to_skip_ != 0) {
      if (std::string_view(identifier_.data(), identifier_length_) == kContainer) {
        // Its content is read as segments, up to the end of the container and beyond.
        to_skip_ = 0;
        element_ = 1;
        identifier_length_ = 0;
        if (IsAtStart()) return at;
      } else {
        const auto count = static_cast<std::uint32_t>(std::min<std::size_t>(to_skip_, size - at));
        to_skip_ -= count;
        at += count;
        continue;
      }
    }
    if (is_escaped_) {
      is_escaped_ = false;
      escape();
      continue;
    }
    const std::size_t base = at;
    const std::size_t end = std::min(size, base + kBlock);
    char copy[kBlock] = {};
    const char* block = data + base;
    if (end - base < kBlock) {
      std::memcpy(copy, data + base, end - base);
      block = copy;
    }
    for (std::uint64_t bits = find_all(block); to_skip_ == 0;) {
      const std::size_t next =
          bits == 0 ? end : base + static_cast<std::size_t>(std::countr_zero(bits));
      Text(data, at, next);
      at = next;
      if (bits == 0) break;
      bits &= bits - 1;
      switch (data[at++]) {
        case '\'':
          EndSegment();
          if (!reads_length_) return at;
          break;
        case '+':
          EndElement();
          break;
        case ':':
          EndGroupElement();
          break;
        case '?':
          --at;
          escape();
          is_escaped_ = true;
          if (at < end) {
            is_escaped_ = false;
            bits &= ~(std::uint64_t{1} << (at - base));
            escape();
          }
          break;
        default:  // '@'
          if (reads_length_) to_skip_ = length_.Take();
          reads_length_ = !reads_length_;
      }
    }
  }
  return at;
}

// ---- whole segments -----------------------------------------------------------------------------

namespace {

// Finds where segments end, up to the end of a piece or to something that only the byte-wise rules
// can read.
class SegmentFinder {
 public:
  // `start` is the start of a segment.
  SegmentFinder(const char* data, std::size_t size, std::size_t start)
      : data_(data), size_(size), at_(start) {
    starts_[0] = start;
  }

  // Looks through the next bytes. False when there is nothing more to find.
  bool Next();
  // Of the segments found by the last Next(), the first Count() are whole; each ends where the next
  // one starts.
  std::size_t Count() const { return count_; }
  std::size_t Start(std::size_t index) const { return starts_[index]; }

 private:
  // Little is lost where only the first segments can be used.
  static constexpr std::size_t kFewestBlocks = 4, kMostBlocks = 32;

  // Notes the ends in one block; false at an "@", which at_ is then set to.
  bool TakeBlock(SyntaxBits bits, std::size_t base);
  bool TakeSpecials(SyntaxBits bits, std::size_t base);
  void TakeEnds(std::uint64_t ends, std::size_t base) {
    for (; ends != 0; ends &= ends - 1)
      starts_[++count_] = base + static_cast<std::size_t>(std::countr_zero(ends)) + 1;
  }
  // Moves at_ from an "@" behind its binary data.
  bool PassBinary();

  const SyntaxScan& scan_ = SyntaxScanFor(CurrentCpuLevel());
  const char* data_;
  std::size_t size_;
  std::size_t at_;
  std::size_t blocks_ = kFewestBlocks;
  bool is_escaped_ = false;
  std::size_t count_ = 0;
  std::array<std::size_t, kMostBlocks * kBlock + 1> starts_;
};

bool SegmentFinder::Next() {
  starts_[0] = starts_[count_];
  count_ = 0;
  if (at_ >= size_) return false;
  SyntaxBits found[kMostBlocks];
  std::size_t blocks = std::min(blocks_, (size_ - at_) / kBlock);
  if (blocks == 0) {
    char copy[kBlock] = {};
    std::memcpy(copy, data_ + at_, size_ - at_);
    scan_.find_ends(copy, 1, found);
    blocks = 1;
  } else {
    scan_.find_ends(data_ + at_, blocks, found);
    blocks_ = std::min(2 * blocks_, kMostBlocks);
  }
  const std::size_t base = at_;
  for (std::size_t i = 0; i < blocks; ++i) {
    if (TakeBlock(found[i], base + i * kBlock)) continue;
    blocks_ = kFewestBlocks;
    if (PassBinary()) return true;
    at_ = size_;
    return count_ != 0;
  }
  at_ = base + blocks * kBlock;
  return true;
}

bool SegmentFinder::TakeBlock(SyntaxBits bits, std::size_t base) {
  if (is_escaped_) {
    is_escaped_ = false;
    bits.ends &= ~std::uint64_t{1};
    bits.specials &= ~std::uint64_t{1};
  }
  if (bits.specials != 0) return TakeSpecials(bits, base);
  TakeEnds(bits.ends, base);
  return true;
}

bool SegmentFinder::TakeSpecials(SyntaxBits bits, std::size_t base) {
  while (bits.specials != 0) {
    const int bit = std::countr_zero(bits.specials);
    const std::size_t position = base + static_cast<std::size_t>(bit);
    if (data_[position] == '@') {
      TakeEnds(bits.ends & ((std::uint64_t{1} << bit) - 1), base);
      at_ = position;
      return false;
    }
    const std::uint64_t escaped = bit == 63 ? 0 : std::uint64_t{2} << bit;
    is_escaped_ = bit == 63;
    bits.ends &= ~escaped;
    bits.specials &= ~escaped & (bits.specials - 1);
  }
  TakeEnds(bits.ends, base);
  return true;
}

bool SegmentFinder::PassBinary() {
  constexpr std::size_t kMostDigits = 9;
  const std::size_t start = starts_[count_];
  const std::uint64_t head = PlainHead(data_ + start, size_ - start);
  static const std::uint64_t container = MaskingList::Pack(kContainer);
  if (head == 0 || head == container) return false;
  std::size_t length = 0;
  std::size_t at = at_ + 1;
  const std::size_t last = std::min(size_, at + kMostDigits + 1);
  for (; at < last && IsDigit(data_[at]); ++at)
    length = length * 10 + static_cast<std::size_t>(data_[at] - '0');
  if (at == last || data_[at] != '@' || at == at_ + 1) return false;
  if (length > size_ - at - 1) return false;
  at_ = at + 1 + length;
  return true;
}

}  // namespace

std::size_t MessageMasker::Scan(char* data, std::size_t size, std::size_t at) {
  SegmentFinder finder(data, size, at);
  while (finder.Next()) {
    for (std::size_t i = 0; i < finder.Count(); ++i) {
      const std::size_t start = finder.Start(i);
      const std::uint64_t head = PlainHead(data + start, size - start);
      if (head == 0 || list_.Lists(head)) Walk(data, finder.Start(i + 1), start);
    }
  }
  return finder.Start(0);
}

void MessageMasker::Mask(char* data, std::size_t size) {
  for (std::size_t at = 0; at < size;) {
    if (IsAtStart()) at = Scan(data, size, at);
    if (at < size) at = Walk(data, size, at);
  }
}

}  // namespace tmx
