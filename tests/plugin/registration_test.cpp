// SPDX-License-Identifier: Apache-2.0
// Which services the plug-in takes, and what it does, in order, with the kernel side of each.
#include <string>

#include "failures/failures_host.h"
#include "tests/plugin/plugin_fixture.h"

namespace hub::test {
namespace {

using platform::held_registry_references;
using platform::live_objects;
using platform::Owned;
using platform::state_handlers;

constexpr Usage kConsumer = {0x0C, 0x01};
constexpr Usage kTelephony = {0x0B, 0x01};
constexpr Usage kLight = {0xFF00, 0x03};
constexpr Usage kDebug = {0xFF00, 0x29};
constexpr std::size_t kRawDebugHandlers = 104;

// The steps at the kernel side of a service that is taken.
const Story kDriverSteps = {"driver plug-in asked for", "driver plug-in queried for the driver interface",
                            "driver opened with 0", "driver plug-in released"};
const Story kDeviceSteps = {"device plug-in asked for", "device plug-in queried for the device interface",
                            "device opened with 0", "device plug-in released"};
const Story kPublishingDeviceSteps = {"device plug-in asked for", "device plug-in queried for the device interface",
                                      "device opened with 0",     "device given a queue",
                                      "device given a callback",  "device plug-in released"};

Story operator+(Story first, const Story& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

Owned<CFTypeRef> number(std::int64_t value) {
  return Owned<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value));
}

Owned<CFTypeRef> true_value() { return Owned<CFTypeRef>(CFRetain(kCFBooleanTrue)); }

ServiceScript with_usage(Usage usage) {
  ServiceScript script;
  script.usages = {usage};
  return script;
}

ServiceScript aggregate() {
  ServiceScript script;
  script.supports_statistics = true_value();
  return script;
}

class Registration : public RunningPlugInTest {
 protected:
  RecordedService& announce(ServiceScript script) {
    RecordedService& service = add(std::move(script));
    held_before = held_registry_references();
    instance.register_service(service);
    return service;
  }

  // How many handles the last registration left behind: driver and device for a service that is taken.
  [[nodiscard]] std::size_t handles_kept() const { return held_registry_references() - held_before; }

  void expect_untouched() {
    EXPECT_EQ(kernel, Story{});
    EXPECT_EQ(log, Story{});
    EXPECT_EQ(handles_kept(), 0U);
    EXPECT_EQ(state_handlers(), 0U);
  }

