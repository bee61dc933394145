// SPDX-License-Identifier: Apache-2.0
// The figures of a capture for a terminal.
#pragma once

#include <cstddef>
#include <string>

#include "host/figures/capture_summary.h"

namespace hub::host {

inline constexpr std::size_t kRowsShown = 20;

// Tables of what came, of durations, functions and presses, each with its largest rows first and the rest of them in
// one more row. Lines are at most `width` characters, from 40 on: where that is little the less important columns are
// left out and names are shortened. Every line ends with a line end. [any thread]
std::string summary_text(const CaptureSummary& summary, std::size_t width, std::size_t rows_shown = kRowsShown);

}  // namespace hub::host
