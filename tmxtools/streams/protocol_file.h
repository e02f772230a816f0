// The communication log.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "tmxtools/platform/date.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/point.h"
#include "tmxtools/streams/file.h"

namespace tmx {
class LineReader;
class MaskingList;
class MessageMasker;
class SecretText;
}  // namespace tmx

// An encrypted text file with everything that went over the line: messages sent and received, XML
// messages and instructions, XHTML pages and screens of the decoder, each between marker lines.
// docs/formats.md describes it. Secret data elements of HBCI messages are overwritten with "*"
// before they reach the disk. The log is encrypted, not signed.
//
// The key is a text: its first 16 bytes, filled up with zero bytes. The empty text is 16 zero
// bytes, so a log is never written in the clear.
//
// A log is either written or, when opened without the write bit, read page by page. A page shows
// up to 920 bytes of a message, or one screen. Every block is handed to the operating system when
// it is complete, so a process that dies loses at most the block that it is writing. A power cut
// may also take the blocks that the system has not brought to the disk yet, unless the host calls
// GetStream()->Sync() behind them. tmx::SalvageLog() saves the whole blocks of what is left.
//
// Codes: 33786 for a log that is not open, 33785 for a page that does not exist, 17398 when all
// names of a day are taken, 17400 for a file that is no log or a page that cannot be shown, and
// those of HbFile. Unlike those of HbFile, writes to a log that is not open set the status alone
// and leave the argument as it is.
//
// Owns the file, the page index and the masking list. Empty state: closed, no pages. Threads: one
// at a time.
class TMX_EXPORT HbProtocolFile : public HbFile {
 public:
  // What one page shows: a slice of a message, or a screen.
  struct Page {
    std::uint32_t start = 0;  // in the decrypted contents
    String title;             // the marker line that makes the page, or "Page Top"
    bool sent = false;
    std::uint32_t length = 0;  // of the slice; 0 for a screen
  };

  HbProtocolFile();
  ~HbProtocolFile() override;

  // Five digits: the last one of the year, the month, the day. A log's name is this prefix, a
  // number of three digits and the extension "pro".
  static String GetPrefixForDate(const Date& date);
  // Whether a name begins with the prefix of a date.
  static bool IsValidName(const String& name, const Date& date);

  // Makes the directory if it is missing and opens a new log in it for writing, numbered behind the
  // last one of today. True when `err` is clear afterwards.
  bool CreateNew(const String& directory, const String& key, HbError& err);
  // Closes what is open, resets the status and opens an encrypted log. With the write bit the date
  // and the time are written at the start of the file, over what stands there unless the mode
  // truncates; otherwise the page index is read and the first page shown. True when `err` is clear
  // afterwards; after any error the file is closed.
  bool Open(const String& path, unsigned short mode, const String& key, HbError& err);
  // Opens a log that was written without encryption, for reading.
  bool ReadUncryptedProtocol(HbError& err, const String& path);
  // The page index stays until the next opening.
  void Close() { HbFile::Close(); }
  // The name that was given when the log was opened.
  const String& GetName() const { return given_name_; }

  // Adds entries to the masking list of this log, for the messages written from now on; for their
  // form see tmx::MaskingList. False, with nothing changed, when they are malformed.
  bool AddMaskedElements(const String& entries);

  // Write one block. The whole source is written, whatever its position, which stays. An error of
  // the source or the file goes to `err`; what was written of the block before stays without its
  // closing lines. True when `err` is clear afterwards.
  bool WriteMessage(SvStream& message, bool sent, HbError& err);
  bool WriteXMLMessage(SvStream& message, bool sent, HbError& err);
  bool WriteCmdMessage(SvStream& instruction, bool sent, HbError& err);
  bool WriteXHTMLMessage(SvStream& page, bool sent, HbError& err);
  // A screen of the decoder. To be shown again it must have 24 lines.
  bool WriteScreen(const String& text, const Point& pos, bool autoCommitted, HbError& err);
  bool WriteInfoLine(const String& text, HbError& err);