  const std::string named = "default: registerService: name=service";
  std::size_t held_before = 0;
};

TEST_F(Registration, leaves_a_service_without_a_transport_alone) {
  ServiceScript script = with_usage(kLight);
  script.transport = Owned<CFTypeRef>();
  announce(std::move(script));
  expect_untouched();
  EXPECT_EQ(questions, (Story{"property Transport"}));
}

TEST_F(Registration, leaves_a_service_whose_transport_is_no_text_alone) {
  ServiceScript script = with_usage(kLight);
  script.transport = number(5);
  announce(std::move(script));
  expect_untouched();
}

TEST_F(Registration, leaves_a_service_of_another_transport_alone) {
  for (const char* transport : {"USB", "hub", "HUB2", ""}) {
    ServiceScript script = with_usage(kLight);
    script.transport =
        Owned<CFTypeRef>(CFStringCreateWithCString(kCFAllocatorDefault, transport, kCFStringEncodingUTF8));
    announce(std::move(script));
    expect_untouched();
  }
}

TEST_F(Registration, gives_the_transport_back) {
  const std::int64_t before = live_objects(CFStringGetTypeID());
  ServiceScript script = with_usage(kLight);
  script.transport = Owned<CFTypeRef>(CFStringCreateWithCString(kCFAllocatorDefault, "HUB", kCFStringEncodingUTF8));
  const CFTypeRef transport = script.transport.get();
  announce(std::move(script));
  EXPECT_EQ(CFGetRetainCount(transport), 1);
  EXPECT_EQ(live_objects(CFStringGetTypeID()), before + 1);
}

TEST_F(Registration, leaves_a_service_of_no_interest_alone) {
  ServiceScript script = with_usage({0x01, 0x02});
  script.supports_statistics = Owned<CFTypeRef>(CFRetain(kCFBooleanFalse));
  announce(std::move(script));
  expect_untouched();
}

TEST_F(Registration, takes_only_a_true_boolean_for_statistics_support) {
  for (const CFTypeRef value : {number(1).release(), CFRetain(CFSTR("true"))}) {
    ServiceScript script;
    script.supports_statistics = Owned<CFTypeRef>(value);
    announce(std::move(script));
    expect_untouched();
  }
}

TEST_F(Registration, asks_a_service_for_statistics_support_and_then_its_usages_in_order) {
  announce(ServiceScript{});
  EXPECT_EQ(questions, (Story{"property Transport", "property NEBSupportsStatLedger", "usage 12,1", "usage 11,1",
                              "usage 65280,3", "usage 65280,9", "usage 65280,10", "usage 32,49", "usage 65280,41"}));
}

TEST_F(Registration, of_an_aggregate_installs_the_callback_and_no_handlers) {
  const RecordedService& service = announce(aggregate());
  EXPECT_EQ(kernel, kDriverSteps + kPublishingDeviceSteps);
  EXPECT_EQ(log, (Story{named}));
  EXPECT_EQ(state_handlers(), 0U);
  EXPECT_EQ(handles_kept(), 2U);
  EXPECT_EQ(service.device->queue, queue);
  EXPECT_EQ(service.device->refcon, instance.self());
}

TEST_F(Registration, of_a_sensor_installs_no_callback) {
  for (const Usage& usage : {Usage{0xFF00, 0x03}, Usage{0xFF00, 0x09}, Usage{0xFF00, 0x0A}, Usage{0x20, 0x31}}) {
    kernel.clear();
    announce(with_usage(usage));
    EXPECT_EQ(kernel, kDriverSteps + kDeviceSteps) << usage.first << "," << usage.second;
    EXPECT_EQ(handles_kept(), 2U);
  }
  EXPECT_EQ(state_handlers(), kRawDebugHandlers + 4);
}

TEST_F(Registration, of_a_consumer_button_makes_its_hid_device_and_three_kinds_of_handlers) {
  const std::int64_t devices_before = live_objects(IOHIDDeviceGetTypeID());
  announce(with_usage(kConsumer));
  EXPECT_EQ(kernel, kDriverSteps + kDeviceSteps + Story{"HID device asked for"});
  EXPECT_EQ(live_objects(IOHIDDeviceGetTypeID()), devices_before + 1);
  EXPECT_EQ(state_handlers(), 2 + kRawDebugHandlers);
}

TEST_F(Registration, of_a_telephony_button_makes_no_hid_device_and_only_raw_debug_handlers) {
  announce(with_usage(kTelephony));
  EXPECT_EQ(kernel, kDriverSteps + kDeviceSteps);
  EXPECT_EQ(state_handlers(), kRawDebugHandlers);
}

TEST_F(Registration, of_a_debug_service_adds_raw_debug_handlers) {
  announce(with_usage(kDebug));
  EXPECT_EQ(state_handlers(), kRawDebugHandlers);
}

TEST_F(Registration, of_a_service_of_all_kinds_adds_all_handlers) {
  ServiceScript script = aggregate();
  script.usages = {kConsumer, kTelephony, kLight, kDebug};
  announce(std::move(script));
  EXPECT_EQ(kernel, kDriverSteps + kPublishingDeviceSteps + Story{"HID device asked for"});
  EXPECT_EQ(state_handlers(), 2 + 1 + kRawDebugHandlers);
}

TEST_F(Registration, adds_raw_debug_handlers_for_the_first_service_alone) {
  announce(with_usage(kConsumer));
  EXPECT_EQ(state_handlers(), 2 + kRawDebugHandlers);
  announce(with_usage(kConsumer));
  EXPECT_EQ(state_handlers(), 4 + kRawDebugHandlers);
  announce(with_usage(kLight));
  EXPECT_EQ(state_handlers(), 5 + kRawDebugHandlers);
  announce(with_usage(kDebug));
  EXPECT_EQ(state_handlers(), 5 + kRawDebugHandlers);
}

TEST_F(Registration, of_another_instance_adds_raw_debug_handlers_again) {
  announce(with_usage(kDebug));
  const Instance another;
  another.open();
  another.schedule(queue);
  another.register_service(add(with_usage(kDebug)));
  EXPECT_EQ(state_handlers(), 2 * kRawDebugHandlers);
}

TEST_F(Registration, after_an_aggregate_still_adds_raw_debug_handlers) {
  announce(aggregate());
  announce(with_usage(kDebug));
  EXPECT_EQ(state_handlers(), kRawDebugHandlers);
}

TEST_F(Registration, drops_a_service_whose_registry_id_matches_nothing) {
  for (const std::int64_t id : {std::int64_t{0}, std::int64_t{4711}, std::int64_t{-1}}) {
    ServiceScript script = with_usage(kLight);
    script.registry_id = number(id);
    announce(std::move(script));
    expect_untouched();
  }
}

TEST_F(Registration, drops_a_service_that_reports_no_registry_id) {
  ServiceScript script = with_usage(kLight);
  script.registry_id = Owned<CFTypeRef>();
  announce(std::move(script));
  expect_untouched();
}

TEST_F(Registration, drops_a_service_whose_registry_id_is_no_whole_number) {
  const double one_and_a_half = 1.5;
  for (const CFTypeRef id :
       {static_cast<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &one_and_a_half)),
        CFRetain(CFSTR("1"))}) {
    ServiceScript script = with_usage(kLight);
    script.registry_id = Owned<CFTypeRef>(id);
    announce(std::move(script));
    expect_untouched();
  }
}

