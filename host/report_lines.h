// SPDX-License-Identifier: Apache-2.0
// Reports to lines of text.
#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "profile/profile_report.h"

namespace hub::host {

// Appends each report's description and a line end. A report without a description (its text is not UTF-8) gives no
// line; returns how many there were of these. Throws std::bad_alloc.
std::size_t append_lines(std::span<const _HubProfileReport> reports, std::string& text);

}  // namespace hub::host
