// SPDX-License-Identifier: Apache-2.0
#include "host/forms/number_text.h"

#include <array>
#include <bit>
#include <charconv>
#include <cstring>

namespace hub::host {
namespace {

// Eight digits as the bytes of a word, the first digit in the lowest byte, which memory has first.
using Digits = std::uint64_t;

constexpr Digits kAsciiZeros = 0x3030303030303030;
constexpr std::uint64_t k100Million = 100'000'000;

// The number is cut in halves side by side in the word, down to digits: no loop, and no branch that its length decides.
// The factors divide, with the shift behind them: by 100 what is below 10,000, by 10 what is below 100.
constexpr Digits digits_of(std::uint32_t below_100_million) {
  const std::uint64_t halves = below_100_million / 10'000 | std::uint64_t{below_100_million % 10'000} << 32;
  const std::uint64_t hundreds = halves * 10'486 >> 20 & 0x0000007F0000007F;
  const std::uint64_t pairs = (halves - hundreds * 100) << 16 | hundreds;
  const std::uint64_t tens = pairs * 103 >> 10 & 0x000F000F000F000F;
  return (pairs - tens * 10) << 8 | tens;
}
static_assert(digits_of(12'345'678) == 0x0807060504030201);
static_assert(digits_of(99'999'999) == 0x0909090909090909);

char* put_eight_digits(char* out, std::uint64_t below_100_million) {
  const Digits text = digits_of(static_cast<std::uint32_t>(below_100_million)) + kAsciiZeros;
  std::memcpy(out, &text, sizeof text);
  return out + sizeof text;
}

// Most numbers of a record are ids and counts of one or two digits.
struct ShortNumber {
  std::array<char, 2> digits;
  std::uint8_t length;
};

constexpr std::array<ShortNumber, 100> make_short_numbers() {
  std::array<ShortNumber, 100> numbers{};
  for (std::size_t number = 0; number < numbers.size(); ++number) {
    const auto tens = static_cast<char>('0' + number / 10);
    const auto ones = static_cast<char>('0' + number % 10);
    numbers[number] = number < 10 ? ShortNumber{{ones}, 1} : ShortNumber{{tens, ones}, 2};
  }
  return numbers;
}

constexpr std::array<ShortNumber, 100> kShortNumbers = make_short_numbers();

// Puts the digits' text without leading zeros, but writes to eight bytes; one of them is not 0.
char* put_significant(char* out, Digits digits, Digits text) {
  const auto zero_bits = static_cast<unsigned>(std::countr_zero(digits)) & ~7U;
  text >>= zero_bits;
  std::memcpy(out, &text, sizeof text);
  return out + (sizeof text - zero_bits / 8);
}

// Without leading zeros; writes to eight bytes.
char* put_leading_digits(char* out, std::uint64_t below_100_million) {
  if (below_100_million < kShortNumbers.size()) {
    const ShortNumber& number = kShortNumbers[below_100_million];
    std::memcpy(out, number.digits.data(), number.digits.size());
    return out + number.length;
  }
  const Digits digits = digits_of(static_cast<std::uint32_t>(below_100_million));
  return put_significant(out, digits, digits + kAsciiZeros);
}

char* put_decimal(char* out, std::uint64_t number) {
  if (number < k100Million) {
    return put_leading_digits(out, number);
  }
  const std::uint64_t head = number / k100Million;
  out = head < k100Million ? put_leading_digits(out, head)
                           : put_eight_digits(put_leading_digits(out, head / k100Million), head % k100Million);
  return put_eight_digits(out, number % k100Million);
}

// Halves side by side once more, down to half bytes.
constexpr Digits hexadecimal_digits_of(std::uint32_t number) {
  const std::uint64_t halves = number >> 16 | std::uint64_t{number & 0xFFFFU} << 32;
  const std::uint64_t bytes = (halves >> 8 | halves << 16) & 0x00FF00FF00FF00FF;
  return (bytes >> 4 | bytes << 8) & 0x0F0F0F0F0F0F0F0F;
}
static_assert(hexadecimal_digits_of(0x1234CDEF) == 0x0F0E0D0C04030201);

// Those above 9 are letters: adding 6 makes them 16 and more.
constexpr Digits hexadecimal_text(Digits digits) {
  constexpr Digits kOnes = 0x0101010101010101;
  const Digits letters = (digits + 6 * kOnes) >> 4 & kOnes;
  return digits + kAsciiZeros + letters * ('a' - '0' - 10);
}
static_assert(hexadecimal_text(0x0F0A090807060100) == 0x6661393837363130);

char* put_hexadecimal(char* out, std::uint64_t number) {
  const Digits digits = hexadecimal_digits_of(static_cast<std::uint32_t>(number));
  const Digits text = hexadecimal_text(digits);
  if (number >> 32 != 0) {
    out = put_hexadecimal(out, number >> 32);
    std::memcpy(out, &text, sizeof text);
    return out + sizeof text;
  }
  constexpr Digits kLastDigit = Digits{1} << 56;  // stands also where it is 0
  return put_significant(out, digits | kLastDigit, text);
}

constexpr std::array<std::array<char, 2>, 256> make_hexadecimal_bytes() {
  std::array<std::array<char, 2>, 256> digits{};
  for (std::size_t byte = 0; byte < digits.size(); ++byte) {
    digits[byte] = {kHexadecimalDigits[byte / 16], kHexadecimalDigits[byte % 16]};
  }
  return digits;
}

constexpr std::array<std::array<char, 2>, 256> kHexadecimalBytes = make_hexadecimal_bytes();

constexpr std::size_t kNumberRoom = 32;  // of 64 bits in decimal, or a double's 17 digits with sign, point and exponent

}  // namespace

void append_decimal(TextBuffer& out, std::uint64_t number) {
  out.advance_to(put_decimal(out.room(kNumberRoom), number));
}

void append_hexadecimal(TextBuffer& out, std::uint64_t number) {
  out.advance_to(put_hexadecimal(out.room(kNumberRoom), number));
}

void append_real(TextBuffer& out, double number) {
  char* const digits = out.room(kNumberRoom);
  out.advance_to(std::to_chars(digits, digits + kNumberRoom, number).ptr);
}

void append_hexadecimal(TextBuffer& out, std::span<const std::byte> bytes) {
  char* end = out.room(2 * bytes.size());
#pragma GCC unroll 8  // the loop itself costs as much as what it does
  for (const std::byte byte : bytes) {
    const std::array<char, 2>& digits = kHexadecimalBytes[std::to_integer<std::size_t>(byte)];
    std::memcpy(end, digits.data(), digits.size());
    end += digits.size();
  }
  out.advance_to(end);
}

}  // namespace hub::host
