// SPDX-License-Identifier: Apache-2.0
// The records that benchmarks of the decoder and of output forms share.
#pragma once

#include <vector>

#include "profile/profile_report.h"

namespace hub::bench {

// The same 20,000 records in every run: each category with each type in turn, known components and events, varied
// numbers, and names in the fields of texts.
const std::vector<_HubProfileReport>& mixed_records();

}  // namespace hub::bench
