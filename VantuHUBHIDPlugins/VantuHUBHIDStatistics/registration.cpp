// SPDX-License-Identifier: Apache-2.0
// Which HID services are the co-processor's, and how one is wired to statistics and state capture.
#include <memory>
#include <new>

#include "VantuHUBHIDStatistics.h"
#include "held_service.h"
#include "kept.h"
#include "plugin_log.h"

// What a service is, by its usages and properties.
struct ServiceKind {
  bool aggregate;       // has statistics to publish
  bool consumerButton;  // a button of the device itself, which has the solid-state button behind it
  bool button;
  bool sensor;
  bool debug;

  [[nodiscard]] bool isOfInterest() const { return debug || sensor || aggregate || button; }
  [[nodiscard]] bool leadsToRawDebug() const { return sensor || debug || button; }
};

namespace {

bool IOHIDServiceSupportsStatLedger(IOHIDServiceRef service) {
  const CFTypeRef value = IOHIDServiceGetProperty(service, CFSTR("NEBSupportsStatLedger"));
  return value != nullptr && CFGetTypeID(value) == CFBooleanGetTypeID() &&
         CFBooleanGetValue(static_cast<CFBooleanRef>(value));
}

std::uint64_t getIOHIDServiceRegistryID(IOHIDServiceRef service) {
  const CFTypeRef number = IOHIDServiceGetRegistryID(service);
  std::int64_t value = 0;
  if (number == nullptr || CFGetTypeID(number) != CFNumberGetTypeID() ||
      !CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberSInt64Type, &value)) {
    return 0;
  }
  return static_cast<std::uint64_t>(value);
}

bool isOfTheHub(IOHIDServiceRef service) {
  const CFTypeRef transport = IOHIDServiceCopyProperty(service, CFSTR("Transport"));
  if (transport == nullptr) {
    return false;
  }
  const bool isHub = CFGetTypeID(transport) == CFStringGetTypeID() && CFEqual(transport, CFSTR("HUB"));
  CFRelease(transport);
  return isHub;
}

// The usages that make a service one of ours, in the order in which it is asked.
struct UsageRow {
  UInt32 usagePage;
  UInt32 usage;
  bool ServiceKind::*flag;
};
constexpr UsageRow kUsages[] = {
    {0x0C, 0x01, &ServiceKind::consumerButton},  // consumer control
    {0x0B, 0x01, &ServiceKind::button},          // telephony
    {0xFF00, 0x03, &ServiceKind::sensor},       {0xFF00, 0x09, &ServiceKind::sensor},
    {0xFF00, 0x0A, &ServiceKind::sensor},       {0x20, 0x31, &ServiceKind::sensor},
    {0xFF00, 0x29, &ServiceKind::debug},
};

ServiceKind kindOf(IOHIDServiceRef service) {
  ServiceKind kind{};
  kind.aggregate = IOHIDServiceSupportsStatLedger(service);
  for (const UsageRow& row : kUsages) {
    if (IOHIDServiceConformsTo(service, row.usagePage, row.usage)) {
      kind.*row.flag = true;
    }
  }
  kind.button = kind.button || kind.consumerButton;
  return kind;
}

void logName(io_service_t driverService) {
  io_name_t name = "";
  IORegistryEntryGetName(driverService, name);
  if (os_log_type_enabled(pluginLog(), OS_LOG_TYPE_DEFAULT)) {
    os_log(pluginLog(), "%s: name=%s", "registerService", name);
  }
}

// The device that a service belongs to stands two levels above its driver; `above` is between them.
bool findDevice(ServiceContext& context, HeldService& above) {
  return IORegistryEntryGetParentEntry(context.driverService, kIOServicePlane, above.out()) == kIOReturnSuccess &&
         above.get() != IO_OBJECT_NULL &&
         IORegistryEntryGetParentEntry(above.get(), kIOServicePlane, &context.deviceService) == kIOReturnSuccess &&
         context.deviceService != IO_OBJECT_NULL;
}

// Owns one reference to the plug-in object of a service, or none.
class HeldPlugIn {
 public:
  HeldPlugIn() = default;
  HeldPlugIn(const HeldPlugIn&) = delete;
  HeldPlugIn& operator=(const HeldPlugIn&) = delete;
  ~HeldPlugIn() { release(); }

  // Without a plug-in of this type it holds none.
  void create(io_service_t service, CFUUIDRef type) {
    SInt32 score = 0;
    IOCFPlugInInterface** created = nullptr;
    if (IOCreatePlugInInterfaceForService(service, type, kIOCFPlugInInterfaceID, &created, &score) ==
        kIOReturnSuccess) {
      plugIn_ = created;
    }
  }

  void release() {
    if (plugIn_ != nullptr) {
      (*plugIn_)->Release(plugIn_);
      plugIn_ = nullptr;
    }
  }

  [[nodiscard]] IOCFPlugInInterface** get() const { return plugIn_; }

 private:
  IOCFPlugInInterface** plugIn_ = nullptr;
};

// How a missing interface is told.
struct QueryFailures {
  int statusLine;
  const char* expression;
  int interfaceLine;
};
constexpr QueryFailures kDriverQuery = {278, "context->_driver._interface", 279};
constexpr QueryFailures kDeviceQuery = {295, "context->_device._interface", 296};

// An interface of a plug-in object, or NULL. One that comes with a failure is used all the same.
template <typename Interface>
Interface** queryInterface(const HeldPlugIn& plugIn, CFUUIDRef interfaceID, const QueryFailures& failures) {
  void* interface = nullptr;
  const HRESULT status = (*plugIn.get())->QueryInterface(plugIn.get(), CFUUIDGetUUIDBytes(interfaceID), &interface);
  if (!SUCCEEDED(status)) {
    logAssertion({.expression = "((HRESULT)(Status) >= 0)", .line = failures.statusLine});
  }
  if (interface == nullptr) {
    logAssertion({.expression = failures.expression, .line = failures.interfaceLine});
  }
  return static_cast<Interface**>(interface);
}

