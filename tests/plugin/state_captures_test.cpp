// SPDX-License-Identifier: Apache-2.0
// Captures from end to end: who answers which kind of request, in which order, and what stays when a call fails.
#include <string>

#include "tests/plugin/state_fixture.h"

namespace hub::test {
namespace {

constexpr std::uint32_t kEveryApi[] = {0, 1, 2, 3, 4, 0xFFFFFFFF};
constexpr std::size_t kRawDebugHandlers = 104;

ServiceScript with_a_carrier() {
  ServiceScript script;
  script.levels_above = 3;
  return script;
}

// Everything is answered, and each source of raw debug data has one report at every turn.
class StateCaptures : public StateTest {
 protected:
  StateCaptures() {
    answer_all(driver);
    firmware->answer = give_a_report;
    profile_driver->answer = give_a_report;
  }

  static void answer_all(AnsweringDriver& its_driver) {
    its_driver.properties = {
        {0, number_reply(1)}, {215, reply(330)}, {216, reply(1479)}, {57, Reply{std::string("\2a\0", 3)}}};
    its_driver.commands[57] = reply(31).u8(28, 1);
  }

  static IOReturn give_a_report(std::uint32_t, std::span<const std::byte>, std::span<std::byte> output,
                                std::size_t& length) {
    length = std::min<std::size_t>(output.size(), 48);
    return kIOReturnSuccess;
  }

  // The titles of raw debug data in the order of their handlers.
  static Story raw_debug_titles() {
    Story titles;
    for (const auto& [handlers, type] : {std::pair{48, "fw"}, std::pair{8, "kext"}, std::pair{48, "err"}}) {
      for (int index = 0; index < handlers; ++index) {
        titles.push_back("NEB Profile " + std::to_string(index) + " ;count=1 ;type=" + type);
      }
    }
    return titles;
  }

  static Story followed_by_raw_debug(Story titles) {
    const Story raw = raw_debug_titles();
    titles.insert(titles.end(), raw.begin(), raw.end());
    return titles;
  }

