#include "tmxtools/textres/text_resolver.h"

#include <cstdio>
#include <memory>
#include <optional>
#include <string_view>

#include "tmxtools/textres/never_destroyed.h"
#include "tmxtools/textres/number_text.h"
#include "tmxtools/textres/text_res.h"

using com::velmora::core::lexical_cast;
using hbk::HbLanguageType;

namespace {

struct Holder {
  std::unique_ptr<HbTextResFile> file;
  HbLanguageType language = HbLanguageType::kGerman;
};

// Texts are asked for until the last moment of the process: the detach deletes the file, and
// nothing is left for a destructor.
constinit tmx::NeverDestroyed<Holder> holder;

std::optional<std::string_view> FindText(const std::string& key) {
  const HbTextResSection* const section = holder.value.file->find_section("DEUTSCH");
  return section == nullptr ? std::nullopt : section->find_value(key);
}

}  // namespace

void HbTextResolver::Init(std::string const& path, HbLanguageType language) {
  if (isInit()) return;
  holder.value = {std::make_unique<HbTextResFile>(), language};
  if (!holder.value.file->load(path)) std::printf("No File found with Name: %s\n", path.c_str());
}

bool HbTextResolver::isInit() { return holder.value.file != nullptr; }

void HbTextResolver::DeInit() { holder.value.file = nullptr; }

bool HbTextResolver::exist(int code, HbLanguageType) {
  return isInit() && FindText(lexical_cast(code)).has_value();
}

std::string HbTextResolver::GetText(int code, HbLanguageType) {
  if (!isInit()) return "[resource file not initialized]";
  const std::string key = lexical_cast(code);
  if (const auto text = FindText(key)) return std::string(*text);
  return "[" + key + "]:unknown resource";
}

IniFileMessageResolver::IniFileMessageResolver(std::string const& path) {
  HbTextResolver::Init(path, HbLanguageType::kGerman);
}

IniFileMessageResolver::~IniFileMessageResolver() = default;

bool IniFileMessageResolver::canResolve(unsigned short code) const {
  return HbTextResolver::exist(code, HbLanguageType::kGerman);
}

std::string IniFileMessageResolver::getMessage(unsigned short code) {
  return HbTextResolver::GetText(code, HbLanguageType::kGerman);
}

bool IniFileMessageResolver::setLanguage(HbLanguageType) { return false; }
