// SPDX-License-Identifier: Apache-2.0
// decode_records COUNT: has the decoder write the text of that many records, and nothing else. Of two runs with
// different counts the difference in instructions is that of the decoder.
#include <charconv>
#include <cstdio>
#include <string_view>

#include "bench/three_types.h"
#include "host/captures/clock_sources.h"
#include "profile/NEBLogDecoder.h"

int main(int argc, char** argv) {
  constexpr std::size_t kRecords = 3000;
  const std::string_view number = argc == 2 ? argv[1] : "";
  std::size_t count = 0;
  if (number.empty() || std::from_chars(number.data(), number.data() + number.size(), count).ec != std::errc()) {
    std::fputs("usage: decode_records COUNT\n", stderr);
    return 2;
  }
  hub::host::publish_boot_time({std::nullopt});
  const std::vector<_HubProfileReport> records = hub::bench::three_types(kRecords);
  std::size_t text_bytes = 0;
  for (std::size_t index = 0; index < count; ++index) {
    text_bytes += NEBLogDecoder::to_string(records[index % kRecords]).size();
  }
  std::printf("%zu\n", text_bytes);
  return 0;
}
