// SPDX-License-Identifier: Apache-2.0
// The JSON of a trace's events: texts, numbers, and the values of a record.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "profile/profile_report.h"

namespace hub::host {

// Appends an integer: as a number where every reader of JSON keeps it, up to 2^53 - 1; a larger one as a string of its
// decimal digits. [any thread]
void append_json_integer(std::string& out, std::uint64_t number);

// Appends an object with all that a record says: sequence_num, timestamp, the four ids, then one object a layout, by
// the layout's name. A layout that the record shows twice stands once.
//
//   numbers                as append_json_integer has them; fractions exactly
//   hexadecimal rows       a string, as a line shows it
//   lists of bytes         a string, two hexadecimal digits a byte
//   numbers with names     the number, and its name as KEY-name
//   texts                  a string; one that is not UTF-8 has its bytes as KEY-bytes besides
//
// [any thread]
void append_record_arguments(std::string& out, const _HubProfileReport& report);

}  // namespace hub::host
