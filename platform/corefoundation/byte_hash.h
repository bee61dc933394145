// SPDX-License-Identifier: Apache-2.0
// The hash of some bytes: of a text, of data.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace hub::platform {

// Eight bytes a step in each lane: keys of a few steps and lines of a hundred are both hashed often. A lane waits for
// its last product, so that four of them take a long text in half the time of two. What is left of 16 bytes is read in
// two parts that may overlap.
class ByteHash {
 public:
  static std::uint64_t of(std::string_view bytes) {
    ByteHash hash(bytes.size());
    if (bytes.size() > kLong) {
      hash.add_front_of_long(bytes);
    }
    for (; bytes.size() > 16; bytes.remove_prefix(16)) {
      hash.add(load<std::uint64_t>(bytes, 0), load<std::uint64_t>(bytes, 8));
    }
    if (bytes.size() >= 8) {
      hash.add(load<std::uint64_t>(bytes, 0), load<std::uint64_t>(bytes, bytes.size() - 8));
    } else if (bytes.size() >= 4) {
      hash.add(load<std::uint32_t>(bytes, 0), load<std::uint32_t>(bytes, bytes.size() - 4));
    } else if (!bytes.empty()) {
      hash.add(load<std::uint8_t>(bytes, 0) | load<std::uint8_t>(bytes, bytes.size() / 2) << 8U,
               load<std::uint8_t>(bytes, bytes.size() - 1));
    }
    return hash.value();
  }

 private:
  static constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15;
  static constexpr std::size_t kLong = 64;

  explicit ByteHash(std::uint64_t length) : first_(length * kFactor) {}

  template <typename T>
  static std::uint64_t load(std::string_view bytes, std::size_t at) {
    T value;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
  }

  void add(std::uint64_t first, std::uint64_t second) {
    first_ = (std::rotl(first_, 5) ^ first) * kFactor;
    second_ = (std::rotl(second_, 7) ^ second) * kFactor;
  }

  // Takes the front off the text, 32 bytes a step.
  void add_front_of_long(std::string_view& bytes) {
    ByteHash other(0);
    for (; bytes.size() > 32; bytes.remove_prefix(32)) {
      add(load<std::uint64_t>(bytes, 0), load<std::uint64_t>(bytes, 8));
      other.add(load<std::uint64_t>(bytes, 16), load<std::uint64_t>(bytes, 24));
    }
    add(other.first_, other.second_);
  }

  // The high bits of a product depend on all bits of its factors, the low ones do not.
  [[nodiscard]] std::uint64_t value() const {
    const std::uint64_t both = first_ ^ std::rotl(second_, 32);
    return both ^ both >> 32U;
  }

  std::uint64_t first_;
  std::uint64_t second_ = 0;
};

}  // namespace hub::platform
