#include "compiler/lexer.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace tmx::compiler {
namespace {

// Character classes of the source text, whatever the locale says.
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsWordStart(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool IsWordPart(char c) { return IsWordStart(c) || IsDigit(c); }
int HexValue(char c) {
  if (IsDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool IsPunctuation(char c) { return c != '\0' && std::strchr("()[],:=<>+-*/%!", c) != nullptr; }
bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

// Whether the bytes hold a character that only UTF-8 writes so, and nothing that is not UTF-8.
bool LooksLikeUtf8(std::string_view bytes) {
  bool found = false;
  for (std::size_t i = 0; i < bytes.size();) {
    const auto lead = static_cast<unsigned char>(bytes[i++]);
    if (lead < 0x80) continue;
    const int more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
    if (lead < 0xC2 || lead > 0xF4) return false;
    for (int k = 0; k < more; ++k, ++i)
      if (i >= bytes.size() || (static_cast<unsigned char>(bytes[i]) & 0xC0) != 0x80) return false;
    found = true;
  }
  return found;
}

// Numbers beyond every operand's range stop growing here, so that none wraps into a valid one.
constexpr std::int64_t kHuge = std::int64_t{1} << 40;

class Lexer {
 public:
  Lexer(const Source& source, Diagnostics& diagnostics)
      : text_(source.Text()), diagnostics_(diagnostics) {}

  std::vector<Token> Run() {
    while (pos_ < text_.size()) Next();
    if (tokens_.empty() || tokens_.back().kind != TokenKind::kNewline) Add(TokenKind::kNewline);
    Add(TokenKind::kEnd);
    return std::move(tokens_);
  }

 private:
  char Peek(std::size_t ahead = 0) const {
    return pos_ + ahead < text_.size() ? text_[pos_ + ahead] : '\0';
  }
  Position Here() const { return {line_, static_cast<int>(pos_ - line_start_) + 1}; }
  Token& Add(TokenKind kind) {
    tokens_.push_back({kind, Here(), {}, 0});
    return tokens_.back();
  }

  void Next() {
    const char c = Peek();
    if (c == '\n') return LineEnd();
    if (IsBlank(c)) return void(++pos_);
    if (c == '#') return Comment();
    if (IsWordStart(c)) return Word();
    if (IsDigit(c)) return NumberOrDate();
    if (c == '"') return Text();
    if (c == '\'') return Character();
    if (c == '$') return Marked(TokenKind::kId, "an id like $33");
    if (c == '@') return Marked(TokenKind::kTarget, "an offset like @120");
    if (IsPunctuation(c)) return Punctuation();
    Foreign();
  }

  void LineEnd() {
    const bool continues = !tokens_.empty() && (tokens_.back().Is(",") || tokens_.back().Is("("));
    const bool blank = tokens_.empty() || tokens_.back().kind == TokenKind::kNewline;
    if (!continues && !blank) Add(TokenKind::kNewline);
    ++pos_;
    ++line_;
    line_start_ = pos_;
  }

  void Comment() {
    while (pos_ < text_.size() && Peek() != '\n') ++pos_;
  }

  void Word() {
    Token& token = Add(TokenKind::kWord);
    while (IsWordPart(Peek())) token.text += text_[pos_++];
  }

  std::int64_t Decimal() {
    std::int64_t value = 0;
    for (; IsDigit(Peek()); ++pos_) value = value < kHuge ? value * 10 + (Peek() - '0') : value;
    return value;
  }

  std::int64_t Hexadecimal() {
    std::int64_t value = 0;
    for (; HexValue(Peek()) >= 0; ++pos_)
      value = value < kHuge ? value * 16 + HexValue(Peek()) : value;
    return value;
  }

  void NumberOrDate() {
    Token token{TokenKind::kNumber, Here(), {}, 0};
    if (Peek() == '0' && (Peek(1) == 'x' || Peek(1) == 'X') && HexValue(Peek(2)) >= 0) {
      pos_ += 2;
      token.number = Hexadecimal();
    } else {
      token.number = Decimal();
      if (Peek() == '.' && IsDigit(Peek(1))) Date(token);
    }
    if (IsWordPart(Peek())) {
      diagnostics_.Error(token.at, "malformed number");
      while (IsWordPart(Peek())) ++pos_;
    }
    tokens_.push_back(std::move(token));
  }

  // The year is one number, or century and year of the century as they stand in bytecode.
  void Date(Token& token) {
    std::vector<std::int64_t> parts{token.number};
    while (Peek() == '.' && IsDigit(Peek(1))) {
      ++pos_;
      parts.push_back(Decimal());
    }
    if (parts.size() == 3) {
      parts.push_back(parts[2] % 100);
      parts[2] /= 100;
    }
    bool good = parts.size() == 4;
    for (const std::int64_t part : parts) good = good && part <= 255;
    if (!good) {
      diagnostics_.Error(token.at, "malformed date; write day.month.year");
      parts.assign(4, 0);
    }
    token.kind = TokenKind::kDate;
    for (const std::int64_t part : parts) token.text += static_cast<char>(part);
  }

  std::optional<char> Escape() {
    const Position at = Here();
    const char c = Peek(1);
    pos_ += 2;
    constexpr const char* kNames = "nrt\\\"'";
    constexpr const char* kValues = "\n\r\t\\\"'";
    if (c != '\0')
      if (const char* found = std::strchr(kNames, c)) return kValues[found - kNames];
    if (c == 'x' && HexValue(Peek()) >= 0 && HexValue(Peek(1)) >= 0) {
      const int value = HexValue(Peek()) * 16 + HexValue(Peek(1));
      pos_ += 2;
      return static_cast<char>(value);
    }
    diagnostics_.Error(at, "unknown escape; known are \\n \\r \\t \\\\ \\\" \\' and \\xNN");
    pos_ = std::min(pos_, text_.size());
    return std::nullopt;
  }

  bool AtLineEnd() const {
    return pos_ >= text_.size() || text_[pos_] == '\n' || (text_[pos_] == '\r' && Peek(1) == '\n');
  }

  void Text() {
    Token token{TokenKind::kText, Here(), {}, 0};
    const std::size_t begin = ++pos_;
    while (!AtLineEnd() && Peek() != '"') {
      if (Peek() != '\\') {
        token.text += text_[pos_++];
      } else if (const auto c = Escape()) {
        token.text += *c;
      }
    }
    if (AtLineEnd())
      diagnostics_.Error(token.at, "text without closing quote");
    else
      WarnOfUtf8(token.at, std::string_view(text_).substr(begin, pos_++ - begin));
    tokens_.push_back(std::move(token));
  }

  // Such a text has more bytes than its author sees. Once says it for the whole source.
  void WarnOfUtf8(Position at, std::string_view written) {
    if (warned_of_utf8_ || !LooksLikeUtf8(written)) return;
    diagnostics_.Warning(at, "the text looks like UTF-8; sources are ISO 8859-1");
    warned_of_utf8_ = true;
  }

  void Character() {
    Token token{TokenKind::kCharacter, Here(), {}, 0};
    ++pos_;
    if (!AtLineEnd()) {
      const auto c = Peek() == '\\' ? Escape() : std::optional<char>(text_[pos_++]);
      token.number = static_cast<unsigned char>(c.value_or('\0'));
    }
    if (Peek() != '\'') {
      diagnostics_.Error(token.at, "a character stands between single quotes, like ';'");
      while (IsWordPart(Peek())) ++pos_;
    }
    if (Peek() == '\'') ++pos_;
    tokens_.push_back(std::move(token));
  }

  void Marked(TokenKind kind, const char* expected) {
    Token token{kind, Here(), {}, 0};
    ++pos_;
    if (!IsDigit(Peek())) diagnostics_.Error(token.at, std::string("expected ") + expected);
    token.number = Decimal();
    // A name behind an id is a reader's hint and has no meaning.
    if (kind == TokenKind::kId && Peek() == ':' && IsWordStart(Peek(1)))
      for (++pos_; IsWordPart(Peek());) ++pos_;
    tokens_.push_back(std::move(token));
  }

  void Punctuation() {
    const char c = Peek();
    Token& token = Add(TokenKind::kPunctuation);
    token.text = c;
    ++pos_;
    if (Peek() == '=' && (c == '!' || c == '<' || c == '>')) token.text += text_[pos_++];
  }

  // Characters that begin no token: one message for as many as stand together.
  void Foreign() {
    const bool is_mark = pos_ == 0 && text_.starts_with("\xEF\xBB\xBF");
    diagnostics_.Error(Here(),
                       is_mark ? "the source begins with a mark of UTF-8; sources are ISO 8859-1"
                               : "unexpected character");
    do ++pos_;
    while (pos_ < text_.size() && BeginsNothing(text_[pos_]));
  }

  static bool BeginsNothing(char c) {
    return c != '\n' && c != '#' && c != '"' && c != '\'' && c != '$' && c != '@' && !IsBlank(c) &&
           !IsWordPart(c) && !IsPunctuation(c);
  }

  const std::string& text_;
  Diagnostics& diagnostics_;
  std::vector<Token> tokens_;
  std::size_t pos_ = 0;
  std::size_t line_start_ = 0;
  int line_ = 1;
  bool warned_of_utf8_ = false;
};

}  // namespace

std::vector<Token> Lex(const Source& source, Diagnostics& diagnostics) {
  return Lexer(source, diagnostics).Run();
}

}  // namespace tmx::compiler
