// SPDX-License-Identifier: Apache-2.0
#include "profile/digits.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <limits>
#include <random>
#include <string>

namespace hub::test {
namespace {

using namespace hub::profile;

std::string decimal(std::uint64_t number) {
  char text[kMostDecimalDigits + kWordDigits];
  return {text, put_decimal(text, number, decimal_length(number))};
}

std::string hexadecimal(std::uint64_t number) {
  char text[2 * kWordDigits + kWordDigits];
  return {text, put_hexadecimal(text, number)};
}

std::string printed(const char* format, std::uint64_t number) {
  char text[32];
  return {text, static_cast<std::size_t>(std::snprintf(text, sizeof text, format, number))};
}

std::string word_text(std::uint64_t word) {
  char text[kWordDigits];
  return {text, put_last_digits(text, word, kWordDigits)};
}

TEST(Digits, numbers_on_both_sides_of_each_power_of_ten_have_their_length) {
  std::uint64_t power = 1;
  for (std::size_t digits = 1; digits < kMostDecimalDigits; ++digits) {
    EXPECT_EQ(decimal_length(power), digits);
    power *= 10;
    EXPECT_EQ(decimal_length(power - 1), digits) << power;
    EXPECT_EQ(decimal(power), printed("%lu", power));
    EXPECT_EQ(decimal(power - 1), printed("%lu", power - 1));
  }
  EXPECT_EQ(decimal(0), "0");
  EXPECT_EQ(decimal(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
}

TEST(Digits, every_group_of_four_digits_is_right_in_both_halves_of_a_word) {
  for (std::uint32_t group = 0; group < 10'000; ++group) {
    ASSERT_EQ(word_text(decimal_word(group)), printed("%08lu", group));
    ASSERT_EQ(word_text(decimal_word(group * 10'000)), printed("%08lu", group * 10'000));
  }
}

TEST(Digits, random_numbers_of_all_lengths_are_those_of_printf) {
  std::mt19937_64 random(7);
  for (int round = 0; round < 200'000; ++round) {
    const std::uint64_t number = random() >> (round % 64);
    ASSERT_EQ(decimal(number), printed("%lu", number));
    const auto low = static_cast<std::uint32_t>(number);
    ASSERT_EQ(word_text(hexadecimal_word(low)), printed("%08lx", low));
    ASSERT_EQ(hexadecimal(number), printed("%lx", number));
  }
}

}  // namespace
}  // namespace hub::test
