// SPDX-License-Identifier: Apache-2.0
// Raw debug data: where each kind of handler reads its reports, and the lines and titles that they become.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "profile/NEBLogDecoder.h"
#include "system/system_host.h"
#include "tests/plugin/state_fixture.h"
#include "tests/support/failing_memory.h"
#include "tests/support/property_list_objects.h"
#include "tests/support/report_builder.h"

namespace hub::test {

// The handler itself, by the one way in which a private member may be named: the registered ones have fixed arguments.
using RawDebugHandler = os_state_data_t (VantuHUBHIDStatistics::*)(os_state_hints_t, ServiceContext*, std::uint32_t,
                                                                   std::uint32_t, std::uint32_t, std::uint32_t);
RawDebugHandler raw_debug_handler();
template <RawDebugHandler kHandler>
struct RevealRawDebugHandler {
  friend RawDebugHandler raw_debug_handler() { return kHandler; }
};
template struct RevealRawDebugHandler<&VantuHUBHIDStatistics::stateHandler_RawDebugData>;

namespace {

using platform::Fallible;
using platform::PropertyListDictionary;

// Handlers of each kind, in the order of registration.
constexpr std::size_t kFirmwareHandlers = 48;
constexpr std::size_t kDriverHandlers = 8;
constexpr std::size_t kErrorHandlers = 48;

// What a user client answers to each of its methods, and what it was asked.
struct MethodAnswers {
  std::map<std::uint32_t, Reply> replies;
  Story story;

  IOReturn answer(std::uint32_t method, std::span<const std::byte> input, std::span<std::byte> output,
                  std::size_t& length) {
    story.push_back("method " + std::to_string(method) + " input " + hex(input) + " room " +
                    std::to_string(output.size()));
    const Reply& its_reply = replies[method];
    const std::size_t written = std::min(output.size(), its_reply.bytes.size());
    std::copy_n(std::as_bytes(std::span(its_reply.bytes)).begin(), written, output.begin());
    length = written + its_reply.surplus;
    return its_reply.status;
  }
};

constexpr std::uint32_t kReadProperty = 2;
constexpr std::uint32_t kHubCommand = 3;
constexpr std::uint32_t kErrors = 8;
constexpr std::uint32_t kDriverReports = 9;

_HubProfileReport numbered(std::uint32_t number) { return report(0, 1, 2, 8).sequence(number); }

// Its name is no UTF-8, so that there is no line for it.
_HubProfileReport without_a_line() { return report(2, 0, 9, 8).text(19, "\xFF\xFE"); }

std::string bytes_of(std::initializer_list<_HubProfileReport> reports) {
  std::string bytes;
  for (const _HubProfileReport& one : reports) {
    bytes.append(reinterpret_cast<const char*>(&one), sizeof one);
  }
  return bytes;
}

std::string title(std::size_t index, std::size_t count, const std::string& type) {
  return "NEB Profile " + std::to_string(index) + " ;count=" + std::to_string(count) + " ;type=" + type;
}

// The titles of all handlers of a kind when each got so many reports.
Story titles(std::size_t handlers, std::size_t count, const std::string& type) {
  Story all;
  for (std::size_t index = 0; index < handlers; ++index) {
    all.push_back(title(index, count, type));
  }
  return all;
}

std::string line_of(const _HubProfileReport& one) { return NEBLogDecoder::to_string(one); }

class RawDebugState : public StateTest {
 protected:
  RawDebugState() {
    platform::fail_boot_time(ENOENT);
    firmware->answer = [this](std::uint32_t id, auto input, auto output, std::size_t& length) {
      return from_firmware.answer(id, input, output, length);
    };
    profile_driver->answer = [this](std::uint32_t id, auto input, auto output, std::size_t& length) {
      return from_driver.answer(id, input, output, length);
    };
    announce({kDebugService});
  }
  ~RawDebugState() override { platform::use_machine_boot_time(); }

