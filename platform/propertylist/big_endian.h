// SPDX-License-Identifier: Apache-2.0
// Unsigned numbers of 1 to 8 bytes, the highest byte first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace hub::platform {

// Of more than 8 bytes the last 8 count.
inline std::uint64_t load_be(std::span<const std::byte> bytes) {
  std::uint64_t value = 0;
  for (const std::byte byte : bytes) {
    value = value << 8U | std::to_integer<std::uint64_t>(byte);
  }
  return value;
}

// Writes the value's lowest `size_bytes` bytes, of which there is at least one, and returns where they end. Nearly all
// that is written are single bytes and pairs of them.
inline std::byte* store_be(std::uint64_t value, std::size_t size_bytes, std::byte* to) {
  if (size_bytes <= 2) {
    *to = static_cast<std::byte>(value >> (8U * (size_bytes - 1)));
    to[size_bytes - 1] = static_cast<std::byte>(value);
    return to + size_bytes;
  }
  for (std::size_t index = size_bytes; index > 0; --index) {
    to[index - 1] = static_cast<std::byte>(value);
    value >>= 8U;
  }
  return to + size_bytes;
}

// The smallest of 1, 2, 4 and 8 bytes that holds the value.
inline std::size_t smallest_size(std::uint64_t value) {
  if (value <= 0xFFFF) {
    return value <= 0xFF ? 1 : 2;
  }
  return value <= 0xFFFFFFFF ? 4 : 8;
}

}  // namespace hub::platform
