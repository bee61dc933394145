// SPDX-License-Identifier: Apache-2.0
// Numbers: what they keep, what they give back, and when two are the same.
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

template <typename T>
constexpr CFNumberType type_of() {
  if constexpr (std::is_same_v<T, float>) {
    return kCFNumberFloat32Type;
  } else if constexpr (std::is_same_v<T, double>) {
    return kCFNumberFloat64Type;
  } else if constexpr (std::is_same_v<T, std::int8_t>) {
    return kCFNumberSInt8Type;
  } else if constexpr (std::is_same_v<T, std::int16_t>) {
    return kCFNumberSInt16Type;
  } else if constexpr (std::is_same_v<T, std::int32_t>) {
    return kCFNumberSInt32Type;
  } else {
    return kCFNumberSInt64Type;
  }
}

template <typename T>
Owned<CFNumberRef> num(T value, CFNumberType type = type_of<T>()) {
  return Owned(CFNumberCreate(kCFAllocatorDefault, type, &value));
}

template <typename T>
struct Read {
  bool exact;
  T value;
  friend bool operator==(const Read&, const Read&) = default;
  friend void PrintTo(const Read& read, std::ostream* out) {
    *out << (read.exact ? "exactly " : "about ") << +read.value;
  }
};

template <typename T>
Read<T> read(CFNumberRef number, CFNumberType type = type_of<T>()) {
  T value{};
  const bool exact = CFNumberGetValue(number, type, &value);
  return {exact, value};
}

template <typename T>
Read<T> exactly(T value) {
  return {true, value};
}

template <typename T>
Read<T> about(T value) {
  return {false, value};
}

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kTwoTo63 = 9223372036854775808.0;
constexpr std::int64_t kTwoTo24 = 1 << 24;
constexpr std::int64_t kTwoTo53 = std::int64_t{1} << 53;
constexpr std::int64_t kTwoTo62 = std::int64_t{1} << 62;

constexpr std::int64_t kIntegers[] = {
    0,           1,           -1,         127,          128,          -128,  -129,       255,
    256,         32767,       32768,      -32768,       -32769,       65535, 2147483647, 2147483648,
    -2147483648, -2147483649, 4294967295, kTwoTo24 + 1, kTwoTo53 + 1, kMost, kLeast};

// Reading any integer as a T keeps its low bytes and says whether that is all of it.
template <typename T>
void expect_low_bytes_of_every_integer() {
  for (const std::int64_t integer : kIntegers) {
    T low_bytes;
    std::memcpy(&low_bytes, &integer, sizeof low_bytes);
    EXPECT_EQ(read<T>(num(integer)), (Read<T>{std::in_range<T>(integer), low_bytes})) << integer;
  }
}

// What was created as a T of this type reads back, at both limits, and is of this fixed width.
template <typename T>
void expect_kept(CFNumberType type, CFNumberType fixed_type) {
  for (const T value : {std::numeric_limits<T>::lowest(), T{0}, T{1}, std::numeric_limits<T>::max()}) {
    const auto kept = num(value, type);
    EXPECT_EQ(CFNumberGetType(kept), fixed_type) << type;
    EXPECT_EQ(CFNumberIsFloatType(kept), std::is_floating_point_v<T>) << type;
    EXPECT_EQ(read<T>(kept, type), exactly(value)) << type;
  }
}

class Number : public PlatformTest {};

TEST_F(Number, of_a_fixed_width_keeps_its_type_and_value) {
  expect_kept<std::int8_t>(kCFNumberSInt8Type, kCFNumberSInt8Type);
  expect_kept<std::int16_t>(kCFNumberSInt16Type, kCFNumberSInt16Type);
  expect_kept<std::int32_t>(kCFNumberSInt32Type, kCFNumberSInt32Type);
  expect_kept<std::int64_t>(kCFNumberSInt64Type, kCFNumberSInt64Type);
  expect_kept<float>(kCFNumberFloat32Type, kCFNumberFloat32Type);
  expect_kept<double>(kCFNumberFloat64Type, kCFNumberFloat64Type);
}

TEST_F(Number, of_a_c_type_has_the_fixed_width_of_it) {
  expect_kept<signed char>(kCFNumberCharType, kCFNumberSInt8Type);
  expect_kept<short>(kCFNumberShortType, kCFNumberSInt16Type);
  expect_kept<int>(kCFNumberIntType, kCFNumberSInt32Type);
  expect_kept<long>(kCFNumberLongType, kCFNumberSInt64Type);
  expect_kept<long long>(kCFNumberLongLongType, kCFNumberSInt64Type);
  expect_kept<float>(kCFNumberFloatType, kCFNumberFloat32Type);
  expect_kept<double>(kCFNumberDoubleType, kCFNumberFloat64Type);
  expect_kept<CFIndex>(kCFNumberCFIndexType, kCFNumberSInt64Type);
}

