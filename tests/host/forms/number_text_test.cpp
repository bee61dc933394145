// SPDX-License-Identifier: Apache-2.0
#include "host/forms/number_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace hub::test {
namespace {

using namespace hub::host;

template <typename Append, typename Value>
std::string appended(Append append, Value value) {
  TextBuffer out;
  out += '>';
  append(out, value);
  return std::string(out.view());
}

TEST(NumberText, decimal_has_all_digits) {
  EXPECT_EQ(appended(append_decimal, 0U), ">0");
  EXPECT_EQ(appended(append_decimal, ~0ULL), ">18446744073709551615");
}

// Every number of one digit more or less, and some of each length between them.
std::vector<std::uint64_t> numbers_about_powers_of(std::uint64_t base) {
  std::vector<std::uint64_t> numbers = {0, ~0ULL, ~0ULL - 1, 12'345'678, 9'876'543'210, 10'000'000'000'000'000'001U};
  for (std::uint64_t power = 1; power <= ~0ULL / base; power *= base) {
    for (const std::uint64_t number : {power - 1, power, power + 1, power * base / 3, power * (base - 1)}) {
      numbers.push_back(number);
    }
  }
  return numbers;
}

TEST(NumberText, decimal_of_every_length_is_that_of_the_library) {
  for (const std::uint64_t number : numbers_about_powers_of(10)) {
    EXPECT_EQ(appended(append_decimal, number), ">" + std::to_string(number));
  }
  for (std::uint64_t number = 0; number <= 100'000; ++number) {
    ASSERT_EQ(appended(append_decimal, number), ">" + std::to_string(number));
  }
}

TEST(NumberText, hexadecimal_of_every_length_is_that_of_the_library) {
  for (const std::uint64_t number : numbers_about_powers_of(16)) {
    std::ostringstream expected;
    expected << std::hex << number;
    TextBuffer out;
    append_hexadecimal(out, number);
    EXPECT_EQ(out.view(), expected.str());
  }
}

TEST(NumberText, hexadecimal_is_lower_case_without_leading_zeros) {
  const auto text = [](std::uint64_t number) {
    TextBuffer out;
    append_hexadecimal(out, number);
    return std::string(out.view());
  };
  EXPECT_EQ(text(0), "0");
  EXPECT_EQ(text(0xABC), "abc");
  EXPECT_EQ(text(~0ULL), "ffffffffffffffff");
}

TEST(NumberText, bytes_have_two_digits_each) {
  TextBuffer out;
  out += '>';
  append_hexadecimal(out, std::as_bytes(std::span("\x00\x0A\xFF", 3)));
  EXPECT_EQ(out.view(), ">000aff");
}

TEST(NumberText, every_byte_has_its_digits) {
  for (unsigned byte = 0; byte < 256; ++byte) {
    TextBuffer out;
    append_hexadecimal(out, std::as_bytes(std::span(&byte, 1)).first(1));
    append_hexadecimal(out, std::uint64_t{0x100} + byte);
    EXPECT_EQ(out.view(), std::string(out.view().substr(3)) + "1" + std::string(out.view().substr(3))) << byte;
  }
}

TEST(NumberText, real_is_short_and_read_back_exactly) {
  EXPECT_EQ(appended(append_real, 1.5), ">1.5");
  EXPECT_EQ(appended(append_real, 0.0), ">0");
  EXPECT_EQ(appended(append_real, -32768.0), ">-32768");
  EXPECT_EQ(appended(append_real, std::ldexp(1, -16)), ">1.52587890625e-05");
  for (const double real : {std::ldexp(0x7FFFFFFF, -16), std::ldexp(-0x7FFFFFFF, -12), std::ldexp(12345, -16)}) {
    EXPECT_EQ(std::strtod(appended(append_real, real).c_str() + 1, nullptr), real);
  }
}

}  // namespace
}  // namespace hub::test
