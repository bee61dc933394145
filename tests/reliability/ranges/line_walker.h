// SPDX-License-Identifier: Apache-2.0
// A line read against its report, item by item, without the decoder: of the decoder it takes the rows of names and
// layouts alone. Which of them a report has, and how a value is written, is said here a second time.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "profile/profile_report.h"

namespace hub::test {

// What is wrong with the line of a report that was decoded without times; empty when nothing is. Every byte of the line
// is looked at. [any thread]
std::string fault_of(std::string_view line, const _HubProfileReport& report);

// The events at which the names of a category, or the layouts of its payloads, may begin or end to be others: for each
// run of ids that have a name its ends and the ids beside them; the ids that layouts ask for; 0 and 255.
std::vector<unsigned> event_edges(unsigned category);

}  // namespace hub::test
