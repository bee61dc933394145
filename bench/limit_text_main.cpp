// SPDX-License-Identifier: Apache-2.0
// limit_text FILE: the limit as a program: reads a capture of three_types.h in blocks and writes a line for each record
// to standard output.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <span>
#include <vector>

#include "bench/limit_text.h"
#include "host/io/descriptor.h"

namespace {

constexpr std::size_t kRecordsPerBlock = 1365;  // 64 KiB

// Fills the block as far as the file goes. Gives the number of whole records.
std::size_t read_block(int file, std::vector<_HubProfileReport>& block) {
  const std::span<std::byte> room = std::as_writable_bytes(std::span(block));
  std::size_t done = 0;
  while (done < room.size()) {
    const std::size_t got = hub::host::read_some(file, room.subspan(done));
    if (got == 0) {
      break;
    }
    done += got;
  }
  return done / sizeof(_HubProfileReport);
}

}  // namespace

int main(int argc, char** argv) {
  const hub::host::Descriptor file(argc == 2 ? open(argv[1], O_RDONLY) : -1);
  if (file.number() < 0) {
    std::fputs("usage: limit_text FILE, which can be read\n", stderr);
    return 2;
  }
  std::vector<_HubProfileReport> block(kRecordsPerBlock);
  std::vector<char> text(kRecordsPerBlock * hub::bench::kLimitTextRoom);
  while (const std::size_t count = read_block(file.number(), block)) {
    char* out = text.data();
    for (std::size_t index = 0; index < count; ++index) {
      out = hub::bench::put_limit_text(out, block[index]);
      *out++ = '\n';
    }
    hub::host::write_all(STDOUT_FILENO, {text.data(), static_cast<std::size_t>(out - text.data())});
  }
  return 0;
}
