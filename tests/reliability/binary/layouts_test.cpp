// SPDX-License-Identifier: Apache-2.0
// What programs that were compiled elsewhere count on: places in records, and places in tables of functions, read here
// by number as they read them.
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <string>

#include "IOKit/hid/IOHIDHubInterface.h"
#include "IOKit/hid/IOHIDSessionFilter.h"
#include "VantuHUBHIDStatistics.h"
#include "profile/NEBLogDecoder.h"
#include "publishing.h"
#include "tests/support/decoding.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

constexpr std::size_t entry(std::size_t number) { return number * sizeof(void*); }

static_assert(sizeof(LedgerOp[3]) == 21, "operation records stand without padding");
static_assert(sizeof(_HubProfileReport[3]) == 144 && alignof(_HubProfileReport) == 1, "and so do reports");

static_assert(offsetof(IOHIDSessionFilterPlugInInterface, QueryInterface) == entry(1));
static_assert(offsetof(IOHIDSessionFilterPlugInInterface, AddRef) == entry(2));
static_assert(offsetof(IOHIDSessionFilterPlugInInterface, Release) == entry(3));
static_assert(offsetof(IOHIDSessionFilterPlugInInterface, open) == entry(7));
static_assert(offsetof(IOHIDSessionFilterPlugInInterface, close) == entry(8));
static_assert(offsetof(IOHIDSessionFilterPlugInInterface, registerService) == entry(11));
static_assert(offsetof(IOHIDSessionFilterPlugInInterface, scheduleWithDispatchQueue) == entry(13));
static_assert(offsetof(IOHIDSessionFilterPlugInInterface, unscheduleFromDispatchQueue) == entry(14));
static_assert(sizeof(IOHIDSessionFilterPlugInInterface) == entry(17));

static_assert(offsetof(IOHIDHubDriverInterface, open) == entry(8));
static_assert(offsetof(IOHIDHubDriverInterface, command) == entry(10));
static_assert(offsetof(IOHIDHubDeviceInterface, open) == entry(8));
static_assert(offsetof(IOHIDHubDeviceInterface, setStatisticsCallback) == entry(17));
static_assert(offsetof(IOHIDHubDeviceInterface, setDispatchQueue) == entry(18));

// The table that an object begins with, entry by entry.
void* const* table_of(const void* object) {
  void* const* table = nullptr;
  std::memcpy(&table, object, sizeof table);
  return table;
}

// One entry of an object's table, as a function of this type.
template <typename Function>
Function* function_of(const void* object, std::size_t number) {
  return reinterpret_cast<Function*>(table_of(object)[number]);
}

TEST(Layouts, report_has_its_members_at_their_offsets) {
  std::array<std::uint8_t, 48> bytes{};
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
  _HubProfileReport report;
  std::memcpy(&report, bytes.data(), sizeof report);
  EXPECT_EQ(report.type_id, 0);
  EXPECT_EQ(report.event_id, 1);
  EXPECT_EQ(report.component_id, 2);
  EXPECT_EQ(report.category_id, 3);
  EXPECT_EQ(report.sequence_num, 0x07060504U);
  EXPECT_EQ(report.timestamp, 0x0F0E0D0C0B0A0908U);
  EXPECT_EQ(report.payload[31], 47);
}

TEST(Layouts, session_filter_is_a_pointer_to_its_table_and_fills_the_entries_that_are_called) {
  void* const object = VantuHUBHIDStatisticsFactory(kCFAllocatorDefault, kIOHIDSessionFilterPlugInTypeID);
  for (const std::size_t number : {1U, 2U, 3U, 7U, 8U, 11U, 13U, 14U}) {
    EXPECT_NE(table_of(object)[number], nullptr) << "entry " << number;
  }
  EXPECT_EQ(function_of<ULONG(void*)>(object, 2)(object), 2U);
  EXPECT_EQ(function_of<ULONG(void*)>(object, 3)(object), 1U);
  EXPECT_EQ(function_of<ULONG(void*)>(object, 3)(object), 0U);
}

// On this machine a virtual operation is called as a function that takes the object first.
class DecoderSlots : public DecodeTest {
 protected:
  using NameOfOne = std::string(profile_decoder*, unsigned);
  using NameOfTwo = std::string(profile_decoder*, unsigned, unsigned);
  using Line = std::string(profile_decoder*, const _HubProfileReport&);
  using Items = void(profile_decoder*, std::stringstream&, const _HubProfileReport&);
};

TEST_F(DecoderSlots, called_by_number_answer_as_by_name) {
  for (profile_decoder* decoder : NEBLogDecoder::_decoders) {
    const auto sample = report(7, 3, 2, 3).count_up();
    std::stringstream by_number;
    std::stringstream by_name;
    function_of<Items>(decoder, 4)(decoder, by_number, sample);
    decoder->parse_datatype(by_name, sample);
    EXPECT_EQ(by_number.str(), by_name.str());
    EXPECT_EQ(function_of<Line>(decoder, 0)(decoder, sample), decoder->to_string(sample));
    EXPECT_EQ(function_of<NameOfOne>(decoder, 1)(decoder, 7), decoder->category_name(7));
    EXPECT_EQ(function_of<NameOfOne>(decoder, 2)(decoder, 3), decoder->component_name(3));
    EXPECT_EQ(function_of<NameOfTwo>(decoder, 3)(decoder, 3, 2), decoder->event_name(3, 2));
  }
}

// A table that somebody else filled, as a subclass that was compiled against an earlier header fills it.
TEST_F(DecoderSlots, of_a_foreign_table_are_asked_for_names_and_items) {
  NameOfOne* const category = [](profile_decoder*, unsigned) { return std::string("slot 1"); };
  NameOfOne* const component = [](profile_decoder*, unsigned) { return std::string("slot 2"); };
  NameOfTwo* const event = [](profile_decoder*, unsigned, unsigned) { return std::string("slot 3"); };
  Items* const items = [](profile_decoder*, std::stringstream& stream, const _HubProfileReport&) {
    stream << "slot 4,";
  };
  profile_decoder base;
  void* const* const of_base = table_of(&base);
  // In front of the operations stand how far the object begins before its part, and its type.
  void* table[] = {of_base[-2],
                   of_base[-1],
                   of_base[0],
                   reinterpret_cast<void*>(category),
                   reinterpret_cast<void*>(component),
                   reinterpret_cast<void*>(event),
                   reinterpret_cast<void*>(items)};
  void* object = static_cast<void*>(table + 2);
  const std::string text =
      function_of<Line>(&object, 0)(reinterpret_cast<profile_decoder*>(&object), report(7, 3, 2, 3));
  for (const char* expected : {"'category':'slot 1'", "'slot 2'", "'slot 3'", "slot 4,"}) {
    EXPECT_NE(text.find(expected), std::string::npos) << expected << " in " << text;
  }
}

}  // namespace
}  // namespace hub::test
