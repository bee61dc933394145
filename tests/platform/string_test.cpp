// SPDX-License-Identifier: Apache-2.0
// Texts: what may stand in them and how they are read.
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

using namespace std::string_view_literals;

constexpr CFStringEncoding kEncodings[] = {kCFStringEncodingMacRoman, kCFStringEncodingASCII, kCFStringEncodingUTF8};
constexpr CFStringEncoding kUnknownEncoding = 0x0100;
constexpr const char* kUmlaut = "\xC3\xBC";        // one UTF-16 unit, two bytes
constexpr const char* kEuro = "\xE2\x82\xAC";      // one UTF-16 unit, three bytes
constexpr const char* kClef = "\xF0\x9D\x84\x9E";  // two UTF-16 units, four bytes

Owned<CFStringRef> of_bytes(std::string_view bytes, CFStringEncoding encoding = kCFStringEncodingUTF8,
                            Boolean is_external = false) {
  return Owned(CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                                       static_cast<CFIndex>(bytes.size()), encoding, is_external));
}

Owned<CFStringRef> of_text(const char* text, CFStringEncoding encoding) {
  return Owned(CFStringCreateWithCString(kCFAllocatorDefault, text, encoding));
}

// What CFStringGetCString makes of a buffer that was full of dots, or nothing when it says false.
std::string copied(CFStringRef text, CFIndex buffer_size_bytes, CFStringEncoding encoding = kCFStringEncodingUTF8) {
  char buffer[] = "........";
  const bool done = CFStringGetCString(text, buffer, buffer_size_bytes, encoding);
  const std::string content(buffer, sizeof buffer);
  EXPECT_EQ(done, content != std::string("........", sizeof buffer)) << "the buffer changes when it says so";
  return done ? std::string(buffer) : "refused";
}

class String : public PlatformTest {};

TEST_F(String, of_ascii_can_be_created_in_every_encoding) {
  for (const CFStringEncoding encoding : kEncodings) {
    EXPECT_TRUE(CFEqual(of_text("text", encoding), CFSTR("text"))) << encoding;
    EXPECT_TRUE(CFEqual(of_bytes("text", encoding), CFSTR("text"))) << encoding;
  }
}

TEST_F(String, beyond_ascii_can_be_created_in_utf8_alone) {
  EXPECT_TRUE(of_text(kUmlaut, kCFStringEncodingUTF8));
  EXPECT_FALSE(of_text(kUmlaut, kCFStringEncodingASCII));
  EXPECT_FALSE(of_text(kUmlaut, kCFStringEncodingMacRoman));
  EXPECT_FALSE(of_bytes(kUmlaut, kCFStringEncodingASCII));
}

TEST_F(String, in_an_unknown_encoding_is_not_created) {
  EXPECT_FALSE(of_text("text", kUnknownEncoding));
  EXPECT_FALSE(of_bytes("text", kUnknownEncoding));
  EXPECT_FALSE(of_bytes("", kUnknownEncoding));
}

TEST_F(String, of_bytes_that_are_not_utf8_is_not_created) {
  for (const CFStringEncoding encoding : kEncodings) {
    EXPECT_FALSE(of_text("te\xFFxt", encoding)) << encoding;
    EXPECT_FALSE(of_bytes("te\xFFxt", encoding)) << encoding;
  }
}

TEST_F(String, without_memory_is_not_created) {
  EXPECT_FALSE(string("text", kCFAllocatorNull));
  const UInt8 bytes[] = {'t'};
  EXPECT_EQ(CFStringCreateWithBytes(kCFAllocatorNull, bytes, 1, kCFStringEncodingUTF8, false), nullptr);
}

TEST_F(String, keeps_a_copy_of_the_bytes) {
  char text[] = "text";
  const auto kept = of_text(text, kCFStringEncodingUTF8);
  text[0] = 'n';
  EXPECT_TRUE(CFEqual(kept, CFSTR("text")));
}

TEST_F(String, of_a_c_string_ends_at_the_zero) {
  const auto text = of_text("te\0xt", kCFStringEncodingUTF8);
  EXPECT_TRUE(CFEqual(text, CFSTR("te")));
}

