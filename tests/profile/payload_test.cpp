// SPDX-License-Identifier: Apache-2.0
// The walker, on layouts of the tests' own.
#include "profile/payload.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using namespace hub::profile;

std::string printed(std::span<const Field> fields, const _HubProfileReport& sample, const SubtypeName& name = {}) {
  const Layout layout{"test", fields};
  std::stringstream out;
  print_rendering(*out.rdbuf(), {&layout}, payload_of(sample), name);
  return out.str();
}

std::string printed(const Field& field, const _HubProfileReport& sample, const SubtypeName& name = {}) {
  return printed(std::span(&field, 1), sample, name);
}

ReportBuilder counting() { return report(0, 0, 0, 0).count_up(); }

TEST(Walker, numbers_are_little_endian_at_any_offset) {
  EXPECT_EQ(printed({1, u8, "k"}, counting()), " 'k':1,");
  EXPECT_EQ(printed({1, u16, "k"}, counting()), " 'k':513,");
  EXPECT_EQ(printed({1, u32, "k"}, counting()), " 'k':67305985,");
  EXPECT_EQ(printed({1, u64, "k"}, counting()), " 'k':578437695752307201,");
}

TEST(Walker, numbers_reach_to_the_payloads_end) {
  EXPECT_EQ(printed({31, u8, "k"}, counting()), " 'k':31,");
  EXPECT_EQ(printed({30, u16, "k"}, counting()), " 'k':7966,");
  EXPECT_EQ(printed({28, u32, "k"}, counting()), " 'k':522067228,");
  EXPECT_EQ(printed({24, u64, "k"}, counting()), " 'k':2242261671028070680,");
}

TEST(Walker, numbers_are_unsigned) {
  const auto sample = report(0, 0, 0, 0).fill(255);
  EXPECT_EQ(printed({0, u8, "k"}, sample), " 'k':255,");
  EXPECT_EQ(printed({0, u16, "k"}, sample), " 'k':65535,");
  EXPECT_EQ(printed({0, u32, "k"}, sample), " 'k':4294967295,");
  EXPECT_EQ(printed({0, u64, "k"}, sample), " 'k':18446744073709551615,");
}

TEST(Walker, column_is_the_least_width_of_the_value) {
  EXPECT_EQ(printed({1, u8, "k", 3}, counting()), " 'k':  1,");
  EXPECT_EQ(printed({1, u16, "k", 3}, counting()), " 'k':513,");
  EXPECT_EQ(printed({1, u16, "k", 2}, counting()), " 'k':513,");
}

TEST(Walker, constant_reads_nothing) { EXPECT_EQ(printed({0, constant(30), "k", 4}, counting()), " 'k':  30,"); }

TEST(Walker, number_of_a_row_is_the_payloads_or_the_constant) {
  const auto sample = counting();
  EXPECT_EQ(number_of({1, u16, "k"}, payload_of(sample)), 513U);
  EXPECT_EQ(number_of({1, constant(30), "k"}, payload_of(sample)), 30U);
}

TEST(Walker, column_of_a_quoted_hexadecimal_is_that_of_its_first_quote) {
  EXPECT_EQ(printed({1, hex32, "k", 4}, counting()), " 'k':   '4030201',");
}

TEST(Walker, fixed_point_is_signed) {
  EXPECT_EQ(printed({0, fixed16_16, "k", 6}, report(0, 0, 0, 0).u32(0, 0xFFFF8000)), " 'k':  -0.5,");
  EXPECT_EQ(printed({0, fixed20_12, "k", 6}, report(0, 0, 0, 0).u32(0, 0xFFFF8000)), " 'k':    -8,");
}

TEST(Walker, fixed_point_is_exact_before_it_is_printed) {
  EXPECT_EQ(real_of({0, fixed16_16, "k"}, payload_of(report(0, 0, 0, 0).u32(0, 0x7FFFFFFF))), 32767.9999847412109375);
}

