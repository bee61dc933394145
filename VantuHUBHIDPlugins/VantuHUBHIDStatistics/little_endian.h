// SPDX-License-Identifier: Apache-2.0
// Numbers out of the co-processor's bytes: little-endian, of any alignment.
#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

static_assert(std::endian::native == std::endian::little, "the co-processor's bytes are copied as they stand");

// The number of sizeof(T) bytes at `offset`. The caller promises that it lies inside `bytes`.
template <std::unsigned_integral T>
T load_le(std::span<const std::byte> bytes, std::size_t offset) {
  T value;
  std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}
