#include "demo/bank/bank_endpoint.h"

#include <cstdint>
#include <utility>

#include "demo/base64.h"

namespace tmx::demo {
namespace {

// Bytes that look like chance and are the same every time.
std::string Garbage(std::size_t length) {
  std::string bytes(length, '\0');
  std::uint32_t state = 1;
  for (char& byte : bytes) {
    state = state * 1664525 + 1013904223;
    byte = static_cast<char>(state >> 24);
  }
  return bytes;
}

HttpReply Page(int status, std::string_view text) {
  HttpReply reply;
  reply.status = status;
  reply.type = "text/html";
  reply.body = "<html><body><h1>" + std::to_string(status) + "</h1><p>" + std::string(text) +
               "</p></body></html>\n";
  return reply;
}

// A body that no client can take for Base64.
std::string Spoiled(std::string base64) { return base64.insert(base64.size() / 2, "*!*"); }

}  // namespace

BankEndpoint::BankEndpoint(BankOptions options, Script script)
    : bank_(std::move(options)), script_(std::move(script)) {}

HttpReply BankEndpoint::Post(std::string_view body) {
  const std::lock_guard guard(mutex_);
  const Misbehaviour wrong = script_.For(++requests_);
  const auto request = FromBase64(body);
  if (!request) return Page(400, "The body is no Base64.");
  std::string answer = bank_.Answer(*request, wrong.message);
  if (wrong.garbage) answer = Garbage(*wrong.garbage);
  if (wrong.cut && *wrong.cut < answer.size()) answer.resize(*wrong.cut);

  HttpReply reply = wrong.status ? Page(*wrong.status, "The bank is out of order.") : HttpReply{};
  if (!wrong.status && !wrong.is_empty) reply.body = ToBase64(answer);
  if (wrong.is_wrong_base64) reply.body = Spoiled(std::move(reply.body));
  reply.delay = wrong.delay;
  reply.is_reset = wrong.is_reset;
  return reply;
}

}  // namespace tmx::demo
