// SPDX-License-Identifier: Apache-2.0
// Any 48 bytes are a report, and have a line. The input is a capture of them; what is left over is ignored.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "profile/NEBLogDecoder.h"
#include "profile/profile_exports.h"
#include "system/system_host.h"

namespace {

void require(bool holds, const char* promise, const std::string& line) {
  if (!holds) {
    std::fprintf(stderr, "%s: %s\n", promise, line.c_str());
    std::abort();
  }
}

void check(const _HubProfileReport& report) {
  const std::string line = NEBLogDecoder::to_string(report);
  require(line.starts_with("{  'category':"), "a line begins with the category", line);
  require(line.find('\0') == std::string::npos, "a line holds no zero byte", line);
  const std::string end =
      " 'type-id':" + std::to_string(report.type_id) + ", 'category-id':" + std::to_string(report.category_id) +
      ", 'component-id':" + std::to_string(report.component_id) + ", 'event-id':" + std::to_string(report.event_id) +
      ", 'binary-data':" + profile_decoder::dump(&report, sizeof report) + "}";
  require(line.ends_with(end), "a line ends with the ids and all bytes", line);

  const CFStringRef description = CopyProfileDescription(&report);
  if (description != nullptr) {
    require(line == CFStringGetCStringPtr(description, kCFStringEncodingUTF8), "the description is the line", line);
    CFRelease(description);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*words*/) {
  hub::platform::fail_boot_time(ENOENT);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  for (; size >= sizeof(_HubProfileReport); data += sizeof(_HubProfileReport), size -= sizeof(_HubProfileReport)) {
    _HubProfileReport report;
    std::memcpy(&report, data, sizeof report);
    check(report);
  }
  return 0;
}
