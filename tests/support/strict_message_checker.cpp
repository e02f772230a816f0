#include "tests/support/strict_message_checker.h"

#include <algorithm>
#include <chrono>
#include <vector>

namespace tmx::test {
namespace {

struct Part {
  std::string text;
  bool binary = false;
};
using Parts = std::vector<Part>;
using Pieces = std::vector<Parts>;

bool AreDigits(std::string_view text) {
  return !text.empty() && text.size() < 13 &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool IsNumber(std::string_view text) {
  return AreDigits(text) && (text.size() == 1 || text[0] != '0');
}

int NumberAt(std::string_view digits, std::size_t at, std::size_t count) {
  return std::stoi(std::string(digits.substr(at, count)));
}

bool IsDate(std::string_view text) {
  if (text.size() != 8 || !AreDigits(text)) return false;
  const std::chrono::year_month_day date{
      std::chrono::year(NumberAt(text, 0, 4)),
      std::chrono::month(static_cast<unsigned>(NumberAt(text, 4, 2))),
      std::chrono::day(static_cast<unsigned>(NumberAt(text, 6, 2)))};
  return date.ok();
}

bool IsTime(std::string_view text) {
  return text.size() == 6 && AreDigits(text) && NumberAt(text, 0, 2) < 24 &&
         NumberAt(text, 2, 2) < 60 && NumberAt(text, 4, 2) < 60;
}

#define ACCOUNT "T:t:N:T"
#define OLD_ACCOUNT "T:N:T"
#define SEPA_ACCOUNT "t:t:t:t:n:t"
#define SIGNATURE_KEY "N:T:T:=S:N:N"
#define CRYPT_KEY "N:T:T:=V:N:N"

constexpr SegmentForm kForms[] = {
    {"HNHBK:3", "Z+N+T+N+t:n", 0},
    {"HNVSK:2", "=998+N+N:t:T+N:D:H+N:N:N:B:N:N:b+" CRYPT_KEY "+N", 220},
    {"HNVSK:3", "=PIN:N+=998+N+N:t:T+N:D:H+N:N:N:B:N:N:b+" CRYPT_KEY "+N", 300},
    {"HNVSD:1", "B", 0},
    {"HNSHK:3", "N+T+N+N+N:t:T+N+N:D:H+N:N:N+N:N:N+" SIGNATURE_KEY, 220},
    {"HNSHK:4", "=PIN:N+N+T+N+N+N:t:T+N+N:D:H+N:N:N+N:N:N+" SIGNATURE_KEY, 300},
    {"HKIDN:2", "N:T+T+T+N", 0},
    {"HKVVB:2", "N+N+N+T+T", 220},
    {"HKVVB:3", "N+N+N+T+T", 300},
    {"HKSYN:2", "N", 220},
    {"HKSYN:3", "N", 300},
    {"HKTAN:5", "T+t+" SEPA_ACCOUNT "+b+t+t+j+j+t:t:n:t+n+t*+t", 300},
    {"HKTAN:6", "T+t+" SEPA_ACCOUNT "+b+t+j+j+t:t:n:t+n+t*+t+t", 300},
    {"HKTAN:7", "T+t+" SEPA_ACCOUNT "+b+t+j+j+t:t:n:t+n+t*+t+t", 300},
    {"HKSPA:1", "t:t:n:t", 300},
    {"HKSAL:3", OLD_ACCOUNT "+J+t+n+t", 220},
    {"HKSAL:4", OLD_ACCOUNT "+J+t+n+t", 220},
    {"HKSAL:5", ACCOUNT "+J+n+t", 0},
    {"HKSAL:6", ACCOUNT "+J+n+t", 300},
    {"HKSAL:7", SEPA_ACCOUNT "+J+n+t", 300},
    {"HKSAL:8", SEPA_ACCOUNT "+J+n+t", 300},
    {"HKKAZ:5", ACCOUNT "+J+d+d+n+t", 300},
    {"HKKAZ:6", ACCOUNT "+J+d+d+n+t", 300},
    {"HKKAZ:7", SEPA_ACCOUNT "+J+d+d+n+t", 300},
    {"HKCAZ:1", SEPA_ACCOUNT "+T*+J+d+d+n+t", 300},
    {"HKCCS:1", "T:t:t:t:n:t+T+B", 300},
    {"HKTAB:4", "N+T", 300},
    {"HKTAB:5", "N+T", 300},
    {"HKEND:1", "T", 0},
    {"HNSHA:1", "T+t+T:t", 220},
    {"HNSHA:2", "T+t+T:t", 300},
    {"HNHBS:1", "N", 0},
};

constexpr const char* kOneStep = "999";  // the security function without a TAN procedure

class Checker {
 public:
  explicit Checker(std::string_view bytes) : bytes_(bytes) {}

  std::string Run() {
    std::vector<Pieces> outer;
    std::vector<Pieces> inner;
    if (!Split(bytes_, outer) || !CheckEnvelope(outer)) return problem_;
    if (!Split(outer[2][1][0].text, inner) || !CheckInner(inner, outer[3])) return problem_;
    for (const auto* const list : {&outer, &inner})
      for (const Pieces& segment : *list)
        if (!CheckForm(segment)) return problem_;
    CheckReferences(outer, inner);
    return problem_;
  }

 private:
  bool Fail(std::string problem) {
    problem_ = std::move(problem);
    return false;
  }
  bool Must(bool holds, const char* rule) { return holds || Fail(rule); }

  bool Split(std::string_view text, std::vector<Pieces>& segments) {
    Pieces pieces(1, Parts(1));
    bool after_binary = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
      const char c = text[i];
      Part& part = pieces.back().back();
      if (c == '\'' || c == '+' || c == ':') {
        after_binary = false;
        if (c == ':') pieces.back().emplace_back();
        if (c == '+') pieces.emplace_back(1);
        if (c != '\'') continue;
        segments.push_back(std::move(pieces));
        pieces.assign(1, Parts(1));
        continue;
      }
      if (after_binary) return Fail("syntax: text behind bytes");
      if (c == '@') {
        const std::size_t end = text.find('@', i + 1);
        if (!part.text.empty() || end == text.npos || !AreDigits(text.substr(i + 1, end - i - 1)))
          return Fail("syntax: '@' without escape");
        const std::size_t size = std::stoul(std::string(text.substr(i + 1, end - i - 1)));
        if (size > text.size() - end - 1) return Fail("syntax: bytes cut");
        part = {std::string(text.substr(end + 1, size)), true};
        after_binary = true;
        i = end + size;
      } else if (c == '?') {
        if (++i == text.size() || std::string_view("+:'?@").find(text[i]) == std::string_view::npos)
          return Fail("syntax: escape of nothing special");
        part.text += text[i];
      } else {
        part.text += c;
      }
    }
    return Must(pieces.size() == 1 && pieces[0].size() == 1 && pieces[0][0].text.empty(),
                "syntax: segment without end");
  }

  static std::string Text(const Pieces& segment, std::size_t element, std::size_t part = 0) {
    if (element >= segment.size() || part >= segment[element].size()) return "";
    return segment[element][part].text;
  }

  bool CheckEnvelope(const std::vector<Pieces>& outer) {
    constexpr const char* codes[] = {"HNHBK", "HNVSK", "HNVSD", "HNHBS"};
    constexpr const char* numbers[] = {"1", "998", "999"};
    if (outer.size() != 4) return Fail("envelope: segments");
    for (std::size_t i = 0; i < 4; ++i)
      if (Text(outer[i], 0) != codes[i]) return Fail("envelope: order");
    for (std::size_t i = 0; i < 3; ++i)
      if (Text(outer[i], 0, 1) != numbers[i]) return Fail("envelope: number");
    std::string size = std::to_string(bytes_.size());
    size.insert(0, 12 - size.size(), '0');
    const std::string standard = Text(outer[0], 2);
    standard_ = standard == "220" ? 220 : 300;
    return Must(Text(outer[0], 1) == size, "size") &&
           Must(standard == "300" || standard == "220", "version of the standard") &&
           Must(outer[2].size() == 2 && outer[2][1][0].binary, "HNVSD without bytes");
  }

  bool CheckInner(const std::vector<Pieces>& inner, const Pieces& tail) {
    if (inner.size() < 3 || Text(inner.front(), 0) != "HNSHK" || Text(inner.back(), 0) != "HNSHA")
      return Fail("signature missing");
    std::size_t number = 2;
    for (const Pieces& segment : inner)
      if (Text(segment, 0, 1) != std::to_string(number++)) return Fail("segment number");
    return Must(Text(tail, 0, 1) == std::to_string(number), "segment number of HNHBS");
  }

  // What segments say about others.
  bool CheckReferences(const std::vector<Pieces>& outer, const std::vector<Pieces>& inner) {
    // The profile stands in front from version 300 on.
    const std::size_t shift = standard_ == 300 ? 1 : 0;
    const Pieces& crypt = outer[1];
    const Pieces& sign = inner.front();
    const std::string system_id = Text(sign, shift + 5, 2);
    if (!Must(Text(outer[3], 1) == Text(outer[0], 4), "message number of HNHBS") ||
        !Must(Text(sign, shift + 2) == Text(inner.back(), 1), "control reference") ||
        !Must(system_id == Text(crypt, shift + 3, 2), "system id of HNVSK"))
      return false;
    if (!Must((Text(outer[0], 3) == "0") == (Text(outer[0], 4) == "1"), "message number of HNHBK"))
      return false;
    if (standard_ == 300) {
      const char* const version = Text(sign, 2) == kOneStep ? "1" : "2";
      if (!Must(Text(sign, 1, 1) == version, "profile of HNSHK") ||
          !Must(Text(crypt, 1, 1) == version, "profile of HNVSK"))
        return false;
    }
    for (std::size_t part = 0; part < 3; ++part)
      if (Text(sign, shift + 10, part) != Text(crypt, shift + 6, part))
        return Fail("bank or user of HNVSK");
    for (const Pieces& segment : inner) {
      const std::string code = Text(segment, 0);
      if (code == "HKEND" && Text(segment, 1) != Text(outer[0], 3)) return Fail("dialog of HKEND");
      if (code == "HKIDN" && Text(segment, 3) != system_id) return Fail("system id of HKIDN");
      if (code == "HKTAN" && !CheckTan(inner, segment)) return false;
    }
    return true;
  }

  // What each process needs: the order's code, or the reference that the bank gave and whether
  // another TAN follows.
  bool CheckTan(const std::vector<Pieces>& inner, const Pieces& segment) {
    const std::string process = Text(segment, 1), order = Text(segment, 2);
    const std::size_t more_follow = Text(segment, 0, 2) == "5" ? 7 : 6;
    if (!order.empty() && !Holds(inner, order)) return Fail("order of HKTAN");
    if (process == "4") return Must(!order.empty(), "process 4 of HKTAN without an order");
    return Must(process == "2" || process == "S", "process of HKTAN") &&
           Must(!Text(segment, 5).empty(), "process of HKTAN without a reference") &&
           Must(!Text(segment, more_follow).empty(), "process of HKTAN without its end");
  }

  static bool Holds(const std::vector<Pieces>& segments, const std::string& code) {
    return std::ranges::any_of(segments,
                               [&](const Pieces& segment) { return Text(segment, 0) == code; });
  }

  // The form is one part's: a letter, or '=' and the value.
  static bool HasType(const Part& part, std::string_view form) {
    const char type = form[0] < 'a' ? static_cast<char>(form[0] | 32) : form[0];
    if (part.binary != (type == 'b')) return false;
    const std::string& text = part.text;
    if (type == '=') return text == form.substr(1);
    if (type == 'n') return IsNumber(text);
    if (type == 'z') return AreDigits(text);
    if (type == 'd') return IsDate(text);
    if (type == 'h') return IsTime(text);
    if (type == 'j') return text == "J" || text == "N";
    return true;
  }

  bool CheckElement(const Parts& parts, std::string_view form, const std::string& where) {
    if (parts.size() > 1 && parts.back().text.empty() && !parts.back().binary)
      return Fail("trailing empty part in " + where);
    for (std::size_t i = 0; !form.empty() || i < parts.size(); ++i) {
      if (form.empty()) return Fail("too many parts in " + where);
      const std::string_view one = form.substr(0, form.find(':'));
      const bool given = i < parts.size() && (parts[i].binary || !parts[i].text.empty());
      if (!given && one[0] < 'a') return Fail("mandatory element missing in " + where);
      if (given && !HasType(parts[i], one)) return Fail("type in " + where);
      if (one.ends_with('*') && i + 1 < parts.size()) continue;
      form.remove_prefix(std::min(form.size(), one.size() + 1));
    }
    return true;
  }

  bool CheckForm(const Pieces& segment) {
    const std::string name = Text(segment, 0) + ':' + Text(segment, 0, 2);
    const auto* const found = std::ranges::find_if(kForms, [&](const SegmentForm& form) {
      return form.name == name && (form.standard == 0 || form.standard == standard_);
    });
    if (found == std::end(kForms)) return Fail("unknown segment " + name);
    if (segment[0].size() != 3) return Fail("reference in " + name);
    if (segment.size() > 1 && segment.back().size() == 1 && segment.back()[0].text.empty() &&
        !segment.back()[0].binary)
      return Fail("trailing empty element in " + name);
    std::string_view form = found->elements;
    for (std::size_t i = 1; !form.empty() || i < segment.size(); ++i) {
      if (form.empty()) return Fail("too many elements in " + name);
      const std::string_view one = form.substr(0, form.find('+'));
      form.remove_prefix(std::min(form.size(), one.size() + 1));
      if (!CheckElement(i < segment.size() ? segment[i] : Parts(), one, name)) return false;
    }
    return true;
  }

  std::string_view bytes_;
  int standard_ = 300;
  std::string problem_;
};

}  // namespace

std::span<const SegmentForm> SegmentForms() { return kForms; }

std::string CheckMessage(std::string_view bytes) { return Checker(bytes).Run(); }

}  // namespace tmx::test
