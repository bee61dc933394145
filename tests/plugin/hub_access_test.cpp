// SPDX-License-Identifier: Apache-2.0
// Properties and commands of the co-processor, through a service's driver and through user clients found by name.
#include <algorithm>
#include <span>
#include <string>

#include "VantuHUBHIDStatistics.h"
#include "tests/plugin/plugin_fixture.h"
#include "tests/support/recording_client.h"

namespace hub::test {
namespace {

constexpr IOReturn kNotReady = static_cast<IOReturn>(0xE00002D8);
constexpr IOReturn kGeneralError = static_cast<IOReturn>(0xE00002BC);

std::string assertion(const std::string& expression, const std::string& error_text, int line,
                      const std::string& value) {
  return "default: : AssertMacros: " + expression + ", " + error_text +
         " file: VantuHUBHIDPlugins/VantuHUBHIDStatistics/VantuHUBHIDStatistics, line: " + std::to_string(line) +
         " value:" + value + "\n";
}

// What a far side was asked, and what it answers: a status and bytes.
struct FarSide {
  IOReturn answer(std::uint32_t id, std::span<const std::byte> input, std::span<std::byte> output,
                  std::size_t& length) {
    story.push_back(std::to_string(id) + " input " + hex(input) + " room " + std::to_string(output.size()));
    length = std::min(output.size(), reply.size());
    std::copy_n(std::as_bytes(std::span(reply)).begin(), length, output.begin());
    return status;
  }

  IOReturn status = kIOReturnSuccess;
  std::string reply;
  Story story;
};

class HubAccess : public RunningPlugInTest {
 protected:
  // A context whose driver answers as `far` says.
  HubAccess() {
    ServiceScript script;
    script.answer = [this](std::uint32_t id, auto input, auto output, std::size_t& length) {
      return far.answer(id, input, output, length);
    };
    const RecordedService& service = add(std::move(script));
    IOCFPlugInInterface** plugin = nullptr;
    service.driver->create(&plugin);
    void* interface = nullptr;
    (*plugin)->QueryInterface(plugin, CFUUIDGetUUIDBytes(kIOHIDHubDriverInterfaceID), &interface);
    context._driver._interface = static_cast<IOHIDHubDriverInterface**>(interface);
  }

  VantuHUBHIDStatistics& object() { return instance.object(); }

