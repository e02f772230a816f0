// Commits one transaction after the other to the files named on the command line until it is
// killed, and says each time through standard output, once the commit has returned, which one it
// was.
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tests/crash/numbered_file.h"
#include "tmxtools/streams/transaction_file_stream.h"

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  HbTransactionFileStream stream;
  stream.Open(argv[1], argv[2], tmx::stream_mode::Read | tmx::stream_mode::Write);
  // Ends by itself, also when nobody is there to kill it.
  constexpr std::uint32_t most = 1000000;
  std::uint32_t number = tmx::crash::NumberOf(stream);
  while (!stream.HasError() && ++number < most) {
    const std::string content = tmx::crash::ContentOf(number);
    stream.BeginTrans();
    if (stream.Size() > content.size()) stream.SetStreamSize(content.size());
    // In pieces and out of order, so that there is something to be torn.
    constexpr std::size_t piece = 700;
    for (const std::size_t offset : {std::size_t{0}, piece}) {
      for (std::size_t at = offset; at < content.size(); at += 2 * piece) {
        const std::size_t count = std::min(piece, content.size() - at);
        stream.Seek(std::min<unsigned long>(at, stream.Size()));
        if (stream.Tell() != at) stream.SetStreamSize(at);
        stream.Seek(at);
        stream.Write(content.data() + at, count);
      }
    }
    stream.CommitTrans();
    if (stream.HasError()) return 1;
    if (write(STDOUT_FILENO, &number, sizeof(number)) != sizeof(number)) return 1;
  }
  return stream.HasError() ? 1 : 0;
}
