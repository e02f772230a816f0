// Message texts from a text resource file.
#pragma once

#include <string>

#include "tmxtools/platform/export.h"
#include "tmxtools/textres/message_resolver.h"

// The one text resource file of the process. The texts stand in its section "DEUTSCH", whatever the
// language, under the codes in decimal.
//
// Owner: the library, until DeInit(). Empty state: not initialised. Threads: exist() and GetText()
// may run in several at once, Init() and DeInit() alone.
class TMX_EXPORT HbTextResolver {
 public:
  // Loads the file. Only the first call has an effect. A file that cannot be read is reported on
  // standard output and counts as an empty one.
  static void Init(std::string const& path, hbk::HbLanguageType language);
  static bool isInit();
  static void DeInit();

  // Whether there is a text for the code.
  static bool exist(int code, hbk::HbLanguageType language);
  // The text, "[N]:unknown resource" without one, or "[resource file not initialized]".
  static std::string GetText(int code, hbk::HbLanguageType language);
};

// Resolves codes from the process's text resource file. Owner: whoever made it; the library's own
// one belongs to its start-up. Empty state: none. Threads: resolving may run in several at once.
class TMX_EXPORT IniFileMessageResolver : public IMessageResolver {
 public:
  // Loads the file unless one is loaded.
  explicit IniFileMessageResolver(std::string const& path);
  ~IniFileMessageResolver() override;

  bool canResolve(unsigned short code) const override;
  std::string getMessage(unsigned short code) override;
  // There is one language only: does nothing and returns false.
  bool setLanguage(hbk::HbLanguageType language) override;
};
