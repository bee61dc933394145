// SPDX-License-Identifier: Apache-2.0
// Two captures side by side, for other programs.
#pragma once

#include <string>

#include "host/figures/capture_comparison.h"

namespace hub::host {

// One JSON object, "hub-profile-comparison/1", with all figures and all rows, ending with a line end.
// docs/summary-json.md describes it. [any thread]
std::string comparison_json(const NamedSummary& a, const NamedSummary& b);

}  // namespace hub::host
