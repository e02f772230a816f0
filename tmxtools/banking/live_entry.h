// Knows which objects are alive.
#pragma once

class HbObject;

namespace tmx {

// Enters an object into a process-wide table for as long as the entry lives.
//
// Threads: any; the table is locked. That an object is alive says nothing about the next moment
// unless the thread owns its tree.
class LiveEntry {
 public:
  // Objects of one kind; each class that is looked up has its own.
  enum class Kind { kMessage, kDialog };

  LiveEntry(Kind kind, HbObject* object) noexcept;
  ~LiveEntry();
  LiveEntry(const LiveEntry&) = delete;
  LiveEntry& operator=(const LiveEntry&) = delete;

  // The object that lives at an address, or null.
  static HbObject* Find(Kind kind, const void* address) noexcept;

 private:
  HbObject* object_;
  Kind kind_;
  LiveEntry* next_;
  LiveEntry** link_;
};

}  // namespace tmx