TEST_F(Number, of_an_unknown_type_is_not_created) {
  const std::int64_t value = 5;
  for (const CFNumberType type : {CFNumberType{0}, CFNumberType{15}, CFNumberType{-1}, CFNumberType{16}}) {
    EXPECT_EQ(CFNumberCreate(kCFAllocatorDefault, type, &value), nullptr) << type;
  }
}

TEST_F(Number, without_memory_is_not_created) { EXPECT_FALSE(number(5, kCFAllocatorNull)); }

TEST_F(Number, is_taken_and_written_at_any_address) {
  alignas(8) char bytes[16] = {};
  const std::int64_t value = 0x0102030405060708;
  std::memcpy(bytes + 3, &value, sizeof value);
  const Owned kept(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, bytes + 3));
  EXPECT_EQ(read<std::int64_t>(kept), exactly(value));
  EXPECT_TRUE(CFNumberGetValue(kept, kCFNumberSInt64Type, bytes + 5));
  EXPECT_EQ(std::memcmp(bytes + 5, &value, sizeof value), 0);
}

TEST_F(Number, read_as_a_narrower_integer_keeps_its_low_bytes) {
  expect_low_bytes_of_every_integer<std::int8_t>();
  expect_low_bytes_of_every_integer<std::int16_t>();
  expect_low_bytes_of_every_integer<std::int32_t>();
  expect_low_bytes_of_every_integer<std::int64_t>();
}

TEST_F(Number, read_as_a_narrow_type_writes_no_byte_beyond_it) {
  std::int64_t target = -1;
  CFNumberGetValue(num(std::int64_t{0}), kCFNumberSInt8Type, &target);
  EXPECT_EQ(target, ~std::int64_t{0xFF});
  CFNumberGetValue(num(std::int64_t{0}), kCFNumberFloat32Type, &target);
  EXPECT_EQ(target, ~std::int64_t{0xFFFFFFFF});
}

TEST_F(Number, read_as_an_unknown_type_writes_nothing) {
  for (const CFNumberType type : {CFNumberType{0}, CFNumberType{15}, CFNumberType{-1}}) {
    EXPECT_EQ(read<std::int64_t>(number(5), type), about(std::int64_t{0})) << type;
    EXPECT_EQ(read<std::int64_t>(num(5.0), type), about(std::int64_t{0})) << type;
  }
}

TEST_F(Number, integer_read_as_a_real_is_exact_when_the_real_holds_it) {
  EXPECT_EQ(read<double>(number(kTwoTo53)), exactly(9007199254740992.0));
  EXPECT_EQ(read<double>(number(kTwoTo53 + 1)), about(9007199254740992.0));
  EXPECT_EQ(read<double>(number(-kTwoTo53 - 1)), about(-9007199254740992.0));
  EXPECT_EQ(read<double>(number(kTwoTo62)), exactly(kTwoTo63 / 2));
  EXPECT_EQ(read<double>(number(kLeast)), exactly(-kTwoTo63));
  EXPECT_EQ(read<double>(number(kMost)), about(kTwoTo63));
  EXPECT_EQ(read<float>(number(kTwoTo24)), exactly(16777216.0F));
  EXPECT_EQ(read<float>(number(kTwoTo24 + 1)), about(16777216.0F));
  EXPECT_EQ(read<float>(number(kMost)), about(9223372036854775808.0F));
}

TEST_F(Number, whole_real_read_as_an_integer_is_exact) {
  EXPECT_EQ(read<std::int64_t>(num(-7.0)), exactly(std::int64_t{-7}));
  EXPECT_EQ(read<std::int8_t>(num(127.0F)), exactly(std::int8_t{127}));
  EXPECT_EQ(read<std::int64_t>(num(-kTwoTo63)), exactly(kLeast));
  EXPECT_EQ(read<std::int32_t>(num(-0.0)), exactly(0));
}

TEST_F(Number, real_with_a_fraction_is_cut_towards_zero) {
  EXPECT_EQ(read<std::int64_t>(num(7.9)), about(std::int64_t{7}));
  EXPECT_EQ(read<std::int64_t>(num(-7.9)), about(std::int64_t{-7}));
  EXPECT_EQ(read<std::int8_t>(num(0.5F)), about(std::int8_t{0}));
}

TEST_F(Number, real_beyond_an_integer_keeps_the_low_bytes_of_64_bits) {
  EXPECT_EQ(read<std::int8_t>(num(258.0)), about(std::int8_t{2}));
  EXPECT_EQ(read<std::int32_t>(num(4294967301.0)), about(5));
}

