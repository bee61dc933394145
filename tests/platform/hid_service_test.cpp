// SPDX-License-Identifier: Apache-2.0
#include "IOKit/hid/IOHIDService.h"

#include <memory>

#include "hid/hid_host.h"
#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

// Has one property, one usage and the registry id 7; says when it goes.
struct Model : platform::HidServiceModel {
  explicit Model(bool& is_gone) : gone(is_gone) {}
  Model(const Model&) = delete;
  Model& operator=(const Model&) = delete;
  ~Model() override { gone = true; }

  CFTypeRef property(CFStringRef key) override {
    return CFEqual(key, CFSTR("Transport")) ? static_cast<CFStringRef>(value) : nullptr;
  }
  bool conforms_to(std::uint32_t usage_page, std::uint32_t usage) override {
    return usage_page == 0x20 && usage == 0x31;
  }
  CFTypeRef registry_id() override { return id; }

  bool& gone;
  Owned<CFStringRef> value = string("HUB");
  Owned<CFNumberRef> id = number(7);
};

class HidService : public PlatformTest {
 protected:
  bool gone = false;
  Owned<IOHIDServiceRef> service = Owned(platform::create_hid_service(std::make_unique<Model>(gone)));
};

TEST_F(HidService, copies_a_property_for_the_caller) {
  const Owned<CFTypeRef> value(IOHIDServiceCopyProperty(service, CFSTR("Transport")));
  EXPECT_TRUE(CFEqual(value, CFSTR("HUB")));
  EXPECT_EQ(CFGetRetainCount(value), 2);
}

TEST_F(HidService, lends_a_property) {
  const CFTypeRef value = IOHIDServiceGetProperty(service, CFSTR("Transport"));
  EXPECT_TRUE(CFEqual(value, CFSTR("HUB")));
  EXPECT_EQ(CFGetRetainCount(value), 1);
}

TEST_F(HidService, has_nothing_under_another_name) {
  EXPECT_EQ(IOHIDServiceCopyProperty(service, CFSTR("transport")), nullptr);
  EXPECT_EQ(IOHIDServiceGetProperty(service, CFSTR("transport")), nullptr);
}

TEST_F(HidService, conforms_to_its_usage_alone) {
  EXPECT_TRUE(IOHIDServiceConformsTo(service, 0x20, 0x31));
  EXPECT_FALSE(IOHIDServiceConformsTo(service, 0x31, 0x20));
}

TEST_F(HidService, lends_its_registry_id) {
  const auto seven = number(7);
  EXPECT_TRUE(CFEqual(IOHIDServiceGetRegistryID(service), seven));
}

TEST_F(HidService, is_counted_and_takes_its_model_with_it) {
  EXPECT_EQ(CFGetTypeID(static_cast<IOHIDServiceRef>(service)), IOHIDServiceGetTypeID());
  EXPECT_EQ(platform::live_objects(IOHIDServiceGetTypeID()), 1);
  service.give_back();
  EXPECT_TRUE(gone);
  EXPECT_EQ(platform::live_objects(IOHIDServiceGetTypeID()), 0);
}

TEST_F(HidService, of_another_type_ends_the_process) {
  const auto wrong = reinterpret_cast<IOHIDServiceRef>(const_cast<void*>(static_cast<const void*>(CFSTR("text"))));
  EXPECT_DEATH(IOHIDServiceGetRegistryID(wrong), "platform: IOHIDServiceGetRegistryID: an object of another type");
}

}  // namespace
}  // namespace hub::test
