// The lock of the platform and its scope.
#pragma once

#include <mutex>

#include "tmxtools/platform/export.h"

namespace vos {

// A lock that its holder may take again; it is free after as many releases.
class TMX_EXPORT OMutex {
 public:
  OMutex() = default;
  OMutex(const OMutex&) = delete;
  OMutex& operator=(const OMutex&) = delete;

  void acquire() { mutex_.lock(); }
  bool tryToAcquire() { return mutex_.try_lock(); }
  void release() { mutex_.unlock(); }

 private:
  std::recursive_mutex mutex_;
};

// Holds a lock for its own lifetime.
class TMX_EXPORT OGuard {
 public:
  explicit OGuard(OMutex& mutex) : mutex_(mutex) { mutex_.acquire(); }
  ~OGuard() { mutex_.release(); }
  OGuard(const OGuard&) = delete;
  OGuard& operator=(const OGuard&) = delete;

 private:
  OMutex& mutex_;
};

}  // namespace vos
