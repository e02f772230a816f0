#include "tools/output.h"

#include <langinfo.h>
#include <locale.h>
#include <unistd.h>

#include <cstdio>

namespace tmx::tools {
namespace {

bool LocaleIsUtf8() {
  const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr);
  if (locale == nullptr) return false;
  const bool is_utf8 = std::string_view(nl_langinfo_l(CODESET, locale)) == "UTF-8";
  freelocale(locale);
  return is_utf8;
}

}  // namespace

std::string Utf8(std::string_view latin1) {
  std::string utf8;
  for (const char raw : latin1) {
    const auto byte = static_cast<unsigned char>(raw);
    if (byte < 0x80) {
      utf8 += raw;
    } else {
      utf8 += static_cast<char>(0xC0 | (byte >> 6));
      utf8 += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return utf8;
}

bool OutputIsUtf8() {
  static const bool is_utf8 = LocaleIsUtf8();
  return is_utf8;
}

std::string ForOutput(std::string_view latin1) {
  return OutputIsUtf8() ? Utf8(latin1) : std::string(latin1);
}

WarningsToStderr::WarningsToStderr() {
  std::fflush(stdout);
  stdout_ = dup(STDOUT_FILENO);
  if (stdout_ >= 0) dup2(STDERR_FILENO, STDOUT_FILENO);
}

WarningsToStderr::~WarningsToStderr() {
  std::fflush(stdout);
  if (stdout_ < 0) return;
  dup2(stdout_, STDOUT_FILENO);
  close(stdout_);
}

}  // namespace tmx::tools
