/* SPDX-License-Identifier: Apache-2.0 */
/* A program as an engineer would link it: prints a report, and says whether its description is the same with the flag
 * set. */
#include <stdio.h>

#include "CoreFoundation/CoreFoundation.h"
#include "profile/profile_exports.h"

int main(void) {
  _HubProfileReport report = {0};
  report.category_id = 8;
  report.component_id = 3;
  report.event_id = 5;
  report.sequence_num = 7;
  report.timestamp = 1000;
  hub_profile_print(&report);

  CFStringRef before = CopyProfileDescription(&report);
  _hub_profile_delta_enabled = 1;
  CFStringRef after = CopyProfileDescription(&report);
  if (before == NULL || after == NULL) {
    return 1;
  }
  puts(CFEqual(before, after) ? "same" : "different");
  CFRelease(before);
  CFRelease(after);
  return 0;
}
