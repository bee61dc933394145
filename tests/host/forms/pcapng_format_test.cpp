// SPDX-License-Identifier: Apache-2.0
#include "host/forms/pcapng_format.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using namespace hub::host;

// The bytes of a text in hexadecimal; blanks are for people.
std::string bytes(std::string_view hexadecimal) {
  std::string found;
  std::string digits;
  for (const char character : hexadecimal) {
    if (character == ' ') {
      continue;
    }
    digits += character;
    if (digits.size() == 2) {
      found += static_cast<char>(std::stoi(digits, nullptr, 16));
      digits.clear();
    }
  }
  return found;
}

std::string begin_of(const PcapngOrigin& origin) {
  TextBuffer out;
  PcapngFormat(origin).begin(out);
  return std::string(out.view());
}

std::string packet_of(const _HubProfileReport& report, std::optional<ClockPair> clock_pair = {}) {
  TextBuffer out;
  EXPECT_TRUE(PcapngFormat({"", "hub0", clock_pair}).append(report, out));
  return std::string(out.view());
}

// The time of a packet: two 32-bit halves, the high one first.
std::uint64_t time_us_of(const std::string& packet) {
  const auto half = [&packet](std::size_t at) {
    std::uint64_t number = 0;
    for (std::size_t index = 4; index-- > 0;) {
      number = number << 8 | static_cast<unsigned char>(packet.at(at + index));
    }
    return number;
  };
  return half(12) << 32 | half(16);
}

const std::string kSectionWithoutOptions = bytes("0A0D0D0A 1C000000 4D3C2B1A 0100 0000 FFFFFFFFFFFFFFFF 1C000000");

TEST(PcapngFormat, begins_with_a_section_and_one_interface) {
  EXPECT_EQ(begin_of({"", "hub0", {}}), kSectionWithoutOptions + bytes("01000000 28000000 9300 0000 00000000"
                                                                       "0200 0400 68756230"
                                                                       "0900 0100 06 000000"
                                                                       "0000 0000 28000000"));
}

TEST(PcapngFormat, device_is_hub0_unless_told) { EXPECT_EQ(begin_of({}), begin_of({"", "hub0", {}})); }

TEST(PcapngFormat, application_is_told_in_the_section) {
  EXPECT_TRUE(begin_of({"hubprofile 1", "hub0", {}})
                  .starts_with(bytes("0A0D0D0A 30000000 4D3C2B1A 0100 0000 FFFFFFFFFFFFFFFF"
                                     "0400 0C00 68756270726F66696C652031"
                                     "0000 0000 30000000")));
}

TEST(PcapngFormat, texts_are_padded_to_four_bytes_and_their_length_is_their_own) {
  struct Sample {
    std::string device;
    std::string interface;
  };
  for (const auto& [device, interface] :
       {Sample{"", "01000000 24000000 9300 0000 00000000 0200 0000"},
        Sample{"a", "01000000 28000000 9300 0000 00000000 0200 0100 61 000000"},
        Sample{"ab", "01000000 28000000 9300 0000 00000000 0200 0200 6162 0000"},
        Sample{"abc", "01000000 28000000 9300 0000 00000000 0200 0300 616263 00"},
        Sample{"abcde", "01000000 2C000000 9300 0000 00000000 0200 0500 6162636465 000000"}}) {
    const std::string expected = kSectionWithoutOptions + bytes(interface) + bytes("0900 0100 06 000000 0000 0000");
    EXPECT_EQ(begin_of({"", device, {}}), expected + bytes(interface).substr(4, 4)) << device;
  }
}

TEST(PcapngFormat, record_is_a_packet_of_its_48_bytes) {
  EXPECT_EQ(packet_of(report(7, 3, 5, 2).sequence(0x01020304).time_us(0x1122334455667788).count_up()),
            bytes("06000000 50000000 00000000 44332211 88776655 30000000 30000000"
                  "02050307 04030201 8877665544332211"
                  "000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F"
                  "50000000"));
}

TEST(PcapngFormat, packets_are_appended_and_depend_on_none_before) {
  PcapngFormat format({});
  TextBuffer out;
  out += "before";
  for (const unsigned event : {1U, 2U, 1U}) {
    format.append(report(0, 0, event, 3), out);
  }
  const std::string first = packet_of(report(0, 0, 1, 3));
  EXPECT_EQ(out.view(), "before" + first + packet_of(report(0, 0, 2, 3)) + first);
}

TEST(PcapngFormat, record_without_valid_text_is_a_packet_too) {
  EXPECT_EQ(packet_of(report(2, 0, 9, 8).text(19, "\xFF")).size(), 80U);
}

TEST(PcapngFormat, nothing_stands_behind_the_last_packet) {
  TextBuffer out;
  PcapngFormat({}).end(out);
  EXPECT_EQ(out.view(), "");
}

TEST(PcapngFormat, time_is_the_co_processors_without_a_clock_pair) {
  for (const std::uint64_t time_us : {std::uint64_t{0}, std::uint64_t{0xFFFFFFFF}, ~std::uint64_t{0}}) {
    EXPECT_EQ(time_us_of(packet_of(report(0, 0, 0, 0).time_us(time_us))), time_us);
  }
}

TEST(PcapngFormat, time_is_calendar_time_with_a_clock_pair) {
  const ClockPair pair{5'000'000, 1'700'110'281'123'456'789};
  EXPECT_EQ(time_us_of(packet_of(report(0, 0, 0, 0).time_us(5000), pair)), 1'700'110'281'123'456U);
  EXPECT_EQ(time_us_of(packet_of(report(0, 0, 0, 0).time_us(5001), pair)), 1'700'110'281'123'457U);
}

TEST(PcapngFormat, time_before_the_epoch_wraps_as_in_a_line) {
  EXPECT_EQ(calendar_time_us({1000, 0}, 0), (~std::uint64_t{0} - 999) / 1000);
  EXPECT_EQ(calendar_time_us({0, -1000}, 1), 0U);
}

TEST(PcapngFormat, text_that_has_no_room_is_refused) {
  const std::string longest(kMaxPcapngTextBytes, 'a');
  EXPECT_EQ(begin_of({"", longest, {}}).size(), kSectionWithoutOptions.size() + 16 + 4 + 65536 + 8 + 4 + 4);
  EXPECT_THROW(PcapngFormat({"", longest + 'a', {}}), std::length_error);
  EXPECT_THROW(PcapngFormat({longest + 'a', "", {}}), std::length_error);
}

}  // namespace
}  // namespace hub::test
