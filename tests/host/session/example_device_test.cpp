// SPDX-License-Identifier: Apache-2.0
// The example device with the plug-in on it: what a capture leaves behind.
#include "host/device/device_file.h"
#include "host/device/modelled_registry.h"
#include "host/device/observations.h"
#include "host/session/plugin_loader.h"
#include "state/state_host.h"
#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

// How many of each there are more than before.
Counts grown(const Counts& before) {
  Counts difference;
  for (const auto& [name, count] : live_counts()) {
    if (count != before.at(name)) {
      difference[name] = count - before.at(name);
    }
  }
  return difference;
}

class ExampleDevice : public ::testing::Test {
 protected:
  ExampleDevice() { plugin.open(); }
  ~ExampleDevice() override { platform::clear_state_handlers(); }

  void register_services() {
    for (const host::ModelledService& service : registry.services()) {
      plugin.register_service(service.service.get());
    }
  }

  static std::size_t capture(std::uint32_t api) {
    std::size_t snapshots = 0;
    platform::capture_state(api, [&](std::size_t, const platform::OwnedStateData&) { ++snapshots; });
    return snapshots;
  }

  host::Observations observations;
  host::ModelledRegistry registry{host::read_device_file(HUB_EXAMPLE_DEVICE), observations};
  host::LoadedPlugIn plugin{HUB_PLUGIN};
};

TEST_F(ExampleDevice, registration_keeps_two_handles_a_service_and_the_buttons_hid_device) {
  const Counts before = live_counts();
  register_services();
  const Counts of_nine_services = {{"HID devices", 1}, {"registry handles", 9 * 2}, {"state handlers", 2 + 104 + 6}};
  EXPECT_EQ(grown(before), of_nine_services) << "one button; driver and device of each service; six sensors";
  EXPECT_TRUE(observations.complaints().empty());
}

TEST_F(ExampleDevice, capture_leaves_nothing_over) {
  register_services();
  const Counts before = live_counts();
  EXPECT_EQ(capture(OS_STATE_API_REQUEST), 11U);
  const Counts question_for_the_clocks = {{"dictionaries", 1}, {"strings", 1}};  // kept for all lines to come
  EXPECT_EQ(grown(before), question_for_the_clocks);
  EXPECT_EQ(capture(OS_STATE_API_REQUEST), 6U) << "the buffers of profile reports are empty now";
  capture(OS_STATE_API_FAULT);
  capture(OS_STATE_API_ERROR);
  EXPECT_EQ(grown(before), question_for_the_clocks);
}

}  // namespace
}  // namespace hub::test
