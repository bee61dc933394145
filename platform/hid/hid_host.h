// SPDX-License-Identifier: Apache-2.0
// The face by which a host makes HID services.
#pragma once

#include <cstdint>
#include <memory>

#include "IOKit/hid/IOHIDDevice.h"
#include "IOKit/hid/IOHIDService.h"
#include "registry/registry_host.h"

namespace hub::platform {

// What a HID service says of itself. The objects are lent, for as long as the model lives. The functions are called on
// the threads that ask the service.
class PLATFORM_EXPORT HidServiceModel {
 public:
  virtual ~HidServiceModel() = default;
  virtual CFTypeRef property(CFStringRef key) = 0;  // or NULL
  virtual bool conforms_to(std::uint32_t usage_page, std::uint32_t usage) = 0;
  virtual CFTypeRef registry_id() = 0;  // or NULL

 protected:
  HidServiceModel() = default;
  HidServiceModel(const HidServiceModel&) = default;
  HidServiceModel& operator=(const HidServiceModel&) = default;
};

// A new service that answers as the model does, owned by the caller; it owns the model. NULL when there is no memory.
// [any thread]
PLATFORM_EXPORT IOHIDServiceRef create_hid_service(std::unique_ptr<HidServiceModel> model);

// The registry entry that a HID device was made for. [any thread]
PLATFORM_EXPORT RegistryEntryId registry_entry_of(IOHIDDeviceRef device);

}  // namespace hub::platform