TEST(Walker, text_ends_at_a_zero_or_at_the_fields_end) {
  const auto sample = report(0, 0, 0, 0).text(0, std::string_view("abc\0defg", 8));
  EXPECT_EQ(printed({0, text(8), "k", 7}, sample), " 'k':  'abc',");
  EXPECT_EQ(printed({4, text(3), "k", 7}, sample), " 'k':  'def',");
  EXPECT_EQ(printed({3, text(3), "k", 7}, sample), " 'k':     '',");
}

TEST(Walker, list_of_bytes_is_padded_as_a_whole) {
  EXPECT_EQ(printed({8, bytes(2), "k", 8}, counting()), " 'k':   [8,9],");
}

TEST(Walker, list_of_bytes_is_cut_where_its_length_says_and_at_the_fields_end) {
  const auto of_length = [](unsigned length) { return printed({8, bytes(3), "k", 0, 20}, counting().u16(20, length)); };
  EXPECT_EQ(of_length(0), " 'k':[],");
  EXPECT_EQ(of_length(2), " 'k':[8,9],");
  EXPECT_EQ(of_length(4), " 'k':[8,9,10],");
  EXPECT_EQ(of_length(256), " 'k':[8,9,10],");
}

TEST(Walker, subtype_is_named_by_the_caller) {
  EXPECT_EQ(
      printed({1, subtype32, "k", 8}, counting(), [](std::uint32_t value) { return "n" + std::to_string(value % 10); }),
      " 'k':    'n5',");
}

TEST(Walker, subtype_name_of_any_length_is_printed_whole) {
  std::string name(5000, 'n');
  EXPECT_EQ(printed({1, subtype32, "k", 8}, counting(), [&](std::uint32_t) { return name; }), " 'k':'" + name + "',");
}

TEST(Walker, rows_are_printed_in_their_order) {
  constexpr Field kRows[] = {{9, u8, "last"}, {1, u8, "first"}};
  EXPECT_EQ(printed(kRows, counting()), " 'last':9, 'first':1,");
}

TEST(Walker, more_text_than_its_buffer_holds_arrives_whole) {
  const std::vector<Field> rows(100, Field{1, u32, "a-key-of-some-length", 40});
  std::string expected;
  for (std::size_t row = 0; row < rows.size(); ++row) {
    expected += " 'a-key-of-some-length':" + std::string(32, ' ') + "67305985,";
  }
  EXPECT_EQ(printed(rows, counting()), expected);
}

TEST(Walker, layouts_follow_each_other_and_absent_ones_are_left_out) {
  constexpr Field kRow[] = {{1, u8, "k"}};
  const Layout layout{"test", kRow};
  const auto rendered = [&](const Rendering& rendering) {
    std::stringstream out;
    print_rendering(*out.rdbuf(), rendering, payload_of(counting()));
    return out.str();
  };
  EXPECT_EQ(rendered({}), "");
  EXPECT_EQ(rendered({&layout}), " 'k':1,");
  EXPECT_EQ(rendered({nullptr, &layout}), " 'k':1,");
  EXPECT_EQ(rendered({&layout, &layout}), " 'k':1, 'k':1,");
}

// A buffer that has no room left.
class FullBuffer : public std::streambuf {
  std::streamsize xsputn(const char*, std::streamsize) override { throw std::bad_alloc(); }
};

TEST(Walker, allocation_failure_of_the_streams_buffer_passes_through) {
  FullBuffer full;
  constexpr Field kRow[] = {{1, u8, "k"}};
  const Layout layout{"test", kRow};
  EXPECT_THROW(print_rendering(full, {&layout}, payload_of(counting())), std::bad_alloc);
}

TEST(Fits, row_that_ends_behind_the_payload_does_not_fit) {
  constexpr Field kLast[] = {{28, u32, "k"}};
  constexpr Field kBehind[] = {{0, u8, "k"}, {29, u32, "k"}};
  static_assert(fits(kLast));
  static_assert(!fits(kBehind));
}

}  // namespace
}  // namespace hub::test
