// SPDX-License-Identifier: Apache-2.0
// A plug-in that has statistics delivered on a queue of its own, and takes its time with them.
#include <chrono>
#include <thread>

#include "IOKit/hid/IOHIDHubInterface.h"
#include "StatLedger/StatLedger.h"
#include "session_filter.h"

namespace {

void publish(void*, void*, std::uint64_t count) {
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  SLClientAddValueForScalarKey(CFSTR("late"), static_cast<std::int64_t>(count));
}

void install(void*, IOHIDServiceRef) {
  const io_service_t hub = IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceNameMatching("hub"));
  IOCFPlugInInterface** plugin = nullptr;
  SInt32 score = 0;
  IOCreatePlugInInterfaceForService(hub, kIOHIDHubDevicePlugInTypeID, kIOCFPlugInInterfaceID, &plugin, &score);
  void* interface = nullptr;
  (*plugin)->QueryInterface(plugin, CFUUIDGetUUIDBytes(kIOHIDHubDeviceInterfaceID), &interface);
  auto** device = static_cast<IOHIDHubDeviceInterface**>(interface);
  dispatch_queue_t queue = dispatch_queue_create("own", nullptr);
  (*device)->setDispatchQueue(device, queue);
  (*device)->setStatisticsCallback(device, publish, nullptr);
  dispatch_release(queue);  // the device keeps it
  (*plugin)->Release(plugin);
  IOObjectRelease(hub);
}

}  // namespace

SESSION_FILTER(table.registerService = install)
