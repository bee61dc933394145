// SPDX-License-Identifier: Apache-2.0
// What the plug-in meets in a scenario: a co-processor and a registry that answer everything, all of it recorded.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/platform/platform_test.h"
#include "tests/plugin/state_fixture.h"
#include "tests/reliability/calls/failing_calls.h"

namespace hub::test {

// What the plug-in keeps on purpose to the end of the process: nothing unregisters what uses it.
struct Kept {
  const char* name;
  std::int64_t by_instance;         // one that was opened
  std::int64_t by_service;          // one that was taken
  std::int64_t by_consumer_button;  // besides
};
inline constexpr Kept kKept[] = {
    {"strings", 67, 0, 0},          // the keys
    {"arrays", 1, 0, 0},            // of the contexts
    {"HID devices", 0, 0, 1},       // in a context
    {"registry handles", 0, 2, 0},  // driver and device, in a context
    {"allocator blocks", 1, 1, 0},  // the array and its room: one service a scenario
};

// Has it answer each property and command that is asked for, in full.
void answer_everything(AnsweringDriver& driver);

class World {
 public:
  World();
  World(const World&) = delete;
  World& operator=(const World&) = delete;
  ~World() = default;

  // An instance that is made, opened and scheduled, in three steps or at once. Nothing is done without one.
  void make_instance();
  void open();
  void schedule();
  void start();

  // A service of these usages, which answers all of its properties and commands and has counters below its device.
  RecordedService& add(std::set<Usage> usages, bool has_statistics);

  // Puts the time-sync service into the registry, and sets the boot time.
  void add_clocks();

  // Puts the two services of raw debug data there, each of which gives these reports unless it was told
  // before what to answer.
  void add_raw_debug_sources(const std::string& reports);

  // Everything else ends, and what is left over is seen.
  void end(Outcome& seen);

  [[nodiscard]] bool answers(const std::string& number) const { return number != left_out; }

  std::string left_out;  // a number that the kernel's answers lack
  Story questions;
  Story kernel;
  Story log;
  RecordingLedger ledger;
  AnsweringDriver driver;
  std::map<std::uint32_t, Reply> firmware_methods;
  std::map<std::uint32_t, Reply> profile_driver_methods;
  dispatch_queue_t queue;
  std::optional<Instance> instance;
  std::unique_ptr<RecordedService> service;
  os_state_data_t record = nullptr;
  std::vector<CFStringRef> descriptions;
  std::size_t handler = 0;  // the one to ask

 private:
  platform::PropertyListDictionary numbers(const std::map<std::string, std::int64_t>& all) const;

  LimitedAllocator& allocator_;
  Counts before_;
};

std::string joined(const Story& story);

}  // namespace hub::test
