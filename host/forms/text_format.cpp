// SPDX-License-Identifier: Apache-2.0
#include "host/forms/text_format.h"

#include "profile/profile_exports.h"

namespace hub::host {

bool TextFormat::append(const _HubProfileReport& report, std::string& out) {
  const CFStringRef description = CopyProfileDescription(&report);
  if (description == nullptr) {
    return false;
  }
  out += CFStringGetCStringPtr(description, kCFStringEncodingUTF8);
  out += '\n';
  CFRelease(description);
  return true;
}

}  // namespace hub::host
