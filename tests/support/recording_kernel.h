// SPDX-License-Identifier: Apache-2.0
// The kernel side for tests of the plug-in: services, drivers and devices that do what a test's script says and write
// down, in order, what they are asked.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "IOKit/hid/IOHIDHubInterface.h"
#include "corefoundation/owned.h"
#include "hid/hid_host.h"
#include "registry/service_backend.h"

namespace hub::test {

using Story = std::vector<std::string>;
using Usage = std::pair<std::uint32_t, std::uint32_t>;

// How one side of a service is reached.
struct PlugInScript {
  bool exists = true;
  bool gives_interface = true;
  HRESULT query_status = S_OK;
  IOReturn open_status = kIOReturnSuccess;
};

// What a command of a driver or a method of a user client answers: fills `output` and sets its length.
using AnswerScript = std::function<IOReturn(std::uint32_t id, std::span<const std::byte> input,
                                            std::span<std::byte> output, std::size_t& length)>;

inline IOReturn answer_unsupported(std::uint32_t, std::span<const std::byte>, std::span<std::byte>, std::size_t&) {
  return kIOReturnUnsupported;
}

// A HID service and what stands below the device that it belongs to.
struct ServiceScript {
  std::string name = "service";
  platform::Owned<CFTypeRef> transport{CFRetain(CFSTR("HUB"))};
  platform::Owned<CFTypeRef> supports_statistics;  // the property's value; none: there is no such property
  std::set<Usage> usages;
  std::optional<platform::Owned<CFTypeRef>> registry_id;  // none: the driver's own
  int levels_above = 2;  // the entry between and the device; with 3, what the device belongs to
  PlugInScript driver;
  PlugInScript device;
  bool hid_device = true;
  std::function<void()> at_hid_device = [] {};  // when its HID device is asked for: the last step of a registration
  AnswerScript answer = answer_unsupported;
};

// One side's plug-in object and interface. Both write what is done with them into the story.
class RecordingSide {
 public:
  RecordingSide(std::string name, const PlugInScript& script, AnswerScript answer, Story& story)
      : name_(std::move(name)), script_(script), answer_(std::move(answer)), story_(story) {}

  kern_return_t create(IOCFPlugInInterface*** plugin) {
    story_.push_back(name_ + " plug-in asked for");
    if (!script_.exists) {
      return kIOReturnNoResources;
    }
    *plugin = reinterpret_cast<IOCFPlugInInterface**>(&plugin_);
    return kIOReturnSuccess;
  }

  // What the plug-in installed.
  IOHIDHubStatisticsCallback callback = nullptr;
  void* refcon = nullptr;
  dispatch_queue_t queue = nullptr;

 private:
  template <typename Table>
  struct Object {
    const Table* table;
    RecordingSide* side;
    static RecordingSide& of(void* self) { return *static_cast<Object*>(self)->side; }
  };
  using PlugInObject = Object<IOCFPlugInInterface>;
  using Driver = Object<IOHIDHubDriverInterface>;
  using Device = Object<IOHIDHubDeviceInterface>;

  static ULONG count_nothing(void*) { return 1; }

  static HRESULT refuse(void*, REFIID, LPVOID* out) {
    *out = nullptr;
    return E_NOINTERFACE;
  }

  static bool is(const CFUUIDBytes& bytes, CFUUIDRef expected) {
    const CFUUIDBytes expected_bytes = CFUUIDGetUUIDBytes(expected);
    return std::memcmp(&bytes, &expected_bytes, sizeof bytes) == 0;
  }

  HRESULT query(const CFUUIDBytes& iid, LPVOID* out) {
    const bool is_driver = is(iid, kIOHIDHubDriverInterfaceID);
    story_.push_back(name_ + " plug-in queried for the " +
                     (is_driver                             ? "driver"
                      : is(iid, kIOHIDHubDeviceInterfaceID) ? "device"
                                                            : "wrong") +
                     " interface");
    if (script_.gives_interface) {
      *out = is_driver ? static_cast<void*>(&driver_) : static_cast<void*>(&device_);
    }
    return script_.query_status;
  }