// A service without a driver plug-in or interface is kept. False: there is an interface, and it refuses to open.
bool openDriver(ServiceContext& context, HeldPlugIn& plugIn) {
  plugIn.create(context.driverService, kIOHIDHubDriverPlugInTypeID);
  if (plugIn.get() == nullptr) {
    return true;
  }
  auto** driver = queryInterface<IOHIDHubDriverInterface>(plugIn, kIOHIDHubDriverInterfaceID, kDriverQuery);
  context._driver._interface = driver;
  if (driver == nullptr) {
    return true;
  }
  if ((*driver)->open(driver, 0) != kIOReturnSuccess) {
    return false;
  }
  plugIn.release();
  return true;
}

bool createHIDDevice(ServiceContext& context) {
  context.hidDevice = IOHIDDeviceCreate(kCFAllocatorDefault, context.deviceService);
  return context.hidDevice != nullptr;
}

// The raw-debug handlers: every handler of a kind reads whatever is there when its turn comes.
struct RawDebugRow {
  std::uint32_t handlers;
  std::uint32_t kind;
  std::uint32_t parameter;
};
constexpr RawDebugRow kRawDebugRows[] = {
    {48, 1, 1376},
    {8, 2, 0},
    {48, 3, 0},
};
constexpr std::uint32_t kRawDebugBatchSize = 32;  // records a read

// A handler is copied into memory of its own before the platform sees it. Without that there is none, as when the
// platform itself has no memory for it.
template <typename Handler>
void addHandlerIfThereIsMemory(dispatch_queue_t queue, const Handler& handler) try {
  os_state_add_handler(queue, handler);
} catch (const std::bad_alloc&) {
  return;
}

}  // namespace

// Whatever was obtained for a service that is given up on the way is not given back, but for the plug-in object and the
// entry between driver and device: nothing tells the kernel side that the service will not be used.
void VantuHUBHIDStatistics::registerService(IOHIDServiceRef service) {
  if (!isOfTheHub(service)) {
    return;
  }
  const ServiceKind kind = kindOf(service);
  if (!kind.isOfInterest()) {
    return;
  }
  std::unique_ptr<ServiceContext> context(new (std::nothrow) ServiceContext());
  if (context == nullptr) {
    return;
  }
  context->driverService =
      IOServiceGetMatchingService(kIOMasterPortDefault, IORegistryEntryIDMatching(getIOHIDServiceRegistryID(service)));
  if (context->driverService == IO_OBJECT_NULL) {
    return;
  }
  logName(context->driverService);
  HeldService above;
  HeldPlugIn driverPlugIn;
  if (!findDevice(*context, above) || !openDriver(*context, driverPlugIn)) {
    return;
  }
  openDevice(*context, kind.aggregate);
  if (kind.consumerButton && !createHIDDevice(*context)) {
    return;
  }
  ServiceContext* kept = context.release();
  keepToTheEnd(kept);
  addStateHandlers(*kept, kind);
  if (contexts_ != nullptr) {
    CFArrayAppendValue(contexts_, kept);
  }
}

void VantuHUBHIDStatistics::openDevice(ServiceContext& context, bool publishes) {
  HeldPlugIn plugIn;
  plugIn.create(context.deviceService, kIOHIDHubDevicePlugInTypeID);
  if (plugIn.get() == nullptr) {
    return;
  }
  auto** device = queryInterface<IOHIDHubDeviceInterface>(plugIn, kIOHIDHubDeviceInterfaceID, kDeviceQuery);
  context._device._interface = device;
  if (device == nullptr) {
    return;
  }
  (*device)->open(device, 0);
  if (publishes) {
    (*device)->setDispatchQueue(device, queue_);
    (*device)->setStatisticsCallback(device, publishSLData, this);
  }
}

void VantuHUBHIDStatistics::addStateHandlers(ServiceContext& context, const ServiceKind& kind) {
  if (kind.consumerButton) {
    addStateHandler(context, &VantuHUBHIDStatistics::stateHandler_SSHBStats);
    addStateHandler(context, &VantuHUBHIDStatistics::stateHandler_SSHBAssets);
  }
  if (kind.sensor) {
    addStateHandler(context, &VantuHUBHIDStatistics::stateHandler_SensorInfo);
  }
  if (kind.leadsToRawDebug() && !rawDebugRegistered_) {
    rawDebugRegistered_ = true;
    addRawDebugHandlers(context);
  }
}

// Answers explicit requests only, so that an error or fault does not make the co-processor work.
void VantuHUBHIDStatistics::addStateHandler(ServiceContext& context, StateHandler handler) {
  addHandlerIfThereIsMemory(queue_, [this, &context, handler](os_state_hints_t hints) {
    return hints != nullptr && hints->api == OS_STATE_API_REQUEST ? (this->*handler)(hints, &context) : nullptr;
  });
}

void VantuHUBHIDStatistics::addRawDebugHandlers(ServiceContext& context) {
  for (const RawDebugRow& row : kRawDebugRows) {
    for (std::uint32_t index = 0; index < row.handlers; ++index) {
      addHandlerIfThereIsMemory(queue_, [this, &context, index, &row](os_state_hints_t hints) {
        return hints != nullptr && hints->api >= OS_STATE_API_FAULT
                   ? stateHandler_RawDebugData(hints, &context, index, kRawDebugBatchSize, row.kind, row.parameter)
                   : nullptr;
      });
    }
  }
}