TEST_F(String, of_bytes_may_hold_zeros) {
  const auto text = of_bytes("te\0xt"sv);
  EXPECT_EQ(CFStringGetLength(text), 5);
  EXPECT_EQ(std::string_view(CFStringGetCStringPtr(text, kCFStringEncodingUTF8), 5), "te\0xt"sv);
}

TEST_F(String, of_bytes_is_kept_with_a_final_zero) {
  const auto text = of_bytes(std::string_view("text").substr(0, 2));
  EXPECT_STREQ(CFStringGetCStringPtr(text, kCFStringEncodingUTF8), "te");
}

TEST_F(String, of_no_bytes_is_empty) {
  const Owned text(CFStringCreateWithBytes(kCFAllocatorDefault, nullptr, 0, kCFStringEncodingUTF8, false));
  EXPECT_EQ(CFStringGetLength(text), 0);
  EXPECT_STREQ(CFStringGetCStringPtr(text, kCFStringEncodingUTF8), "");
  EXPECT_TRUE(CFEqual(text, CFSTR("")));
}

TEST_F(String, keeps_a_byte_order_mark_whatever_is_said_of_the_source) {
  for (const Boolean is_external : {Boolean{false}, Boolean{true}}) {
    const auto text = of_bytes("\xEF\xBB\xBFt", kCFStringEncodingUTF8, is_external);
    EXPECT_EQ(CFStringGetLength(text), 2);
    EXPECT_STREQ(CFStringGetCStringPtr(text, kCFStringEncodingUTF8), "\xEF\xBB\xBFt");
  }
}

TEST_F(String, length_counts_utf16_units) {
  EXPECT_EQ(CFStringGetLength(CFSTR("text")), 4);
  EXPECT_EQ(CFStringGetLength(string(kUmlaut)), 1);
  EXPECT_EQ(CFStringGetLength(string(kEuro)), 1);
  EXPECT_EQ(CFStringGetLength(string(kClef)), 2);
  EXPECT_EQ(CFStringGetLength(string((std::string("abcdefghij") + kUmlaut + kEuro + kClef + "k").c_str())), 15);
}

TEST_F(String, of_ascii_lends_its_buffer_in_every_encoding) {
  for (const CFStringEncoding encoding : kEncodings) {
    EXPECT_STREQ(CFStringGetCStringPtr(CFSTR("text"), encoding), "text") << encoding;
  }
  EXPECT_EQ(CFStringGetCStringPtr(CFSTR("text"), kUnknownEncoding), nullptr);
}

TEST_F(String, beyond_ascii_lends_its_buffer_in_utf8_alone) {
  const auto text = string(kEuro);
  EXPECT_STREQ(CFStringGetCStringPtr(text, kCFStringEncodingUTF8), kEuro);
  EXPECT_EQ(CFStringGetCStringPtr(text, kCFStringEncodingASCII), nullptr);
  EXPECT_EQ(CFStringGetCStringPtr(text, kCFStringEncodingMacRoman), nullptr);
}

TEST_F(String, is_copied_where_it_fits_with_its_zero) {
  EXPECT_EQ(copied(CFSTR("text"), 5), "text");
  EXPECT_EQ(copied(CFSTR("text"), 8), "text");
  EXPECT_EQ(copied(CFSTR(""), 1), "");
  EXPECT_EQ(copied(string(kEuro), 4), kEuro);
}

TEST_F(String, is_not_copied_where_it_does_not_fit) {
  EXPECT_EQ(copied(CFSTR("text"), 4), "refused");
  EXPECT_EQ(copied(CFSTR("text"), 0), "refused");
  EXPECT_EQ(copied(CFSTR(""), 0), "refused");
  EXPECT_EQ(copied(CFSTR("text"), -1), "refused");
  EXPECT_EQ(copied(string(kEuro), 3), "refused");
}

TEST_F(String, is_copied_in_an_encoding_that_can_hold_it) {
  EXPECT_EQ(copied(CFSTR("text"), 8, kCFStringEncodingASCII), "text");
  EXPECT_EQ(copied(CFSTR("text"), 8, kCFStringEncodingMacRoman), "text");
  EXPECT_EQ(copied(string(kUmlaut), 8, kCFStringEncodingASCII), "refused");
  EXPECT_EQ(copied(CFSTR("text"), 8, kUnknownEncoding), "refused");
}

