#include "demo/host/http_transport.h"

#include <httplib.h>
#include <netinet/in.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "demo/base64.h"
#include "tests/support/temp_dir.h"

namespace tmx::demo {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using namespace std::chrono_literals;

// A certificate for 127.0.0.1, or for another address, that signs itself.
class Certificate {
 public:
  explicit Certificate(const char* address) {
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_EC_gen("P-256"),
                                                                  EVP_PKEY_free);
    const std::unique_ptr<X509, decltype(&X509_free)> made(X509_new(), X509_free);
    X509_set_version(made.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(made.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(made.get()), -60);
    X509_gmtime_adj(X509_getm_notAfter(made.get()), 3600);
    X509_set_pubkey(made.get(), key.get());
    X509_NAME* const name = X509_get_subject_name(made.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>(address), -1, -1, 0);
    X509_set_issuer_name(made.get(), name);
    const std::string names = std::string("IP:") + address;
    const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> extension(
        X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, names.c_str()),
        X509_EXTENSION_free);
    X509_add_ext(made.get(), extension.get(), -1);
    X509_sign(made.get(), key.get(), EVP_sha256());
    const std::unique_ptr<BIO, decltype(&BIO_free)> file(BIO_new_file(File().c_str(), "w"),
                                                         BIO_free);
    PEM_write_bio_X509(file.get(), made.get());
    const std::unique_ptr<BIO, decltype(&BIO_free)> key_file(BIO_new_file(KeyFile().c_str(), "w"),
                                                             BIO_free);
    PEM_write_bio_PrivateKey(key_file.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr);
  }
  std::string File() const { return dir_.File("certificate.pem"); }
  std::string KeyFile() const { return dir_.File("key.pem"); }

 private:
  TempDir dir_;
};

// A web server that answers with a status and a body, and says the request's body back for "/echo".
class Server {
 public:
  explicit Server(std::unique_ptr<httplib::Server> server, std::string body = "", int status = 200)
      : server_(std::move(server)) {
    server_->Post("/echo", [](const httplib::Request& request, httplib::Response& response) {
      response.set_content(request.body, "text/plain");
    });
    server_->Post(".*", [=](const httplib::Request&, httplib::Response& response) {
      response.status = status;
      response.set_content(body, "text/plain");
    });
    port_ = server_->bind_to_any_port("127.0.0.1");
    thread_ = std::thread([this] { server_->listen_after_bind(); });
    while (!server_->is_running()) std::this_thread::sleep_for(1ms);
  }
  explicit Server(std::string body = "", int status = 200)
      : Server(std::make_unique<httplib::Server>(), std::move(body), status) {}
  ~Server() {
    server_->stop();
    thread_.join();
  }
  std::string Address() const { return "127.0.0.1:" + std::to_string(port_); }

 private:
  std::unique_ptr<httplib::Server> server_;
  int port_ = 0;
  std::thread thread_;
};

// Takes one connection, sends bytes as they stand, a pause between any two, and closes.
class RawServer {
 public:
  RawServer(std::string bytes, std::chrono::milliseconds pause) {
    listener_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    bind(listener_, reinterpret_cast<sockaddr*>(&address), length);
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
    listen(listener_, 1);
    thread_ = std::thread([=, this] {
      const int connection = accept(listener_, nullptr, nullptr);
      for (const char byte : bytes) {
        if (send(connection, &byte, 1, MSG_NOSIGNAL) != 1) break;
        if (pause > 0ms) std::this_thread::sleep_for(pause);
      }
      shutdown(connection, SHUT_WR);
      char rest[1024];
      while (recv(connection, rest, sizeof rest, 0) > 0) {
      }
      close(connection);
    });
  }
  ~RawServer() {
    thread_.join();
    close(listener_);
  }
  std::string Url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/"; }

 private:
  int listener_ = -1;
  int port_ = 0;
  std::thread thread_;
};

HttpOptions Quick(std::string url) {
  HttpOptions options;
  options.url = std::move(url);
  options.connect_time = options.step_time = 2s;
  options.whole_time = 4s;
  return options;
}

