// What an encrypted stream does, behind its interface.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tmxtools/streams/crypt_hash.h"
#include "tmxtools/streams/crypt_header.h"
#include "tmxtools/streams/crypt_keys.h"
#include "tmxtools/streams/crypt_region.h"

namespace tmx {

// The state of one HbCryptStream, which describes what holds, its errors and its rules. Errors go
// to the owner.
class CryptStreamState {
 public:
  explicit CryptStreamState(SvStream& owner) : owner_(owner), region_(owner) {}
  CryptStreamState(const CryptStreamState&) = delete;
  CryptStreamState& operator=(const CryptStreamState&) = delete;

  bool Init(const CryptKeysGiven& given, unsigned short mode, SvStream* inner);
  void Attach(SvStream* inner) { region_.Attach(inner); }
  bool Open();
  bool BeginAnew();
  // Lets go of the inner stream; the keys stay for another Open().
  void Detach();
  bool CheckSignature();

  std::size_t Read(std::uint8_t* data, std::size_t count);
  std::size_t Write(const std::uint8_t* data, std::size_t count);
  std::uint32_t Seek(unsigned long position);
  bool Flush();
  // Waits until what was flushed has reached the disk.
  bool SyncInner();

  SvStream* Inner() const { return region_.Inner(); }
  unsigned short Mode() const { return mode_; }

 private:
  static constexpr std::uint32_t kBlock = CryptRegion::BlockLength;

  bool Has(unsigned short bits) const { return (mode_ & bits) != 0; }
  bool ReadOnly() const;
  bool Fail(std::uint32_t code) { return region_.Fail(code); }

  // crypt_open.cpp: header, keys and signature.
  void ResetBlock();
  bool StartHash();
  bool CreateHeader();
  bool ReadHeader(CryptMagic& magic);
  bool OpenExisting();
  bool Upgrade();
  bool WriteKeyBlock();
  bool ReadKeyBlock();
  bool SignatureMatches();
  bool WriteSignature();

  // crypt_state.cpp: blocks.
  // Makes another block current; the one before must be stored.
  bool MoveTo(std::uint32_t block);
  // Stores the current block if it changed.
  bool StoreBlock();
  bool LeaveFor(std::uint32_t block) { return StoreBlock() && MoveTo(block); }
  // Brings the current block's bytes into memory.
  bool LoadBlock();
  bool LoadLastBlock();
  bool StartEmptyBlock();
  // How long the data region may become.
  std::uint32_t MaxLength() const;
  bool Store(std::uint32_t at, std::uint8_t* plain, std::uint32_t length);
  void SetPadCount(std::uint8_t count);
  // At least `blocks` blocks of memory for plain bytes.
  std::uint8_t* RunBuffer(std::size_t blocks);
  std::size_t ReadRun(std::uint8_t* data, std::size_t count);
  std::size_t WriteRun(const std::uint8_t* data, std::size_t count);
  void WriteInBlock(const std::uint8_t* data, std::uint32_t count);

  SvStream& owner_;
  unsigned short mode_ = 0;
  CryptKeys keys_;
  CryptHeader header_;
  CryptRegion region_;
  LinearHash linear_hash_;
  ChunkTree chunk_tree_;
  RegionHash* hash_ = &linear_hash_;  // the one that the mode asks for

  bool valid_ = false;
  bool signature_current_ = false;
  bool header_dirty_ = false;
  std::uint8_t pad_count_ = 0;  // as the header has it, or will have it when it is dirty

  // The current block. Its bytes are in memory only when it is loaded; its fill is known before.
  std::uint32_t block_start_ = 0;
  std::uint32_t position_ = 0;  // in the block
  std::uint32_t fill_ = 0;
  bool loaded_ = false;
  bool block_dirty_ = false;
  Secret<kBlock> block_;
  SecretBytes run_;
};

}  // namespace tmx
