#include "tmxtools/textres/message_resolver.h"

#include <algorithm>

MessageResolverManager* MessageResolverManager::getInstance() {
  struct Manager : MessageResolverManager {};
  static Manager manager;
  return &manager;
}

void MessageResolverManager::add(IMessageResolver const* resolver) {
  if (resolver != nullptr) resolvers_.push_back(resolver);
}

void MessageResolverManager::remove(IMessageResolver const* resolver) {
  const auto found = std::find(resolvers_.begin(), resolvers_.end(), resolver);
  if (found != resolvers_.end()) resolvers_.erase(found);
}

std::string MessageResolverManager::getMessage(unsigned short code) {
  for (const IMessageResolver* resolver : resolvers_)
    if (resolver->canResolve(code)) return resolver->getMessage(code);
  return "Unresolved Error code: " + std::to_string(code) +
         " ResId: " + std::to_string(code & 0x3FFF);
}
