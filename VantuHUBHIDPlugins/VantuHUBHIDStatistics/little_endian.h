// SPDX-License-Identifier: Apache-2.0
// Numbers out of the co-processor's bytes: little-endian, of any alignment.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>

// The number of sizeof(T) bytes at `offset`. The caller promises that it lies inside `bytes`.
template <std::unsigned_integral T>
constexpr T load_le(std::span<const std::byte> bytes, std::size_t offset) {
  std::uint64_t value = 0;
  for (std::size_t index = 0; index < sizeof(T); ++index) {
    value |= std::to_integer<std::uint64_t>(bytes[offset + index]) << (8 * index);
  }
  return static_cast<T>(value);
}