// What goes wrong, or "" and the answer.
std::string Problem(const HttpOptions& options, std::string* answer = nullptr) {
  std::string problem;
  std::string bytes = "before";
  const bool exchanged = HttpTransport(options).Exchange("a secret message", bytes, problem);
  EXPECT_NE(exchanged, bytes == "before");
  EXPECT_EQ(exchanged, problem.empty());
  EXPECT_THAT(problem, testing::Not(HasSubstr("secret")));
  if (answer != nullptr) *answer = bytes;
  return problem;
}

TEST(HttpTransportTest, SendsAndTakesBase64) {
  const Server server;
  std::string answer;
  EXPECT_EQ(Problem(Quick("http://" + server.Address() + "/echo"), &answer), "");
  EXPECT_EQ(answer, "a secret message");
}

TEST(HttpTransportTest, ARefusedConnectionIsSaid) {
  std::string address;
  {
    const Server gone;
    address = gone.Address();
  }
  EXPECT_EQ(Problem(Quick("http://" + address + "/")),
            "the bank cannot be reached: no connection to " + address +
                ": Connection refused: does the bank's server run there, and is the port right?");
}

TEST(HttpTransportTest, AnUnknownNameIsSaid) {
  EXPECT_THAT(Problem(Quick("https://bank.invalid:3000/")),
              AllOf(HasSubstr("no connection to bank.invalid:3000: the name bank.invalid is not "
                              "known ("),
                    HasSubstr("is this computer on the network?")));
}

TEST(HttpTransportTest, AnotherStatusIsSaid) {
  for (const int status : {500, 404, 302, 204}) {
    const Server server(ToBase64("answer"), status);
    EXPECT_THAT(Problem(Quick("http://" + server.Address())), HasSubstr(std::to_string(status)));
  }
}

TEST(HttpTransportTest, WrongBase64IsSaid) {
  const Server server("<html>");
  EXPECT_THAT(Problem(Quick("http://" + server.Address())), HasSubstr("no Base64"));
}

TEST(HttpTransportTest, AnEmptyAnswerIsSaid) {
  for (const char* nothing : {"", "\r\n"}) {
    const Server server(nothing);
    EXPECT_THAT(Problem(Quick("http://" + server.Address())), HasSubstr("empty"));
  }
}

TEST(HttpTransportTest, ACutAnswerIsSaid) {
  const RawServer server("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nQUJD", 0ms);
  EXPECT_THAT(Problem(Quick(server.Url())), HasSubstr("cut"));
}

TEST(HttpTransportTest, ATooLargeAnswerIsSaid) {
  const Server server(std::string(1000, 'Q'));
  HttpOptions options = Quick("http://" + server.Address());
  options.most_bytes = 1000;
  EXPECT_EQ(Problem(options), "");
  options.most_bytes = 999;
  EXPECT_THAT(Problem(options), HasSubstr("too large"));
}

TEST(HttpTransportTest, ATooLargeAnswerWithoutALengthIsSaid) {
  const RawServer server("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + std::string(1000, 'Q'),
                         0ms);
  HttpOptions options = Quick(server.Url());
  options.most_bytes = 999;
  EXPECT_THAT(Problem(options), HasSubstr("too large"));
}

TEST(HttpTransportTest, ASilentServerMeetsTheTimeForAStep) {
  const RawServer server(" ", 3s);
  HttpOptions options = Quick(server.Url());
  options.step_time = 200ms;
  EXPECT_THAT(Problem(options), HasSubstr("in time"));
}

// Each byte comes soon enough, the answer does not.
TEST(HttpTransportTest, ADrippingServerMeetsTheTimeForTheWhole) {
  for (const std::string head : {"", "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n"}) {
    const RawServer server(head + std::string(100, 'Q'), 20ms);
    HttpOptions options = Quick(server.Url());
    options.whole_time = 300ms;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THAT(Problem(options), HasSubstr("in time"));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
  }
}

