// How message codes become texts.
#pragma once

#include <string>
#include <vector>

#include "tmxtools/platform/export.h"
#include "tmxtools/textres/destroy.h"

namespace hbk {

// Languages by their Windows numbers. German is the only one in use.
enum class HbLanguageType : int { kGerman = 1031 };

}  // namespace hbk

// Gives codes their texts. Owner: whoever made it; managers only refer to it.
class TMX_EXPORT IMessageResolver {
 public:
  virtual bool canResolve(unsigned short code) const = 0;
  virtual std::string getMessage(unsigned short code) = 0;

 protected:
  IMessageResolver() = default;
  IMessageResolver(const IMessageResolver&) = default;
  IMessageResolver& operator=(const IMessageResolver&) = default;
  virtual ~IMessageResolver() = default;

 public:
  virtual bool setLanguage(hbk::HbLanguageType language) = 0;
};

// The resolvers in the order in which they are asked; the first that can resolve a code does.
//
// When the library is attached to a process it adds a resolver over its own text resource file;
// when it is detached it takes that one away again.
//
// Owner: the library, one instance, deleted at process exit; it does not own its resolvers. Empty
// state: no resolvers. Threads: getInstance() is serialised; add and remove resolvers while nobody
// resolves.
class TMX_EXPORT MessageResolverManager {
 public:
  // The one instance, made on the first call, and made anew when it is asked for after its end.
  static MessageResolverManager* getInstance();

  MessageResolverManager(const MessageResolverManager&) = delete;
  MessageResolverManager& operator=(const MessageResolverManager&) = delete;

  // Null is ignored; the same resolver may be added twice.
  virtual void add(IMessageResolver const* resolver);
  // Removes the first occurrence; null is ignored.
  virtual void remove(IMessageResolver const* resolver);
  // Whether a resolver can.
  bool canResolve(unsigned short code) const { return find(code) != nullptr; }
  // "Unresolved Error code: N ResId: M" when no resolver can.
  virtual std::string getMessage(unsigned short code);

 protected:
  MessageResolverManager() = default;
  virtual ~MessageResolverManager();

 private:
  friend class com::velmora::core::destroy<MessageResolverManager>;

  // The first resolver that can resolve a code, or null.
  IMessageResolver const* find(unsigned short code) const;

  std::vector<IMessageResolver const*> resolvers_;
};