TEST_F(String, is_copied_with_the_zeros_in_it) {
  char buffer[] = "......";
  ASSERT_TRUE(CFStringGetCString(of_bytes("t\0x"sv), buffer, 4, kCFStringEncodingUTF8));
  EXPECT_EQ(std::string_view(buffer, sizeof buffer), "t\0x\0..\0"sv);
}

TEST_F(String, maximum_size_is_enough_for_any_text_of_that_length) {
  for (const char* text : {"t", kUmlaut, kEuro, kClef}) {
    const CFIndex units = CFStringGetLength(string(text));
    EXPECT_GE(CFStringGetMaximumSizeForEncoding(units, kCFStringEncodingUTF8), static_cast<CFIndex>(std::strlen(text)));
  }
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(7, kCFStringEncodingUTF8), 21);
}

TEST_F(String, maximum_size_in_single_bytes_is_the_length) {
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(7, kCFStringEncodingASCII), 7);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(7, kCFStringEncodingMacRoman), 7);
}

TEST_F(String, maximum_size_is_held_at_the_largest_index) {
  constexpr CFIndex kLargest = std::numeric_limits<CFIndex>::max();
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(kLargest, kCFStringEncodingUTF8), kLargest);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(kLargest / 3, kCFStringEncodingUTF8), kLargest / 3 * 3);
}

TEST_F(String, maximum_size_of_an_unknown_encoding_is_minus_one) {
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(7, kUnknownEncoding), -1);
}

TEST_F(String, equals_one_of_the_same_bytes_from_any_source) {
  const auto text = of_text("text", kCFStringEncodingASCII);
  EXPECT_TRUE(CFEqual(text, CFSTR("text")));
  EXPECT_EQ(CFHash(text), CFHash(CFSTR("text")));
}

TEST_F(String, differs_from_one_of_other_bytes) {
  EXPECT_FALSE(CFEqual(CFSTR("text"), CFSTR("Text")));
  EXPECT_FALSE(CFEqual(CFSTR("text"), CFSTR("tex")));
  EXPECT_FALSE(CFEqual(CFSTR("t"), of_bytes("t\0x"sv)));
  EXPECT_FALSE(CFEqual(of_bytes("t\0y"sv), of_bytes("t\0x"sv)));
}

TEST_F(String, constants_of_one_text_are_one_object) {
  EXPECT_EQ(CFSTR("the same"), CFSTR("the same"));
  EXPECT_EQ(CFSTR("the same"), __CFStringMakeConstantString(std::string("the same").c_str()));
  EXPECT_NE(CFSTR("the same"), CFSTR("the other"));
}

TEST_F(String, constant_is_never_freed_and_not_counted_as_live) {
  const CFStringRef constant = CFSTR("a text that no other test uses");
  EXPECT_EQ(platform::live_objects(CFStringGetTypeID()), 0);
  for (int turn = 0; turn < 3; ++turn) {
    CFRelease(constant);
  }
  EXPECT_STREQ(CFStringGetCStringPtr(constant, kCFStringEncodingUTF8), "a text that no other test uses");
}

TEST_F(String, constant_is_the_same_for_all_threads) {
  std::vector<CFStringRef> seen(4);
  in_threads(seen.size(), [&](std::size_t index) { seen[index] = __CFStringMakeConstantString("for many threads"); });
  EXPECT_EQ(seen, std::vector<CFStringRef>(4, CFSTR("for many threads")));
}

TEST_F(String, constant_that_is_not_utf8_ends_the_process) {
  EXPECT_DEATH(__CFStringMakeConstantString("\xFF"), "platform: CFSTR: the literal is not UTF-8");
}

TEST_F(String, of_a_negative_number_of_bytes_ends_the_process) {
  const UInt8 bytes[] = {'t'};
  EXPECT_DEATH(CFStringCreateWithBytes(kCFAllocatorDefault, bytes, -1, kCFStringEncodingUTF8, false),
               "platform: CFStringCreateWithBytes: a negative length");
}

}  // namespace
}  // namespace hub::test
