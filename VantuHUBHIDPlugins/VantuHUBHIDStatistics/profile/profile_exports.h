/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The decoder's exports: what a program that holds raw profile reports calls. They leave the plug-in library under
 * these very names, with C linkage.
 *
 * No status is returned for a report that makes no sense: every report has a text, and ids without a name print as
 * numbers. The one text that cannot be given is one that is not UTF-8, which only a report's text fields can cause.
 */
#ifndef PROFILE_EXPORTS_H
#define PROFILE_EXPORTS_H

#include <stdbool.h>

#include "CoreFoundation/CFString.h"
#include "profile/profile_report.h"

PLATFORM_BEGIN_C

/*
 * A new string with the report's text: one line without a line end (a text field that holds one is copied as it is).
 * The caller owns the string. NULL when the text is not UTF-8 or the platform has no memory for the string. `report`
 * points to 48 readable bytes, at any alignment. Calendar time comes from the time-sync service in the registry, in the
 * zone of TZ; boot time from the kernel; each is left out when it cannot be had. [any thread]
 */
PLATFORM_EXPORT CFStringRef CopyProfileDescription(const _HubProfileReport* report);

/* Writes the same text and a line end to standard output; nothing when there is no text, or no memory. [any thread] */
PLATFORM_EXPORT void hub_profile_print(const _HubProfileReport* report);

/* For other code to set and read; false at load. It changes nothing about the decoded text. */
PLATFORM_EXPORT extern bool _hub_profile_delta_enabled;

PLATFORM_END_C

#endif
