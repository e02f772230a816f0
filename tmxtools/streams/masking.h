// Masking of secrets in HBCI messages.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tmxtools/platform/export.h"

namespace tmx {

// Which data elements of which segments are secret.
//
// An entry is a Segmentkennung and the numbers of data elements, the segment head being number 1.
// A segment belongs to the first entry whose Segmentkennung begins with that of the segment, so a
// segment "IK" takes the first entry for "IK...", on purpose.
//
// Empty state: none; it always holds the entries of kFixedList. Threads: as a std::vector.
class TMX_EXPORT MaskingList {
 public:
  static constexpr std::string_view kFixedList =
      "IKPAN+2+3;IKPAZ+2+3;IKIDP+4;IIIDP+2;IKIDS+2;IIPAN+2;IKSTA+2+4;IITAB+3;HNSHA+4;DKPAE+2";
  static constexpr std::size_t kLongestIdentifier = 15;

  struct Entry {
    std::string identifier;
    std::vector<std::uint32_t> positions;

    bool Masks(std::uint32_t element) const;
  };

  MaskingList();
  // Adds entries written as in kFixedList; the elements of a known Segmentkennung are added to its
  // entry. False, with nothing changed, when the text is not of that form: entries parted by ";",
  // each a Segmentkennung of 1 to 15 letters and digits, and one or more numbers from 2 to 65535,
  // each behind a "+".
  bool Add(std::string_view entries);

  // The entry for a Segmentkennung, or null; valid until Add().
  const Entry* Find(std::string_view identifier) const;
  // Whether a Segmentkennung of 5 to 7 characters, packed into a number with the first character
  // lowest, has an entry.
  bool Lists(std::uint64_t packed) const { return slots_[SlotOf(packed)].packed == packed; }

  static std::uint64_t Pack(std::string_view identifier);

 private:
  // Segmentkennungen of these lengths, which are all that the standard has, are found by
  // hashing.
  static constexpr std::size_t kShortest = 5, kLongest = 7;

  struct Slot {
    std::uint64_t packed = 0;  // 0: free
    std::uint32_t entry = 0;
  };

  // The slot that holds it, or the free one where it would stand.
  std::size_t SlotOf(std::uint64_t packed) const;
  void BuildSlots();

  std::vector<Entry> entries_;
  std::vector<Slot> slots_;
  unsigned shift_ = 0;
};

// Overwrites the secret data elements of one message with "*", whichever way the message is cut
// into pieces. Separators stay, so that the structure remains readable, and so does binary data,
// except that the content of HNVSD, the container of an encrypted message, is masked as segments.
//
// The result is that of reading byte by byte with the rules below; segments that no entry lists
// are only looked through for their ends.
//  - "'" ends a segment, "+" a data element, ":" a group element; "?" takes the meaning of the next
//    byte; "@" begins the length of binary data, the next "@" ends it and the data follows.
//  - The Segmentkennung is what stands in the first group element, without escaped bytes. Its entry
//    is looked up at the ":" behind it.
//  - While a length is read, separators keep their meaning and a segment's end does not end the
//    length. A length that is no positive 32-bit number is none.
//
// Does not own the list, which must stay as it is while it is in use. Empty state: at the start of
// a message. Threads: one at a time.
class TMX_EXPORT MessageMasker {
 public:
  explicit MessageMasker(const MaskingList& list) : list_(list) {}

  // The next piece, masked in place.
  void Mask(char* data, std::size_t size);

 private:
  // The text between two "@" as a number: blanks, a sign, digits up to the first other byte.
  class LengthText {
   public:
    void Append(std::string_view text);
    // Its value, 0 if negative; makes it empty.
    std::uint32_t Take();

   private:
    bool has_begun_ = false;
    bool is_over_ = false;
    bool is_negative_ = false;
    std::uint32_t value_ = 0;
  };

  // Whether nothing of the current segment has been read.
  bool IsAtStart() const;
  // Reads on from any state. Stops at the start of a segment or at the end of the piece.
  std::size_t Walk(char* data, std::size_t size, std::size_t at);
  void Text(char* data, std::size_t from, std::size_t to);
  void EndSegment();
  void EndElement();
  void EndGroupElement();
  // From the start of a segment: passes over and masks whole segments. Stops at the start of one
  // whose end it does not find or that only Walk() can read.
  std::size_t Scan(char* data, std::size_t size, std::size_t at);

  const MaskingList& list_;
  const MaskingList::Entry* entry_ = nullptr;
  std::uint32_t element_ = 1;
  std::uint32_t group_element_ = 1;
  bool is_masking_ = false;
  bool is_escaped_ = false;
  bool reads_length_ = false;
  LengthText length_;
  std::uint32_t to_skip_ = 0;
  // One more byte than any listed one; what is longer matches nothing.
  std::array<char, MaskingList::kLongestIdentifier + 1> identifier_{};
  std::size_t identifier_length_ = 0;
};

}  // namespace tmx
