// Calls links later, on another thread.
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include "tmxtools/platform/export.h"
#include "tmxtools/platform/link.h"

// A queue of links that some thread calls. Hosts derive from it to bring calls into their own event
// loop, or take tmx::LinkCallerThread.
class TMX_EXPORT HbLinkCallerThread {
 public:
  virtual ~HbLinkCallerThread() = default;
  // Has `link` called with `data` later. Safe to call from any thread.
  virtual void QueueLink(const Link& link, void* data) = 0;
};

namespace tmx {

// Calls the queued links one after the other, in order, on a thread of its own. A link may queue
// more links; one that throws ends the process. The destructor calls what is still queued and then
// ends the thread; it must not run on that thread.
class TMX_EXPORT LinkCallerThread : public HbLinkCallerThread {
 public:
  LinkCallerThread();
  ~LinkCallerThread() override;
  LinkCallerThread(const LinkCallerThread&) = delete;
  LinkCallerThread& operator=(const LinkCallerThread&) = delete;

  void QueueLink(const Link& link, void* data) override;

 private:
  void Run();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::pair<Link, void*>> queue_;
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace tmx
