// SPDX-License-Identifier: Apache-2.0
// Any bytes are a stream of diagnostics. Entries are no longer than they may be, and only marks and the end make them.
#include "diagnostic_stream.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kLongestEntry = 1023;
constexpr std::byte kEndOfEntry{3};

void require(bool holds, const char* promise) {
  if (!holds) {
    std::fprintf(stderr, "%s\n", promise);
    std::abort();
  }
}

std::vector<std::string> entries_of(std::span<const std::byte> stream) {
  std::vector<std::string> entries;
  readDiagnosticStream(stream, [&](const char* text) { entries.emplace_back(text); });
  return entries;
}

void check(std::span<const std::byte> stream) {
  const std::vector<std::string> entries = entries_of(stream);
  const auto marks = static_cast<std::size_t>(std::count(stream.begin(), stream.end(), kEndOfEntry));
  require(entries.size() <= marks + 1, "an entry ends with a mark or the stream");
  for (const std::string& entry : entries) {
    require(entry.size() <= kLongestEntry, "an entry has at most 1023 bytes");
  }
}

// A byte changes nothing but the last entry, and what comes behind it.
void check_without_the_last_byte(std::span<const std::byte> stream) {
  std::vector<std::string> entries = entries_of(stream);
  std::vector<std::string> shorter = entries_of(stream.first(stream.size() - 1));
  const std::size_t settled = std::min(entries.size(), shorter.size()) - (shorter.empty() || entries.empty() ? 0 : 1);
  entries.resize(settled);
  shorter.resize(settled);
  require(entries == shorter, "a byte leaves the entries before the last alone");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*words*/) { return 0; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto stream = std::as_bytes(std::span(data, size));
  check(stream);
  if (!stream.empty()) {
    check_without_the_last_byte(stream);
  }
  return 0;
}
