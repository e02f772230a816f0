// The sandbox bank as a program: over HTTP and HTTPS, with scripts, signals and time limits.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <httplib.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "demo/bank/secrets.h"
#include "demo/base64.h"
#include "demo/hbci_syntax.h"
#include "tests/support/temp_dir.h"

namespace tmx {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
using Milliseconds = std::chrono::milliseconds;

constexpr Milliseconds kLongestWait{20'000};

// `tmx bank serve` with more arguments. It ends with the object.
class RunningBank {
 public:
  explicit RunningBank(std::vector<std::string> arguments) {
    int out[2];
    EXPECT_EQ(pipe(out), 0);
    arguments.insert(arguments.begin(), {TMX_BINARY_DIR "/bin/tmx", "bank", "serve"});
    std::vector<char*> words;
    for (std::string& argument : arguments) words.push_back(argument.data());
    words.push_back(nullptr);
    child_ = fork();
    if (child_ == 0) {
      dup2(out[1], STDOUT_FILENO);
      dup2(out[1], STDERR_FILENO);
      close(out[0]);
      close(out[1]);
      execv(words[0], words.data());
      _exit(127);
    }
    close(out[1]);
    out_ = out[0];
  }

  ~RunningBank() {
    if (child_ > 0) {
      kill(child_, SIGKILL);
      waitpid(child_, nullptr, 0);
    }
    close(out_);
  }

  // What it printed until the text stands there, or until it ends.
  std::string OutputUntil(std::string_view text) {
    const auto end = std::chrono::steady_clock::now() + kLongestWait;
    while (output_.find(text) == std::string::npos && std::chrono::steady_clock::now() < end) {
      pollfd ready{out_, POLLIN, 0};
      if (poll(&ready, 1, 100) <= 0) continue;
      char bytes[4096];
      const auto count = read(out_, bytes, sizeof bytes);
      if (count <= 0) break;
      output_.append(bytes, static_cast<std::size_t>(count));
    }
    return output_;
  }

  int Port() {
    const std::string output = OutputUntil("\nbank code");
    const auto at = output.find("127.0.0.1:");
    EXPECT_NE(at, std::string::npos) << output;
    return at == std::string::npos ? 0 : std::stoi(output.substr(at + 10));
  }

  void Signal(int number) { kill(child_, number); }

  // Its exit code; -1 if it does not end, or not by itself.
  int ExitCode() {
    const auto end = std::chrono::steady_clock::now() + kLongestWait;
    int status = 0;
    while (waitpid(child_, &status, WNOHANG) == 0) {
      if (std::chrono::steady_clock::now() > end) return -1;
      std::this_thread::sleep_for(Milliseconds(10));
    }
    child_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t child_ = -1;
  int out_ = -1;
  std::string output_;
};

constexpr const char* kRequest =
    "HNHBK:1:3+000000000137+300+0+1'HKIDN:2:2+280:99900011+9999999999+0+0'"
    "HKVVB:3:3+12+0+0+PRODUKT+1.0'HNHBS:4:1+1'";

std::string Request() {
  std::string request = kRequest;
  const std::string size = std::to_string(request.size());
  return demo::ToBase64(request.replace(10, 12, std::string(12 - size.size(), '0') + size));
}

template <class Client>
httplib::Result Post(Client& client, const std::string& body = Request()) {
  client.set_connection_timeout(5);
  client.set_read_timeout(10);
  return client.Post("/fints", body, "text/plain");
}

std::string CodesOf(const httplib::Result& result) {
  if (!result) return "no answer";
  const auto bytes = demo::FromBase64(result->body);
  if (!bytes) return "no Base64";
  std::string codes;
  for (const demo::Segment& segment : demo::ParseSegments(*bytes).segments) {
    if (segment.code == "HIRMG") codes += segment.At(0);
  }
  return codes;
}

class BankServe : public testing::Test {
 protected:
  std::string File(const std::string& name, const std::string& text) {
    const std::string path = dir_.File(name);
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }

  // A certificate for 127.0.0.1 that signs itself, and its key.
  void MakeCertificate() {
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_EC_gen("P-256"),
                                                                  EVP_PKEY_free);
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(X509_new(), X509_free);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -60);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 3600);
    X509_set_pubkey(certificate.get(), key.get());
    X509_NAME* const name = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("127.0.0.1"), -1, -1, 0);
    X509_set_issuer_name(certificate.get(), name);
    X509_sign(certificate.get(), key.get(), EVP_sha256());
    const auto save = [](const std::string& path, const auto& write) {
      const std::unique_ptr<BIO, decltype(&BIO_free)> file(BIO_new_file(path.c_str(), "w"),
                                                           BIO_free);
      EXPECT_EQ(write(file.get()), 1);
    };
    save(certificate_, [&](BIO* file) { return PEM_write_bio_X509(file, certificate.get()); });
    save(key_, [&](BIO* file) {
      return PEM_write_bio_PrivateKey(file, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    });
  }

