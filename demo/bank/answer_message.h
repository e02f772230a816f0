// What the bank sends: collected order by order, then numbered and put into its envelope.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "demo/bank/request_message.h"
#include "demo/hbci_syntax.h"

namespace tmx::demo {

/// What goes wrong on purpose inside an answer; nothing when made without arguments.
struct MessageFaults {
  std::optional<long> size;   // in HNHBK, instead of the right one
  std::optional<int> number;  // message number in HNHBK and HNHBS
  std::optional<int> gap_at;  // segments from this number on are numbered one too high
  std::optional<std::string> dialog;
  std::optional<std::string> dropped;  // segments with this code are left out
  std::optional<int> refusal;          // the code about each segment, instead of all that was said
  int extra_segments = 0;              // of a kind that no client knows
};

/// One answer while it is made. Owned by the call that answers; empty it says nothing.
class AnswerMessage {
 public:
  /// A code about the message as a whole.
  void ForMessage(std::string_view code, std::string_view text);
  /// A code about one segment of the request, with its parameters.
  void ForSegment(int reference, std::string_view code, std::string_view text,
                  const std::vector<std::string>& parameters = {});
  void Add(Segment segment) { data_.push_back(std::move(segment)); }

  /// Whether a code about a segment is an error.
  bool HasErrors() const { return has_errors_; }
  bool HasWarnings() const { return has_warnings_; }

  /// The bytes. `request` gives numbers and envelope; an unsigned one is answered without envelope.
  std::string ToBytes(const RequestMessage& request, const std::string& dialog,
                      const std::string& date, const MessageFaults& faults) const;

 private:
  std::vector<Segment> Body() const;
  // As if everything had been refused with this code.
  std::vector<Segment> Refusal(int code) const;

  std::vector<std::vector<std::string>> message_codes_;
  std::map<int, std::vector<std::vector<std::string>>> segment_codes_;
  std::vector<Segment> data_;
  bool has_errors_ = false;
  bool has_warnings_ = false;
};

}  // namespace tmx::demo