TEST_F(Registration, takes_the_driver_that_the_registry_id_names) {
  ServiceScript decoy_script = with_usage(kLight);
  decoy_script.name = "other";
  const RecordedService& other = add(std::move(decoy_script));
  ServiceScript script = with_usage(kLight);
  script.registry_id = number(static_cast<std::int64_t>(other.driver_entry));
  announce(std::move(script));
  EXPECT_EQ(log, (Story{"default: registerService: name=other"}));
}

TEST_F(Registration, names_a_service_that_is_dropped_later) {
  for (const int levels : {0, 1}) {
    log.clear();
    ServiceScript script = with_usage(kLight);
    script.levels_above = levels;
    announce(std::move(script));
    EXPECT_EQ(kernel, Story{}) << levels;
    EXPECT_EQ(log, (Story{named})) << levels;
    EXPECT_EQ(handles_kept(), 1U) << "the driver's, and not the one between";
    EXPECT_EQ(state_handlers(), 0U);
  }
}

TEST_F(Registration, names_nothing_when_nothing_is_recorded) {
  platform::set_lowest_log_level(platform::LowestLogLevel::kError);
  announce(with_usage(kLight));
  EXPECT_EQ(log, Story{});
}

TEST_F(Registration, drops_a_service_whose_device_or_the_entry_before_it_is_said_to_be_there_and_is_not) {
  for (const std::uint64_t level : {1U, 2U}) {
    platform::plan_failures(
        {.first = level, .function = platform::Fallible::kIORegistryEntryGetParentEntry, .code = kIOReturnSuccess});
    announce(with_usage(kLight));
    platform::end_failures();
    EXPECT_EQ(handles_kept(), 1U) << "the driver's";
    EXPECT_EQ(state_handlers(), 0U) << level;
  }
  EXPECT_EQ(kernel, Story{});
}

TEST_F(Registration, keeps_a_service_without_a_driver_plugin) {
  ServiceScript script = with_usage(kLight);
  script.driver.exists = false;
  announce(std::move(script));
  EXPECT_EQ(kernel, Story{"driver plug-in asked for"} + kDeviceSteps);
  EXPECT_EQ(log, (Story{named}));
  EXPECT_EQ(state_handlers(), 1 + kRawDebugHandlers);
}

TEST_F(Registration, keeps_a_service_without_a_driver_interface_and_releases_the_plugin_at_the_end) {
  ServiceScript script = with_usage(kLight);
  script.driver.gives_interface = false;
  announce(std::move(script));
  EXPECT_EQ(kernel, Story({"driver plug-in asked for", "driver plug-in queried for the driver interface"}) +
                        kDeviceSteps + Story{"driver plug-in released"});
  EXPECT_EQ(log, (Story{named, assertion("context->_driver._interface", 279)}));
  EXPECT_EQ(state_handlers(), 1 + kRawDebugHandlers);
}

TEST_F(Registration, tells_a_failed_query_of_the_driver_and_that_it_gave_nothing) {
  ServiceScript script = with_usage(kLight);
  script.driver.gives_interface = false;
  script.driver.query_status = E_NOINTERFACE;
  announce(std::move(script));
  EXPECT_EQ(log,
            (Story{named, assertion("((HRESULT)(Status) >= 0)", 278), assertion("context->_driver._interface", 279)}));
}

TEST_F(Registration, uses_a_driver_interface_that_came_with_a_failure) {
  ServiceScript script = with_usage(kLight);
  script.driver.query_status = E_NOINTERFACE;
  announce(std::move(script));
  EXPECT_EQ(kernel, kDriverSteps + kDeviceSteps);
  EXPECT_EQ(log, (Story{named, assertion("((HRESULT)(Status) >= 0)", 278)}));
}

