// The 8-bit text of the whole system.
#pragma once

#include <atomic>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#include "tmxtools/platform/export.h"

// A sequence of up to 65535 bytes of any value, compared as unsigned bytes. It knows no character
// set; texts shown to people are ISO 8859-1.
//
// Up to 15 bytes lie in the object itself. Longer texts lie in a counted buffer that copies share
// until one of them is changed. A buffer grows by doubling, so appending costs amortised constant
// time, and an object keeps its unshared buffer when a shorter text is assigned. The bytes are
// always followed by a zero byte that does not count.
//
// Positions and lengths are 16-bit. A position or length that reaches beyond the text is clamped
// to its end. 0xFFFF (NotFound) is never a position of a byte. An operation whose result would be
// longer than 65535 bytes throws std::length_error and changes nothing.
//
// Empty state: no bytes; so is a moved-from text. Threads: as an int; the shared buffers are
// counted atomically, so copies of one text may be used by different threads.
class TMX_EXPORT String {
 public:
  static constexpr std::uint16_t NotFound = 0xFFFF;
  static constexpr std::uint16_t MaxLen = 0xFFFF;

  String() noexcept = default;
  // A null pointer gives the empty text.
  String(const char* text);  // NOLINT(google-explicit-constructor): literals are texts
  String(const char* bytes, std::uint16_t length);
  explicit String(std::string_view bytes) { Assign(bytes); }
  String(const String& other) noexcept
      : storage_(other.storage_), length_(other.length_), on_heap_(other.on_heap_) {
    if (on_heap_) Share();
  }
  String(String&& other) noexcept
      : storage_(other.storage_), length_(other.length_), on_heap_(other.on_heap_) {
    other.Forget();
  }
  ~String() {
    if (on_heap_) Release();
  }
  String& operator=(const String& other) noexcept {
    if (this != &other) {
      if (other.on_heap_) other.Share();
      if (on_heap_) Release();
      TakeFieldsOf(other);
    }
    return *this;
  }
  String& operator=(String&& other) noexcept {
    if (this != &other) {
      if (on_heap_) Release();
      TakeFieldsOf(other);
      other.Forget();
    }
    return *this;
  }
  String& operator=(const char* text);

  // Replaces the text; the bytes may be part of this text.
  String& Assign(std::string_view bytes) {
    if (bytes.size() <= Capacity() && IsOwn()) {
      char* const own = Bytes();
      Copy(own, bytes);
      SetEnd(own, bytes.size());
    } else {
      AssignSlow(bytes);
    }
    return *this;
  }
  String& Assign(const char* bytes, std::size_t length) {
    return Assign(std::string_view(bytes, length));
  }
  // Empties the text and keeps an unshared buffer for the next one.
  void Clear() noexcept {
    if (on_heap_ && !IsOwn()) {
      Release();
      Forget();
    } else {
      SetEnd(Bytes(), 0);
    }
  }
  // Makes room so that the text can grow to `length` bytes without another allocation.
  void Reserve(std::uint16_t length) {
    if (length > Capacity() || !IsOwn()) Grow(length);
  }

  std::uint16_t Len() const noexcept { return length_; }
  bool IsEmpty() const noexcept { return length_ == 0; }
  // The bytes with a closing zero; valid until the text is changed.
  const char* Data() const noexcept { return on_heap_ ? storage_.buffer->bytes() : storage_.text; }
  std::string_view View() const noexcept { return {Data(), length_}; }
  // The byte at a position, 0 beyond the end.
  char At(std::uint16_t position) const noexcept {
    return position < length_ ? Data()[position] : '\0';
  }
  // Replaces one byte; nothing happens beyond the end.
  void Set(std::uint16_t position, char byte);

  String& operator+=(const String& text) { return Append(text.View()); }
  String& operator+=(std::string_view bytes) { return Append(bytes); }
  String& operator+=(const char* text) {
    return text == nullptr ? *this : Append(std::string_view(text));
  }
  String& operator+=(char byte) {
    if (length_ < Capacity() && IsOwn()) {
      char* const own = Bytes();
      own[length_] = byte;
      SetEnd(own, length_ + std::size_t{1});
    } else {
      AppendSlow(std::string_view(&byte, 1));
    }
    return *this;
  }
  // Appends bytes, which may be part of this text.
  String& Append(std::string_view bytes) {
    if (bytes.size() <= std::size_t{Capacity()} - length_ && IsOwn()) {
      char* const own = Bytes();
      Copy(own + length_, bytes);
      SetEnd(own, length_ + bytes.size());
    } else {
      AppendSlow(bytes);
    }
    return *this;
  }

  // Up to `count` bytes from `position`.
  String Sub(std::uint16_t position, std::uint16_t count = MaxLen) const {
    if (position == 0 && count >= length_) return *this;
    return position < length_ ? String(View().substr(position, count)) : String();
  }
  String& Insert(const String& text, std::uint16_t position);
  String& Erase(std::uint16_t position, std::uint16_t count = MaxLen);
  // The first position at or behind `from`, or NotFound. The empty text is never found.
  std::uint16_t Find(char byte, std::uint16_t from = 0) const noexcept;
  std::uint16_t Find(const String& text, std::uint16_t from = 0) const noexcept;

  // The number of fields between separators; the empty text has none.
  std::uint16_t GetTokenCount(char separator) const noexcept;
  // The field with the given number (from 0), empty when there is none.
  String Token(std::uint16_t index, char separator) const;

