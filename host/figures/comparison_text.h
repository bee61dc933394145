// SPDX-License-Identifier: Apache-2.0
// Two captures side by side on a terminal.
#pragma once

#include <cstddef>
#include <string>

#include "host/figures/capture_comparison.h"
#include "host/figures/summary_text.h"

namespace hub::host {

// Tables like those of a summary, each row with what it was in A and in B, what changed most first. What only one of
// them has says so. Width and rows as of summary_text. [any thread]
std::string comparison_text(const NamedSummary& a, const NamedSummary& b, std::size_t width,
                            std::size_t rows_shown = kRowsShown);

}  // namespace hub::host
