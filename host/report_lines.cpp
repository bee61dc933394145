// SPDX-License-Identifier: Apache-2.0
#include "host/report_lines.h"

#include "profile/profile_exports.h"

namespace hub::host {

std::size_t append_lines(std::span<const _HubProfileReport> reports, std::string& text) {
  std::size_t without_line = 0;
  for (const _HubProfileReport& report : reports) {
    const CFStringRef description = CopyProfileDescription(&report);
    if (description == nullptr) {
      ++without_line;
      continue;
    }
    text += CFStringGetCStringPtr(description, kCFStringEncodingUTF8);
    text += '\n';
    CFRelease(description);
  }
  return without_line;
}

}  // namespace hub::host