  FarSide far;
  ServiceContext context{};
};

TEST_F(HubAccess, property_is_command_10_with_its_id_as_input) {
  far.reply = "abc";
  char buffer[8] = {};
  std::size_t length = 0;
  EXPECT_EQ(object().getHubProperty(&context, 0x01020304, buffer, sizeof buffer, &length), 0);
  EXPECT_EQ(far.story, (Story{"10 input 04030201 room 8"}));
  EXPECT_EQ(std::string(buffer, length), "abc");
}

TEST_F(HubAccess, property_can_be_read_without_asking_for_its_length) {
  far.reply = "abc";
  char buffer[8] = {};
  EXPECT_EQ(object().getHubProperty(&context, 15, buffer, sizeof buffer, nullptr), 0);
  EXPECT_STREQ(buffer, "abc");
}

TEST_F(HubAccess, property_read_gives_the_drivers_own_code_and_leaves_the_length_alone) {
  far.status = kIOReturnTimeout;
  char buffer[8] = {};
  std::size_t length = 4711;
  EXPECT_EQ(object().getHubProperty(&context, 15, buffer, sizeof buffer, &length), kIOReturnTimeout);
  EXPECT_EQ(length, 4711U);
  EXPECT_EQ(log, Story{});
}

TEST_F(HubAccess, property_without_a_driver_interface_is_not_ready_and_leaves_the_length_alone) {
  context._driver._interface = nullptr;
  char buffer[8] = {};
  std::size_t length = 4711;
  EXPECT_EQ(object().getHubProperty(&context, 15, buffer, sizeof buffer, &length), kNotReady);
  EXPECT_EQ(length, 4711U);
  EXPECT_EQ(log, (Story{assertion("context->_driver._interface", "", 1152, "0")}));
}

TEST_F(HubAccess, number_property_of_4_bytes_is_the_value) {
  far.reply = std::string("\x78\x56\x34\x12", 4);
  std::uint32_t value = 0;
  EXPECT_EQ(object().getHubPropertyU32(&context, 64, &value, 7), 0);
  EXPECT_EQ(value, 0x12345678U);
  EXPECT_EQ(far.story, (Story{"10 input 40000000 room 4"}));
}

TEST_F(HubAccess, number_property_of_another_length_is_the_default_and_a_success) {
  for (const std::size_t length : {0U, 1U, 2U, 3U}) {
    far.reply = std::string(length, '\1');
    std::uint32_t value = 0;
    EXPECT_EQ(object().getHubPropertyU32(&context, 64, &value, 0xFFFFFFFF), 0);
    EXPECT_EQ(value, 0xFFFFFFFFU) << length;
  }
}

TEST_F(HubAccess, number_property_that_fails_is_the_default_with_the_code) {
  far.status = kIOReturnAborted;
  far.reply = "full";
  std::uint32_t value = 0;
  EXPECT_EQ(object().getHubPropertyU32(&context, 64, &value, 7), kIOReturnAborted);
  EXPECT_EQ(value, 7U);
}

TEST_F(HubAccess, number_property_without_a_driver_interface_is_the_default) {
  context._driver._interface = nullptr;
  std::uint32_t value = 0;
  EXPECT_EQ(object().getHubPropertyU32(&context, 64, &value, 7), kNotReady);
  EXPECT_EQ(value, 7U);
}

TEST_F(HubAccess, command_goes_to_the_driver_as_it_is) {
  far.reply = "table";
  char input[] = {1, 2};
  char output[16] = {};
  std::size_t length = sizeof output;
  EXPECT_EQ(object().performCommand(&context, 57, input, sizeof input, output, &length), 0);
  EXPECT_EQ(far.story, (Story{"57 input 0102 room 16"}));
  EXPECT_EQ(std::string(output, length), "table");
}

TEST_F(HubAccess, command_without_input_gives_the_drivers_own_code) {
  far.status = kIOReturnNotFound;
  char output[16] = {};
  std::size_t length = sizeof output;
  EXPECT_EQ(object().performCommand(&context, 57, nullptr, 0, output, &length), kIOReturnNotFound);
  EXPECT_EQ(far.story, (Story{"57 input  room 16"}));
}

// The user client of a service called "NEB_profile".
class HubClientAccess : public RunningPlugInTest {
 protected:
  ~HubClientAccess() override {
    EXPECT_EQ(platform::held_registry_references(), held_before);
    EXPECT_EQ(platform::open_connections(), 0U);
    EXPECT_EQ(platform::live_objects(CFDictionaryGetTypeID()), dictionaries_before);
  }

  VantuHUBHIDStatistics& object() { return instance.object(); }

  // Each function's call on a service of this name, with a buffer of 4 bytes.
  IOReturn get_property(const char* name = "NEB_profile") {
    return object().getHubProperty(name, 209, buffer, sizeof buffer, &length);
  }
  IOReturn perform_hub_command(const char* name = "NEB_profile") {
    return object().performHubCommand(name, 38, input, sizeof input, nullptr, nullptr);
  }
  IOReturn perform_command(const char* name = "NEB_profile") {
    length = sizeof buffer;
    return object().performCommand(name, 9, nullptr, 0, buffer, &length);
  }