  int opened() const { return firmware->opened + profile_driver->opened; }
};

TEST_F(StateCaptures, request_is_answered_by_all_handlers_in_the_order_of_their_registration) {
  announce({kConsumerButton, kSensor, kDebugService}, with_a_carrier());
  const Snapshots snapshots = capture(OS_STATE_API_REQUEST);
  EXPECT_EQ(titles_of(snapshots), followed_by_raw_debug({"SSHB Statistics", "SSHB assets", "SensorInfo"}));
  for (std::size_t number = 0; number < snapshots.size(); ++number) {
    EXPECT_EQ(snapshots[number].handler, number);
  }
  EXPECT_EQ(log, Story{});
}

TEST_F(StateCaptures, fault_is_answered_by_raw_debug_handlers_alone_and_no_property_is_read) {
  announce({kConsumerButton, kSensor}, with_a_carrier());
  EXPECT_EQ(titles_of(capture(OS_STATE_API_FAULT)), raw_debug_titles());
  EXPECT_EQ(driver.story, Story{});
}

TEST_F(StateCaptures, error_is_answered_by_nobody_and_nothing_is_read) {
  announce({kConsumerButton, kSensor}, with_a_carrier());
  EXPECT_EQ(titles_of(capture(OS_STATE_API_ERROR)), Story{});
  EXPECT_EQ(driver.story, Story{});
  EXPECT_EQ(opened(), 0);
}

TEST_F(StateCaptures, request_of_an_unknown_kind_counts_as_a_fault_from_2_on_and_as_an_error_below) {
  announce({kConsumerButton, kSensor}, with_a_carrier());
  EXPECT_EQ(titles_of(capture(0)), Story{});
  EXPECT_EQ(opened(), 0);
  for (const std::uint32_t api : {4U, 0x80000003U, 0xFFFFFFFFU}) {
    EXPECT_EQ(titles_of(capture(api)), raw_debug_titles()) << api;
  }
  EXPECT_EQ(driver.story, Story{});
}

TEST_F(StateCaptures, request_without_hints_is_answered_by_nobody_and_nothing_is_read) {
  announce({kConsumerButton, kSensor}, with_a_carrier());
  for (std::size_t handler = 0; handler < platform::state_handlers(); ++handler) {
    EXPECT_EQ(platform::ask_state_handler_without_hints(handler), nullptr) << handler;
  }
  EXPECT_EQ(driver.story, Story{});
  EXPECT_EQ(opened(), 0);
}

TEST_F(StateCaptures, aggregate_answers_nothing) {
  ServiceScript script;
  script.supports_statistics = platform::Owned<CFTypeRef>(CFRetain(kCFBooleanTrue));
  announce({}, std::move(script));
  for (const std::uint32_t api : kEveryApi) {
    EXPECT_EQ(titles_of(capture(api)), Story{}) << api;
  }
}

TEST_F(StateCaptures, telephony_button_answers_with_raw_debug_data_alone) {
  announce({kTelephonyButton});
  EXPECT_EQ(titles_of(capture()), raw_debug_titles());
  EXPECT_EQ(driver.story, Story{});
}

TEST_F(StateCaptures, consumer_button_that_was_dropped_answers_nothing) {
  ServiceScript script;
  script.hid_device = false;
  announce({kConsumerButton}, std::move(script));
  EXPECT_EQ(titles_of(capture()), Story{});
}

TEST_F(StateCaptures, second_service_answers_for_itself_but_without_raw_debug_data) {
  AnsweringDriver other;
  answer_all(other);
  driver.properties[0] = number_reply(11);
  other.properties[0] = number_reply(22);
  announce({kSensor}, with_a_carrier());
  announce_with(other, {kSensor, kDebugService}, with_a_carrier());
  const Snapshots snapshots = capture();
  Story expected = followed_by_raw_debug({"SensorInfo"});
  expected.emplace_back("SensorInfo");
  ASSERT_EQ(titles_of(snapshots), expected);
  EXPECT_EQ(snapshots.front().entry("reportInterval"), "11");
  EXPECT_EQ(snapshots.back().entry("reportInterval"), "22");
  EXPECT_EQ(snapshots.back().handler, 1 + kRawDebugHandlers);
}

TEST_F(StateCaptures, two_buttons_answer_each_for_itself) {
  AnsweringDriver other;
  other.properties[215] = reply(330).u64(0, 5);
  announce({kConsumerButton});
  announce_with(other, {kConsumerButton});
  const Snapshots snapshots = capture();
  Story expected = followed_by_raw_debug({"SSHB Statistics", "SSHB assets"});
  expected.emplace_back("SSHB Statistics");
  ASSERT_EQ(titles_of(snapshots), expected);
  EXPECT_EQ(snapshots.front().entry("last button press/finger on ts"), "0");
  EXPECT_EQ(snapshots.back().entry("last button press/finger on ts"), "5");
}

TEST_F(StateCaptures, handler_without_an_answer_leaves_those_of_the_others) {
  announce({kConsumerButton, kSensor}, with_a_carrier());
  driver.properties.erase(216);
  firmware->open_status = kIOReturnNotPrivileged;
  const Story titles = titles_of(capture());
  EXPECT_EQ(Story(titles.begin(), titles.begin() + 3),
            (Story{"SSHB Statistics", "SensorInfo", "NEB Profile 0 ;count=1 ;type=kext"}));
}

TEST_F(StateCaptures, each_capture_reads_afresh) {
  announce({kSensor}, with_a_carrier());
  EXPECT_EQ(capture().at(0).entry("reportInterval"), "1");
  driver.properties[0] = number_reply(2);
  EXPECT_EQ(capture().at(0).entry("reportInterval"), "2");
}

TEST_F(StateCaptures, without_user_clients_tell_for_each_call_that_there_is_no_service) {
  platform::clear_registry();
  firmware.reset();
  profile_driver.reset();
  announce({kDebugService});
  EXPECT_EQ(titles_of(capture(OS_STATE_API_FAULT)), Story{});
  Story expected(48, assertion("service", 1215));
  expected.insert(expected.end(), 8 + 48, assertion("service", 1190));
  EXPECT_EQ(log, expected);
}

// What follows fails one call after the other. Each capture checks that nothing is left over.
class FailingCaptures : public StateCaptures {
 protected:
  // How many calls of fallible functions a capture makes.
  std::uint64_t calls_of_a_capture(std::uint32_t api) {
    platform::plan_failures({});
    capture(api);
    platform::end_failures();
    std::uint64_t calls = 0;
    for (const platform::FallibleFunction& row : platform::fallible_functions()) {
      calls += platform::calls_of(row.function);
    }
    return calls;
  }
};

TEST_F(FailingCaptures, of_button_and_sensor_lose_at_most_one_snapshot_to_a_call_that_fails) {
  announce({kDebugService});
  platform::clear_state_handlers();  // so that there is no raw debug data
  RecordedService& service = announce({kConsumerButton, kSensor}, with_a_carrier());
  platform::add_registry_entry(service.driver_entry, "queue", "Queue", nullptr);
  const std::uint64_t calls = calls_of_a_capture(OS_STATE_API_REQUEST);
  EXPECT_GT(calls, 200U);
  for (std::uint64_t call = 1; call <= calls; ++call) {
    platform::plan_failures({.first = call});
    EXPECT_GE(capture().size(), 2U) << "call " << call;
    platform::end_failures();
  }
}

TEST_F(FailingCaptures, of_raw_debug_data_lose_at_most_one_snapshot_to_a_call_that_fails) {
  announce({kDebugService});
  const std::uint64_t calls_of_one_handler = calls_of_a_capture(OS_STATE_API_FAULT) / kRawDebugHandlers;
  EXPECT_GT(calls_of_one_handler, 5U);
  for (std::uint64_t call = 1; call <= 3 * calls_of_one_handler; ++call) {
    platform::plan_failures({.first = call});
    EXPECT_GE(capture(OS_STATE_API_FAULT).size(), kRawDebugHandlers - 1) << "call " << call;
    platform::end_failures();
  }
}

TEST_F(FailingCaptures, in_which_a_function_fails_throughout_leave_nothing_over) {
  RecordedService& service = announce({kConsumerButton, kSensor}, with_a_carrier());
  platform::add_registry_entry(service.driver_entry, "queue", "Queue", nullptr);
  for (const platform::FallibleFunction& row : platform::fallible_functions()) {
    SCOPED_TRACE(row.name);
    platform::plan_failures({.first = 1, .and_all_later = true, .function = row.function});
    capture();
    platform::end_failures();
  }
  EXPECT_EQ(titles_of(capture()), followed_by_raw_debug({"SSHB Statistics", "SSHB assets", "SensorInfo"}));
}

}  // namespace
}  // namespace hub::test
