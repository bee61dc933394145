// SPDX-License-Identifier: Apache-2.0
#include "host/forms/text_format.h"

#include <random>
#include <string>

#include "profile/profile_exports.h"
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
  host::TextBuffer out_;
};

TEST_F(TextFormat, record_gives_its_line_and_a_line_end) {
  EXPECT_TRUE(format_.append(worked_report(), out_));
  EXPECT_EQ(out_.view(), kWorkedLine);
}

TEST_F(TextFormat, nothing_stands_before_and_behind_the_records) {
  format_.begin(out_);
  format_.end(out_);
  EXPECT_EQ(out_.view(), "");
}

TEST_F(TextFormat, line_is_appended_to_what_is_there) {
  out_ += "before\n";
  format_.append(worked_report(), out_);
  EXPECT_EQ(out_.view(), std::string("before\n") + kWorkedLine);
}

TEST_F(TextFormat, record_whose_text_is_not_utf8_has_no_line) {
  out_ += "before\n";
  EXPECT_FALSE(format_.append(report_without_text(), out_));
  EXPECT_EQ(out_.view(), "before\n");
}

// What the plug-in gives to print, and nothing where it gives nothing.
std::string description_of(const _HubProfileReport& sample) {
  const CFStringRef description = CopyProfileDescription(&sample);
  if (description == nullptr) {
    return "";
  }
  const std::string text = CFStringGetCStringPtr(description, kCFStringEncodingUTF8);
  CFRelease(description);
  return text + "\n";
}

TEST_F(TextFormat, lines_are_the_descriptions_of_reports_with_any_bytes) {
  std::mt19937 random(6);
  std::size_t without_line = 0;
  for (int round = 0; round < 20'000; ++round) {
    const auto below = [&random](unsigned bound) { return static_cast<unsigned>(random() % bound); };
    _HubProfileReport sample = report(below(14), below(10), below(4), below(14));
    for (std::uint8_t& byte : sample.payload) {
      const char usual = "a\xC3\xA4z"[below(4)];
      byte = below(4) == 0 ? static_cast<std::uint8_t>(below(256)) : static_cast<std::uint8_t>(usual);
    }
    out_.clear();
    const bool has_line = format_.append(sample, out_);
    ASSERT_EQ(out_.view(), description_of(sample));
    ASSERT_EQ(has_line, out_.size() > 0);
    without_line += has_line ? 0 : 1;
  }
  EXPECT_GT(without_line, 1000U) << "texts that are no text are among them";
}

}  // namespace
}  // namespace hub::test
