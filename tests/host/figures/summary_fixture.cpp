// SPDX-License-Identifier: Apache-2.0
#include "tests/host/figures/summary_fixture.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>

namespace hub::test {
namespace {

std::string content_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

host::CaptureSummary summary_of(std::initializer_list<_HubProfileReport> reports) {
  host::CaptureSummary summary;
  for (const _HubProfileReport& report : reports) {
    summary.see(report);
  }
  return summary;
}

host::CaptureSummary example_summary(std::uint64_t from_us) {
  const std::string bytes = content_of(HUB_EXAMPLE_CAPTURE);
  host::CaptureSummary summary;
  _HubProfileReport report;
  for (std::size_t offset = 0; offset + sizeof report <= bytes.size(); offset += sizeof report) {
    std::memcpy(&report, bytes.data() + offset, sizeof report);
    if (report.timestamp >= from_us) {
      summary.see(report);
    }
  }
  return summary;
}

std::string expected_text(const std::string& name, std::size_t width) {
  return content_of(HUB_SUMMARIES "/" + name + "." + std::to_string(width) + ".txt");
}

std::size_t longest_line(const std::string& text) {
  std::size_t longest = 0;
  std::size_t begin = 0;
  for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', begin)) {
    longest = std::max(longest, end - begin);
    begin = end + 1;
  }
  return longest;
}

}  // namespace hub::test
