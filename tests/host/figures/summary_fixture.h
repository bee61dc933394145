// SPDX-License-Identifier: Apache-2.0
// Summaries for tests, and texts that stand in files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>

#include "host/figures/capture_summary.h"
#include "tests/support/report_builder.h"

namespace hub::test {

host::CaptureSummary summary_of(std::initializer_list<_HubProfileReport> reports);

// Of the example capture, from this time on.
host::CaptureSummary example_summary(std::uint64_t from_us = 0);

// What it should look like on a terminal of this width.
std::string expected_text(const std::string& name, std::size_t width);

std::size_t longest_line(const std::string& text);

}  // namespace hub::test
