// SPDX-License-Identifier: Apache-2.0
// The texts of values in output that programs read: no blanks, no locale, nothing lost. All are appended. [any thread]
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace hub::host {

void append_decimal(std::string& out, std::uint64_t number);

// Lower-case digits without leading zeros.
void append_hexadecimal(std::string& out, std::uint64_t number);

// The shortest decimal text that, read as a double, is this number again. It is a number in JSON, too.
void append_real(std::string& out, double number);

// Two lower-case digits a byte.
void append_hexadecimal(std::string& out, std::span<const std::byte> bytes);

// A JSON string, quotes included. Quotes, backslashes, control characters (U+0000 to U+001F, U+007F to U+009F) and line
// separators (U+2028, U+2029) are escaped; a byte that belongs to no character is the replacement character.
void append_json_string(std::string& out, std::string_view text);

}  // namespace hub::host
