// SPDX-License-Identifier: Apache-2.0
#include "CoreFoundation/CFBoolean.h"

#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

class BooleanObject : public PlatformTest {};

TEST_F(BooleanObject, true_and_false_have_their_values) {
  EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
  EXPECT_FALSE(CFBooleanGetValue(kCFBooleanFalse));
}

TEST_F(BooleanObject, has_a_type_of_its_own) {
  EXPECT_EQ(CFGetTypeID(kCFBooleanTrue), CFBooleanGetTypeID());
  EXPECT_NE(CFBooleanGetTypeID(), CFNumberGetTypeID());
}

TEST_F(BooleanObject, true_equals_itself_alone) {
  EXPECT_TRUE(CFEqual(kCFBooleanTrue, kCFBooleanTrue));
  EXPECT_FALSE(CFEqual(kCFBooleanTrue, kCFBooleanFalse));
  EXPECT_FALSE(CFEqual(kCFBooleanTrue, number(1)));
}

TEST_F(BooleanObject, is_never_freed) {
  for (int release = 0; release < 3; ++release) {
    CFRelease(kCFBooleanTrue);
  }
  EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
}

TEST_F(BooleanObject, value_of_another_type_ends_the_process) {
  const auto one = number(1);
  EXPECT_DEATH(CFBooleanGetValue(reinterpret_cast<CFBooleanRef>(static_cast<CFNumberRef>(one))),
               "CFBooleanGetValue: an object of another type");
}

}  // namespace
}  // namespace hub::test
