// SPDX-License-Identifier: Apache-2.0
#include "event_counters.h"

#include <cstdint>
#include <cstdio>

#include "CoreFoundation/CoreFoundation.h"
#include "held_service.h"
#include "owned_object.h"

namespace {

bool findChild(io_service_t service, HeldService& child) {
  return IORegistryEntryGetChildEntry(service, kIOServicePlane, child.out()) == kIOReturnSuccess &&
         child.get() != IO_OBJECT_NULL;
}

// An entry's "DebugState". Anything else than a dictionary counts as an empty one.
class DebugState {
 public:
  explicit DebugState(io_service_t service)
      : property_(IORegistryEntryCreateCFProperty(service, CFSTR("DebugState"), kCFAllocatorDefault, 0)) {}

  // Sets `value` to a counter as a number of this type; leaves it alone when there is no such number.
  void get(CFStringRef name, CFNumberType type, void* value) const {
    if (property_.get() == nullptr || CFGetTypeID(property_.get()) != CFDictionaryGetTypeID()) {
      return;
    }
    const CFTypeRef counter = CFDictionaryGetValue(static_cast<CFDictionaryRef>(property_.get()), name);
    if (counter != nullptr && CFGetTypeID(counter) == CFNumberGetTypeID()) {
      CFNumberGetValue(static_cast<CFNumberRef>(counter), type, value);
    }
  }

 private:
  OwnedObject<CFTypeRef> property_;
};

double seconds(std::uint64_t nanoseconds) { return static_cast<double>(nanoseconds) / 1e9; }

}  // namespace

std::optional<SensorText> eventCountersText(io_service_t device) {
  HeldService between;
  HeldService service;
  HeldService queue;
  if (!findChild(device, between) || !findChild(between.get(), service) || !findChild(service.get(), queue)) {
    return std::nullopt;
  }
  std::int32_t events = -1;
  DebugState(service.get()).get(CFSTR("_num_events"), kCFNumberSInt32Type, &events);

  std::int64_t enqueued = -1;
  std::int32_t dropped = -1;
  std::uint64_t lastEvent = 0;
  std::uint64_t lastDroppedEvent = 0;
  const DebugState counters(queue.get());
  counters.get(CFSTR("EnqueueEventCount"), kCFNumberSInt64Type, &enqueued);
  counters.get(CFSTR("DroppedEventCount"), kCFNumberSInt32Type, &dropped);
  counters.get(CFSTR("LastEventTime"), kCFNumberSInt64Type, &lastEvent);
  counters.get(CFSTR("LastDroppedEventTime"), kCFNumberSInt64Type, &lastDroppedEvent);

  SensorText text;
  std::snprintf(text.data(), text.size(), "%d [enqueued=%d dropped=%d; event_delta=%f dropped_delta=%f]\n", events,
                static_cast<std::int32_t>(enqueued), dropped, seconds(lastEvent), seconds(lastDroppedEvent));
  return text;
}
