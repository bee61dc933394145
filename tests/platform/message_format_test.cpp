// SPDX-License-Identifier: Apache-2.0
// The text of log messages: every conversion, and what is not one.
#include <bit>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "log/log_host.h"
#include "os/log.h"
#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

class MessageFormat : public PlatformTest {
 protected:
  MessageFormat() {
    platform::set_log_recorder([this](const platform::LogMessage& message) { text = message.text; });
  }
  ~MessageFormat() override { platform::set_log_recorder(nullptr); }

  template <typename... Arguments>
  std::string formatted(const char* format, Arguments... arguments) {
    os_log(log, format, arguments...);
    return text;
  }

  const os_log_t log = os_log_create("statistics", "format");
  std::string text = "nothing recorded";
};

TEST_F(MessageFormat, text_without_conversions_stands_as_it_is) {
  EXPECT_EQ(formatted(""), "");
  EXPECT_EQ(formatted("all\twell\n"), "all\twell\n");
  EXPECT_EQ(formatted("100 %%"), "100 %");
  EXPECT_EQ(formatted("%d%%", 50), "50%");
  EXPECT_EQ(formatted("%-3%"), "%");
}

TEST_F(MessageFormat, signed_integers_of_every_length) {
  EXPECT_EQ(formatted("%d %i", INT_MIN, INT_MAX), "-2147483648 2147483647");
  EXPECT_EQ(formatted("%hhd %hhi", 0x180, 0x17F), "-128 127");
  EXPECT_EQ(formatted("%hd %hi", 0x18000, 0x17FFF), "-32768 32767");
  EXPECT_EQ(formatted("%ld %li", LONG_MIN, LONG_MAX), "-9223372036854775808 9223372036854775807");
  EXPECT_EQ(formatted("%lld %lli", LLONG_MIN, LLONG_MAX), "-9223372036854775808 9223372036854775807");
  EXPECT_EQ(formatted("%jd %ji", INTMAX_MIN, INTMAX_MAX), "-9223372036854775808 9223372036854775807");
  EXPECT_EQ(formatted("%zd %zi", SSIZE_MAX, std::size_t{7}), "9223372036854775807 7");
  EXPECT_EQ(formatted("%td %ti", PTRDIFF_MIN, PTRDIFF_MAX), "-9223372036854775808 9223372036854775807");
}

TEST_F(MessageFormat, unsigned_integers_of_every_length) {
  EXPECT_EQ(formatted("%u %o %x %X", UINT_MAX, 8U, 0xBEEFU, 0xBEEFU), "4294967295 10 beef BEEF");
  EXPECT_EQ(formatted("%hhu %hho %hhx %hhX", 0x1FF, 0x108, 0x1EF, 0x1EF), "255 10 ef EF");
  EXPECT_EQ(formatted("%hu %ho %hx %hX", 0x1FFFF, 0x10008, 0x1BEEF, 0x1BEEF), "65535 10 beef BEEF");
  EXPECT_EQ(formatted("%lu %lo %lx %lX", ULONG_MAX, 8UL, 0xBEEF00000000UL, 0xBEEF00000000UL),
            "18446744073709551615 10 beef00000000 BEEF00000000");
  EXPECT_EQ(formatted("%llu %llx", ULLONG_MAX, 0xBEEF00000000ULL), "18446744073709551615 beef00000000");
  EXPECT_EQ(formatted("%ju %jx", UINTMAX_MAX, std::uintmax_t{0xBEEF00000000}), "18446744073709551615 beef00000000");
  EXPECT_EQ(formatted("%zu %zx", SIZE_MAX, std::size_t{0xBEEF00000000}), "18446744073709551615 beef00000000");
  EXPECT_EQ(formatted("%tu %tx", PTRDIFF_MAX, std::ptrdiff_t{0xBEEF00000000}), "9223372036854775807 beef00000000");
}

TEST_F(MessageFormat, real_numbers) {
  EXPECT_EQ(formatted("%f %F", 1.5, -1.5), "1.500000 -1.500000");
  EXPECT_EQ(formatted("%e %E", 1.5, 1.5), "1.500000e+00 1.500000E+00");
  EXPECT_EQ(formatted("%g %G", 1e-10, 1e-10), "1e-10 1E-10");
  EXPECT_EQ(formatted("%a %A", 1.0, 1.0), "0x1p+0 0X1P+0");
  EXPECT_EQ(formatted("%f %F", std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity()),
            "inf INF");
  EXPECT_EQ(formatted("%lf %.1Lf %d", 1.5, 2.5L, 3), "1.500000 2.5 3");
}

TEST_F(MessageFormat, characters_and_pointers) {
  EXPECT_EQ(formatted("<%c%c>", 'o', 'k'), "<ok>");
  EXPECT_EQ(formatted("<%3c>", 'o'), "<  o>");
  EXPECT_EQ(formatted("%p", std::bit_cast<void*>(std::uintptr_t{0xBEEF})), "0xbeef");
}

