// SPDX-License-Identifier: Apache-2.0
#include "CoreFoundation/CFData.h"

#include <cstring>
#include <set>
#include <string>

#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

class Data : public PlatformTest {
 protected:
  static Owned<CFDataRef> of(std::string_view bytes, CFAllocatorRef allocator = kCFAllocatorDefault) {
    return Owned(
        CFDataCreate(allocator, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size())));
  }
};

TEST_F(Data, holds_a_copy_of_all_bytes) {
  char bytes[] = {1, 0, -1, 7};
  const auto data = of({bytes, sizeof bytes});
  std::memset(bytes, 0, sizeof bytes);
  ASSERT_EQ(CFDataGetLength(data), 4);
  EXPECT_EQ(std::memcmp(CFDataGetBytePtr(data), "\x01\x00\xFF\x07", 4), 0);
}

TEST_F(Data, of_no_bytes_has_a_pointer_all_the_same) {
  const Owned data(CFDataCreate(kCFAllocatorDefault, nullptr, 0));
  EXPECT_EQ(CFDataGetLength(data), 0);
  EXPECT_NE(CFDataGetBytePtr(data), nullptr);
}

TEST_F(Data, equals_data_of_the_same_bytes) {
  EXPECT_TRUE(CFEqual(of("abc"), of("abc")));
  EXPECT_EQ(CFHash(of("abc")), CFHash(of("abc")));
  EXPECT_FALSE(CFEqual(of("abc"), of("abd")));
  EXPECT_FALSE(CFEqual(of("abc"), of("ab")));
}

TEST_F(Data, of_any_length_hashes_otherwise_when_one_byte_differs) {
  for (const std::size_t length : {1U, 7U, 16U, 33U, 64U, 65U, 96U, 97U, 200U}) {
    std::string bytes(length, 'a');
    std::set<CFHashCode> hashes{CFHash(of(bytes))};
    for (char& byte : bytes) {
      byte = 'b';
      EXPECT_TRUE(hashes.insert(CFHash(of(bytes))).second);
      byte = 'a';
    }
  }
}

TEST_F(Data, without_memory_is_not_created) { EXPECT_EQ(of("abc", kCFAllocatorNull), nullptr); }

TEST_F(Data, negative_length_ends_the_process) {
  EXPECT_DEATH(CFDataCreate(kCFAllocatorDefault, nullptr, -1), "CFDataCreate: a negative length");
}

}  // namespace
}  // namespace hub::test