  // Services that other tests registered stay to the end of the process.
  const std::size_t held_before = platform::held_registry_references();
  const std::int64_t dictionaries_before = platform::live_objects(CFDictionaryGetTypeID());
  FarSide far;
  std::shared_ptr<RecordingClientService> service =
      add_client_service("NEB_profile", [this](std::uint32_t id, auto given, auto output, std::size_t& its_length) {
        return far.answer(id, given, output, its_length);
      });
  char input[4] = {0x60, 0x05, 0, 0};
  char buffer[4] = {};
  std::size_t length = 4711;
};

TEST_F(HubClientAccess, property_is_method_2_with_its_id_as_scalar) {
  far.reply = "abc";
  EXPECT_EQ(get_property(), 0);
  EXPECT_EQ(far.story, (Story{"2 input  room 4"}));
  EXPECT_EQ(service->scalars, (Story{" scalar 209"}));
  EXPECT_EQ(std::string(buffer, length), "abc");
}

TEST_F(HubClientAccess, hub_command_is_method_3_with_the_command_as_scalar) {
  EXPECT_EQ(perform_hub_command(), 0);
  EXPECT_EQ(far.story, (Story{"3 input 60050000 room 0"}));
  EXPECT_EQ(service->scalars, (Story{" scalar 38"}));
}

TEST_F(HubClientAccess, hub_command_can_have_an_output) {
  far.reply = "ab";
  length = sizeof buffer;
  EXPECT_EQ(object().performHubCommand("NEB_profile", 38, nullptr, 0, buffer, &length), 0);
  EXPECT_EQ(std::string(buffer, length), "ab");
}

TEST_F(HubClientAccess, command_is_a_method_without_scalars) {
  far.reply = "ab";
  EXPECT_EQ(perform_command(), 0);
  EXPECT_EQ(far.story, (Story{"9 input  room 4"}));
  EXPECT_EQ(service->scalars, (Story{""}));
  EXPECT_EQ(std::string(buffer, length), "ab");
}

TEST_F(HubClientAccess, each_call_opens_the_service_afresh_and_closes_it) {
  get_property();
  EXPECT_EQ(platform::open_connections(), 0U);
  perform_hub_command();
  perform_command();
  EXPECT_EQ(service->opened, 3);
}

TEST_F(HubClientAccess, name_that_matches_no_service_is_an_error_without_opening_anything) {
  EXPECT_EQ(get_property("nobody"), kGeneralError);
  EXPECT_EQ(perform_hub_command("nobody"), kGeneralError);
  EXPECT_EQ(perform_command("nobody"), kGeneralError);
  EXPECT_EQ(service->opened, 0);
  EXPECT_EQ(log, (Story{
                     assertion("service", "", 1241, "0"),
                     assertion("service", "", 1215, "0"),
                     assertion("service", "", 1190, "0"),
                 }));
}

TEST_F(HubClientAccess, open_that_fails_is_told_with_its_text_and_code) {
  service->open_status = kIOReturnNotPrivileged;
  EXPECT_EQ(get_property(), kGeneralError);
  EXPECT_EQ(perform_hub_command(), kIOReturnNotPrivileged);
  EXPECT_EQ(perform_command(), kIOReturnNotPrivileged);
  EXPECT_EQ(far.story, Story{});
  EXPECT_EQ(log, (Story{
                     assertion("kr == 0 ", "not privileged", 1244, "e00002c1"),
                     assertion("kr == 0 ", "not privileged", 1218, "e00002c1"),
                     assertion("kr == 0 ", "not privileged", 1193, "e00002c1"),
                 }));
}

TEST_F(HubClientAccess, call_that_fails_is_a_general_error_for_a_property_and_its_own_code_for_commands) {
  far.status = kIOReturnTimeout;
  EXPECT_EQ(get_property(), kGeneralError);
  EXPECT_EQ(length, 4711U) << "the length is left alone";
  EXPECT_EQ(perform_hub_command(), kIOReturnTimeout);
  EXPECT_EQ(perform_command(), kIOReturnTimeout);
  EXPECT_EQ(log, (Story{
                     assertion("kr == 0 ", "timed out", 1248, "e00002d6"),
                     assertion("kr == 0 ", "timed out", 1222, "e00002d6"),
                     assertion("kr == 0 ", "timed out", 1197, "e00002d6"),
                 }));
}

TEST_F(HubClientAccess, code_without_a_text_is_told_with_an_empty_one) {
  far.status = 5;
  perform_command();
  EXPECT_EQ(log, (Story{assertion("kr == 0 ", "", 1197, "5")}));
}

TEST_F(HubClientAccess, failures_are_not_told_when_nothing_is_recorded_at_that_level) {
  platform::set_lowest_log_level(platform::LowestLogLevel::kError);
  EXPECT_EQ(get_property("nobody"), kGeneralError);
  EXPECT_EQ(log, Story{});
}

}  // namespace
}  // namespace hub::test
