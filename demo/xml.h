// As much XML as payment files need: elements, text and entities, in UTF-8. The bank's own texts
// are ISO 8859-1.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tmx::demo {

/// An element that has text and no elements inside, in the order of the document.
struct XmlLeaf {
  std::string path;        // names from the root on with '/' between them, without prefixes
  std::string attributes;  // as they stand in the tag
  std::string text;        // ISO 8859-1, blanks at both ends left out; other characters as '.'
};

struct XmlDocument {
  std::string root_attributes;
  std::vector<XmlLeaf> leaves;

  /// The leaves whose path ends with these names.
  std::vector<const XmlLeaf*> Find(std::string_view path_end) const;
};

/// Nothing if the tags do not match. Comments, declarations and instructions are passed over.
std::optional<XmlDocument> ParseXml(std::string_view bytes);

/// UTF-8 as text of an element or value of an attribute, of XML and of HTML.
std::string EscapedXml(std::string_view utf8);
/// The same for ISO 8859-1.
std::string XmlText(std::string_view latin1);

}  // namespace tmx::demo
