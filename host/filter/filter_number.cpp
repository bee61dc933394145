// SPDX-License-Identifier: Apache-2.0
#include "host/filter/filter_number.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace hub::host {
namespace {

constexpr std::uint64_t kHighestKey = std::numeric_limits<std::uint64_t>::max();

// Doubles a fraction of decimal digits; the bit that comes out in front of the point.
unsigned double_digits(std::string& digits) {
  unsigned carry = 0;
  for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
    const unsigned doubled = static_cast<unsigned>(*digit - '0') * 2 + carry;
    *digit = static_cast<char>('0' + doubled % 10);
    carry = doubled / 10;
  }
  return carry;
}

// A number's amount on the line of fixed point: keys from zero, and whether something is left over.
struct Amount {
  std::uint64_t keys;
  bool exact;
};

Amount fixed_point_amount(const FilterNumber& number) {
  // Far outside of what 32 bits reach, so that only the side counts.
  constexpr std::uint64_t kBeyond = std::uint64_t{1} << 40U;
  std::uint64_t keys = std::min(number.whole, kBeyond);
  std::string digits = number.fraction;
  for (unsigned bit = 0; bit < kFractionBits; ++bit) {
    keys = keys * 2 + double_digits(digits);
  }
  return {keys, digits.find_first_not_of('0') == std::string::npos};
}

KeyPlace unsigned_place(const FilterNumber& number) {
  if (number.negative) {
    return {};
  }
  return {number.whole, number.fraction.empty()};
}

KeyPlace fixed_point_place(const FilterNumber& number) {
  const Amount amount = fixed_point_amount(number);
  const std::uint64_t floor =
      number.negative ? kZeroKey - amount.keys - (amount.exact ? 0 : 1) : kZeroKey + amount.keys;
  return {floor, amount.exact};
}

}  // namespace

std::optional<std::uint64_t> parse_decimal(std::string_view text) {
  std::uint64_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stopped_at, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stopped_at == end ? std::optional(number) : std::nullopt;
}

KeyPlace place_of(const FilterNumber& number, NumberLine line) {
  return line == NumberLine::kUnsigned ? unsigned_place(number) : fixed_point_place(number);
}

KeyRange keys_below(const KeyPlace& place) {
  if (!place.exact) {
    return keys_below_or_at(place);
  }
  return *place.floor == 0 ? KeyRange{} : KeyRange{0, *place.floor - 1};
}

KeyRange keys_below_or_at(const KeyPlace& place) { return place.floor ? KeyRange{0, *place.floor} : KeyRange{}; }

KeyRange keys_above(const KeyPlace& place) {
  if (!place.floor) {
    return {0, kHighestKey};
  }
  return *place.floor == kHighestKey ? KeyRange{} : KeyRange{*place.floor + 1, kHighestKey};
}

KeyRange keys_above_or_at(const KeyPlace& place) {
  return place.exact ? KeyRange{*place.floor, kHighestKey} : keys_above(place);
}

}  // namespace hub::host
