// SPDX-License-Identifier: Apache-2.0
// Whether bytes from outside are text, and a text of those that are not.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace hub::host {

// How many of the leading bytes are well-formed UTF-8: no overlong form, no surrogate, nothing above U+10FFFF, nothing
// cut off. The text's size when all are. [any thread]
std::size_t utf8_prefix_bytes(std::string_view text);

// The length of the well-formed character that the bytes begin with, at most 4; 0 when the first belongs to none. There
// is at least one byte. [any thread]
std::size_t utf8_character_bytes(std::string_view text);

// U+FFFD, what stands in a text for a byte that belongs to no character.
inline constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";

// Appends the bytes as text: each that belongs to no character as the replacement character. [any thread]
void append_readable(std::string& out, std::string_view text);

}  // namespace hub::host
