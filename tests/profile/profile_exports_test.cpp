// SPDX-License-Identifier: Apache-2.0
#include "profile/profile_exports.h"

#include "corefoundation/corefoundation_host.h"
#include "failures/failures_host.h"
#include "tests/support/decoding.h"
#include "tests/support/failing_memory.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

class Exports : public DecodeTest {
 protected:
  // A report whose text has these characters in it.
  static ReportBuilder named(std::string_view name) { return report(2, 0, 9, 8).text(19, name); }

  // The description's bytes, or "none".
  static std::string description(const _HubProfileReport& sample) {
    const CFStringRef string = CopyProfileDescription(&sample);
    if (string == nullptr) {
      return "none";
    }
    std::string text = CFStringGetCStringPtr(string, kCFStringEncodingUTF8);
    CFRelease(string);
    return text;
  }

  static std::string print(const _HubProfileReport& sample) {
    ::testing::internal::CaptureStdout();
    hub_profile_print(&sample);
    return ::testing::internal::GetCapturedStdout();
  }
};

TEST_F(Exports, description_is_the_decoders_text) {
  for (unsigned category = 0; category < 16; ++category) {
    const auto sample = report(category, 1, 2, 3).count_up();
    EXPECT_EQ(description(sample), line(sample)) << "category " << category;
  }
}

TEST_F(Exports, description_belongs_to_the_caller) {
  const auto before = platform::live_objects(CFStringGetTypeID());
  const CFStringRef string = CopyProfileDescription(&static_cast<const _HubProfileReport&>(report(8, 0, 0, 0)));
  EXPECT_EQ(CFGetRetainCount(string), 1);
  CFRelease(string);
  EXPECT_EQ(platform::live_objects(CFStringGetTypeID()), before);
}

TEST_F(Exports, text_beyond_ascii_is_described) {
  EXPECT_EQ(description(named("\u00E9\u20AC\U0001F600")), line(named("\u00E9\u20AC\U0001F600")));
}

TEST_F(Exports, text_that_is_no_utf_8_has_no_description) {
  for (const char* name : {"\xFF", "a\x80", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82"}) {
    EXPECT_EQ(description(named(name)), "none");
  }
}

TEST_F(Exports, character_cut_by_the_fields_end_has_no_description) {
  EXPECT_NE(description(named("1234567890\u00E9")), "none");
  EXPECT_EQ(description(named("12345678901\u00E9")), "none");
}

TEST_F(Exports, print_writes_the_description_and_a_line_end) {
  EXPECT_EQ(print(report(200, 1, 2, 3)), line(report(200, 1, 2, 3)) + "\n");
}

TEST_F(Exports, print_writes_text_beyond_ascii_as_utf_8) {
  EXPECT_EQ(print(named("\u00E9\u20AC")), line(named("\u00E9\u20AC")) + "\n");
}

TEST_F(Exports, print_writes_nothing_without_a_description) { EXPECT_EQ(print(named("\xFF")), ""); }

TEST_F(Exports, print_writes_nothing_when_the_text_cannot_be_converted) {
  platform::plan_failures({.first = 1, .function = platform::Fallible::kCFStringGetCString});
  EXPECT_EQ(print(named("\u00E9")), "");
  platform::end_failures();
  EXPECT_EQ(platform::planned_failures_of(platform::Fallible::kCFStringGetCString), 1U);
}

TEST_F(Exports, print_writes_nothing_without_memory_to_convert_the_text) {
  const auto sample = named("\u00E9");
  ::testing::internal::CaptureStdout();
  {
    const NoMemoryByNew no_memory;
    hub_profile_print(&static_cast<const _HubProfileReport&>(sample));
  }
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

TEST_F(Exports, print_leaves_nothing_behind) {
  const auto before = platform::live_objects(CFStringGetTypeID());
  print(report(8, 0, 0, 0));
  print(named("\u00E9"));
  print(named("\xFF"));
  EXPECT_EQ(platform::live_objects(CFStringGetTypeID()), before);
}

TEST_F(Exports, flag_is_one_byte_false_at_load_and_changes_no_text) {
  static_assert(sizeof _hub_profile_delta_enabled == 1);
  EXPECT_FALSE(_hub_profile_delta_enabled);
  const std::string before = line(report(7, 3, 0, 3).count_up());
  _hub_profile_delta_enabled = true;
  EXPECT_EQ(line(report(7, 3, 0, 3).count_up()), before);
  _hub_profile_delta_enabled = false;
}

}  // namespace
}  // namespace hub::test
