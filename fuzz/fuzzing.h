// SPDX-License-Identifier: Apache-2.0
// What fuzz targets share: promises that must hold, inputs that are taken apart, and what must not be left over.
#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string_view>

namespace hub::fuzz {

// Ends the process unless the promise holds; `found` is what it was looked for in.
inline void require(bool holds, const char* promise, std::string_view found = "") {
  if (!holds) {
    std::fprintf(stderr, "%s: %.*s\n", promise, static_cast<int>(found.size()), found.data());
    std::abort();
  }
}

// An input that is read from its front. Behind its end there are zeros.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : rest_(std::as_bytes(std::span(data, size))) {}

  [[nodiscard]] std::span<const std::byte> rest() const { return rest_; }
  [[nodiscard]] bool is_over() const { return rest_.empty(); }

  // Up to so many bytes.
  std::span<const std::byte> take(std::size_t most) {
    const auto taken = rest_.first(std::min(most, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    return taken;
  }

  // A little-endian number.
  template <std::integral Number>
  Number number() {
    std::uint64_t value = 0;
    unsigned shift = 0;
    for (const std::byte byte : take(sizeof(Number))) {
      value |= std::to_integer<std::uint64_t>(byte) << shift;
      shift += 8;
    }
    return static_cast<Number>(value);
  }

 private:
  std::span<const std::byte> rest_;
};

}  // namespace hub::fuzz