TEST_F(Registration, takes_a_positive_query_status_for_a_success) {
  ServiceScript script = with_usage(kLight);
  script.driver.query_status = 1;
  script.device.query_status = 1;
  announce(std::move(script));
  EXPECT_EQ(log, (Story{named}));
}

TEST_F(Registration, drops_a_service_whose_driver_does_not_open) {
  ServiceScript script = aggregate();
  script.usages = {kConsumer, kLight};
  script.driver.open_status = kIOReturnNotPrivileged;
  announce(std::move(script));
  EXPECT_EQ(kernel, kDriverSteps) << "the plug-in object is given back, and the device is not asked for";
  EXPECT_EQ(log, (Story{named}));
  EXPECT_EQ(state_handlers(), 0U);
  EXPECT_EQ(handles_kept(), 2U);
}

TEST_F(Registration, of_a_dropped_service_leaves_the_raw_debug_handlers_to_the_next) {
  ServiceScript script = with_usage(kLight);
  script.driver.open_status = kIOReturnNotPrivileged;
  announce(std::move(script));
  announce(with_usage(kDebug));
  EXPECT_EQ(state_handlers(), kRawDebugHandlers);
}

TEST_F(Registration, keeps_a_service_without_a_device_plugin) {
  ServiceScript script = aggregate();
  script.device.exists = false;
  announce(std::move(script));
  EXPECT_EQ(kernel, kDriverSteps + Story{"device plug-in asked for"});
  EXPECT_EQ(log, (Story{named}));
}

TEST_F(Registration, keeps_a_service_without_a_device_interface_and_installs_no_callback) {
  ServiceScript script = aggregate();
  script.device.gives_interface = false;
  announce(std::move(script));
  EXPECT_EQ(kernel, kDriverSteps + Story({"device plug-in asked for", "device plug-in queried for the device interface",
                                          "device plug-in released"}));
  EXPECT_EQ(log, (Story{named, assertion("context->_device._interface", 296)}));
}

TEST_F(Registration, tells_a_failed_query_of_the_device_and_uses_what_came_with_it) {
  ServiceScript script = aggregate();
  script.device.query_status = E_NOINTERFACE;
  announce(std::move(script));
  EXPECT_EQ(kernel, kDriverSteps + kPublishingDeviceSteps);
  EXPECT_EQ(log, (Story{named, assertion("((HRESULT)(Status) >= 0)", 295)}));
}

TEST_F(Registration, does_not_mind_a_device_that_does_not_open) {
  ServiceScript script = aggregate();
  script.device.open_status = kIOReturnNotPrivileged;
  announce(std::move(script));
  EXPECT_EQ(kernel, kDriverSteps + kPublishingDeviceSteps);
  EXPECT_EQ(log, (Story{named}));
}

TEST_F(Registration, drops_a_button_without_a_hid_device_and_leaves_its_callback_installed) {
  ServiceScript script = aggregate();
  script.usages = {kConsumer, kLight};
  script.hid_device = false;
  const RecordedService& service = announce(std::move(script));
  EXPECT_EQ(kernel, kDriverSteps + kPublishingDeviceSteps + Story{"HID device asked for"});
  EXPECT_EQ(log, (Story{named}));
  EXPECT_EQ(state_handlers(), 0U);
  EXPECT_NE(service.device->callback, nullptr);
}

TEST_F(Registration, before_scheduling_hands_out_no_queue) {
  const Instance unscheduled;
  unscheduled.open();
  const RecordedService& service = add(aggregate());
  unscheduled.register_service(service);
  EXPECT_EQ(kernel, kDriverSteps + kPublishingDeviceSteps);
  EXPECT_EQ(service.device->queue, nullptr);
}

TEST_F(Registration, after_unscheduling_hands_out_no_queue) {
  instance.table().unscheduleFromDispatchQueue(instance.self(), queue);
  EXPECT_EQ(announce(aggregate()).device->queue, nullptr);
}

TEST_F(Registration, needs_no_array_of_contexts) {
  platform::plan_failures({.first = 1, .function = platform::Fallible::kCFArrayCreateMutable});
  const Instance without_array;
  platform::end_failures();
  without_array.open();
  without_array.register_service(add(with_usage(kLight)));
  EXPECT_EQ(state_handlers(), 1 + kRawDebugHandlers);
}

TEST_F(Registration, of_one_service_twice_takes_it_twice) {
  const RecordedService& service = announce(with_usage(kConsumer));
  instance.register_service(service);
  EXPECT_EQ(state_handlers(), 4 + kRawDebugHandlers);
}

}  // namespace
}  // namespace hub::test