  // Whether a handler with these arguments gives a record.
  bool gives_record(std::uint32_t kind, std::uint32_t batch_size) {
    const platform::OwnedStateData data(
        (instance.object().*raw_debug_handler())(nullptr, nullptr, 0, batch_size, kind, 0));
    return data != nullptr;
  }

  MethodAnswers from_firmware;
  MethodAnswers from_driver;
};

TEST_F(RawDebugState, firmware_is_told_to_prepare_and_then_read) {
  capture();
  Story story;
  Story scalars;
  for (std::size_t handler = 0; handler < kFirmwareHandlers; ++handler) {
    story.insert(story.end(), {"method 3 input 60050000 room 0", "method 2 input  room 1536"});
    scalars.insert(scalars.end(), {" scalar 38", " scalar 209"});
  }
  EXPECT_EQ(from_firmware.story, story);
  EXPECT_EQ(firmware->scalars, scalars);
}

TEST_F(RawDebugState, driver_is_asked_for_its_reports_and_then_for_errors) {
  capture();
  Story story(kDriverHandlers, "method 9 input  room 1536");
  story.insert(story.end(), kErrorHandlers, "method 8 input  room 1536");
  EXPECT_EQ(from_driver.story, story);
  EXPECT_EQ(profile_driver->scalars, Story(kDriverHandlers + kErrorHandlers, ""));
}

TEST_F(RawDebugState, firmware_handlers_title_their_index_count_and_kind) {
  from_firmware.replies[kReadProperty] = Reply{bytes_of({numbered(1)})};
  const Snapshots snapshots = capture();
  EXPECT_EQ(titles_of(snapshots), titles(kFirmwareHandlers, 1, "fw"));
  EXPECT_EQ(snapshots.front().handler, 0U);
  EXPECT_EQ(snapshots.at(5).title, "NEB Profile 5 ;count=1 ;type=fw");
  EXPECT_EQ(snapshots.back().handler, 47U);
}

TEST_F(RawDebugState, driver_handlers_title_their_index_count_and_kind) {
  from_driver.replies[kDriverReports] = Reply{bytes_of({numbered(1)})};
  const Snapshots snapshots = capture();
  EXPECT_EQ(titles_of(snapshots), titles(kDriverHandlers, 1, "kext"));
  EXPECT_EQ(snapshots.front().handler, 48U);
  EXPECT_EQ(snapshots.at(5).title, "NEB Profile 5 ;count=1 ;type=kext");
}

TEST_F(RawDebugState, error_handlers_title_their_index_count_and_kind) {
  from_driver.replies[kErrors] = Reply{std::string(1536, '\0')};
  const Snapshots snapshots = capture();
  EXPECT_EQ(titles_of(snapshots), titles(kErrorHandlers, 32, "err"));
  EXPECT_EQ(snapshots.front().handler, 56U);
  EXPECT_EQ(snapshots.at(0).title, "NEB Profile 0 ;count=32 ;type=err");
  EXPECT_EQ(snapshots.at(5).title, "NEB Profile 5 ;count=32 ;type=err");
  EXPECT_EQ(snapshots.at(47).title, "NEB Profile 47 ;count=32 ;type=err");
}

TEST_F(RawDebugState, reply_shorter_than_one_report_gives_no_record) {
  for (const std::size_t length : {0U, 1U, 47U}) {
    from_firmware.replies[kReadProperty] = Reply{std::string(length, '\0')};
    from_driver.replies[kDriverReports] = Reply{std::string(length, '\0')};
    from_driver.replies[kErrors] = Reply{std::string(length, '\0')};
    EXPECT_EQ(titles_of(capture()), Story{}) << length;
  }
  EXPECT_EQ(log, Story{});
}

TEST_F(RawDebugState, reply_of_48_bytes_is_one_line) {
  from_driver.replies[kErrors] = Reply{bytes_of({numbered(7)})};
  const Snapshot snapshot = capture().at(0);
  EXPECT_EQ(snapshot.title, "NEB Profile 0 ;count=1 ;type=err");
  EXPECT_EQ(snapshot.lines(), (Story{line_of(numbered(7))}));
}

TEST_F(RawDebugState, reply_of_100_bytes_is_two_lines_and_the_rest_is_ignored) {
  from_driver.replies[kErrors] = Reply{bytes_of({numbered(1), numbered(2), numbered(3)}).substr(0, 100)};
  const Snapshot snapshot = capture().at(0);
  EXPECT_EQ(snapshot.title, "NEB Profile 0 ;count=2 ;type=err");
  EXPECT_EQ(snapshot.lines(), (Story{line_of(numbered(1)), line_of(numbered(2))}));
}

TEST_F(RawDebugState, full_batch_is_32_lines_in_order) {
  std::string batch;
  Story lines;
  for (std::uint32_t number = 0; number < 32; ++number) {
    batch += bytes_of({numbered(number)});
    lines.push_back(line_of(numbered(number)));
  }
  from_firmware.replies[kReadProperty] = Reply{batch + bytes_of({numbered(32)})};
  const Snapshot snapshot = capture().at(0);
  EXPECT_EQ(snapshot.title, "NEB Profile 0 ;count=32 ;type=fw");
  EXPECT_EQ(snapshot.lines(), lines);
}

TEST_F(RawDebugState, length_beyond_the_buffer_is_that_of_the_buffer) {
  from_firmware.replies[kReadProperty] = Reply{std::string(1536, '\0'), kIOReturnSuccess, 1000000};
  from_driver.replies[kErrors] = Reply{std::string(1536, '\0'), kIOReturnSuccess, 48};
  Story expected = titles(kFirmwareHandlers, 32, "fw");
  for (const std::string& of_errors : titles(kErrorHandlers, 32, "err")) {
    expected.push_back(of_errors);
  }
  EXPECT_EQ(titles_of(capture()), expected);
}

TEST_F(RawDebugState, each_handler_gets_what_is_handed_out_at_its_turn) {
  std::uint32_t number = 0;
  profile_driver->answer = [&](std::uint32_t, auto, std::span<std::byte> output, std::size_t& length) {
    const std::string one = bytes_of({numbered(number++)});
    std::memcpy(output.data(), one.data(), one.size());
    length = number <= 2 ? one.size() : 0;
    return kIOReturnSuccess;
  };
  const Snapshots snapshots = capture();
  EXPECT_EQ(titles_of(snapshots), (Story{title(0, 1, "kext"), title(1, 1, "kext")}));
  EXPECT_EQ(snapshots.at(1).lines(), (Story{line_of(numbered(1))}));
}

TEST_F(RawDebugState, firmware_that_does_not_prepare_is_not_read) {
  from_firmware.replies[kHubCommand].status = kIOReturnTimeout;
  from_firmware.replies[kReadProperty] = Reply{bytes_of({numbered(1)})};
  EXPECT_EQ(titles_of(capture()), Story{});
  EXPECT_EQ(from_firmware.story, Story(kFirmwareHandlers, "method 3 input 60050000 room 0"));
}

TEST_F(RawDebugState, read_that_fails_gives_no_record_whatever_was_written) {
  from_firmware.replies[kReadProperty] = Reply{bytes_of({numbered(1)}), kIOReturnTimeout};
  from_driver.replies[kDriverReports] = Reply{bytes_of({numbered(1)}), kIOReturnTimeout};
  from_driver.replies[kErrors] = Reply{bytes_of({numbered(1)}), kIOReturnTimeout};
  EXPECT_EQ(titles_of(capture()), Story{});
}

TEST_F(RawDebugState, source_that_does_not_open_leaves_the_others_alone) {
  firmware->open_status = kIOReturnNotPrivileged;
  from_driver.replies[kDriverReports] = Reply{bytes_of({numbered(1)})};
  EXPECT_EQ(titles_of(capture()), titles(kDriverHandlers, 1, "kext"));
}

TEST_F(RawDebugState, report_without_a_line_is_left_out_and_counted) {
  from_driver.replies[kErrors] = Reply{bytes_of({numbered(1), without_a_line(), numbered(3)})};
  const Snapshot snapshot = capture().at(0);
  EXPECT_EQ(snapshot.title, "NEB Profile 0 ;count=3 ;type=err");
  EXPECT_EQ(snapshot.lines(), (Story{line_of(numbered(1)), line_of(numbered(3))}));
}

TEST_F(RawDebugState, reports_that_all_have_no_line_are_an_empty_array) {
  from_driver.replies[kErrors] = Reply{bytes_of({without_a_line(), without_a_line()})};
  const Snapshot snapshot = capture().at(0);
  EXPECT_EQ(snapshot.title, "NEB Profile 0 ;count=2 ;type=err");
  EXPECT_EQ(snapshot.lines(), Story{});
}

TEST_F(RawDebugState, line_that_cannot_be_made_is_left_out_and_counted) {
  const std::string two = bytes_of({numbered(1), numbered(2)});
  profile_driver->answer = [&](std::uint32_t, auto, std::span<std::byte> output, std::size_t& length) {
    std::memcpy(output.data(), two.data(), two.size());
    length = two.size();
    platform::plan_failures({.first = 1, .function = Fallible::kCFStringCreateWithCString});
    return kIOReturnSuccess;
  };
  const Snapshot snapshot = capture().at(0);
  EXPECT_EQ(snapshot.title, "NEB Profile 0 ;count=2 ;type=kext");
  EXPECT_EQ(snapshot.lines(), (Story{line_of(numbered(2))}));
}

TEST_F(RawDebugState, array_that_cannot_be_made_gives_no_record_and_no_message) {
  from_driver.replies[kDriverReports] = Reply{bytes_of({numbered(1)})};
  Story expected = titles(kDriverHandlers, 1, "kext");
  expected.erase(expected.begin());
  EXPECT_EQ(titles_of(capture_failing(Fallible::kCFArrayCreateMutable, 1)), expected);
  EXPECT_EQ(log, Story{});
}

TEST_F(RawDebugState, kind_that_is_not_1_to_3_gives_no_record_and_asks_nobody) {
  from_driver.replies[kErrors] = Reply{bytes_of({numbered(1)})};
  EXPECT_TRUE(gives_record(3, 32));
  from_driver.story.clear();
  for (const std::uint32_t kind : {0U, 4U, UINT32_MAX}) {
    EXPECT_FALSE(gives_record(kind, 32)) << kind;
  }
  EXPECT_EQ(from_driver.story, Story{});
  EXPECT_EQ(from_firmware.story, Story{});
}

TEST_F(RawDebugState, batch_of_no_reports_gives_no_record_and_asks_nobody) {
  EXPECT_FALSE(gives_record(3, 0));
  EXPECT_EQ(from_driver.story, Story{});
}

TEST_F(RawDebugState, buffer_without_memory_gives_no_record_and_asks_nobody) {
  from_driver.replies[kErrors] = Reply{bytes_of({numbered(1)})};
  const auto without_memory = [&] {
    const NoMemory no_memory;
    return gives_record(3, 32);
  };
  EXPECT_FALSE(without_memory());
  EXPECT_EQ(from_driver.story, Story{});
}

TEST_F(RawDebugState, line_ends_with_calendar_time_when_there_is_a_time_sync_service) {
  setenv("TZ", "UTC", 1);
  const std::int64_t nov_16 = 1'763'268'681'123'456'000;  // 2025-11-16 04:51:21.123456 UTC, in nanoseconds
  const auto properties = objects_of({PropertyListDictionary{
      {"timesync", {PropertyListDictionary{{"hub", {std::int64_t{0}}}, {"calendar", {nov_16}}}}}}});
  platform::add_registry_entry(platform::kNoParent, "timesync", "VantuHUBTimesync",
                               static_cast<CFDictionaryRef>(properties.get()));
  from_driver.replies[kErrors] = Reply{bytes_of({report(0, 1, 2, 8).time_us(2)})};
  const std::string line = capture().at(0).lines().at(0);
  EXPECT_TRUE(line.ends_with("], 'calendar-time':'Nov 16 04:51:21.123458'}")) << line;
}

}  // namespace
}  // namespace hub::test