  // At most 65535; what would be pages beyond is left out.
  unsigned short Count() const { return static_cast<unsigned short>(pages_.size()); }
  unsigned short CurrentIndex() const { return current_; }
  // Null when the page does not exist; valid until the next opening.
  const Page* GetPage(unsigned short index) const {
    return index < pages_.size() ? &pages_[index] : nullptr;
  }
  // Shows a page. A page that does not exist changes the status, not the current page.
  bool GotoPage(unsigned short index, HbError& err);
  bool FirstPage(HbError& err) { return GotoPage(0, err); }
  // In an empty log, behind the last page and before the first one these name page 65535, which
  // never exists, or the one behind the last.
  bool LastPage(HbError& err) { return GotoPage(static_cast<unsigned short>(Count() - 1), err); }
  bool NextPage(HbError& err) { return GotoPage(static_cast<unsigned short>(current_ + 1), err); }
  bool PrevPage(HbError& err) { return GotoPage(static_cast<unsigned short>(current_ - 1), err); }

  // Of the page shown: the lines between the page before and this one, parted by line feeds; and
  // 24 lines of screen text, each with a line feed.
  const String& GetInfo() const { return info_; }
  const String& GetScreen() const { return screen_; }
  bool IsAutoCommit() const { return is_auto_commit_; }
  // The decoder's position. The first of its two numbers is read as the row, although
  // WriteScreen() writes the column first, on purpose.
  long GetDecoderRow() const { return decoder_row_; }
  long GetDecoderColumn() const { return decoder_column_; }

  // The length of a log's decrypted contents; 0 after an error. Closes what is open.
  unsigned long GetLength(const String& path, const String& key, HbError& err);
  // Copies a log's decrypted contents, or as much as fits. `length` is the buffer's size and
  // becomes the number of bytes copied. Closes what is open.
  bool GetBinary(const String& path, const String& key, HbError& err, unsigned char* buffer,
                 unsigned long& length);

 protected:
  // Builds the page index and shows the first page. Any error closes the file.
  bool ReadProtocol(HbError& err);
  // A reserved hook: does nothing and returns false.
  bool WriteMessagePart(SvStream& part, unsigned long length, bool sent, HbError& err);

 private:
  struct Body;

  // Runs an operation; what it throws becomes an error.
  template <class Operation>
  void Guard(HbError& err, Operation operation);
  void Fail(HbError& err, unsigned short code);
  void FailWithName(HbError& err, unsigned short code);

  bool OpenEncrypted(const String& path, unsigned short mode, const String& key, HbError& err);
  // Opens a log without an index and checks that it is one.
  bool OpenContents(const String& path, const String& key, HbError& err);
  String FreeName(const String& directory, HbError& err);
  void WriteHeader(HbError& err);

  bool RequireOpen();
  bool WriteBody(const Body& kind, SvStream& source, bool sent, HbError& err);
  void CopyBody(SvStream& source, unsigned long length, tmx::MessageMasker* masker, HbError& err);
  // Ends every block: true when `err` is clear.
  bool FlushBlock(HbError& err);

  void BuildIndex(HbError& err);
  bool AddMessagePages(tmx::LineReader& lines, std::string_view title, std::uint32_t start,
                       std::uint32_t size);
  void AddPage(Page page);
  bool ReadHeader(tmx::LineReader& lines, HbError& err);
  void Show(const Page& page, HbError& err);
  // Reads up to the page's body; says in `is_message` what it is.
  bool ReadInfo(tmx::LineReader& lines, bool& is_message, HbError& err);
  void TakeInfo(std::string_view line, tmx::SecretText& info);
  void ShowMessage(const Page& page, std::uint32_t body, HbError& err);
  void ShowScreen(tmx::LineReader& lines, HbError& err);

  std::vector<Page> pages_;
  String info_;  // as `screen_` wiped, unless the host shares it
  String screen_;
  String given_name_;
  unsigned short current_ = 0;
  bool is_auto_commit_ = false;
  std::int32_t decoder_row_ = 0;
  std::int32_t decoder_column_ = 0;
  std::unique_ptr<tmx::MaskingList> masking_;  // null: the fixed one
};
