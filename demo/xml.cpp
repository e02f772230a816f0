#include "demo/xml.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace tmx::demo {
namespace {

constexpr std::size_t kDeepest = 32;
constexpr std::size_t kLongestName = 64;
constexpr std::string_view kBlanks = " \t\r\n";

struct Entity {
  std::string_view name;
  char character;
};
constexpr std::array<Entity, 5> kEntities{
    {{"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}}};

std::string_view Trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

char Latin1(unsigned long code) { return code < 256 ? static_cast<char>(code) : '.'; }

// The code point at the front of the text, which is taken away. Bytes that are no UTF-8 count as
// characters of their own.
unsigned long TakeUtf8(std::string_view& text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned long first = byte(0);
  const std::size_t length = first < 0xC0 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  unsigned long code = length == 1 ? first : first & (0xFFU >> (length + 1));
  std::size_t used = 1;
  while (used < length && used < text.size() && (byte(used) & 0xC0U) == 0x80U)
    code = code << 6 | (byte(used++) & 0x3FU);
  text.remove_prefix(used);
  return used == length ? code : first;
}

// The character that an entity stands for, without '&' and ';'.
std::optional<char> EntityCharacter(std::string_view name) {
  if (name.starts_with('#')) {
    const bool is_hex = name.starts_with("#x");
    const std::string_view digits = name.substr(is_hex ? 2 : 1);
    unsigned long code = 0;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), code, is_hex ? 16 : 10);
    if (error != std::errc{} || end != digits.data() + digits.size()) return std::nullopt;
    return Latin1(code);
  }
  const auto found = std::find_if(kEntities.begin(), kEntities.end(),
                                  [name](const Entity& entity) { return entity.name == name; });
  if (found == kEntities.end()) return std::nullopt;
  return found->character;
}

std::string Decoded(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    const auto end = text.front() == '&' ? text.substr(0, 12).find(';') : std::string_view::npos;
    const auto character =
        end == std::string_view::npos ? std::nullopt : EntityCharacter(text.substr(1, end - 1));
    if (character) {
      out += *character;
      text.remove_prefix(end + 1);
    } else {
      out += Latin1(TakeUtf8(text));
    }
  }
  return out;
}

class XmlParser {
 public:
  explicit XmlParser(std::string_view bytes) : rest_(bytes) {}

  std::optional<XmlDocument> Run() {
    while (!rest_.empty()) {
      const auto tag = std::min(rest_.find('<'), rest_.size());
      if (has_leaf_text_) text_.append(rest_.substr(0, tag));
      rest_.remove_prefix(tag);
      if (!rest_.empty() && !TakeTag()) return std::nullopt;
    }
    if (!path_.empty() || !has_root_) return std::nullopt;
    return std::move(document_);
  }

 private:
  bool TakeTag() {
    if (rest_.starts_with("<!--")) return SkipTo("-->");
    if (rest_.starts_with("<?")) return SkipTo("?>");
    if (rest_.starts_with("<!")) return SkipTo(">");
    const auto end = rest_.find('>');
    if (end == std::string_view::npos) return false;
    std::string_view tag = rest_.substr(1, end - 1);
    rest_.remove_prefix(end + 1);
    if (tag.starts_with('/')) return Close(NameOf(tag.substr(1)));
    const bool is_empty = tag.ends_with('/');
    if (is_empty) tag.remove_suffix(1);
    return Open(tag) && (!is_empty || Close(NameOf(tag)));
  }

  bool SkipTo(std::string_view end) {
    const auto at = rest_.find(end);
    if (at == std::string_view::npos) return false;
    rest_.remove_prefix(at + end.size());
    return true;
  }

  static std::string_view NameOf(std::string_view tag) {
    std::string_view name = tag.substr(0, tag.find_first_of(kBlanks));
    const auto prefix = name.find(':');
    if (prefix != std::string_view::npos) name.remove_prefix(prefix + 1);
    return name;
  }

  bool Open(std::string_view tag) {
    const std::string_view name = NameOf(tag);
    if (name.empty() || name.size() > kLongestName || path_.size() == kDeepest) return false;
    if (path_.empty() && std::exchange(has_root_, true)) return false;
    attributes_ = tag.substr(std::min(tag.find_first_of(kBlanks), tag.size()));
    if (path_.empty()) document_.root_attributes = attributes_;
    path_.emplace_back(name);
    text_.clear();
    has_leaf_text_ = true;
    return true;
  }

  bool Close(std::string_view name) {
    if (path_.empty() || path_.back() != name) return false;
    if (std::exchange(has_leaf_text_, false)) {
      XmlLeaf leaf{path_.front(), attributes_, Decoded(Trimmed(text_))};
      for (std::size_t i = 1; i < path_.size(); ++i) leaf.path += '/' + path_[i];
      document_.leaves.push_back(std::move(leaf));
    }
    path_.pop_back();
    return true;
  }

  std::string_view rest_;
  XmlDocument document_;
  std::vector<std::string> path_;
  std::string attributes_;      // of the innermost element
  std::string text_;            // of the innermost element
  bool has_leaf_text_ = false;  // as long as no element was seen inside
  bool has_root_ = false;
};

}  // namespace

std::vector<const XmlLeaf*> XmlDocument::Find(std::string_view path_end) const {
  std::vector<const XmlLeaf*> found;
  for (const XmlLeaf& leaf : leaves) {
    const std::string_view path = leaf.path;
    if (path == path_end || path.ends_with('/' + std::string(path_end))) found.push_back(&leaf);
  }
  return found;
}

std::optional<XmlDocument> ParseXml(std::string_view bytes) { return XmlParser(bytes).Run(); }

std::string EscapedXml(std::string_view utf8) {
  std::string xml;
  for (const char c : utf8) {
    const auto entity = std::find_if(kEntities.begin(), kEntities.end(),
                                     [c](const Entity& row) { return row.character == c; });
    if (entity == kEntities.end())
      xml += c;
    else
      xml.append("&").append(entity->name).append(";");
  }
  return xml;
}

std::string XmlText(std::string_view latin1) {
  std::string utf8;
  for (const char c : latin1) {
    const auto code = static_cast<unsigned char>(c);
    if (code < 0x80) {
      utf8 += c;
    } else {
      utf8 += static_cast<char>(0xC0 | (code >> 6));
      utf8 += static_cast<char>(0x80 | (code & 0x3F));
    }
  }
  return EscapedXml(utf8);
}

}  // namespace tmx::demo
