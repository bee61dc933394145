// SPDX-License-Identifier: Apache-2.0
// Reads property lists from standard input and writes them anew to standard output: each with its length in 4 bytes,
// big-endian, before it. One that is refused gives a length of 0, and its error on standard error.
#include <array>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

#include "tests/support/property_list_bytes.h"
#include "tests/support/property_list_objects.h"

namespace {

using namespace hub;

constexpr std::size_t kLengthSize = 4;

bool read_exactly(std::string& bytes) { return std::fread(bytes.data(), 1, bytes.size(), stdin) == bytes.size(); }

std::optional<std::string> next_list() {
  std::string length(kLengthSize, '\0');
  if (!read_exactly(length)) {
    return std::nullopt;
  }
  std::size_t length_bytes = 0;
  for (const char byte : length) {
    length_bytes = length_bytes * 256 + static_cast<std::uint8_t>(byte);
  }
  std::string list(length_bytes, '\0');
  return read_exactly(list) ? std::optional(list) : std::nullopt;
}

std::string rewritten(const std::string& list) try {
  return test::written(platform::read_property_list(test::bytes_of(list)));
} catch (const platform::PropertyListError& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return {};
}

}  // namespace

int main() {
  while (const std::optional<std::string> list = next_list()) {
    const std::string anew = rewritten(*list);
    const std::string answer = test::big_endian(anew.size(), kLengthSize) + anew;
    if (std::fwrite(answer.data(), 1, answer.size(), stdout) != answer.size()) {
      return 1;
    }
  }
  return std::fflush(stdout) == 0 ? 0 : 1;
}
