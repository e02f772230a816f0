// tmx crypt cbc: encrypts and decrypts standard input.
#include <cstdio>
#include <memory>

#include "tmxtools/streams/cbc_crypter.h"
#include "tools/crypt_command.h"
#include "tools/progress.h"
#include "tools/scratch_stream.h"

namespace tmx::tools {
namespace {

struct CbcOptions {
  std::string key_file, iv_file;
  bool pad = false;
};

using Operation = bool (HbtdCbcCrypter::*)(HbError&, SvStream&, SvStream&, bool);

// Standard input, which shows on a terminal how far the crypter has read it.
class Input : public ScratchStream {
 public:
  void Show(Progress& progress) { progress_ = &progress; }

 protected:
  unsigned long GetData(char* data, unsigned long count) override {
    const unsigned long done = ScratchStream::GetData(data, count);
    if (progress_ != nullptr) progress_->Advance(done);
    return done;
  }

 private:
  Progress* progress_ = nullptr;
};

// Nothing is printed unless all of the input could be processed, so all of the output is held back.
int Process(const CbcOptions& options, Operation operation) {
  const SecretBytes key = ReadKeyFile("--key-file", options.key_file, 16);
  const SecretBytes vector = ReadKeyFile("--iv-file", options.iv_file, 8);
  HbtdCbcCrypter crypter;
  crypter.SetKey(key.data());
  crypter.SetIV(vector.data());
  Input in;
  ScratchStream out;
  if (!CopyInput("standard input", in))
    return in.HasError() ? Refuse("standard input", in) : int{kRefused};
  Progress progress("tmx crypt: standard input", in.Size());
  in.Show(progress);
  HbError error;
  if (!(crypter.*operation)(error, in, out, options.pad)) return Refuse("standard input", error);
  std::setvbuf(stdout, nullptr, _IONBF, 0);  // no copy of a plain text stays in a buffer
  SecretBytes piece(kCryptPiece);
  while (const unsigned long length = out.Read(piece.data(), piece.size())) {
    if (std::fwrite(piece.data(), 1, length, stdout) != length) break;  // said when tmx ends
  }
  return out.HasError() ? Refuse("standard output", out) : int{kDone};
}

}  // namespace

void AddCryptCbcCommand(CLI::App& crypt, int& exit_code) {
  const auto options = std::make_shared<CbcOptions>();
  CLI::App* const cbc = crypt.add_subcommand(
      "cbc", "Encrypt or decrypt standard input with two-key triple DES in CBC mode.");
  cbc->require_subcommand(1);
  const auto add = [&](const char* name, const char* help, Operation operation) {
    CLI::App* const command = cbc->add_subcommand(name, help);
    command
        ->add_option("--key-file", options->key_file, "the key: 32 hexadecimal digits or 16 bytes")
        ->required()
        ->type_name("FILE")
        ->check(NotEmpty());
    command
        ->add_option("--iv-file", options->iv_file,
                     "the starting vector: 16 hexadecimal digits or 8 bytes")
        ->required()
        ->type_name("FILE")
        ->check(NotEmpty());
    command->add_flag("--pad", options->pad,
                      "fill up to a multiple of 8 bytes, at least by one, and take that off again");
    command->callback([=, &exit_code] { exit_code = Process(*options, operation); });
  };
  add("encrypt", "Print standard input encrypted.", &HbtdCbcCrypter::Encrypt);
  add("decrypt", "Print standard input decrypted.", &HbtdCbcCrypter::Decrypt);
}

}  // namespace tmx::tools
