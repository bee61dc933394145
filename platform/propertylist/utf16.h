// SPDX-License-Identifier: Apache-2.0
// Texts between UTF-8 and the big-endian UTF-16 of property lists.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace hub::platform {

// Writes a valid text, two bytes per unit, and returns where it ends.
std::byte* write_utf16(std::string_view utf8, std::byte* to);

struct Utf16Text {
  std::string utf8;                           // up to the lone surrogate
  std::optional<std::size_t> lone_surrogate;  // the first one's unit
};

// Reads whole units, two bytes each.
Utf16Text read_utf16(std::span<const std::byte> bytes);

}  // namespace hub::platform
