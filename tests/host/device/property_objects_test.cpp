// SPDX-License-Identifier: Apache-2.0
#include "host/device/property_objects.h"

#include <cstdint>
#include <limits>
#include <string>

#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

using host::Properties;
using host::Property;
using host::PropertyArray;
using host::PropertyValue;

class PropertyObjects : public PlatformTest {
 protected:
  // The object that stands for a value, under "key" in a dictionary that is the test's.
  CFTypeRef object_of(PropertyValue value) {
    Properties properties;
    properties.push_back({"key", std::move(value)});
    return CFDictionaryGetValue(take(properties), CFSTR("key"));
  }

  CFDictionaryRef take(const Properties& properties) {
    dictionary_ = host::create_dictionary(properties);
    return dictionary_.get();
  }

  static std::int64_t integer(CFTypeRef object) {
    std::int64_t value = 0;
    EXPECT_TRUE(CFNumberGetValue(static_cast<CFNumberRef>(object), kCFNumberSInt64Type, &value));
    return value;
  }

  static double real(CFTypeRef object) {
    double value = 0;
    EXPECT_TRUE(CFNumberGetValue(static_cast<CFNumberRef>(object), kCFNumberDoubleType, &value));
    return value;
  }

 private:
  platform::Owned<CFDictionaryRef> dictionary_;
};

TEST_F(PropertyObjects, text_becomes_a_string_of_its_bytes) {
  EXPECT_TRUE(CFEqual(object_of({std::string("HUB")}), CFSTR("HUB")));
  EXPECT_TRUE(CFEqual(object_of({std::string("Kn\u00f6pfe")}), string("Kn\u00f6pfe")));
  EXPECT_TRUE(CFEqual(object_of({std::string()}), CFSTR("")));
}

TEST_F(PropertyObjects, text_with_a_zero_byte_keeps_what_stands_behind_it) {
  EXPECT_EQ(CFStringGetLength(static_cast<CFStringRef>(object_of({std::string("a\0b", 3)}))), 3);
}

TEST_F(PropertyObjects, booleans_become_the_two_booleans) {
  EXPECT_EQ(object_of({true}), kCFBooleanTrue);
  EXPECT_EQ(object_of({false}), kCFBooleanFalse);
}

TEST_F(PropertyObjects, integers_become_numbers_of_64_bits) {
  for (const std::int64_t value :
       {std::int64_t{0}, std::int64_t{-1}, std::int64_t{1} << 53 | 1, std::numeric_limits<std::int64_t>::max(),
        std::numeric_limits<std::int64_t>::min()}) {
    const CFTypeRef object = object_of({value});
    EXPECT_EQ(CFGetTypeID(object), CFNumberGetTypeID());
    EXPECT_EQ(integer(object), value);
  }
}

TEST_F(PropertyObjects, other_numbers_keep_their_fraction) {
  EXPECT_EQ(real(object_of({0.1})), 0.1);
  EXPECT_EQ(real(object_of({-1e300})), -1e300);
}

TEST_F(PropertyObjects, arrays_keep_their_order) {
  const auto array = static_cast<CFArrayRef>(object_of({PropertyArray{{std::int64_t{7}}, {true}, {PropertyArray{}}}}));
  ASSERT_EQ(CFArrayGetCount(array), 3);
  EXPECT_EQ(integer(CFArrayGetValueAtIndex(array, 0)), 7);
  EXPECT_EQ(CFArrayGetValueAtIndex(array, 1), kCFBooleanTrue);
  EXPECT_EQ(CFArrayGetCount(static_cast<CFArrayRef>(CFArrayGetValueAtIndex(array, 2))), 0);
}

TEST_F(PropertyObjects, objects_become_dictionaries_in_each_other) {
  const CFTypeRef object = object_of({Properties{{"hub", {std::int64_t{5000}}}, {"empty", {Properties{}}}}});
  ASSERT_EQ(CFGetTypeID(object), CFDictionaryGetTypeID());
  const auto dictionary = static_cast<CFDictionaryRef>(object);
  EXPECT_EQ(integer(CFDictionaryGetValue(dictionary, CFSTR("hub"))), 5000);
  EXPECT_EQ(CFDictionaryGetCount(static_cast<CFDictionaryRef>(CFDictionaryGetValue(dictionary, CFSTR("empty")))), 0);
}

TEST_F(PropertyObjects, properties_become_one_dictionary_with_all_keys) {
  const CFDictionaryRef dictionary = take({{"b", {true}}, {"a", {std::string("text")}}});
  EXPECT_EQ(CFDictionaryGetCount(dictionary), 2);
  EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("b")), kCFBooleanTrue);
  EXPECT_TRUE(CFEqual(CFDictionaryGetValue(dictionary, CFSTR("a")), CFSTR("text")));
}

TEST_F(PropertyObjects, no_properties_become_an_empty_dictionary) { EXPECT_EQ(CFDictionaryGetCount(take({})), 0); }

}  // namespace
}  // namespace hub::test