  IOReturn open(IOOptionBits options) {
    story_.push_back(name_ + " opened with " + std::to_string(options));
    return script_.open_status;
  }

  // The tables' functions.
  static HRESULT query_plugin(void* self, REFIID iid, LPVOID* out) { return PlugInObject::of(self).query(iid, out); }

  static ULONG release_plugin(void* self) {
    RecordingSide& side = PlugInObject::of(self);
    side.story_.push_back(side.name_ + " plug-in released");
    return 0;
  }

  static IOReturn open_driver(void* self, IOOptionBits options) { return Driver::of(self).open(options); }

  static IOReturn command_driver(void* self, std::uint32_t command, const void* input, std::size_t input_bytes,
                                 void* output, std::size_t* output_bytes) {
    std::size_t length = 0;
    const IOReturn status = Driver::of(self).answer_(
        command, {static_cast<const std::byte*>(input), input_bytes},
        {static_cast<std::byte*>(output), output_bytes != nullptr ? *output_bytes : 0}, length);
    if (status == kIOReturnSuccess && output_bytes != nullptr) {
      *output_bytes = length;
    }
    return status;
  }

  static IOReturn open_device(void* self, IOOptionBits options) { return Device::of(self).open(options); }

  static void set_device_callback(void* self, IOHIDHubStatisticsCallback callback, void* refcon) {
    RecordingSide& side = Device::of(self);
    side.story_.push_back(side.name_ + " given a callback");
    side.callback = callback;
    side.refcon = refcon;
  }

  static void set_device_queue(void* self, dispatch_queue_t queue) {
    RecordingSide& side = Device::of(self);
    side.story_.push_back(side.name_ + " given a queue");
    side.queue = queue;
  }

  static constexpr IOCFPlugInInterface kPlugInTable = {nullptr, query_plugin, count_nothing, release_plugin};

  static constexpr IOHIDHubDriverInterface kDriverTable = {
      ._reserved = nullptr,
      .QueryInterface = refuse,
      .AddRef = count_nothing,
      .Release = count_nothing,
      .entry4 = nullptr,
      .entry5 = nullptr,
      .entry6 = nullptr,
      .entry7 = nullptr,
      .open = open_driver,
      .entry9 = nullptr,
      .command = command_driver,
  };

  static constexpr IOHIDHubDeviceInterface kDeviceTable = {
      ._reserved = nullptr,
      .QueryInterface = refuse,
      .AddRef = count_nothing,
      .Release = count_nothing,
      .entry4 = nullptr,
      .entry5 = nullptr,
      .entry6 = nullptr,
      .entry7 = nullptr,
      .open = open_device,
      .entry9 = nullptr,
      .entry10 = nullptr,
      .entry11 = nullptr,
      .entry12 = nullptr,
      .entry13 = nullptr,
      .entry14 = nullptr,
      .entry15 = nullptr,
      .entry16 = nullptr,
      .setStatisticsCallback = set_device_callback,
      .setDispatchQueue = set_device_queue,
  };

  std::string name_;
  PlugInScript script_;
  AnswerScript answer_;
  Story& story_;
  PlugInObject plugin_{&kPlugInTable, this};
  Driver driver_{&kDriverTable, this};
  Device device_{&kDeviceTable, this};
};

// An entry that is a driver, a device or neither.
class RecordingBackend final : public platform::ServiceBackend {
 public:
  RecordingBackend(RecordingSide* driver, RecordingSide* device, const ServiceScript& script, Story& story)
      : driver_(driver),
        device_(device),
        hid_device_(device != nullptr && script.hid_device),
        at_hid_device_(script.at_hid_device),
        story_(story) {}

