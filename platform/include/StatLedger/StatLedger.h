/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The statistics service. Under a key stands a scalar, a distribution, or one of each. [any thread]
 *
 * A scalar is a signed 64-bit number; one that was never set, or was cleared, counts as 0 and is not listed. A
 * distribution is a series of samples, oldest first.
 *
 * Every call returns true when the service has taken it over, and false when there is no service, the key is NULL, or
 * the value could not be filed; what was filed before is as it was then. Keys are lent for the call.
 */
#ifndef STATLEDGER_STATLEDGER_H
#define STATLEDGER_STATLEDGER_H

#include <stdbool.h>

#include "CoreFoundation/CFString.h"

PLATFORM_BEGIN_C

/* Removes the scalar. */
PLATFORM_EXPORT bool SLClientClearScalarKey(CFStringRef key);

PLATFORM_EXPORT bool SLClientSetValueForScalarKey(CFStringRef key, int64_t value);

/* Adds to the scalar; beyond the range of 64 bits the sum wraps around. */
PLATFORM_EXPORT bool SLClientAddValueForScalarKey(CFStringRef key, int64_t value);

/* Removes all samples. */
PLATFORM_EXPORT bool SLClientClearDistributionKey(CFStringRef key);

/* Leaves the distribution with this one sample. */
PLATFORM_EXPORT bool SLClientSetValueForDistributionKey(CFStringRef key, double sample);

/* Adds a sample at the end. */
PLATFORM_EXPORT bool SLClientPushValueForDistributionKey(CFStringRef key, double sample);

PLATFORM_END_C

#endif