  // Remove leading or trailing bytes of one value.
  String& TrimLeft(char byte);
  String& TrimRight(char byte);
  // Remove or replace every byte that occurs in `set`.
  String& RemoveSet(const String& set);
  String& ReplaceSet(const String& set, char replacement);
  // CR LF and a lone CR become LF.
  String& LineEndsToLF();
  // Appends `byte` until the text has `length` bytes; a longer text stays.
  String& PadTo(std::uint16_t length, char byte);

  // Optional blanks, optional sign, digits up to the first other byte; wraps to 32 bits.
  std::int32_t ToInt() const noexcept;
  static String FromInt(std::int64_t value);

  friend bool operator==(const String& a, const String& b) noexcept {
    return a.length_ == b.length_ && AreEqual(a.Data(), b.Data(), a.length_);
  }
  friend bool operator==(const String& a, std::string_view b) noexcept { return a.View() == b; }
  friend bool operator==(const String& a, const char* b) noexcept { return a.View() == OrEmpty(b); }
  friend std::strong_ordering operator<=>(const String& a, const String& b) noexcept {
    return a.View() <=> b.View();
  }
  friend std::strong_ordering operator<=>(const String& a, std::string_view b) noexcept {
    return a.View() <=> b;
  }
  friend std::strong_ordering operator<=>(const String& a, const char* b) noexcept {
    return a.View() <=> OrEmpty(b);
  }

  friend String operator+(String a, const String& b) { return std::move(a += b); }
  friend String operator+(String a, std::string_view b) { return std::move(a += b); }
  friend String operator+(String a, const char* b) { return std::move(a += b); }
  friend String operator+(String a, char b) { return std::move(a += b); }
  friend String operator+(const char* a, const String& b) { return std::move(String(a) += b); }

 private:
  static constexpr std::uint16_t kInlineCapacity = 15;

  // The header of a shared text; the bytes and their closing zero follow it.
  struct Buffer {
    std::atomic<std::uint32_t> owners;
    std::uint32_t capacity;
    char* bytes() { return reinterpret_cast<char*>(this + 1); }
  };
  union Storage {
    char text[kInlineCapacity + 1];
    Buffer* buffer;
  };

  static std::string_view OrEmpty(const char* text) noexcept {
    return text == nullptr ? std::string_view() : std::string_view(text);
  }
  // Copies bytes that may overlap their target. Most texts are short, and a call would cost more
  // than their bytes; so up to 16 of them go in two loads, which may overlap, before two stores.
  static void Copy(char* to, std::string_view bytes) noexcept {
    const std::size_t count = bytes.size();
    if (count > 16) {
      std::memmove(to, bytes.data(), count);
    } else if (count >= 8) {
      CopyEnds<std::uint64_t>(to, bytes);
    } else if (count >= 4) {
      CopyEnds<std::uint32_t>(to, bytes);
    } else if (count >= 2) {
      CopyEnds<std::uint16_t>(to, bytes);
    } else if (count == 1) {
      *to = bytes.front();
    }
  }
  template <class Word>
  static void CopyEnds(char* to, std::string_view bytes) noexcept {
    const std::size_t behind = bytes.size() - sizeof(Word);
    const Word first = Load<Word>(bytes.data());
    const Word last = Load<Word>(bytes.data() + behind);
    std::memcpy(to, &first, sizeof(Word));
    std::memcpy(to + behind, &last, sizeof(Word));
  }
  static bool AreEqual(const char* a, const char* b, std::size_t count) noexcept {
    if (count > 16) return std::memcmp(a, b, count) == 0;
    if (count >= 8) return EndsAreEqual<std::uint64_t>(a, b, count);
    if (count >= 4) return EndsAreEqual<std::uint32_t>(a, b, count);
    if (count >= 2) return EndsAreEqual<std::uint16_t>(a, b, count);
    return count == 0 || *a == *b;
  }
  template <class Word>
  static bool EndsAreEqual(const char* a, const char* b, std::size_t count) noexcept {
    const std::size_t behind = count - sizeof(Word);
    return Load<Word>(a) == Load<Word>(b) && Load<Word>(a + behind) == Load<Word>(b + behind);
  }
  template <class Word>
  static Word Load(const char* bytes) noexcept {
    Word word;
    std::memcpy(&word, bytes, sizeof(Word));
    return word;
  }
  static Buffer* NewBuffer(std::size_t capacity);
  static String WithRoom(std::size_t capacity);

  void Share() const noexcept { storage_.buffer->owners.fetch_add(1, std::memory_order_relaxed); }
  void Release() noexcept;
  void Forget() noexcept {
    storage_ = Storage{};
    length_ = 0;
    on_heap_ = false;
  }
  void TakeFieldsOf(const String& other) noexcept {
    storage_ = other.storage_;
    length_ = other.length_;
    on_heap_ = other.on_heap_;
  }
  // Whether the bytes may be changed in place.
  bool IsOwn() const noexcept {
    return !on_heap_ || storage_.buffer->owners.load(std::memory_order_acquire) == 1;
  }
  std::uint16_t Capacity() const noexcept {
    return on_heap_ ? static_cast<std::uint16_t>(storage_.buffer->capacity) : kInlineCapacity;
  }
  char* Bytes() noexcept { return on_heap_ ? storage_.buffer->bytes() : storage_.text; }
  void SetEnd(char* bytes, std::size_t length) noexcept {
    bytes[length] = '\0';
    length_ = static_cast<std::uint16_t>(length);
  }
  // The bytes for a change in place.
  char* Unshare();
  void Grow(std::size_t capacity);
  void AssignSlow(std::string_view bytes);
  void AppendSlow(std::string_view bytes);

  Storage storage_{};
  std::uint16_t length_ = 0;
  bool on_heap_ = false;
};

static_assert(sizeof(String) == 24);
