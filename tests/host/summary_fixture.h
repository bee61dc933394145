// SPDX-License-Identifier: Apache-2.0
// Summaries for tests, and texts that stand in files.
#pragma once

#include <cstring>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string>

#include "host/profile/capture_summary.h"
#include "tests/support/report_builder.h"

namespace hub::test {

inline host::CaptureSummary summary_of(std::initializer_list<_HubProfileReport> reports) {
  host::CaptureSummary summary;
  for (const _HubProfileReport& report : reports) {
    summary.see(report);
  }
  return summary;
}

inline std::string content_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Of the example capture, from this time on.
inline host::CaptureSummary example_summary(std::uint64_t from_us = 0) {
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

// What it should look like on a terminal of this width.
inline std::string expected_text(const std::string& name, std::size_t width) {
  return content_of(HUB_SUMMARIES "/" + name + "." + std::to_string(width) + ".txt");
}

inline std::size_t longest_line(const std::string& text) {
  std::size_t longest = 0;
  std::size_t begin = 0;
  for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', begin)) {
    longest = std::max(longest, end - begin);
    begin = end + 1;
  }
  return longest;
}

}  // namespace hub::test
