// Blocks with detached signatures, three to an input, for requests of one job. What was read comes
// out again as it went in, if it was whole and no other request had the place before.
//
// Request ids and counts are made small, since thousands of empty places take most of the time and
// try little; but they stay in an input whose first byte is 0xFF and whose bytes add up to 0 modulo
// 256, as one of the corpus does and few of its mutations. Each block follows its length in one
// byte.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <span>
#include <vector>

#include "tmxtools/banking/job.h"
#include "tmxtools/core/error.h"

namespace {

constexpr HbRole kRole = HbRoleIssuer;

void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

HbRequest& NewRequest(HbJob& job) {
  static const String name("HKCCS");
  auto request = std::make_unique<HbRequest>(name, static_cast<unsigned short>(1),
                                             static_cast<unsigned short>(1));
  job.InsertRequest(request.get());
  return *request.release();
}

void CheckBlockOf(const HbRequest& request, std::span<const std::uint8_t> block) {
  const unsigned long size = request.GetSignSize(kRole);
  std::vector<unsigned char> out(size + 1, 0xAA);
  unsigned long length = size;
  // Stored ids and places may disagree, and then more room may be needed than was asked for.
  if (!request.GetSign(kRole, out.data(), length)) {
    Require(length == 0, "a refused block has no length");
    return;
  }
  Require(length == size && out[size] == 0xAA, "a block keeps to its size");
  if (request.GetReqId() == 0 && request.GetRequestId() == 0) {
    Require(block.size() >= size - 2, "a block comes from one as long");
    Require(std::equal(out.begin(), out.end() - 3, block.begin()),
            "a block comes out as it went in");
  }
}

void Take(HbJob& job, std::vector<HbMessage*>& messages, std::span<const std::uint8_t> block) {
  HbRequest& request = NewRequest(job);
  HbError error;
  const bool done = request.InsertSignature(error, block.data(), block.size(), kRole);
  HbMessage* const message = request.GetMessage();
  if (message != nullptr) messages.push_back(message);
  Require(done == !error.IsSet(), "a refusal has an error");
  Require(done || error.GetCode() == 17636, "the error says what was refused");
  if (!done) return;
  Require(block.size() >= 6 && message != nullptr, "what was taken has a message");
  Require((*message)[request.GetReqId()] == &request, "a request stands in the place of its id");
  String tan;
  Require(!request.GetTANFromSignature(kRole, tan), "a signature without a user has no TAN");
  CheckBlockOf(request, block);
}

bool MayBeLarge(std::span<const std::uint8_t> input) {
  return input[0] == 0xFF && std::accumulate(input.begin(), input.end(), 0U) % 256 == 0;
}

// The request id, and the count if it ends the block.
void MakeSmall(std::vector<std::uint8_t>& block) {
  const auto shrink = [&block](std::size_t at) {
    block[at] = 0;
    block[at + 1] &= 0x0F;
  };
  if (block.size() >= 6) shrink(0);
  if (block.size() >= 8) shrink(block.size() - 2);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const bool may_be_large = MayBeLarge({data, size});
  std::span<const std::uint8_t> rest(data + 1, size - 1);
  std::vector<HbMessage*> messages;
  HbJob job;
  for (int i = 0; i < 3 && !rest.empty(); ++i) {
    const std::size_t length = std::min<std::size_t>(rest[0], rest.size() - 1);
    std::vector<std::uint8_t> block(rest.begin() + 1,
                                    rest.begin() + 1 + static_cast<std::ptrdiff_t>(length));
    if (!may_be_large) MakeSmall(block);
    Take(job, messages, block);
    rest = rest.subspan(1 + length);
  }
  // Nobody else owns presigned messages.
  for (HbMessage* const message : messages)
    std::unique_ptr<HbMessage>(HbMessage::FindLive(message));
  return 0;
}
