#include "tmxtools/platform/env.h"

#include <atomic>

namespace tmx {
namespace {

std::atomic<Env*> current_env{nullptr};

}  // namespace

Env& CurrentEnv() {
  Env* const env = current_env.load(std::memory_order_acquire);
  return env == nullptr ? SystemEnv() : *env;
}

Env* SetEnv(Env* env) { return current_env.exchange(env, std::memory_order_acq_rel); }

}  // namespace tmx