class SecureTransportTest : public testing::Test {
 protected:
  static std::unique_ptr<httplib::Server> Secure(const Certificate& certificate) {
    return std::make_unique<httplib::SSLServer>(certificate.File().c_str(),
                                                certificate.KeyFile().c_str());
  }
  static std::string ProblemWith(const Server& server, const std::string& ca_file) {
    HttpOptions options = Quick("https://" + server.Address() + "/echo");
    options.ca_file = ca_file;
    return Problem(options);
  }
};

TEST_F(SecureTransportTest, TakesACertificateThatIsTrusted) {
  const Certificate certificate("127.0.0.1");
  const Server server(Secure(certificate));
  EXPECT_EQ(ProblemWith(server, certificate.File()), "");
}

TEST_F(SecureTransportTest, RefusesACertificateThatIsNot) {
  const Certificate certificate("127.0.0.1");
  const Certificate another("127.0.0.1");
  const Server server(Secure(certificate));
  const std::string refused = "no secure connection to " + server.Address() +
                              ": the bank's certificate is not valid here: self";
  EXPECT_THAT(ProblemWith(server, ""),
              AllOf(StartsWith(refused), HasSubstr("the system's certificates, or in a file to")));
  EXPECT_THAT(ProblemWith(server, another.File()),
              AllOf(StartsWith("no secure connection to " + server.Address() + ": "),
                    EndsWith("what signs it must stand in " + another.File())));
}

TEST_F(SecureTransportTest, RefusesTheCertificateOfAnotherHost) {
  const Certificate certificate("127.0.0.2");
  const Server server(Secure(certificate));
  EXPECT_EQ(ProblemWith(server, certificate.File()),
            "no secure connection to " + server.Address() +
                ": the bank's certificate is not valid here: it names another host");
}

TEST_F(SecureTransportTest, RefusesAFileWithoutCertificates) {
  const Certificate certificate("127.0.0.1");
  const Server server(Secure(certificate));
  for (const std::string& file : {certificate.File() + "-none", certificate.KeyFile()})
    EXPECT_EQ(ProblemWith(server, file), "no secure connection to " + server.Address() +
                                             ": the file of certificates " + file +
                                             " cannot be used: it must be readable and hold "
                                             "certificates in PEM");
}

TEST_F(SecureTransportTest, RefusesAServerWithoutTls) {
  const Server server;
  EXPECT_THAT(ProblemWith(server, ""), StartsWith("no secure connection to " + server.Address() +
                                                  ": the other side does not speak TLS"));
}

TEST(HttpTransportTest, AddressesAreChecked) {
  for (const char* good :
       {"http://localhost", "https://a-b.c:443/path?x=1", "http://127.2.3.4:65535", "http://[::1]",
        "http://[::1]:8080/x", "http://localhost:1/", "https://1.2.3.4"})
    EXPECT_EQ(HttpTransport::ProblemOf(good), "") << good;
  for (const char* bad :
       {"", "localhost", "ftp://a/", "http://", "http:///path", "http://a:", "http://a:0",
        "http://a:65536", "http://a:1x", "http://user:word@a/", "http://a b/", "http://a/b c",
        "http://a/\r\nX: y", "http://a/#part", "HTTP://a/", "https://[::1", "https://[::1]x/"}) {
    EXPECT_NE(HttpTransport::ProblemOf(bad), "") << bad;
    EXPECT_NE(Problem(Quick(bad)), "") << bad;
  }
}

TEST(HttpTransportTest, NothingLeavesTheComputerInClear) {
  for (const char* const url :
       {"http://a-b.c/", "http://1.2.3.4/", "http://128.0.0.1/", "http://127.0.0.1.a/",
        "http://localhost.a/", "http://127.1/", "http://0127.0.0.1/"}) {
    EXPECT_THAT(HttpTransport::ProblemOf(url), HasSubstr("https://")) << url;
    EXPECT_THAT(Problem(Quick(url)), HasSubstr("in clear")) << url;
  }
}

}  // namespace
}  // namespace tmx::demo
