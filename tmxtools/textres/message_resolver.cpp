#include "tmxtools/textres/message_resolver.h"

#include <algorithm>
#include <atomic>
#include <memory>

#include "tmxtools/platform/mutex.h"
#include "tmxtools/platform/program.h"
#include "tmxtools/textres/never_destroyed.h"
#include "tmxtools/textres/number_text.h"
#include "tmxtools/textres/start_up.h"
#include "tmxtools/textres/text_resolver.h"

using com::velmora::core::lexical_cast;

namespace {

// The static objects of this file depend on one another and therefore stand in one file. They end
// in the reverse order: first the attachment takes its resolver away, then the guard deletes the
// manager. Whoever asks for the manager even later gets a new one, which nobody deletes.
constinit std::atomic<MessageResolverManager*> manager{nullptr};
constinit com::velmora::core::destroy<MessageResolverManager> guard;
constinit std::atomic<bool> guard_has_run{false};

vos::OMutex& ManagerMutex() {
  static tmx::NeverDestroyed<vos::OMutex> mutex;
  return mutex.value;
}

// Attaches the library to the process and detaches it.
class Attachment {
 public:
  Attachment()
      : resolver_(tmx::FindTextResource(tmx::ProgramDirectory(), tmx::EnvironmentVariable("PATH"),
                                        tmx::kNativePaths, tmx::IsReadableFile)) {
    MessageResolverManager::getInstance()->add(&resolver_);
  }
  ~Attachment() {
    MessageResolverManager::getInstance()->remove(&resolver_);
    HbTextResolver::DeInit();
  }
  Attachment(const Attachment&) = delete;
  Attachment& operator=(const Attachment&) = delete;

 private:
  IniFileMessageResolver resolver_;
};

const Attachment attachment;

}  // namespace

MessageResolverManager* MessageResolverManager::getInstance() {
  if (MessageResolverManager* const made = manager.load(std::memory_order_acquire)) return made;
  const vos::OGuard lock(ManagerMutex());
  if (MessageResolverManager* const made = manager.load(std::memory_order_acquire)) return made;
  struct Manager : MessageResolverManager {};
  MessageResolverManager* const fresh = std::make_unique<Manager>().release();
  if (!guard_has_run) guard.setInstance(fresh);
  manager.store(fresh, std::memory_order_release);
  return fresh;
}

MessageResolverManager::~MessageResolverManager() {
  guard_has_run = true;
  manager = nullptr;
}

void MessageResolverManager::add(IMessageResolver const* resolver) {
  if (resolver != nullptr) resolvers_.push_back(resolver);
}

void MessageResolverManager::remove(IMessageResolver const* resolver) {
  const auto found = std::find(resolvers_.begin(), resolvers_.end(), resolver);
  if (found != resolvers_.end()) resolvers_.erase(found);
}

IMessageResolver const* MessageResolverManager::find(unsigned short code) const {
  const auto found = std::find_if(resolvers_.begin(), resolvers_.end(),
                                  [code](auto* resolver) { return resolver->canResolve(code); });
  return found != resolvers_.end() ? *found : nullptr;
}

std::string MessageResolverManager::getMessage(unsigned short code) {
  // Resolvers are kept as const, yet a resolver may change while it makes a text.
  if (const IMessageResolver* const resolver = find(code))
    return const_cast<IMessageResolver*>(resolver)->getMessage(code);
  return "Unresolved Error code: " + lexical_cast(code) + " ResId: " + lexical_cast(code & 0x3FFF);
}
