// SPDX-License-Identifier: Apache-2.0
#include "tests/reliability/soak/soak_figures.h"

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "CoreFoundation/CoreFoundation.h"
#include "IOKit/hid/IOHIDDevice.h"
#include "IOKit/hid/IOHIDService.h"
#include "corefoundation/corefoundation_host.h"
#include "dispatch/dispatch_host.h"
#include "notify/notify_host.h"
#include "registry/service_backend.h"
#include "state/state_host.h"

namespace hub::test {

MemoryUse memory_use() {
  std::int64_t pages = 0;
  std::int64_t resident_pages = 0;
  std::ifstream("/proc/self/statm") >> pages >> resident_pages;
  const struct mallinfo2 heap = mallinfo2();
  return {resident_pages * sysconf(_SC_PAGESIZE), static_cast<std::int64_t>(heap.uordblks + heap.hblkhd)};
}

std::vector<LiveCount> live_counts() {
  const auto objects = [](const char* what, CFTypeID type) { return LiveCount{what, platform::live_objects(type)}; };
  const auto things = [](const char* what, auto count) { return LiveCount{what, static_cast<std::int64_t>(count)}; };
  return {objects("strings", CFStringGetTypeID()),
          objects("numbers", CFNumberGetTypeID()),
          objects("dictionaries", CFDictionaryGetTypeID()),
          objects("arrays", CFArrayGetTypeID()),
          objects("data", CFDataGetTypeID()),
          objects("identifiers", CFUUIDGetTypeID()),
          objects("allocators", CFAllocatorGetTypeID()),
          objects("HID services", IOHIDServiceGetTypeID()),
          objects("HID devices", IOHIDDeviceGetTypeID()),
          things("queues", platform::live_queues()),
          things("registry references", platform::held_registry_references()),
          things("wrong registry releases", platform::wrong_registry_releases()),
          things("connections", platform::open_connections()),
          things("state handlers", platform::state_handlers()),
          things("notification registrations", platform::notification_registrations())};
}

void SoakFigures::end_warm_up() {
  first_ = highest_ = last_ = memory_use();
  counts_ = live_counts();
}

void SoakFigures::sample() {
  ++samples_;
  last_ = memory_use();
  highest_.resident_bytes = std::max(highest_.resident_bytes, last_.resident_bytes);
  highest_.heap_bytes = std::max(highest_.heap_bytes, last_.heap_bytes);
  const std::vector<LiveCount> now = live_counts();
  for (std::size_t row = 0; row < now.size(); ++row) {
    if (now[row] != counts_[row]) {
      drifts_.push_back(now[row].what + ": " + std::to_string(now[row].count) + ", were " +
                        std::to_string(counts_[row].count));
    }
  }
}

}  // namespace hub::test
