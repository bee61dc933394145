// SPDX-License-Identifier: Apache-2.0
// The records that the decoder and its yardsticks are measured with: what firmware sends most.
#pragma once

#include <cstddef>
#include <vector>

#include "profile/profile_report.h"

namespace hub::bench {

// Ids stay below these, so that a yardstick can have plain arrays of names.
inline constexpr unsigned kCategories = 13;
inline constexpr unsigned kComponents = 7;
inline constexpr unsigned kEvents = 11;

// The same records in every run, and the first of a longer run: the types "event", "function" and "sensorinfo" in turn,
// in the layouts that all categories share; every category, ids with and without a name, small and large numbers, and
// names of sensors of two to twelve bytes. Time and sequence number grow as a busy co-processor's do.
std::vector<_HubProfileReport> three_types(std::size_t count);

}  // namespace hub::bench
