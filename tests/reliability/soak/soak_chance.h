// SPDX-License-Identifier: Apache-2.0
// Chance that can be repeated: the same seed gives the same run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <span>

namespace hub::test {

class Chance {
 public:
  explicit Chance(std::uint64_t seed) : engine_(seed) {}

  // 0 to `end` - 1; `end` is not 0. Small ends alone: they come up about equally often.
  std::uint64_t below(std::uint64_t end) { return engine_() % end; }
  bool one_in(std::uint64_t times) { return below(times) == 0; }

  void fill(std::span<std::byte> bytes) {
    while (!bytes.empty()) {
      const std::uint64_t random = engine_();
      const std::size_t count = bytes.size() < sizeof random ? bytes.size() : sizeof random;
      std::memcpy(bytes.data(), &random, count);
      bytes = bytes.subspan(count);
    }
  }

 private:
  std::mt19937_64 engine_;
};

}  // namespace hub::test
