// SPDX-License-Identifier: Apache-2.0
// Instances of plug-ins, as their factories count them.
#include "CoreFoundation/CFPlugIn.h"
#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

using platform::live_plugin_instances;

class PlugIn : public PlatformTest {
 protected:
  static Owned<CFUUIDRef> identifier(UInt8 first_byte) {
    CFUUIDBytes bytes{};
    bytes.byte0 = first_byte;
    return Owned(CFUUIDCreateFromUUIDBytes(kCFAllocatorDefault, bytes));
  }

  Owned<CFUUIDRef> factory = identifier(1);
};

TEST_F(PlugIn, instances_are_counted_by_factory) {
  const auto other = identifier(2);
  CFPlugInAddInstanceForFactory(factory);
  CFPlugInAddInstanceForFactory(factory);
  EXPECT_EQ(live_plugin_instances(factory), 2);
  EXPECT_EQ(live_plugin_instances(other), 0);
  CFPlugInRemoveInstanceForFactory(factory);
  EXPECT_EQ(live_plugin_instances(factory), 1);
  CFPlugInRemoveInstanceForFactory(factory);
  EXPECT_EQ(live_plugin_instances(factory), 0);
}

TEST_F(PlugIn, equal_identifiers_are_one_factory) {
  CFPlugInAddInstanceForFactory(factory);
  CFPlugInRemoveInstanceForFactory(identifier(1));
  EXPECT_EQ(live_plugin_instances(factory), 0);
}

TEST_F(PlugIn, removing_more_instances_than_were_added_ends_the_process) {
  EXPECT_DEATH(CFPlugInRemoveInstanceForFactory(factory),
               "platform: CFPlugInRemoveInstanceForFactory: more instances than were added");
}

TEST_F(PlugIn, numbers_of_interfaces_have_the_platforms_widths) {
  EXPECT_EQ(sizeof(HRESULT), 4U);
  EXPECT_EQ(sizeof(ULONG), 4U);
  EXPECT_FALSE(SUCCEEDED(E_NOINTERFACE));
  EXPECT_TRUE(SUCCEEDED(S_OK));
}

TEST_F(PlugIn, every_object_answers_to_one_identifier) {
  const Owned<CFStringRef> text(CFUUIDCreateString(kCFAllocatorDefault, IUnknownUUID));
  EXPECT_STREQ(CFStringGetCStringPtr(text, kCFStringEncodingASCII), "00000000-0000-0000-C000-000000000046");
}

}  // namespace
}  // namespace hub::test
