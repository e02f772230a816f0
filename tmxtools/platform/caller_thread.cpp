#include "tmxtools/platform/caller_thread.h"

namespace tmx {

LinkCallerThread::LinkCallerThread() : thread_([this] { Run(); }) {}

LinkCallerThread::~LinkCallerThread() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void LinkCallerThread::QueueLink(const Link& link, void* data) {
  {
    const std::lock_guard lock(mutex_);
    queue_.emplace_back(link, data);
  }
  changed_.notify_one();
}

void LinkCallerThread::Run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return ending_ || !queue_.empty(); });
    if (queue_.empty()) return;
    const auto [link, data] = std::move(queue_.front());
    queue_.pop_front();
    lock.unlock();
    link.Call(data);
    lock.lock();
  }
}

}  // namespace tmx
