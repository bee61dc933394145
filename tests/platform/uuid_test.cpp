// SPDX-License-Identifier: Apache-2.0
#include "CoreFoundation/CFUUID.h"

#include <cstring>
#include <string>

#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

constexpr CFUUIDBytes kBytes{0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF,
                             0x10, 0x32, 0x54, 0x76, 0x98, 0xBA, 0xDC, 0xFE};

CFUUIDRef constant(UInt8 last) {
  return CFUUIDGetConstantUUIDWithBytes(kCFAllocatorDefault, 0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0x10, 0x32,
                                        0x54, 0x76, 0x98, 0xBA, 0xDC, last);
}

class Uuid : public PlatformTest {
 protected:
  static Owned<CFUUIDRef> created(CFAllocatorRef allocator = kCFAllocatorDefault) {
    return Owned(CFUUIDCreateFromUUIDBytes(allocator, kBytes));
  }
};

TEST_F(Uuid, gives_its_bytes_back) {
  const CFUUIDBytes bytes = CFUUIDGetUUIDBytes(created());
  EXPECT_EQ(std::memcmp(&bytes, &kBytes, sizeof bytes), 0);
}

TEST_F(Uuid, text_is_in_groups_of_upper_case_digits) {
  const Owned text(CFUUIDCreateString(kCFAllocatorDefault, created()));
  EXPECT_STREQ(CFStringGetCStringPtr(text, kCFStringEncodingASCII), "01234567-89AB-CDEF-1032-547698BADCFE");
}

TEST_F(Uuid, constant_is_the_same_object_each_time) {
  EXPECT_EQ(constant(0xFE), constant(0xFE));
  EXPECT_NE(constant(0xFE), constant(0xFF));
}

TEST_F(Uuid, constant_equals_one_created_of_its_bytes) {
  EXPECT_TRUE(CFEqual(constant(0xFE), created()));
  EXPECT_EQ(CFHash(constant(0xFE)), CFHash(created()));
  EXPECT_FALSE(CFEqual(constant(0xFF), created()));
}

TEST_F(Uuid, constant_is_never_freed) {
  for (int release = 0; release < 3; ++release) {
    CFRelease(constant(0xFE));
  }
  EXPECT_TRUE(CFEqual(constant(0xFE), created()));
}

TEST_F(Uuid, without_memory_is_not_created) { EXPECT_EQ(created(kCFAllocatorNull), nullptr); }

TEST_F(Uuid, constants_are_made_once_by_any_number_of_threads) {
  std::vector<CFUUIDRef> seen(4);
  in_threads(seen.size(), [&](std::size_t index) { seen[index] = constant(0x42); });
  EXPECT_EQ(seen, std::vector<CFUUIDRef>(4, seen[0]));
}

}  // namespace
}  // namespace hub::test
