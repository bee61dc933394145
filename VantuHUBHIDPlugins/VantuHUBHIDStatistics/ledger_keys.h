// SPDX-License-Identifier: Apache-2.0
// The keys under which the statistics service files what the firmware counts.
#pragma once

#include <cstdint>

#include "CoreFoundation/CFString.h"

// How the firmware names a statistic: an index into the table below. Whether it is a scalar or a distribution is said
// by the operation that names it.
enum StatLedgerKey : std::int32_t {};

inline constexpr std::int32_t kStatLedgerKeyCount = 67;

struct StatLedgerKeyName {
  std::int32_t index;
  const char* text;
};

// The key of each index, in the order of the indices.
extern const StatLedgerKeyName kStatLedgerKeyNames[kStatLedgerKeyCount];

// The key of every index beyond the table.
inline CFStringRef unknownStatLedgerKey() { return CFSTR("com.vantu.neb.unknown"); }
