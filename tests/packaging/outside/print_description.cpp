// SPDX-License-Identifier: Apache-2.0
// Prints the description of the report on standard input.
#include <iostream>
#include <memory>
#include <type_traits>

#include "CoreFoundation/CoreFoundation.h"
#include "profile/profile_exports.h"

int main() {
  _HubProfileReport report;
  if (!std::cin.read(reinterpret_cast<char*>(&report), sizeof report)) {
    return 1;
  }
  const std::unique_ptr<std::remove_pointer_t<CFStringRef>, decltype(&CFRelease)> description(
      CopyProfileDescription(&report), &CFRelease);
  if (!description) {
    return 1;
  }
  std::cout << CFStringGetCStringPtr(description.get(), kCFStringEncodingUTF8) << "\n";
}
