// SPDX-License-Identifier: Apache-2.0
#include "host/forms/number_text.h"

#include <array>
#include <charconv>
#include <cstring>

#include "profile/item_text.h"

namespace hub::host {
namespace {

consteval std::array<std::array<char, 2>, 256> make_hexadecimal_bytes() {
  std::array<std::array<char, 2>, 256> digits{};
  for (std::size_t byte = 0; byte < digits.size(); ++byte) {
    digits[byte] = {kHexadecimalDigits[byte / 16], kHexadecimalDigits[byte % 16]};
  }
  return digits;
}

constexpr std::array<std::array<char, 2>, 256> kHexadecimalBytes = make_hexadecimal_bytes();

constexpr std::size_t kNumberRoom = 32;  // of 64 bits in decimal, or a double's 17 digits with sign, point and exponent

}  // namespace

// Most numbers of a record are ids and counts, the text of which stands ready.
void append_decimal(TextBuffer& out, std::uint64_t number) {
  char* const digits = out.room(kNumberRoom);
  if (number < profile::kByteTexts.size()) {
    constexpr std::size_t kComma = 1;
    out.advance_to(profile::put_byte(digits, static_cast<std::uint8_t>(number)) - kComma);
  } else {
    out.advance_to(profile::put_decimal(digits, number, profile::decimal_length(number)));
  }
}

void append_hexadecimal(TextBuffer& out, std::uint64_t number) {
  out.advance_to(profile::put_hexadecimal(out.room(kNumberRoom), number));
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
