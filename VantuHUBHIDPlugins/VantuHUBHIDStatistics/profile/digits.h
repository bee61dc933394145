// SPDX-License-Identifier: Apache-2.0
// Numbers as digits, eight at a time: each digit is a byte of a 64-bit word, the first digit the lowest byte, so that
// storing the word stores the text. How many digits the numbers of reports have is anybody's guess, and the processor's
// too: so no loop and hardly a branch depends on it.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace hub::profile {

inline constexpr std::size_t kWordDigits = sizeof(std::uint64_t);
inline constexpr std::uint64_t kEveryByte = 0x0101010101010101;
inline constexpr std::size_t kMostDecimalDigits = 20;

// The decimal digits of a number below 10^8, leading zeros included. Each step halves every group of digits; the
// products and shifts are divisions by 100 and by 10, exact for numbers of four and of two digits.
inline std::uint64_t decimal_word(std::uint32_t number) {
  const std::uint64_t fours = number / 10'000 | std::uint64_t{number % 10'000} << 32;
  const std::uint64_t hundreds = ((fours * 10'486) >> 20) & 0x0000007F0000007F;
  const std::uint64_t twos = hundreds | (fours - 100 * hundreds) << 16;
  const std::uint64_t tens = ((twos * 103) >> 10) & 0x000F000F000F000F;
  return (tens | (twos - 10 * tens) << 8) | '0' * kEveryByte;
}

// The lower-case hexadecimal digits of a number, leading zeros included.
inline std::uint64_t hexadecimal_word(std::uint32_t number) {
  std::uint64_t digits = __builtin_bswap32(number);
  digits = (digits | digits << 16) & 0x0000FFFF0000FFFF;
  digits = (digits | digits << 8) & 0x00FF00FF00FF00FF;
  digits = (digits >> 4 | digits << 8) & 0x0F0F0F0F0F0F0F0F;
  const std::uint64_t is_letter = ((digits + 6 * kEveryByte) >> 4) & kEveryByte;
  return digits + '0' * kEveryByte + is_letter * ('a' - '0' - 10);
}

// Stores the last `length` digits of a word, 1 to 8, and returns their end. Eight bytes are stored all the same.
inline char* put_last_digits(char* out, std::uint64_t word, std::size_t length) {
  word >>= 8 * (kWordDigits - length);
  std::memcpy(out, &word, sizeof word);
  return out + length;
}

// By a number's length in bits: how many decimal digits the largest such number has.
inline constexpr auto kDigitCounts = [] {
  std::array<std::uint8_t, 65> counts{};
  for (unsigned bits = 0; bits < counts.size(); ++bits) {
    std::uint64_t largest = bits == 0 ? 0 : ~std::uint64_t{0} >> (64 - bits);
    do {
      ++counts[bits];
      largest /= 10;
    } while (largest != 0);
  }
  return counts;
}();

// By a number of decimal digits: the least number that has so many.
inline constexpr auto kLeastNumbers = [] {
  std::array<std::uint64_t, kMostDecimalDigits + 1> numbers{};
  std::uint64_t power = 1;
  for (unsigned digits = 2; digits < numbers.size(); ++digits) {
    power *= 10;
    numbers[digits] = power;
  }
  return numbers;
}();

inline std::size_t decimal_length(std::uint64_t number) {
  const std::size_t at_most = kDigitCounts[static_cast<std::size_t>(std::bit_width(number))];
  return at_most - (number < kLeastNumbers[at_most] ? 1 : 0);
}

inline std::size_t hexadecimal_length(std::uint64_t number) {
  return (static_cast<std::size_t>(std::bit_width(number | 1)) + 3) / 4;
}

// A number without leading zeros; returns its end. Up to seven bytes more are stored.
inline char* put_hexadecimal(char* out, std::uint64_t number) {
  const std::size_t length = hexadecimal_length(number);
  if (length > kWordDigits) {
    out = put_last_digits(out, hexadecimal_word(static_cast<std::uint32_t>(number >> 32)), length - kWordDigits);
    return put_last_digits(out, hexadecimal_word(static_cast<std::uint32_t>(number)), kWordDigits);
  }
  return put_last_digits(out, hexadecimal_word(static_cast<std::uint32_t>(number)), length);
}

inline constexpr std::uint64_t kWordLimit = 100'000'000;

// The digits of a number that does not fit into a word.
char* put_long_decimal(char* out, std::uint64_t number, std::size_t length);

// A number that has this length; returns its end. Up to seven bytes more are stored.
inline char* put_decimal(char* out, std::uint64_t number, std::size_t length) {
  if (number >= kWordLimit) [[unlikely]] {
    return put_long_decimal(out, number, length);
  }
  return put_last_digits(out, decimal_word(static_cast<std::uint32_t>(number)), length);
}

}  // namespace hub::profile
