#include "tmxtools/streams/script.h"

#include <new>
#include <string_view>
#include <utility>

namespace {

constexpr char kSeparator = ';';
constexpr unsigned short kMalformedRecord = 17749;
constexpr unsigned short kInvalidParameter = 0x454F;
constexpr unsigned short kOutOfMemory = 0x4554;

}  // namespace

HbScript::HbScript(const String& name, HbError& err)
    : HbFile(err, name,
             tmx::stream_mode::Read | tmx::stream_mode::NoCreate | tmx::stream_mode::Share) {}

bool HbScript::NextToken(char& kind, String& line, unsigned short& fieldCount, HbError& err) {
  if (!pushed_back_.IsEmpty()) {
    line = std::exchange(pushed_back_, String());
  } else if (!ReadLine(line, err)) {
    return false;
  }
  fieldCount = line.GetTokenCount(kSeparator);
  const std::string_view first = line.View().substr(0, line.View().find(kSeparator));
  if (first.size() == 1) {
    kind = first[0];
  } else {
    err = MalformedRecord(line);
  }
  return first.size() == 1 && !err.IsSet();  // without memory there may be no error
}

HbError HbScript::MalformedRecord(const String& line) const try {
  if (line.IsEmpty()) return {kMalformedRecord, GetFileName()};
  constexpr std::string_view between = ": ";
  if (GetFileName().Len() + between.size() + line.Len() > String::MaxLen) {
    return {kInvalidParameter, GetFileName()};
  }
  return {kMalformedRecord, GetFileName() + between + line};
} catch (const std::bad_alloc&) {
  return {kOutOfMemory, GetFileName()};
}
