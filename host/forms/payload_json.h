// SPDX-License-Identifier: Apache-2.0
// The payload of a record as members of a JSON object: one a layout, by the layout's name.
#pragma once

#include <cstdint>

#include "host/text/text_buffer.h"
#include "profile/profile_report.h"

namespace hub::host {

// What is done for readers that keep integers as doubles.
enum class Integers : std::uint8_t {
  kAsNumbers,  // nothing: all digits, whoever reads them
  kReadable,   // above 2^53 - 1 a string of the decimal digits
};

inline constexpr std::uint64_t kLargestReadableInteger = (std::uint64_t{1} << 53) - 1;

void append_json_integer(TextBuffer& out, std::uint64_t number, Integers integers);

// Appends "LAYOUT":{"KEY":value,...} for each layout of the record's line, with commas between them; nothing when it
// has none. A layout that the line shows twice stands once. Rows are
//
//   numbers       integers; fractions the shortest number that is exact as a double
//   hexadecimal   the digits, a string
//   subtypes      the number, and behind it KEY-name with its name
//   bytes         two hexadecimal digits each, a string
//   texts         strings; when bytes in it belong to no character, the replacement character stands for each of them,
//                 and behind it KEY-bytes has all bytes of the text
//
// [any thread]
void append_payload_members(TextBuffer& out, const _HubProfileReport& report, Integers integers);

}  // namespace hub::host
