// SPDX-License-Identifier: Apache-2.0
// How the tests of the registry fill it and look into it.
#pragma once

#include "IOKit/IOKitLib.h"
#include "tests/platform/platform_test.h"

namespace hub::test {

using platform::kNoParent;
using platform::RegistryEntryId;

// Owns one reference to a handle, or none.
class HeldService {
 public:
  explicit HeldService(io_service_t handle) : handle_(handle) {}
  HeldService(const HeldService&) = delete;
  HeldService& operator=(const HeldService&) = delete;
  ~HeldService() { give_back(); }
  operator io_service_t() const { return handle_; }
  void give_back() {
    if (handle_ != IO_OBJECT_NULL) {
      EXPECT_EQ(IOObjectRelease(handle_), kIOReturnSuccess);
      handle_ = IO_OBJECT_NULL;
    }
  }

 private:
  io_service_t handle_;
};

inline HeldService first(const char* class_name) {
  return HeldService(IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceMatching(class_name)));
}

inline Owned<CFTypeRef> property(io_service_t service, CFStringRef key) {
  return Owned(IORegistryEntryCreateCFProperty(service, key, kCFAllocatorDefault, 0));
}

inline constexpr std::int64_t kNone = -1;

inline std::int64_t value_of(CFTypeRef number) {
  std::int64_t value = kNone;
  return number != nullptr && CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberSInt64Type, &value) ? value
                                                                                                              : kNone;
}

inline std::int64_t mark_of(io_service_t service) { return value_of(property(service, CFSTR("mark"))); }

inline std::int64_t mark_of_first(const char* class_name) { return mark_of(first(class_name)); }

inline Owned<CFMutableDictionaryRef> marked(std::int64_t mark) {
  auto properties = dictionary();
  CFDictionarySetValue(properties, CFSTR("mark"), number(mark));
  return properties;
}

inline RegistryEntryId add(RegistryEntryId parent, const char* class_name, std::int64_t mark) {
  return platform::add_registry_entry(parent, "service", class_name, marked(mark));
}

// The registry is empty before and after each test.
class RegistryTest : public PlatformTest {
 protected:
  ~RegistryTest() override { platform::clear_registry(); }
};

}  // namespace hub::test
