// The error value of the whole system and the base of everything that carries a status.
#pragma once

#include <cstdint>

#include "tmxtools/platform/export.h"
#include "tmxtools/platform/string.h"

class SvStream;

// How grave an error is; the code alone decides.
enum HbErrKind {
  ErrKindNone = 0,      // no error, or code 0
  ErrKindWarning = 1,   // 1 to 0x3FFF
  ErrKindError = 2,     // 0x4000 to 0x7FFF
  ErrKindCritical = 3,  // 0x8000 to 0xBFFF
  ErrKindFatal = 4,     // 0xC000 to 0xFFFF
};

// A handle on a shared record that is never changed: a 16-bit code, its text (looked up once, when
// the record is made, ISO 8859-1), a parameter text and the error that caused it.
//
// Owner: each handle shares its record; the last one frees it. The count has 16 bits and sticks at
// 65535: such a record lives until the process ends. Empty state: null, no error. A record with
// code 0 counts as set although its kind is ErrKindNone. Threads: one at a time, together with all
// handles that were copied from one another; the count is not atomic. When memory ends the handle
// becomes null.
class TMX_EXPORT HbError {
 public:
  HbError() noexcept = default;
  HbError(const HbError& other) noexcept : record_(other.record_) {
    if (record_ != nullptr) Share();
  }
  HbError(HbError&& other) noexcept : record_(other.record_) { other.record_ = nullptr; }
  // NOLINTBEGIN(google-explicit-constructor): a code is an error
  HbError(unsigned short code) { SetError(code); }
  // NOLINTEND
  HbError(unsigned short code, const HbError& prev) { SetError(code, prev); }
  HbError(unsigned short code, const String& param) { SetError(code, param); }
  HbError(unsigned short code, const String& param, const HbError& prev) {
    SetError(code, param, prev);
  }
  ~HbError() {
    if (record_ != nullptr) Release();
  }
  HbError& operator=(const HbError& other) noexcept;
  HbError& operator=(HbError&& other) noexcept;

  void Clear() noexcept {
    if (record_ != nullptr) Release();
  }
  // Replace this error by a new record. The arguments may be parts of this error: SetError(c,
  // *this) makes this error the cause of the new one.
  void SetError(unsigned short code);
  void SetError(unsigned short code, const HbError& prev);
  void SetError(unsigned short code, const String& param);
  void SetError(unsigned short code, const String& param, const HbError& prev);
  // Takes over a stream's error as one of the codes 0x4547 to 0x4558. A stream without an error, or
  // with a mere warning, changes nothing.
  void SetStreamState(const SvStream& stream);

  HbErrKind GetErrKind() const noexcept;
  unsigned short GetCode() const noexcept;  // 0 when null
  // Null when there is no error; valid as long as the record.
  const String* GetText() const noexcept;
  const String* GetParamText() const noexcept;
  // The cause, or null when there is none.
  const HbError* GetPrev() const noexcept;

  bool IsSet() const noexcept { return record_ != nullptr; }
  operator bool() const noexcept { return record_ != nullptr; }  // NOLINT

  // The chain, newest first, one line each: the text, and the parameter in parentheses. Stops at
  // 65535 bytes.
  void GetFull(String& out) const;

  // An error is no number: ask for its code.
  template <typename Number>
  friend bool operator==(const HbError&, Number) = delete;
  template <typename Number>
  friend bool operator==(Number, const HbError&) = delete;

 private:
  struct Record;

  static Record* NewRecord(unsigned short code, const String& param, const HbError* prev) noexcept;
  void Share() const noexcept;
  void Release() noexcept;

  Record* record_ = nullptr;
};

// Gives an object a current status, which stays until it is replaced or reset. The variants of
// SetStatus differ in what they do with code 0; that is meant so.
class TMX_EXPORT HbErrorHandler {
 public:
  HbErrorHandler() = default;
  HbErrorHandler(const HbErrorHandler&) = default;
  HbErrorHandler& operator=(const HbErrorHandler&) = default;
  virtual ~HbErrorHandler();

  virtual const HbError& SetStatus(unsigned short code, const String& param, const HbError& prev);
  virtual const HbError& SetStatus(unsigned short code, const String& param);
  // Alone in ignoring code 0; an unset cause is left out.
  virtual const HbError& SetStatus(unsigned short code, const HbError& prev);
  // Code 0 stores a set status with code 0.
  virtual const HbError& SetStatus(unsigned short code);
  virtual const HbError& SetStatus(const HbError& status);
  virtual void ResetStatus();

  const HbError& GetStatus() const noexcept { return status_; }

 protected:
  // Called after a status with a code other than 0, or a set HbError, was stored.
  virtual void OnStatusSet();

 private:
  const HbError& Report(unsigned short code);

  HbError status_;
};
