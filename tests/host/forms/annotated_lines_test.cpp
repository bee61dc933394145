// SPDX-License-Identifier: Apache-2.0
#include "host/forms/annotated_lines.h"

#include <gtest/gtest.h>

#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using namespace hub::host;

// The line of a record is its sequence number; number 0 has none.
class NumberLines : public RecordFormat {
 public:
  bool append(const _HubProfileReport& record, TextBuffer& out) override {
    out += record.sequence_num != 0 ? std::to_string(record.sequence_num) + "\n" : std::string();
    return record.sequence_num != 0;
  }
};

class AnnotatedLines : public testing::Test {
 protected:
  void annotate(const Annotations& annotations) {
    lines_ = annotate_lines(std::make_unique<NumberLines>(), annotations);
  }
  bool line(std::uint64_t time_us, unsigned category = 8, std::uint32_t number = 1) {
    return lines_->append(report(category, 0, 0, 0).time_us(time_us).sequence(number), text_);
  }
  void passed_over(std::uint64_t time_us) { lines_->pass_over(report(8, 0, 0, 0).time_us(time_us)); }

  std::unique_ptr<RecordFormat> lines_;
  TextBuffer text_;
};

TEST_F(AnnotatedLines, without_annotations_are_the_lines) {
  annotate({});
  line(5);
  EXPECT_EQ(text_.view(), "1\n");
}

TEST_F(AnnotatedLines, previous_record_counts_also_when_it_has_no_line) {
  annotate({DeltaFrom::kPrev});
  line(1'000'000);
  passed_over(3'000'000);
  line(3'000'250);
  EXPECT_EQ(text_.view(), "     +0.000000 1\n     +0.000250 1\n");
}

TEST_F(AnnotatedLines, first_line_counts_from_a_record_before_it) {
  annotate({DeltaFrom::kPrev});
  passed_over(10);
  line(12);
  EXPECT_EQ(text_.view(), "     +0.000002 1\n");
}

TEST_F(AnnotatedLines, match_is_the_line_before) {
  annotate({DeltaFrom::kMatch});
  passed_over(5);
  line(1'000'000);
  passed_over(3'000'000);
  line(3'500'000);
  EXPECT_EQ(text_.view(), "     +0.000000 1\n     +2.500000 1\n");
}

TEST_F(AnnotatedLines, start_is_the_first_record_of_the_run) {
  annotate({DeltaFrom::kStart});
  passed_over(1'000'000);
  line(2'000'000);
  passed_over(2'500'000);
  line(4'000'000);
  EXPECT_EQ(text_.view(), "     +1.000000 1\n     +3.000000 1\n");
}

TEST_F(AnnotatedLines, start_is_the_first_line_where_no_record_was_before) {
  annotate({DeltaFrom::kStart});
  line(2'000'000);
  line(4'000'000);
  line(5'000'000);
  EXPECT_EQ(text_.view(), "     +0.000000 1\n     +2.000000 1\n     +3.000000 1\n");
}

TEST_F(AnnotatedLines, clock_that_goes_backwards_gives_a_negative_difference) {
  annotate({DeltaFrom::kPrev});
  line(2'000'000);
  line(1'999'999);
  EXPECT_EQ(text_.view(), "     +0.000000 1\n     -0.000001 1\n");
}

TEST_F(AnnotatedLines, widest_difference_keeps_its_digits) {
  annotate({DeltaFrom::kPrev});
  line(0);
  line(~0ULL);
  EXPECT_EQ(text_.view(), "     +0.000000 1\n+18446744073709.551615 1\n");
}

TEST_F(AnnotatedLines, record_without_a_line_leaves_nothing_and_is_no_match) {
  annotate({DeltaFrom::kMatch});
  line(1'000'000);
  EXPECT_FALSE(line(2'000'000, 8, 0));
  line(3'000'000);
  EXPECT_EQ(text_.view(), "     +0.000000 1\n     +2.000000 1\n");
}

TEST_F(AnnotatedLines, record_without_a_line_is_a_previous_record) {
  annotate({DeltaFrom::kPrev});
  line(1'000'000);
  line(2'000'000, 8, 0);
  line(3'000'000);
  EXPECT_EQ(text_.view(), "     +0.000000 1\n     +1.000000 1\n");
}

TEST_F(AnnotatedLines, colour_is_the_category_s_and_ends_before_the_line_does) {
  annotate({DeltaFrom::kNone, true});
  line(0, 7);
  line(0, 11);
  EXPECT_EQ(text_.view(), "\x1b[36m1\x1b[0m\n\x1b[35m1\x1b[0m\n");
}

TEST_F(AnnotatedLines, categories_without_a_name_share_a_colour) {
  annotate({DeltaFrom::kNone, true});
  line(0, 13);
  line(0, 255);
  EXPECT_EQ(text_.view(), "\x1b[91m1\x1b[0m\n\x1b[91m1\x1b[0m\n");
}

TEST_F(AnnotatedLines, difference_is_dim_beside_a_coloured_line) {
  annotate({DeltaFrom::kPrev, true});
  line(0, 10);
  EXPECT_EQ(text_.view(), "\x1b[2m     +0.000000 \x1b[0m\x1b[31m1\x1b[0m\n");
}

}  // namespace
}  // namespace hub::test