TEST_F(Number, real_beyond_64_bits_is_held_at_the_limits) {
  EXPECT_EQ(read<std::int64_t>(num(kTwoTo63)), about(kMost));
  EXPECT_EQ(read<std::int64_t>(num(-1e300)), about(kLeast));
  EXPECT_EQ(read<std::int64_t>(num(kInfinity)), about(kMost));
  EXPECT_EQ(read<std::int64_t>(num(-kInfinity)), about(kLeast));
  EXPECT_EQ(read<std::int64_t>(num(std::nextafter(-kTwoTo63, -kInfinity))), about(kLeast));
}

TEST_F(Number, nan_read_as_an_integer_gives_zero) {
  EXPECT_EQ(read<std::int64_t>(num(kNan)), about(std::int64_t{0}));
  EXPECT_EQ(read<std::int8_t>(num(kNan)), about(std::int8_t{0}));
}

TEST_F(Number, real_read_in_single_precision_is_exact_when_that_holds_it) {
  EXPECT_EQ(read<float>(num(0.5)), exactly(0.5F));
  EXPECT_EQ(read<float>(num(0.1)), about(0.1F));
  EXPECT_EQ(read<float>(num(1e300)), about(std::numeric_limits<float>::infinity()));
  EXPECT_EQ(read<double>(num(0.1F)), exactly(static_cast<double>(0.1F)));
}

TEST_F(Number, infinities_and_nan_stay_what_they_are_in_either_precision) {
  EXPECT_EQ(read<double>(num(kInfinity)), exactly(kInfinity));
  EXPECT_EQ(read<float>(num(-kInfinity)), exactly(-std::numeric_limits<float>::infinity()));
  EXPECT_TRUE(std::isnan(read<double>(num(kNan)).value));
  EXPECT_TRUE(std::isnan(read<float>(num(kNan)).value));
  EXPECT_TRUE(read<double>(num(kNan)).exact);
  EXPECT_TRUE(read<float>(num(kNan)).exact);
}

TEST_F(Number, of_one_value_in_any_type_is_equal_and_hashes_the_same) {
  const std::array<Owned<CFNumberRef>, 6> hundred{num(std::int8_t{100}),
                                                  num(std::int16_t{100}),
                                                  num(std::int32_t{100}),
                                                  num(std::int64_t{100}),
                                                  num(100.0F),
                                                  num(100.0)};
  for (const CFNumberRef first : hundred) {
    for (const CFNumberRef second : hundred) {
      EXPECT_TRUE(CFEqual(first, second));
      EXPECT_EQ(CFHash(first), CFHash(second));
    }
  }
}

TEST_F(Number, equality_of_integer_and_real_goes_up_to_the_limits) {
  EXPECT_TRUE(CFEqual(number(kLeast), num(-kTwoTo63)));
  EXPECT_EQ(CFHash(number(kLeast)), CFHash(num(-kTwoTo63)));
  EXPECT_FALSE(CFEqual(number(kMost), num(kTwoTo63)));
  EXPECT_FALSE(CFEqual(num(kTwoTo63), number(kMost)));
  EXPECT_FALSE(CFEqual(number(kTwoTo53 + 1), num(static_cast<double>(kTwoTo53))));
  EXPECT_FALSE(CFEqual(number(kLeast), num(-kInfinity)));
}

TEST_F(Number, of_another_value_is_not_equal) {
  EXPECT_FALSE(CFEqual(number(7), number(8)));
  EXPECT_FALSE(CFEqual(number(7), num(7.5)));
  EXPECT_FALSE(CFEqual(num(7.5), number(7)));
  EXPECT_FALSE(CFEqual(num(0.1), num(0.1F)));
  EXPECT_FALSE(CFEqual(num(kInfinity), num(-kInfinity)));
}

TEST_F(Number, zeros_of_both_signs_are_equal_and_hash_the_same) {
  EXPECT_TRUE(CFEqual(num(0.0), num(-0.0)));
  EXPECT_TRUE(CFEqual(number(0), num(-0.0)));
  EXPECT_EQ(CFHash(num(0.0)), CFHash(num(-0.0)));
  EXPECT_EQ(CFHash(number(0)), CFHash(num(-0.0)));
}

TEST_F(Number, real_beyond_the_integers_equals_its_like_and_hashes_the_same) {
  for (const double value : {0.5, 1e300, -1e300, kTwoTo63, kInfinity, -kInfinity}) {
    EXPECT_TRUE(CFEqual(num(value), num(value))) << value;
    EXPECT_EQ(CFHash(num(value)), CFHash(num(value))) << value;
  }
  EXPECT_EQ(CFHash(num(0.5)), CFHash(num(0.5F)));
}

TEST_F(Number, nan_equals_itself_as_an_object_alone) {
  const auto nan = num(kNan);
  EXPECT_TRUE(CFEqual(nan, nan));
  EXPECT_FALSE(CFEqual(nan, num(kNan)));
  EXPECT_FALSE(CFEqual(nan, number(0)));
  EXPECT_FALSE(CFEqual(number(0), nan));
}

}  // namespace
}  // namespace hub::test
