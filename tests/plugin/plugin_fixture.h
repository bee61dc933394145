// SPDX-License-Identifier: Apache-2.0
// What tests of the plug-in share: an instance behind its interface table, and everything that it talks to, recorded.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "VantuHUBHIDStatistics.h"
#include "corefoundation/corefoundation_host.h"
#include "dispatch/dispatch_host.h"
#include "ledger/ledger_host.h"
#include "log/log_host.h"
#include "notify/notify_host.h"
#include "state/state_host.h"
#include "tests/support/recording_kernel.h"

namespace hub::test {

// Writes down the calls of the statistics service: "add KEY 1".
class RecordingLedger final : public platform::Ledger {
 public:
  bool clear_scalar(std::string_view key) override { return note("clear-scalar", key); }
  bool set_scalar(std::string_view key, std::int64_t value) override { return note("set-scalar", key, value); }
  bool add_to_scalar(std::string_view key, std::int64_t value) override { return note("add", key, value); }
  bool clear_distribution(std::string_view key) override { return note("clear-distribution", key); }
  bool set_distribution(std::string_view key, double sample) override { return note("set-distribution", key, sample); }
  bool push_to_distribution(std::string_view key, double sample) override { return note("push", key, sample); }

  Story story;

 private:
  template <typename... Values>
  bool note(const std::string& operation, std::string_view key, Values... values) {
    story.push_back(((operation + " " + std::string(key)) + ... + (" " + std::to_string(values))));
    return true;
  }
};

// The log's line of a precondition that did not hold.
inline std::string assertion(const std::string& expression, int line, const std::string& prefix = "") {
  return "default: " + prefix + ": AssertMacros: " + expression +
         ",  file: VantuHUBHIDPlugins/VantuHUBHIDStatistics/VantuHUBHIDStatistics, line: " + std::to_string(line) +
         " value:0\n";
}

// An instance of the plug-in, made by its factory and reached through its table alone.
class Instance {
 public:
  explicit Instance(CFAllocatorRef allocator = kCFAllocatorDefault)
      : interface_(static_cast<IOHIDSessionFilterPlugInInterface**>(
            VantuHUBHIDStatisticsFactory(allocator, kIOHIDSessionFilterPlugInTypeID))) {}
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;
  ~Instance() {
    if (interface_ != nullptr) {
      release();
    }
  }

  [[nodiscard]] const IOHIDSessionFilterPlugInInterface& table() const { return **interface_; }
  [[nodiscard]] void* self() const { return interface_; }
  [[nodiscard]] VantuHUBHIDStatistics& object() const { return *reinterpret_cast<VantuHUBHIDStatistics*>(interface_); }

  bool open() const { return table().open(interface_, nullptr, 0); }
  void schedule(dispatch_queue_t queue) const { table().scheduleWithDispatchQueue(interface_, queue); }
  void register_service(const RecordedService& service) const {
    table().registerService(interface_, service.service.get());
  }
  ULONG add_reference() const { return table().AddRef(interface_); }
  ULONG release() {
    const ULONG remaining = table().Release(interface_);
    if (remaining == 0) {
      interface_ = nullptr;
    }
    return remaining;
  }

 private:
  IOHIDSessionFilterPlugInInterface** interface_;
};

// A recorded world around instances: empty before and after each test.
class PlugInTest : public ::testing::Test {
 protected:
  PlugInTest() {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    platform::set_log_recorder([this](const platform::LogMessage& message) {
      EXPECT_EQ(message.subsystem, "NEB");
      EXPECT_EQ(message.category, "VantuHUBHIDStatistics");
      const char* level = message.type == OS_LOG_TYPE_FAULT   ? "fault: "
                          : message.type == OS_LOG_TYPE_ERROR ? "error: "
                                                              : "default: ";
      log.push_back(level + message.text);
    });
    platform::use_ledger(&ledger);
  }

  ~PlugInTest() override {
    platform::use_ledger(nullptr);
    platform::clear_notifications();
    platform::clear_state_handlers();
    platform::set_log_recorder(nullptr);
    platform::set_lowest_log_level(platform::LowestLogLevel::kDefault);
    platform::clear_registry();
    dispatch_release(queue);
    EXPECT_EQ(platform::live_queues(), 0);
    EXPECT_EQ(platform::wrong_registry_releases(), 0U);
    EXPECT_EQ(platform::open_connections(), 0U);
  }

  // A service in the registry.
  RecordedService& add(ServiceScript script) {
    services_.push_back(std::make_unique<RecordedService>(std::move(script), questions, kernel));
    return *services_.back();
  }

  void finish_queue() {
    dispatch_sync(queue, [] {});
  }

  Story questions;  // what HID services were asked
  Story kernel;     // what drivers and devices were asked
  Story log;        // "level: message"
  RecordingLedger ledger;
  dispatch_queue_t queue = dispatch_queue_create("plug-in", nullptr);

 private:
  std::vector<std::unique_ptr<RecordedService>> services_;
};

// An instance that is open and scheduled.
class RunningPlugInTest : public PlugInTest {
 protected:
  RunningPlugInTest() {
    instance.open();
    instance.schedule(queue);
  }

  Instance instance;
};

}  // namespace hub::test
