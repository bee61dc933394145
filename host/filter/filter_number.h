// SPDX-License-Identifier: Apache-2.0
// Numbers of a filter, compared with those of records exactly.
//
// The numbers of a field are put on a line of 64-bit keys that have the same order: an unsigned number is its own key,
// a fraction in fixed point is scaled to a whole number. A number as written lies at a key or between two, however
// many digits it has.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace hub::host {

// A number as written. Zero is never negative.
struct FilterNumber {
  bool negative = false;
  std::uint64_t whole = 0;
  std::string fraction;  // the digits behind the point, none of them a zero at the end
};

// The number that the whole text is in decimal. Nothing when it is anything else, or beyond 64 bits.
std::optional<std::uint64_t> parse_decimal(std::string_view text);

// Which numbers a field has.
enum class NumberLine : std::uint8_t {
  kUnsigned,
  kFixedPoint,  // of 32 bits, 16 of them or fewer the fraction
};

inline std::uint64_t key_of(std::uint64_t number) { return number; }

inline constexpr unsigned kFractionBits = 16;
inline constexpr std::uint64_t kZeroKey = std::uint64_t{1} << 63U;

inline std::uint64_t key_of(double fixed_point) {
  constexpr double kScale = 1U << kFractionBits;
  return kZeroKey + static_cast<std::uint64_t>(static_cast<std::int64_t>(fixed_point * kScale));
}

// Where a number lies among the keys.
struct KeyPlace {
  std::optional<std::uint64_t> floor;  // the greatest key not above it; none: all keys are above it
  bool exact = false;                  // it is that key's number
};

KeyPlace place_of(const FilterNumber& number, NumberLine line);

// Keys from `low` to `high`, both of them in it.
struct KeyRange {
  std::uint64_t low = 1;
  std::uint64_t high = 0;  // below `low`: no key

  [[nodiscard]] bool contains(std::uint64_t key) const { return low <= key && key <= high; }
};

KeyRange keys_below(const KeyPlace& place);
KeyRange keys_below_or_at(const KeyPlace& place);
KeyRange keys_above(const KeyPlace& place);
KeyRange keys_above_or_at(const KeyPlace& place);

}  // namespace hub::host
