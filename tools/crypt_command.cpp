// tmx crypt: writes and reads encrypted streams, looks into them and checks them.
#include "tools/crypt_command.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>

#include "tmxtools/platform/crypto.h"
#include "tmxtools/platform/file_stream.h"
#include "tmxtools/streams/crypt_file_stream.h"
#include "tmxtools/streams/crypt_hash.h"
#include "tmxtools/streams/crypt_header.h"
#include "tools/output.h"
#include "tools/progress.h"
#include "tools/scratch_file.h"

namespace tmx::tools {
namespace {

using Json = nlohmann::ordered_json;

struct CryptOptions {
  std::string file;
  bool tagged = false, encrypt = false, sign = false;
  std::string kek_file, session_file, rsa_file;
  bool json = false;
};

// The keys that the options name, as a stream takes them.
class Keys {
 public:
  explicit Keys(const CryptOptions& options) {
    if (!options.kek_file.empty()) kek_ = ReadKeyFile("--kek-file", options.kek_file, kKeyLength);
    if (!options.session_file.empty())
      session_ = ReadKeyFile("--session-file", options.session_file, kKeyLength);
    if (!options.rsa_file.empty()) rsa_ = ReadSecretFile("--rsa-key", options.rsa_file);
  }

  void Open(HbCryptFileStream& stream, const std::string& file, unsigned mode) {
    stream.Open(String(file), static_cast<unsigned short>(mode), BytesOf(rsa_),
                static_cast<long>(rsa_.size()), BytesOf(session_), BytesOf(kek_));
  }
  // The length of the blocks that the keys make of a text; 0 when the RSA key cannot be used.
  std::size_t BlockLength(std::size_t symmetric) const {
    if (rsa_.empty()) return symmetric;
    const auto key =
        CurrentCrypto().MakeAsymmetricKey(rsa_.data(), rsa_.size(), AsymmetricUse::Write);
    return key == nullptr ? 0 : key->BlockLength();
  }

 private:
  static constexpr std::size_t kKeyLength = 16;
  static std::uint8_t* BytesOf(SecretBytes& key) { return key.empty() ? nullptr : key.data(); }

  SecretBytes kek_, session_, rsa_;
};

constexpr char kNoKeyToWrite[] =
    "no usable key (--kek-file, or --rsa-key with an RSA key without passphrase)";
constexpr char kNoKeyToRead[] =
    "no usable key (--kek-file, or --rsa-key with a private key without passphrase), or cut short";
constexpr char kNoRsaKey[] = "--rsa-key holds no RSA key without passphrase";
const std::string kNotValid = std::string(kOtherKey) + ", or read with other options";

// The plain bytes of a tagged stream that can be opened again; one to eight of padding follow.
constexpr std::uint32_t kLongestTagged = ChunkTree::MaxLengthAtStart / 8 * 8 - 1;

unsigned ModeOf(const CryptOptions& options) {
  return (options.tagged ? crypt_mode::Tagged : 0u) | (options.encrypt ? crypt_mode::Encrypt : 0u) |
         (options.sign ? crypt_mode::Sign : 0u);
}

// Adds what a user can do about it to what Refuse() says.
int RefuseStream(const std::string& file, const SvStream& stream, const char* no_key) {
  const std::uint32_t code = stream.GetError() & stream_error::CodeMask;
  if (code == stream_error::General) Refuse(file, no_key);
  if (code == stream_error::WrongFormat) Refuse(file, kNotValid);
  if (code == stream_error::OutOfMemory)
    Refuse(file, "out of memory, or longer than a tagged stream may be (" +
                     std::to_string(kLongestTagged) + " bytes)");
  return Refuse(file, stream);
}

// Such streams can be made, as hosts do for scratch files and tests.
void WarnOfWhatIsUnusual(const CryptOptions& options) {
  const bool has_key =
      !options.kek_file.empty() || !options.session_file.empty() || !options.rsa_file.empty();
  if (has_key && !options.encrypt && !options.sign)
    Refuse(options.file,
           "warning: it holds plain text, since a key was given but neither --encrypt nor --sign");
  if (options.encrypt && options.kek_file.empty() && options.rsa_file.empty())
    Refuse(options.file,
           "warning: nobody can read it again, since no key was given to keep its "
           "session key with");
  if (options.tagged && !options.sign)
    Refuse(options.file,
           "warning: nobody can read it again, since only signed streams are opened "
           "as tagged ones");
}

// ---- write ------------------------------------------------------------------------------------

int Write(const CryptOptions& options) {
  Keys keys(options);
  const std::string target = BehindLinks(options.file);
  if (std::filesystem::exists(target) && !std::filesystem::is_regular_file(target))
    return Refuse(options.file, "is no file that could be replaced", stream_error::AccessDenied);
  ScratchFile scratch(target);
  if (scratch.Name().empty())
    return Refuse(options.file, "no file can be made beside it", stream_error::CannotCreate);
  HbCryptFileStream stream;
  keys.Open(stream, scratch.Name(), stream_mode::Read | stream_mode::Write | ModeOf(options));
  if (stream.HasError()) return RefuseStream(options.file, stream, kNoKeyToWrite);
  if (!CopyInput(options.file, stream) && !stream.HasError()) return kRefused;
  // The stream would take somewhat more, but nobody could open it again.
  if (options.tagged && stream.Size() > kLongestTagged) stream.SetError(stream_error::OutOfMemory);
  stream.Flush();
  stream.Close();
  if (stream.HasError()) return RefuseStream(options.file, stream, kNoKeyToWrite);
  if (!scratch.RenameTo(target))
    return Refuse(options.file, "cannot be replaced", stream_error::WriteError);
  WarnOfWhatIsUnusual(options);
  return kDone;
}

// ---- the header ------------------------------------------------------------------------------

// What stands in a header.
struct Layout {
  std::string magic;  // empty without
  std::uint64_t size = 0;
  CryptHeader header;
  bool has_key_block = false;
  unsigned pad_count = 0;

