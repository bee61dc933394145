// SPDX-License-Identifier: Apache-2.0
#include "host/forms/text_format.h"

#include <string>

#include "corefoundation/corefoundation_host.h"
#include "tests/support/decoding.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

constexpr const char* kWorkedLine =
    "{  'category':'control', 'component':     '3', 'event':         '5', 'type':      'stop', "
    "'timestamp':      1000, 'sequence_num':         7, 'type-id':0, 'category-id':8, 'component-id':3, 'event-id':5, "
    "'binary-data':[0,5,3,8,7,0,0,0,232,3,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0]}"
    "\n";

class TextFormat : public DecodeTest {
 protected:
  static _HubProfileReport worked_report() { return report(8, 3, 5, 0).sequence(7).time_us(1000); }
  static _HubProfileReport report_without_text() { return report(2, 0, 9, 8).text(19, "\xff"); }

  host::TextFormat format_;
  std::string out_;
};

TEST_F(TextFormat, record_gives_its_line_and_a_line_end) {
  EXPECT_TRUE(format_.append(worked_report(), out_));
  EXPECT_EQ(out_, kWorkedLine);
}

TEST_F(TextFormat, nothing_stands_before_and_behind_the_records) {
  format_.begin(out_);
  format_.end(out_);
  EXPECT_EQ(out_, "");
}

TEST_F(TextFormat, line_is_appended_to_what_is_there) {
  out_ = "before\n";
  format_.append(worked_report(), out_);
  EXPECT_EQ(out_, std::string("before\n") + kWorkedLine);
}

TEST_F(TextFormat, record_whose_text_is_not_utf8_has_no_line) {
  out_ = "before\n";
  EXPECT_FALSE(format_.append(report_without_text(), out_));
  EXPECT_EQ(out_, "before\n");
}

TEST_F(TextFormat, descriptions_are_released) {
  const auto before = platform::live_objects(CFStringGetTypeID());
  format_.append(worked_report(), out_);
  format_.append(report_without_text(), out_);
  EXPECT_EQ(platform::live_objects(CFStringGetTypeID()), before);
}

}  // namespace
}  // namespace hub::test
