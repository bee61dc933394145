// SPDX-License-Identifier: Apache-2.0
// Lines of registered categories, written from their rows: the text that the category's decoder gives, without its
// virtual operations, which cannot give another, and without a stream.
#pragma once

#include <string>

#include "profile/profile_report.h"

namespace hub::profile {

// Appends the line of a report. All that is asked for is memory for `out`; without it (std::bad_alloc), `out` is as it
// was. [any thread]
void append_line(const _HubProfileReport& report, std::string& out);

// The line alone, in one allocation.
std::string line_of(const _HubProfileReport& report);

}  // namespace hub::profile
