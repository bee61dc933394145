/* SPDX-License-Identifier: Apache-2.0 */
/* Prints the description of the report on standard input. */
#include <stdio.h>

#include "CoreFoundation/CoreFoundation.h"
#include "profile/profile_exports.h"

int main(void) {
  _HubProfileReport report;
  if (fread(&report, sizeof report, 1, stdin) != 1) {
    return 1;
  }
  CFStringRef description = CopyProfileDescription(&report);
  if (description == NULL) {
    return 1;
  }
  puts(CFStringGetCStringPtr(description, kCFStringEncodingUTF8));
  CFRelease(description);
  return 0;
}
