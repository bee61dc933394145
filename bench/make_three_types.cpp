// SPDX-License-Identifier: Apache-2.0
// make_three_types FILE COUNT: a capture of that many of the records that are measured with.
#include <charconv>
#include <cstdio>
#include <fstream>
#include <span>
#include <string_view>

#include "bench/three_types.h"

int main(int argc, char** argv) {
  const std::span arguments(argv, static_cast<std::size_t>(argc));
  std::size_t count = 0;
  const std::string_view number = argc == 3 ? arguments[2] : "";
  const auto parsed = std::from_chars(number.data(), number.data() + number.size(), count);
  if (number.empty() || parsed.ec != std::errc() || parsed.ptr != number.data() + number.size()) {
    std::fputs("usage: make_three_types FILE COUNT\n", stderr);
    return 2;
  }
  const std::vector<_HubProfileReport> records = hub::bench::three_types(count);
  std::ofstream file(arguments[1], std::ios::binary);
  file.write(reinterpret_cast<const char*>(records.data()),
             static_cast<std::streamsize>(records.size() * sizeof(_HubProfileReport)));
  file.close();
  if (!file) {
    std::fprintf(stderr, "make_three_types: %s cannot be written\n", arguments[1]);
    return 1;
  }
  return 0;
}