TEST_F(MessageFormat, texts) {
  EXPECT_EQ(formatted("<%s>", "all well"), "<all well>");
  EXPECT_EQ(formatted("<%10s><%-10s><%.3s>", "all well", "all well", "all well"), "<  all well><all well  ><all>");
  EXPECT_EQ(formatted("%s", std::string(100'000, 'x').c_str()), std::string(100'000, 'x'));
}

TEST_F(MessageFormat, text_is_not_read_beyond_its_precision) {
  const char unterminated[] = {'o', 'k'};
  EXPECT_EQ(formatted("%.2s", unterminated), "ok");
  EXPECT_EQ(formatted("%.*s", 2, unterminated), "ok");
}

TEST_F(MessageFormat, null_texts_and_objects_are_named) {
  EXPECT_EQ(formatted("<%s>", static_cast<const char*>(nullptr)), "<(null)>");
  EXPECT_EQ(formatted("<%@>", static_cast<CFTypeRef>(nullptr)), "<(null)>");
  EXPECT_EQ(formatted("<%8s><%.3s>", static_cast<const char*>(nullptr), static_cast<const char*>(nullptr)),
            "<  (null)><(nu>");
}

TEST_F(MessageFormat, flags) {
  EXPECT_EQ(formatted("<%5d><%-5d><%05d><%+d><% d>", 42, 42, 42, 42, 42), "<   42><42   ><00042><+42>< 42>");
  EXPECT_EQ(formatted("<%#x><%#o><%#.0f><%-+5d>", 42U, 42U, 4.0, 42), "<0x2a><052><4.><+42  >");
}

TEST_F(MessageFormat, width_and_precision) {
  EXPECT_EQ(formatted("<%8.3f><%.0f><%.f><%6.3d>", 1.5, 2.0, 2.0, 7), "<   1.500><2><2><   007>");
  EXPECT_EQ(formatted("<%012llx>", 0xBEEFULL), "<00000000beef>");
}

TEST_F(MessageFormat, width_and_precision_from_the_arguments) {
  EXPECT_EQ(formatted("<%*d><%.*f><%*.*f>", 5, 42, 1, 1.25, 8, 3, 1.5), "<   42><1.2><   1.500>");
  EXPECT_EQ(formatted("<%*ld>%d", 4, 42L, 7), "<  42>7");
}

TEST_F(MessageFormat, negative_width_from_the_arguments_adjusts_to_the_left) {
  EXPECT_EQ(formatted("<%*d><%-*d>", -5, 42, -5, 42), "<42   ><42   >");
}

TEST_F(MessageFormat, negative_precision_from_the_arguments_is_none) {
  EXPECT_EQ(formatted("<%.*f><%.*s>", -1, 1.5, -1, "all well"), "<1.500000><all well>");
}

TEST_F(MessageFormat, object_shows_its_text) {
  EXPECT_EQ(formatted("<%@><%@>", CFSTR("all well"), CFSTR("")), "<all well><>");
  EXPECT_EQ(formatted("<%10@><%.3@>", CFSTR("all well"), CFSTR("all well")), "<  all well><all>");
  EXPECT_EQ(formatted("%d %@ %d", 1, CFSTR("gr\u00fc\u00df dich"), 2), "1 gr\u00fc\u00df dich 2");
}

TEST_F(MessageFormat, numbers_and_booleans_show_their_values) {
  const auto smallest = number(INT64_MIN);
  const float single = 0.1F;
  const Owned tenth(CFNumberCreate(kCFAllocatorDefault, kCFNumberFloatType, &single));
  const double half_value = -0.5;
  const Owned half(CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &half_value));
  EXPECT_EQ(formatted("%@ %@ %@", CFNumberRef(smallest), CFNumberRef(tenth), CFNumberRef(half)),
            "-9223372036854775808 0.1 -0.5");
  EXPECT_EQ(formatted("%@ %@", kCFBooleanTrue, kCFBooleanFalse), "true false");
}

TEST_F(MessageFormat, identifier_shows_its_usual_form) {
  const Owned identifier(CFUUIDCreateFromUUIDBytes(
      kCFAllocatorDefault, CFUUIDBytes{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0xA, 0xB, 0xC, 0xD, 0xE, 0xF}));
  EXPECT_EQ(formatted("%@", CFUUIDRef(identifier)), "00010203-0405-0607-0809-0A0B0C0D0E0F");
}

TEST_F(MessageFormat, data_and_collections_show_how_much_there_is) {
  const UInt8 bytes[] = {1, 2, 3};
  const Owned data(CFDataCreate(kCFAllocatorDefault, bytes, 3));
  const Owned array(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
  CFArrayAppendValue(array, kCFBooleanTrue);
  const auto pairs = dictionary();
  CFDictionarySetValue(pairs, CFSTR("key"), kCFBooleanTrue);
  CFDictionarySetValue(pairs, CFSTR("other"), kCFBooleanTrue);
  EXPECT_EQ(formatted("%@ %@ %@", CFDataRef(data), CFMutableArrayRef(array), CFMutableDictionaryRef(pairs)),
            "<data: 3 bytes> <array: 1 values> <dictionary: 2 values>");
}

TEST_F(MessageFormat, allocator_is_named_by_its_kind) { EXPECT_EQ(formatted("%@", kCFAllocatorNull), "<allocator>"); }

TEST_F(MessageFormat, rest_from_an_unknown_conversion_on_stands_as_it_is_written) {
  EXPECT_EQ(formatted("%d %y %s", 1, 2, 3), "1 %y %s");
  EXPECT_EQ(formatted("%n", static_cast<int*>(nullptr)), "%n");
  EXPECT_EQ(formatted("%1$d", 1), "%1$d");
  EXPECT_EQ(formatted("%ls", L"wide"), "%ls");
  EXPECT_EQ(formatted("%hhhd", 1), "%hhhd");
}

TEST_F(MessageFormat, conversion_that_is_cut_off_stands_as_it_is_written) {
  for (const char* format : {"%", "%-", "%5", "%5.", "%5.3", "%l", "%5.3ll", "all %"}) {
    EXPECT_EQ(formatted(format), format);
  }
}

TEST_F(MessageFormat, conversion_that_the_library_refuses_stands_as_it_is_written) {
  EXPECT_EQ(formatted("<%99999999999d> %d", 1, 2), "<%99999999999d> 2");
  EXPECT_EQ(formatted("<%*d> %d", INT_MIN, 1, 2), "<%*d> 2");
}

}  // namespace
}  // namespace hub::test
