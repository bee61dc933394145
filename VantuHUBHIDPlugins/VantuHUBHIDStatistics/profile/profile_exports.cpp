// SPDX-License-Identifier: Apache-2.0
#include "profile/profile_exports.h"

#include <array>
#include <cstdio>
#include <new>
#include <string>

#include "CoreFoundation/CoreFoundation.h"
#include "profile/line_text.h"

bool _hub_profile_delta_enabled = false;

CFStringRef CopyProfileDescription(const _HubProfileReport* report) {
  std::array<char, hub::profile::kLineRoom + 1> line;  // as it comes: put_line fills what is read of it
  *hub::profile::put_line(line.data(), *report) = '\0';
  return CFStringCreateWithCString(kCFAllocatorDefault, line.data(), kCFStringEncodingUTF8);
}

namespace {

void print_converted(CFStringRef description) try {
  const CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(description), kCFStringEncodingUTF8) + 1;
  std::string text(static_cast<std::size_t>(size), '\0');
  if (CFStringGetCString(description, text.data(), size, kCFStringEncodingUTF8)) {
    std::puts(text.c_str());
  }
} catch (const std::bad_alloc&) {
  return;
}

}  // namespace

void hub_profile_print(const _HubProfileReport* report) {
  const CFStringRef description = CopyProfileDescription(report);
  if (description == nullptr) {
    return;
  }
  // The platform lends a buffer only for a text that is the same in its encodings, which is nearly every line.
  if (const char* text = CFStringGetCStringPtr(description, kCFStringEncodingMacRoman); text != nullptr) {
    std::puts(text);
  } else {
    print_converted(description);
  }
  CFRelease(description);
}
