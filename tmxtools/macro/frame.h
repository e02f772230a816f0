#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "tmxtools/core/amount.h"
#include "tmxtools/core/date_time.h"
#include "tmxtools/macro/bytecode.h"
#include "tmxtools/macro/holder.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/string.h"

class HbCallStack;

namespace tmx {

// The holders of a frame as they stand; good until one is appended or all are dropped.
class HolderList {
 public:
  HolderList(HbVariableHolder* const* first, std::size_t count) : first_(first), count_(count) {}
  // The id 33 is the first.
  bool Has(int id) const { return Position(id) < count_; }
  // Whether the holder exists and has a variable of the type that can be used without further ado.
  bool IsReady(int id, unsigned short type) const {
    return Has(id) && At(id).GetReadyType() == type;
  }
  // The holder of an id that was asked for.
  HbVariableHolder& At(int id) const { return *first_[Position(id)]; }

 private:
  static std::size_t Position(int id) {
    return static_cast<std::size_t>(std::int64_t{id} - 33);  // huge below the first
  }

  HbVariableHolder* const* first_;
  std::size_t count_;
};

}  // namespace tmx

// One activation of a subroutine: its bytecode with the program counter, its variable holders and
// where in the source it stands.
//
// The holder at position p has the id 33 + p; ids up to 32 name no holder. Parameters pushed by the
// caller take the first ids.
//
// Parameters and holders that cannot be pushed, for lack of memory or because a text would be too
// long, make the frame incomplete: it takes no more of them, so that none gets the id of another
// one, and an engine refuses to run it with 17490.
//
// Owner: whoever made it, until it is pushed on a call stack or handed to an engine. It owns its
// bytecode and holders. Empty state: no holders, program counter 0. Threads: one at a time.
class TMX_EXPORT HbStackFrame {
 public:
  // Takes ownership of the bytecode, which may be null.
  HbStackFrame(HbByteCode* byte_code, const String& sub_name);
  HbStackFrame(std::unique_ptr<HbByteCode> byte_code, const String& sub_name)
      : byte_code_(std::move(byte_code)), sub_name_(sub_name) {}
  ~HbStackFrame();
  HbStackFrame(const HbStackFrame&) = delete;
  HbStackFrame& operator=(const HbStackFrame&) = delete;

  // Drops the holders and sets the program counter to 0: ready for another call.
  void Clear() {
    HbVariableHolder* const* const first = holders_.data();
    for (std::size_t i = 0, count = used_; i < count; ++i) first[i]->Reset();
    used_ = 0;
    is_complete_ = true;
    if (byte_code_ != nullptr) byte_code_->SetPC(0);
  }

  // Push a parameter by value: a new variable that only the frame references.
  void PushParam(const String& value);
  void PushParam(const char* value);
  void PushParam(std::string_view value);
  void PushParam(const HbDate& value);
  void PushParam(short value);
  void PushParam(long value);
  void PushParam(int value) { PushParam(static_cast<long>(value)); }
  void PushParam(bool value);
  // The amount's text in a string variable, in a holder of type 8.
  void PushParam(const HbAmount& value);
  // Push a parameter by reference; the caller keeps its own reference. Null is ignored.
  void PushParameter(HbVariable* variable);

  // Appends a holder, which the frame owns from then on. Null is ignored.
  void PushHolder(HbVariableHolder* holder);
  // Whether it has all that was pushed.
  bool IsComplete() const { return is_complete_; }
  // Appends a new holder without variable; may throw bad_alloc.
  HbVariableHolder& AppendHolder(unsigned short type, unsigned short holder_class) {
    HbVariableHolder& holder = NextHolder();
    holder.Declare(type, holder_class);
    return holder;
  }
  // Appends parameters by reference to the variables of the caller's holders. False, with some of
  // them appended, when one is not there or not ready.
  bool AppendReferences(tmx::HolderList caller, const std::int16_t* ids, std::size_t count) {
    while (holders_.size() < used_ + count) AddHolder();
    HbVariableHolder* const* const first = holders_.data() + used_;
    std::size_t i = 0;
    for (; i < count; ++i) {
      if (!caller.Has(ids[i]) || caller.At(ids[i]).GetReadyType() == 0) break;
      first[i]->DeclareReference(caller.At(ids[i]));
    }
    used_ += i;
    return i == count;
  }
  // Null for ids below 33 and beyond the last holder.
  HbVariableHolder* GetHolder(short id) const { return GetHolderAt(id - kFirstId); }
  tmx::HolderList GetHolders() const { return {holders_.data(), used_}; }
  HbVariableHolder* GetHolderByPos(unsigned short position) const { return GetHolderAt(position); }
  unsigned short GetHolderCount() const { return static_cast<unsigned short>(used_); }
  // The id of the last holder, 32 without holders.
  unsigned short GetMaxVarId() const { return static_cast<unsigned short>(kFirstId - 1 + used_); }

