// Taking people out of a log so that it can be shown to others.
#pragma once

#include <string_view>

#include "tmxtools/streams/log_blocks.h"
#include "tools/hbci_text.h"
#include "tools/log_bytes.h"
#include "tools/word_cipher.h"

namespace tmx::tools {

// Replaces names, account numbers, IBANs, user ids and the free text of a bank's answers by made-up
// ones of the same length, everything that is no letter or digit stays. The same word always
// becomes the same one, so that what belongs together can still be seen; see WordCipher.
//
// Which elements of a segment stay is a table; of segments that it does not know nothing stays but
// the head and what names nobody: single characters, currencies, codes of orders. Of binary data,
// XML, pages and screens only the marks of their form stay; of lines of information, the codes of
// orders.
//
// Thread rule: one at a time.
class Anonymiser {
 public:
  explicit Anonymiser(const WordCipher::Key& key) : words_(key) {}

  // The body of a block that is no message.
  void PutBody(LogBytes& bytes, const LogBlock& block, const Sink& to) const;
  // A group element of the segment that the reader is in.
  void PutElement(LogBytes& bytes, std::string_view code, const GroupElement& group,
                  const Sink& to) const;

 private:
  using IsKept = bool (*)(LogBytes& bytes, Range word);
  void Words(LogBytes& bytes, Range range, Gatherer& to, IsKept is_kept = nullptr) const;
  void Word(LogBytes& bytes, Range word, Gatherer& to) const;
  void Text(LogBytes& bytes, Range range, Gatherer& to) const;
  void Markup(LogBytes& bytes, Range range, Gatherer& to) const;

  WordCipher words_;
};

}  // namespace tmx::tools
