// Taking people out of a log so that it can be shown to others.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "tmxtools/streams/log_blocks.h"

namespace tmx::tools {

// Replaces names, account numbers, IBANs, user ids and the free text of a bank's answers by made-up
// ones of the same length: letters by letters and digits by digits, everything else stays. The same
// word always becomes the same one, so that what belongs together can still be seen.
//
// Which elements of a segment stay is a table; of segments that it does not know nothing stays but
// the head. Of binary data, XML, pages and screens only the marks of their form stay; of lines of
// information, words with digits and words that were replaced before.
class Anonymiser {
 public:
  // The body of a block with the same length.
  std::string Body(const LogBlock& block, std::string_view body);

 private:
  void Message(char* data, std::string_view bytes);
  void Segment(char* data, std::string_view bytes, const struct Segment& segment);
  void Markup(char* data, std::size_t size);
  void Text(char* data, std::size_t size);
  void Words(char* data, std::size_t size);
  void KnownWords(char* data, std::size_t size);
  void Word(char* data, std::size_t size);

  std::map<std::string, std::string, std::less<>> replaced_;
  std::map<std::string, std::uint32_t, std::less<>> counts_;  // by shape
};

}  // namespace tmx::tools