  HbByteCode* GetByteCode() const { return byte_code_.get(); }
  // The decoded form of the bytecode, once the engine has begun it.
  tmx::DecodedCode* GetDecoded() const { return decoded_; }
  void SetDecoded(tmx::DecodedCode* decoded) { decoded_ = decoded; }
  const String& GetSubName() const { return sub_name_; }
  HbCallStack* GetStack() const { return stack_; }
  const String& GetMacroSourceFile() const { return source_file_; }
  void SetMacroSourceFile(const String& name) { source_file_ = name; }
  unsigned short GetMacroSourceLine() const { return source_line_; }
  unsigned short SetMacroSourceLine(unsigned short line) { return source_line_ = line; }

 private:
  friend class HbCallStack;
  static constexpr int kFirstId = 33;

  HbVariableHolder& NextHolder() {
    if (used_ == holders_.size()) AddHolder();
    return *holders_[used_++];
  }
  void AddHolder();
  // Runs an operation that appends a holder, unless one is missing already.
  template <class Operation>
  void Push(Operation operation);
  template <class Variable, class MakeValue>
  void PushValue(MakeValue make_value, unsigned short type = Variable::kType);
  HbVariableHolder* GetHolderAt(int position) const {
    const auto at = static_cast<std::size_t>(position);  // a negative position becomes huge
    return at < used_ ? holders_[at] : nullptr;
  }
  void SetStack(HbCallStack* stack) { stack_ = stack; }

  std::unique_ptr<HbByteCode> byte_code_;
  tmx::DecodedCode* decoded_ = nullptr;
  String sub_name_;
  // The first `used_` are the frame's holders; the rest wait to be used again.
  std::vector<HbVariableHolder*> holders_;
  std::size_t used_ = 0;
  bool is_complete_ = true;
  HbCallStack* stack_ = nullptr;
  String source_file_;
  std::uint16_t source_line_ = 0;
};

// The active frames, outermost first; it owns them. Threads: one at a time.
class TMX_EXPORT HbCallStack {
 public:
  HbCallStack() = default;
  ~HbCallStack();
  HbCallStack(const HbCallStack&) = delete;
  HbCallStack& operator=(const HbCallStack&) = delete;

  void PushFrame(HbStackFrame* frame) {
    frames_.push_back(frame);
    frame->SetStack(this);
  }
  // Takes the top frame off and hands it over; null when there is none.
  HbStackFrame* PopFrame() {
    if (frames_.empty()) return nullptr;
    HbStackFrame* const top = frames_.back();
    frames_.pop_back();
    top->SetStack(nullptr);
    return top;
  }
  // Takes the top frame off, which stays the caller's, and gives the one that called it. Null for
  // the outermost frame, which stays.
  HbStackFrame* PopToCaller() {
    if (frames_.size() < 2) return nullptr;
    frames_.back()->SetStack(nullptr);
    frames_.pop_back();
    return frames_.back();
  }
  HbStackFrame* CurFrame() const { return frames_.empty() ? nullptr : frames_.back(); }
  unsigned short Count() const { return static_cast<unsigned short>(frames_.size()); }
  // Throws std::out_of_range("invalid vector<T> subscript").
  HbStackFrame* operator[](unsigned short index) const;

 private:
  std::vector<HbStackFrame*> frames_;
};
