// SPDX-License-Identifier: Apache-2.0
#include "host/report_lines.h"

#include <cstddef>
#include <string>
#include <vector>

#include "tests/support/decoding.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

constexpr const char* kWorkedLine =
    "{  'category':'control', 'component':     '3', 'event':         '5', 'type':      'stop', "
    "'timestamp':      1000, 'sequence_num':         7, 'type-id':0, 'category-id':8, 'component-id':3, 'event-id':5, "
    "'binary-data':[0,5,3,8,7,0,0,0,232,3,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0]}"
    "\n";

class ReportLines : public DecodeTest {
 protected:
  static _HubProfileReport worked_report() { return report(8, 3, 5, 0).sequence(7).time_us(1000); }
  static _HubProfileReport report_without_text() { return report(2, 0, 9, 8).text(19, "\xff"); }

  std::size_t append(const std::vector<_HubProfileReport>& reports) { return host::append_lines(reports, text_); }

  std::string text_;
};

TEST_F(ReportLines, report_gives_its_line_and_a_line_end) {
  EXPECT_EQ(append({worked_report()}), 0U);
  EXPECT_EQ(text_, kWorkedLine);
}

TEST_F(ReportLines, no_report_gives_nothing) {
  EXPECT_EQ(append({}), 0U);
  EXPECT_EQ(text_, "");
}

TEST_F(ReportLines, lines_come_in_the_order_of_the_reports) {
  append({report(8, 0, 0, 0).sequence(1), report(8, 0, 0, 0).sequence(2)});
  EXPECT_LT(text_.find("'sequence_num':         1"), text_.find("'sequence_num':         2"));
  EXPECT_NE(std::string::npos, text_.find("'sequence_num':         2"));
}

TEST_F(ReportLines, report_whose_text_is_not_utf8_gives_no_line_and_is_counted) {
  EXPECT_EQ(append({report_without_text()}), 1U);
  EXPECT_EQ(text_, "");
}

TEST_F(ReportLines, reports_around_one_without_a_line_give_theirs) {
  EXPECT_EQ(append({report_without_text(), worked_report(), report_without_text(), worked_report()}), 2U);
  EXPECT_EQ(text_, std::string(kWorkedLine) + kWorkedLine);
}

}  // namespace
}  // namespace hub::test
