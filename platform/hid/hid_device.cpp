// SPDX-License-Identifier: Apache-2.0
#include "IOKit/hid/IOHIDDevice.h"

#include "corefoundation/object.h"
#include "failures/failures.h"
#include "hid/hid_host.h"
#include "registry/registry.h"

struct __IOHIDDevice : hub::platform::Object {
  __IOHIDDevice(CFAllocatorRef owner, hub::platform::RegistryEntryId its_entry);

  hub::platform::RegistryEntryId entry;
};

namespace hub::platform {
namespace {

void destroy_device(Object& object) noexcept { std::destroy_at(&static_cast<__IOHIDDevice&>(object)); }

bool devices_equal(const Object& first, const Object& second) {
  return static_cast<const __IOHIDDevice&>(first).entry == static_cast<const __IOHIDDevice&>(second).entry;
}

CFHashCode hash_of_device(const Object& object) { return static_cast<const __IOHIDDevice&>(object).entry; }

constexpr ObjectClass kHidDeviceClass{kHidDeviceTypeId, destroy_device, devices_equal, hash_of_device};

}  // namespace

RegistryEntryId registry_entry_of(IOHIDDeviceRef device) {
  object_of(device, kHidDeviceClass, "registry_entry_of");
  return device->entry;
}

}  // namespace hub::platform

using namespace hub::platform;

__IOHIDDevice::__IOHIDDevice(CFAllocatorRef owner, RegistryEntryId its_entry)
    : Object(kHidDeviceClass, owner, 1), entry(its_entry) {}

CFTypeID IOHIDDeviceGetTypeID(void) { return kHidDeviceTypeId; }

IOHIDDeviceRef IOHIDDeviceCreate(CFAllocatorRef allocator, io_service_t service) {
  if (fails(Fallible::kIOHIDDeviceCreate)) {
    return nullptr;
  }
  const auto entry = held_entry(service);
  if (!entry || entry->backend == nullptr || !entry->backend->is_hid_device()) {
    return nullptr;
  }
  return create_object<__IOHIDDevice>(allocator, 0, entry->id);
}
