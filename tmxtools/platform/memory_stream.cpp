#include "tmxtools/platform/memory_stream.h"

#include <algorithm>

unsigned long SvMemoryStream::GetData(char* data, unsigned long count) {
  if (at_ >= bytes_.size()) return 0;
  const unsigned long done = std::min<unsigned long>(count, bytes_.size() - at_);
  std::copy_n(bytes_.data() + at_, done, data);
  at_ += done;
  return done;
}

unsigned long SvMemoryStream::PutData(const char* data, unsigned long count) {
  if (at_ + count > bytes_.size()) SetSize(at_ + count);
  std::copy_n(data, count, bytes_.data() + at_);
  at_ += count;
  return count;
}

unsigned long SvMemoryStream::SeekPos(unsigned long position) {
  at_ = position == SeekToEnd ? bytes_.size() : position;
  return at_;
}

void SvMemoryStream::SetSize(unsigned long size) {
  if (size > bytes_.capacity()) {
    const unsigned long grown = std::max(2 * bytes_.capacity(), bytes_.capacity() + growth_);
    bytes_.reserve(std::max({size, initial_size_, grown}));
  }
  bytes_.resize(size);
}

unsigned long SvCacheStream::GetData(char* data, unsigned long count) {
  const unsigned long done = Current().Read(data, count);
  SetError(Current().GetError());
  return done;
}

unsigned long SvCacheStream::PutData(const char* data, unsigned long count) {
  if (!MakeRoomFor(memory_.Tell() + count)) return 0;
  const unsigned long done = Current().Write(data, count);
  SetError(Current().GetError());
  return done;
}

unsigned long SvCacheStream::SeekPos(unsigned long position) {
  const unsigned long reached = Current().Seek(position);
  SetError(Current().GetError());
  return reached;
}

void SvCacheStream::SetSize(unsigned long size) {
  if (!MakeRoomFor(size)) return;
  Current().SetStreamSize(size);
  SetError(Current().GetError());
}

bool SvCacheStream::MakeRoomFor(unsigned long size) {
  if (file_.IsOpen() || size <= limit_) return true;
  file_.OpenTemporary();
  file_.Write(memory_.View().data(), memory_.View().size());
  file_.Seek(memory_.Tell());
  SetError(file_.GetError());
  if (HasError()) {
    file_.Close();
    file_.ResetError();
    return false;
  }
  memory_.SetStreamSize(0);
  return true;
}

void SvCacheStream::ResetError() {
  memory_.ResetError();
  file_.ResetError();
  SvStream::ResetError();
}