  kern_return_t create_plugin(const CFUUIDBytes& type, IOCFPlugInInterface*** plugin) override {
    const CFUUIDBytes driver_type = CFUUIDGetUUIDBytes(kIOHIDHubDriverPlugInTypeID);
    RecordingSide* side = std::memcmp(&type, &driver_type, sizeof type) == 0 ? driver_ : device_;
    return side != nullptr ? side->create(plugin) : kIOReturnUnsupported;
  }

  bool is_hid_device() override {
    story_.emplace_back("HID device asked for");
    at_hid_device_();
    return hid_device_;
  }

 private:
  RecordingSide* driver_;
  RecordingSide* device_;
  bool hid_device_;
  std::function<void()> at_hid_device_;
  Story& story_;
};

// A HID service that writes down which usages it is asked about.
class RecordingService final : public platform::HidServiceModel {
 public:
  RecordingService(ServiceScript& script, platform::RegistryEntryId driver_entry, Story& story)
      : transport_(std::move(script.transport)),
        supports_statistics_(std::move(script.supports_statistics)),
        usages_(std::move(script.usages)),
        story_(story) {
    const auto number = static_cast<std::int64_t>(driver_entry);
    registry_id_ = script.registry_id
                       ? std::move(*script.registry_id)
                       : platform::Owned<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &number));
  }

  CFTypeRef property(CFStringRef key) override {
    // The texts of the keys are not asked for: under a plan of failures that would be a call that fails.
    if (CFEqual(key, CFSTR("Transport"))) {
      story_.emplace_back("property Transport");
      return transport_.get();
    }
    if (CFEqual(key, CFSTR("NEBSupportsStatLedger"))) {
      story_.emplace_back("property NEBSupportsStatLedger");
      return supports_statistics_.get();
    }
    story_.emplace_back("property that nobody has");
    return nullptr;
  }

  bool conforms_to(std::uint32_t usage_page, std::uint32_t usage) override {
    story_.push_back("usage " + std::to_string(usage_page) + "," + std::to_string(usage));
    return usages_.contains({usage_page, usage});
  }

  CFTypeRef registry_id() override { return registry_id_.get(); }

 private:
  platform::Owned<CFTypeRef> transport_;
  platform::Owned<CFTypeRef> supports_statistics_;
  std::set<Usage> usages_;
  platform::Owned<CFTypeRef> registry_id_;
  Story& story_;
};

// A service in the registry: what its device belongs to, its device, an entry between, its driver, and the HID service
// itself.
class RecordedService {
 public:
  RecordedService(ServiceScript script, Story& questions, Story& story)
      : driver(std::make_unique<RecordingSide>("driver", script.driver, script.answer, story)),
        device(std::make_unique<RecordingSide>("device", script.device, answer_unsupported, story)) {
    platform::RegistryEntryId above = platform::kNoParent;
    if (script.levels_above >= 3) {
      above = platform::add_registry_entry(above, script.name + "-carrier", "Carrier", nullptr);
    }
    if (script.levels_above >= 2) {
      above = platform::add_registry_entry(above, script.name + "-device", "Device", nullptr);
      platform::set_service_backend(above, std::make_shared<RecordingBackend>(nullptr, device.get(), script, story));
    }
    if (script.levels_above >= 1) {
      above = platform::add_registry_entry(above, script.name + "-between", "Between", nullptr);
    }
    driver_entry = platform::add_registry_entry(above, script.name, "Driver", nullptr);
    platform::set_service_backend(driver_entry,
                                  std::make_shared<RecordingBackend>(driver.get(), nullptr, script, story));
    service = platform::Owned(
        platform::create_hid_service(std::make_unique<RecordingService>(script, driver_entry, questions)));
  }

  std::unique_ptr<RecordingSide> driver;
  std::unique_ptr<RecordingSide> device;
  platform::RegistryEntryId driver_entry = platform::kNoParent;
  platform::Owned<IOHIDServiceRef> service;
};

}  // namespace hub::test
