// SPDX-License-Identifier: Apache-2.0
// Choices that a seed determines, the same on every machine.
#pragma once

#include <cstddef>
#include <cstdint>

namespace hub::test {

class SeededChoice {
 public:
  explicit SeededChoice(std::uint64_t seed) : state_(seed) {}

  // One of 0 to count - 1; there is at least one.
  std::size_t below(std::size_t count) { return static_cast<std::size_t>(next() % count); }

  // True once in `turns` times.
  bool once_in(std::size_t turns) { return below(turns) == 0; }

  // A sequence of its own.
  SeededChoice fork() { return SeededChoice(next()); }

 private:
  // A counter whose every bit is spread over all others.
  std::uint64_t next() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
    return mixed ^ (mixed >> 31U);
  }

  std::uint64_t state_;
};

}  // namespace hub::test
