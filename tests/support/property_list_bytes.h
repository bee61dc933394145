// SPDX-License-Identifier: Apache-2.0
// Binary property lists for tests, from objects written by hand in hex.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "CoreFoundation/CoreFoundation.h"

namespace hub::test {

// The bytes of hex digits; blanks between bytes mean nothing.
inline std::string from_hex(std::string_view hex) {
  std::string bytes;
  for (std::size_t at = 0; at < hex.size(); at += 2) {
    at = hex.find_first_not_of(' ', at);
    bytes += static_cast<char>(std::stoi(std::string(hex.substr(at, 2)), nullptr, 16));
  }
  return bytes;
}

// So many bytes in hex, each with a blank before it.
inline std::string repeated(std::size_t count, const std::string& hex_byte) {
  std::string hex;
  for (std::size_t number = 0; number < count; ++number) {
    hex += " " + hex_byte;
  }
  return hex;
}

inline std::string big_endian(std::uint64_t value, std::size_t size_bytes) {
  std::string bytes;
  for (std::size_t index = size_bytes; index-- > 0;) {
    bytes += index < 8 ? static_cast<char>(value >> (8 * index)) : '\0';
  }
  return bytes;
}

// The number's bytes in hex, each with a blank before it.
inline std::string hex_number(std::uint64_t value, std::size_t size_bytes = 1) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string hex;
  for (const char character : big_endian(value, size_bytes)) {
    const auto byte = static_cast<std::uint8_t>(character);
    hex += {' ', kDigits[byte / 16U], kDigits[byte % 16U]};
  }
  return hex;
}

struct ListShape {
  std::size_t offset_size = 1;
  std::size_t reference_size = 1;
  std::uint64_t top = 0;
};

// A property list of these objects, in hex, in this order.
inline std::string list_of(const std::vector<std::string>& hex_objects, ListShape shape = {}) {
  std::string bytes = "bplist00";
  std::string offsets;
  for (const std::string& hex : hex_objects) {
    offsets += big_endian(bytes.size(), shape.offset_size);
    bytes += from_hex(hex);
  }
  const std::size_t table_start = bytes.size();
  return bytes + offsets + big_endian(0, 6) + big_endian(shape.offset_size, 1) + big_endian(shape.reference_size, 1) +
         big_endian(hex_objects.size(), 8) + big_endian(shape.top, 8) + big_endian(table_start, 8);
}

inline std::span<const std::byte> bytes_of(std::string_view text) { return std::as_bytes(std::span(text)); }

inline std::string text_of(CFDataRef data) {
  return {reinterpret_cast<const char*>(CFDataGetBytePtr(data)), static_cast<std::size_t>(CFDataGetLength(data))};
}

}  // namespace hub::test