  std::uint64_t DataAt() const { return header.DataAt(has_key_block); }
  std::uint64_t DataLength() const { return size - DataAt(); }
};

// Reads the header of a stream whose options are known; the file's error tells what is wrong. A
// tagged stream shows that it is one, and is always signed.
Layout ReadLayout(SvFileStream& file, const CryptOptions& options, const Keys& keys) {
  Layout layout;
  layout.size = file.Size();
  file.Seek(0);
  layout.header.tagged = HbCryptStream::IsCryptStream(file);
  if (layout.header.tagged) {
    layout.magic.resize(MagicLength);
    file.Seek(0);
    file.Read(layout.magic.data(), MagicLength);
  }
  if (options.sign || layout.header.tagged)
    layout.header.signature_length = static_cast<std::uint32_t>(keys.BlockLength(24));
  layout.header.key_block_length = static_cast<std::uint32_t>(keys.BlockLength(16));
  file.Seek(layout.header.KeyBlockFlagAt());
  std::array<std::uint8_t, 2> bytes{};
  const bool is_whole = file.Read(bytes.data(), bytes.size()) == bytes.size();
  layout.has_key_block = bytes[0] == 1;
  layout.pad_count = bytes[1];
  if (!is_whole || bytes[0] > 1 || layout.pad_count > 8 || layout.DataAt() > layout.size ||
      layout.pad_count > layout.DataLength() || (options.tagged && !layout.header.tagged))
    file.SetError(stream_error::WrongFormat);
  return layout;
}

// The options that are missing as far as a header tells: a magic stands for itself and a signature,
// and what is no header may be one behind a signature. Whether a stream is encrypted its key block
// tells the reader by itself.
std::string MissingOptions(const CryptOptions& options, const Keys& keys) {
  SvFileStream file(String(options.file), stream_mode::Read);
  if (file.HasError()) return "";
  CryptOptions shown = options;
  Layout layout = ReadLayout(file, shown, keys);
  if (file.HasError() && !options.sign && !layout.header.tagged) {
    file.ResetError();
    shown.sign = true;
    layout = ReadLayout(file, shown, keys);
  }
  if (file.HasError()) return "";
  std::string missing;
  if (layout.header.tagged && !options.tagged) missing += " --tagged";
  if ((layout.header.tagged || shown.sign) && !options.sign) missing += " --sign";
  return missing;
}

// ---- read and verify --------------------------------------------------------------------------

// Reads a stream from its beginning to its end, in pieces. False after an error.
template <class Take>
bool ReadAll(HbCryptFileStream& stream, Progress& progress, Take take) {
  stream.Seek(0);
  SecretBytes piece(kCryptPiece);
  for (;;) {
    const unsigned long length = stream.Read(piece.data(), piece.size());
    if (stream.HasError()) return false;
    if (length == 0) return true;
    if (!take(piece.data(), length)) return false;
    progress.Advance(length);
  }
}

// Opened so that nobody changes the file between the check and the reading.
void OpenToRead(Keys& keys, HbCryptFileStream& stream, const CryptOptions& options) {
  keys.Open(stream, options.file, stream_mode::Read | stream_mode::DenyWrite | ModeOf(options));
  char nothing = 0;
  // Tells what opening leaves open: whether the stream is valid.
  if (!stream.HasError()) stream.Read(&nothing, 1);
}

int RefuseReading(const CryptOptions& options, const Keys& keys, const SvStream& stream) {
  const std::string missing = MissingOptions(options, keys);
  if (!missing.empty()) {
    Refuse(options.file, "was made with options that are missing here:" + missing);
    return Refuse(options.file, stream);
  }
  if (stream.GetError() == stream_error::ReadError) Refuse(options.file, kNotValid);
  return RefuseStream(options.file, stream, kNoKeyToRead);
}

int Read(const CryptOptions& options) {
  Keys keys(options);
  HbCryptFileStream stream;
  OpenToRead(keys, stream, options);
  Progress progress("tmx crypt: " + options.file, 2 * std::uint64_t{stream.Size()});
  const auto ignore = [](const std::uint8_t*, unsigned long) { return true; };
  if (stream.HasError() || !ReadAll(stream, progress, ignore))
    return RefuseReading(options, keys, stream);
  const auto print = [](const std::uint8_t* bytes, unsigned long length) {
    return std::fwrite(bytes, 1, length, stdout) == length;
  };
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  ReadAll(stream, progress, print);
  // What is wrong with standard output is said at the end of the program.
  return stream.HasError() ? RefuseStream(options.file, stream, kNoKeyToRead) : int{kDone};
}

Json ErrorAsJson(const SvStream& stream) {
  HbError error;
  error.SetStreamState(stream);
  return {{"code", error.GetCode()},
          {"streamError", stream.GetError() & stream_error::CodeMask},
          {"text", Utf8(error.GetText()->View())}};
}

void PrintJson(const Json& json) {
  std::puts(json.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
}

int Verify(const CryptOptions& options) {
  Keys keys(options);
  HbCryptFileStream stream;
  OpenToRead(keys, stream, options);
  Progress progress("tmx crypt: " + options.file, stream.Size());
  std::uint64_t total = 0;
  const auto count = [&](const std::uint8_t*, unsigned long length) {
    total += length;
    return true;
  };
  const bool is_good = !stream.HasError() && ReadAll(stream, progress, count);
  if (options.json) {
    Json json = {{"file", options.file}, {"good", is_good}, {"signatureChecked", options.sign}};
    if (is_good)
      json["length"] = total;
    else
      json["error"] = ErrorAsJson(stream);
    PrintJson(json);
  }
  if (!is_good) return RefuseReading(options, keys, stream);
  if (!options.json) {
    std::printf("%s: good, %llu bytes, %s\n", options.file.c_str(),
                static_cast<unsigned long long>(total),
                options.sign ? "signature checked" : "no signature checked");
  }
  return kDone;
}

// ---- info -------------------------------------------------------------------------------------

void PrintLayout(const CryptOptions& options, const Layout& layout) {
  const auto field = [](const char* name, const std::string& value) {
    std::printf("%-14s%s\n", name, value.c_str());
  };
  const auto part = [](std::uint64_t length, std::uint64_t at) {
    return length == 0 ? "none" : std::to_string(length) + " bytes at offset " + std::to_string(at);
  };
  const CryptHeader& header = layout.header;
  field("file", options.file);
  field("size", std::to_string(layout.size));
  field("magic", layout.magic.empty() ? "none" : layout.magic);
  field("signature", part(header.signature_length, header.SignatureAt()));
  field("key block", part(layout.DataAt() - header.KeyBlockAt(), header.KeyBlockAt()));
  field("data", part(layout.DataLength(), layout.DataAt()));
  field("padding", std::to_string(layout.pad_count));
  field("plain length", std::to_string(layout.DataLength() - layout.pad_count));
}

int Info(const CryptOptions& options) {
  const Keys keys(options);
  SvFileStream file(String(options.file), stream_mode::Read);
  if (keys.BlockLength(1) == 0) file.SetError(stream_error::General);
  const Layout layout = ReadLayout(file, options, keys);
  if (file.HasError()) {
    if (options.json) PrintJson({{"file", options.file}, {"error", ErrorAsJson(file)}});
    if (file.GetError() != stream_error::WrongFormat)
      return RefuseStream(options.file, file, kNoRsaKey);
    Refuse(options.file,
           "no header as described by the options: --sign, --rsa-key (it sets lengths), --tagged");
    return Refuse(options.file, file);
  }
  if (!options.json) return PrintLayout(options, layout), kDone;
  PrintJson({{"file", options.file},
             {"size", layout.size},
             {"magic", layout.magic.empty() ? Json() : Json(layout.magic)},
             {"signatureLength", layout.header.signature_length},
             {"keyBlockLength", layout.DataAt() - layout.header.KeyBlockAt()},
             {"dataStart", layout.DataAt()},
             {"dataLength", layout.DataLength()},
             {"padCount", layout.pad_count},
             {"plainLength", layout.DataLength() - layout.pad_count}});
  return kDone;
}

}  // namespace

void AddCryptCommand(CLI::App& program, int& exit_code) {
  const auto options = std::make_shared<CryptOptions>();
  CLI::App* const crypt = program.add_subcommand(
      "crypt", "Write, read and check encrypted streams; CBC encryption; leftover undo logs.");
  crypt->require_subcommand(1);
  const auto add = [&](const char* name, const char* help, int (*run)(const CryptOptions&)) {
    CLI::App* const command = crypt->add_subcommand(name, help);
    command->add_option("FILE", options->file, "a file with an encrypted stream")
        ->required()
        ->check(NotEmpty());
    command->add_flag("--tagged", options->tagged, "begins with a magic; signs a tree of chunks");
    command->add_flag("--encrypt", options->encrypt, "the data is encrypted");
    command->add_flag("--sign", options->sign, "the stored data is signed");
    command
        ->add_option("--kek-file", options->kek_file,
                     "the key-encryption key: 32 hexadecimal digits or 16 bytes")
        ->type_name("FILE")
        ->check(NotEmpty());
    command
        ->add_option("--session-file", options->session_file,
                     "the session key, or when only reading the key-encryption key")
        ->type_name("FILE")
        ->check(NotEmpty());
    command
        ->add_option("--rsa-key", options->rsa_file,
                     "an RSA key in PEM or DER that takes the place of the key-encryption key")
        ->type_name("FILE")
        ->check(NotEmpty());
    command->callback([=, &exit_code] { exit_code = run(*options); });
    return command;
  };
  add("write",
      "Store standard input as an encrypted stream. FILE is replaced only when all went well; a\n"
      "new file is for its owner only.",
      Write);
  add("read",
      "Print the plain bytes of a stream, once all of it is checked. Nothing is printed of a\n"
      "stream that is refused.",
      Read);
  CLI::App* const json[] = {
      add("info",
          "Tell what stands in the header of a stream; needs no key. --sign or a magic says that\n"
          "there is a signature, --rsa-key how long it is.",
          Info),
      add("verify", "Check a stream as `read` does without printing its bytes.", Verify)};
  for (CLI::App* const command : json)
    command->add_flag("--json", options->json, "print one JSON object");
  AddCryptCbcCommand(*crypt, exit_code);
  AddCryptRecoverCommand(*crypt, exit_code);
}

}  // namespace tmx::tools
