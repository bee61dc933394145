// SPDX-License-Identifier: Apache-2.0
// Numbers and bytes in output that programs read: no blanks, no locale, nothing lost. All are appended. [any thread]
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "host/text/text_buffer.h"

namespace hub::host {

inline constexpr std::string_view kHexadecimalDigits = "0123456789abcdef";

void append_decimal(TextBuffer& out, std::uint64_t number);

// Lower-case digits without leading zeros.
void append_hexadecimal(TextBuffer& out, std::uint64_t number);

// The shortest decimal text that, read as a double, is this number again. It is a number in JSON, too.
void append_real(TextBuffer& out, double number);

// Two lower-case digits a byte.
void append_hexadecimal(TextBuffer& out, std::span<const std::byte> bytes);

}  // namespace hub::host