  TempDir dir_;
  std::string certificate_ = dir_.File("cert.pem");
  std::string key_ = dir_.File("key.pem");
};

TEST_F(BankServe, AnswersOverHttpUntilItIsToldToEnd) {
  for (const int signal : {SIGTERM, SIGINT}) {
    RunningBank bank({"--port", "0"});
    httplib::Client client("127.0.0.1", bank.Port());
    EXPECT_EQ(CodesOf(Post(client)), "0010");
    EXPECT_EQ(CodesOf(Post(client, demo::ToBase64("x"))), "9010");
    const auto refused = Post(client, "!");
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->status, 400);
    EXPECT_THAT(bank.OutputUntil("user 4712"),
                HasSubstr("user 4711, customer 4711, PIN " + std::string(demo::kPin)));
    bank.Signal(signal);
    EXPECT_EQ(bank.ExitCode(), 0);
  }
}

TEST_F(BankServe, AnswersOverHttps) {
  MakeCertificate();
  RunningBank bank({"--port", "0", "--tls", certificate_, key_});
  httplib::SSLClient client("127.0.0.1", bank.Port());
  client.set_ca_cert_path(certificate_.c_str());
  client.enable_server_certificate_verification(false);
  EXPECT_EQ(CodesOf(Post(client)), "0010");
  EXPECT_THAT(bank.OutputUntil("user"), StartsWith("listening on https://127.0.0.1:"));
  httplib::SSLClient strict("127.0.0.1", bank.Port());
  strict.enable_server_certificate_verification(true);
  EXPECT_EQ(CodesOf(Post(strict)), "no answer");
  bank.Signal(SIGTERM);
  EXPECT_EQ(bank.ExitCode(), 0);
}

TEST_F(BankServe, MisbehavesAsTheScriptSays) {
  const std::string script =
      File("script", "request 1 status 500\nrequest 2 reset\nrequest 3 delay 300\n");
  RunningBank bank({"--port", "0", "--script", script});
  httplib::Client client("127.0.0.1", bank.Port());
  const auto broken = Post(client);
  ASSERT_TRUE(broken);
  EXPECT_EQ(broken->status, 500);
  EXPECT_EQ(CodesOf(Post(client)), "no answer");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(CodesOf(Post(client)), "0010");
  EXPECT_GE(std::chrono::steady_clock::now() - start, Milliseconds(300));
}

TEST_F(BankServe, ADelayDoesNotHoldItsEndUp) {
  RunningBank bank({"--port", "0", "--script", File("script", "delay 600000\n")});
  const int port = bank.Port();
  std::thread waiting([port] {
    httplib::Client client("127.0.0.1", port);
    Post(client);
  });
  std::this_thread::sleep_for(Milliseconds(200));
  bank.Signal(SIGTERM);
  EXPECT_EQ(bank.ExitCode(), 0);
  waiting.join();
}

TEST_F(BankServe, EndsByItselfAfterItsTimeLimit) {
  RunningBank bank({"--port", "0", "--time-limit", "1"});
  EXPECT_EQ(bank.ExitCode(), 0);
}

TEST_F(BankServe, APortThatIsTakenIsRefused) {
  RunningBank bank({"--port", "0"});
  const std::string port = std::to_string(bank.Port());
  RunningBank second({"--port", port});
  EXPECT_EQ(second.OutputUntil("taken"), "port " + port + " cannot be taken\n");
  EXPECT_EQ(second.ExitCode(), 1);
}

TEST_F(BankServe, OnlyTheLoopbackAddressListens) {
  RunningBank bank({"--port", "0"});
  httplib::Client other("127.0.0.2", bank.Port());
  EXPECT_EQ(CodesOf(Post(other)), "no answer");
}

}  // namespace
}  // namespace tmx
