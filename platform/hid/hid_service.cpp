// SPDX-License-Identifier: Apache-2.0
#include "IOKit/hid/IOHIDService.h"

#include <utility>

#include "corefoundation/object.h"
#include "failures/failures.h"
#include "hid/hid_host.h"

struct __IOHIDService : hub::platform::Object {
  __IOHIDService(CFAllocatorRef owner, std::unique_ptr<hub::platform::HidServiceModel> its_model);

  std::unique_ptr<hub::platform::HidServiceModel> model;
};

namespace hub::platform {
namespace {

void destroy_service(Object& object) noexcept { std::destroy_at(&static_cast<__IOHIDService&>(object)); }

bool services_equal(const Object& first, const Object& second) { return &first == &second; }

CFHashCode hash_of_service(const Object& object) { return reinterpret_cast<CFHashCode>(&object); }

constexpr ObjectClass kHidServiceClass{kHidServiceTypeId, destroy_service, services_equal, hash_of_service};

HidServiceModel& model_of(IOHIDServiceRef service, const char* function) {
  object_of(service, kHidServiceClass, function);
  return *service->model;
}

}  // namespace

IOHIDServiceRef create_hid_service(std::unique_ptr<HidServiceModel> model) {
  return create_object<__IOHIDService>(kCFAllocatorDefault, 0, std::move(model));
}

}  // namespace hub::platform

using namespace hub::platform;

__IOHIDService::__IOHIDService(CFAllocatorRef owner, std::unique_ptr<HidServiceModel> its_model)
    : Object(kHidServiceClass, owner, 1), model(std::move(its_model)) {}

CFTypeID IOHIDServiceGetTypeID(void) { return kHidServiceTypeId; }

CFTypeRef IOHIDServiceCopyProperty(IOHIDServiceRef service, CFStringRef key) {
  if (fails(Fallible::kIOHIDServiceCopyProperty)) {
    return nullptr;
  }
  const CFTypeRef value = model_of(service, "IOHIDServiceCopyProperty").property(key);
  return value != nullptr ? CFRetain(value) : nullptr;
}

CFTypeRef IOHIDServiceGetProperty(IOHIDServiceRef service, CFStringRef key) {
  if (fails(Fallible::kIOHIDServiceGetProperty)) {
    return nullptr;
  }
  return model_of(service, "IOHIDServiceGetProperty").property(key);
}

Boolean IOHIDServiceConformsTo(IOHIDServiceRef service, UInt32 usage_page, UInt32 usage) {
  return model_of(service, "IOHIDServiceConformsTo").conforms_to(usage_page, usage);
}

CFTypeRef IOHIDServiceGetRegistryID(IOHIDServiceRef service) {
  if (fails(Fallible::kIOHIDServiceGetRegistryID)) {
    return nullptr;
  }
  return model_of(service, "IOHIDServiceGetRegistryID").registry_id();
}
