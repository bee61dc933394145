// SPDX-License-Identifier: Apache-2.0
// The figures of a capture for other programs.
#pragma once

#include <string>

#include "host/figures/capture_summary.h"

namespace hub::host {

// One JSON object, "hub-profile-summary/1", with all figures and all rows, ending with a line end. docs/summary-json.md
// describes it. [any thread]
std::string summary_json(const CaptureSummary& summary);

}  // namespace hub::host
