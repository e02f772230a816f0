// Encrypted and signed streams.
#pragma once

#include <memory>

#include "tmxtools/platform/export.h"
#include "tmxtools/platform/stream.h"

namespace tmx {

class CryptStreamState;

// Options of encrypted streams, to be combined with stream_mode bits.
namespace crypt_mode {
inline constexpr unsigned short Tagged = 0x2000;   // begins with a magic; signs a tree of chunks
inline constexpr unsigned short Encrypt = 0x4000;  // wraps a session key and encrypts the data
inline constexpr unsigned short Sign = 0x8000;     // holds a signature over the stored data
}  // namespace crypt_mode

}  // namespace tmx

// The same under the names that hosts know.
inline constexpr unsigned short CRYPT_TAGGED = tmx::crypt_mode::Tagged;
inline constexpr unsigned short CRYPT_ENCRYPT = tmx::crypt_mode::Encrypt;
inline constexpr unsigned short CRYPT_SIGN = tmx::crypt_mode::Sign;

// A stream over an inner stream in which it stores a header, an encrypted session key, encrypted
// data and a signature over the stored data, each of them if the mode asks for it. Callers see only
// their own bytes. docs/formats.md describes what is stored.
//
// What holds between two operations:
//   1. The logical stream is cut into blocks of 24 bytes. One of them, the current block, is held
//      in memory; the position lies in it, and not beyond its bytes.
//   2. A changed block is stored before another one becomes current. Several whole blocks are
//      stored by one call of the inner stream.
//   3. Every stored block but the last has 24 bytes; the last one ends in 1 to 8 bytes of padding,
//      whose number the header repeats once it is flushed. While the current block is the last, or
//      before the first flush, the stored bytes may lack the last block.
//   4. What is stored after a flush depends on the logical bytes and the keys alone, neither on the
//      order and the sizes of the writes nor on the kernel that encrypted them.
//   5. The signature counts as current only while it stands in the inner stream and covers the
//      bytes stored there.
//   6. What the hash keeps for its next computation is dropped, or marked dirty, before stored
//      bytes that it stands for change.
//   7. An invalid stream (bad header, signature that does not match) writes nothing to the inner
//      stream, until SetStreamSize(0) begins it anew.
//   8. Keys and plain bytes in memory that is given back are overwritten first.
//
// Errors, of the inner stream too, go to this stream's error; the first one stays, and while it
// stands every public operation does nothing. Codes: 525 no inner stream, no key where one is
// needed, a key that cannot be used, encrypted data whose length is no multiple of 8; 530 seek on
// an invalid stream or into the padding; 2321 out of memory, or a tagged stream too long for its
// map of changed chunks (524279999 bytes of data while it grows, 523263999 when it is opened); 2831
// read on an invalid stream, stored bytes that end too early; 3088 write on an invalid or read-only
// stream; 3861 no magic, unknown key-block flag, padding that does not match, data that is not
// encrypted and whose length is no multiple of 8. A signature that does not match is no error by
// itself: the stream is invalid.
//
// Owns its state, not the inner stream. Empty state: not attached. Threads: one at a time.
class TMX_EXPORT HbCryptStream : public SvStream {
 public:
  HbCryptStream();
  // Prepares the keys as Init() does; does not open.
  HbCryptStream(unsigned char* key, long keyLength, unsigned char const* sessionKey,
                unsigned short flags, SvStream* inner, unsigned char const* keyEncryptionKey);
  ~HbCryptStream() override;

  // Whether the next 8 bytes of a stream are a magic of encrypted streams. Moves the position.
  static bool IsCryptStream(SvStream& stream);

  // Whether the stored data matches the signature. A stream that is valid is not checked again.
  bool CheckSignature();
  // Does nothing and returns false: Flush() writes signatures.
  bool FlushSignature();
  // Flushes if the stream is writable, and lets go of the inner stream.
  void Close();
  // Resets the error of this stream and of the inner one.
  void ResetError() override;

 protected:
  // Prepares the keys for an inner stream. `key` with `keyLength` is an asymmetric key,
  // `sessionKey` and `keyEncryptionKey` have 16 bytes each; all may be null. A stream that is only
  // read takes `sessionKey`, if given, for the key-encryption key. False after an error.
  bool Init(unsigned char* key, long keyLength, unsigned char const* sessionKey,
            unsigned short flags, SvStream* inner, unsigned char const* keyEncryptionKey);
  // Writes the header of an empty inner stream if this stream is writable, reads it otherwise. True
  // if the stream is valid afterwards.
  bool Open();
  bool Open(SvStream* inner);

  unsigned long GetData(char* data, unsigned long count) override;
  unsigned long PutData(const char* data, unsigned long count) override;
  unsigned long SeekPos(unsigned long position) override;
  // Only 0 has an effect: everything stored is dropped and a new header written.
  void SetSize(unsigned long size) override;
  void FlushData() override;
  void SyncData() override;

 private:
  // Runs an operation on the state unless there is none or memory ends.
  template <class Operation>
  bool WithState(std::uint32_t code_without, Operation operation);

  std::unique_ptr<tmx::CryptStreamState> state_;
  unsigned short mode_ = 0;
};
