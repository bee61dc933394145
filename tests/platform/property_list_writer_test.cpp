// SPDX-License-Identifier: Apache-2.0
// Property lists as bytes: the format, byte for byte, and what is refused.
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "tests/platform/platform_test.h"
#include "tests/support/property_list_bytes.h"

namespace hub::test {
namespace {

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();

Owned<CFDataRef> create(CFTypeRef list, CFAllocatorRef allocator = kCFAllocatorDefault,
                        CFPropertyListFormat format = kCFPropertyListBinaryFormat_v1_0) {
  return Owned(CFPropertyListCreateData(allocator, list, format, 0, nullptr));
}

std::string bytes(CFTypeRef list) {
  const auto data = create(list);
  return data != nullptr ? text_of(data) : "refused";
}

template <typename T>
Owned<CFNumberRef> num(CFNumberType type, T value) {
  return Owned(CFNumberCreate(kCFAllocatorDefault, type, &value));
}

Owned<CFNumberRef> single(float value) { return num(kCFNumberFloat32Type, value); }
Owned<CFNumberRef> real(double value) { return num(kCFNumberFloat64Type, value); }

Owned<CFDataRef> data_of(const std::string& content) {
  return Owned(CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(content.data()),
                            static_cast<CFIndex>(content.size())));
}

Owned<CFMutableArrayRef> array(const std::vector<CFTypeRef>& values = {}) {
  Owned array(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
  for (const CFTypeRef value : values) {
    CFArrayAppendValue(array, value);
  }
  return array;
}

// An array of the numbers 0, 1, 2 ...
Owned<CFMutableArrayRef> counting(std::int64_t count) {
  auto numbers = array();
  for (std::int64_t value = 0; value < count; ++value) {
    CFArrayAppendValue(numbers, number(value));
  }
  return numbers;
}

// What it consists of when its length takes one byte.
std::vector<std::string> counting_objects(std::size_t count, std::size_t reference_size) {
  std::vector<std::string> objects = {"af 10" + hex_number(count)};
  for (std::size_t value = 0; value < count; ++value) {
    objects[0] += hex_number(value + 1, reference_size);
    objects.push_back("10" + hex_number(value));
  }
  return objects;
}

// An array of so many times an array of ... of an empty one.
Owned<CFMutableArrayRef> nested(int levels, std::size_t times) {
  if (levels == 0) {
    return array();
  }
  const auto inner = nested(levels - 1, times);
  return array(std::vector<CFTypeRef>(times, inner));
}

class PropertyListWriter : public PlatformTest {};

TEST_F(PropertyListWriter, a_dictionary_is_head_objects_offsets_and_trailer) {
  const auto list = dictionary();
  CFDictionarySetValue(list, CFSTR("rate"), number(100));
  CFDictionarySetValue(list, CFSTR("on"), kCFBooleanTrue);
  EXPECT_EQ(bytes(list), from_hex("62 70 6c 69 73 74 30 30"     // bplist00
                                  "d2 01 02 03 04"              // 08: two pairs: the keys, then the values
                                  "54 72 61 74 65"              // 0d: rate
                                  "52 6f 6e"                    // 12: on
                                  "10 64"                       // 15: 100
                                  "09"                          // 17: true
                                  "08 0d 12 15 17"              // 18: the offset table
                                  "00 00 00 00 00 00 01 01"     // the sizes of an offset and of a reference
                                  "00 00 00 00 00 00 00 05"     // objects
                                  "00 00 00 00 00 00 00 00"     // the top one
                                  "00 00 00 00 00 00 00 18"));  // where the table starts
}

TEST_F(PropertyListWriter, booleans_are_markers) {
  EXPECT_EQ(bytes(kCFBooleanFalse), list_of({"08"}));
  EXPECT_EQ(bytes(kCFBooleanTrue), list_of({"09"}));
}

TEST_F(PropertyListWriter, integers_take_the_fewest_bytes_and_negative_ones_eight) {
  EXPECT_EQ(bytes(number(0)), list_of({"10 00"}));
  EXPECT_EQ(bytes(number(0xFF)), list_of({"10 ff"}));
  EXPECT_EQ(bytes(number(0x100)), list_of({"11 01 00"}));
  EXPECT_EQ(bytes(number(0xFFFF)), list_of({"11 ff ff"}));
  EXPECT_EQ(bytes(number(0x10000)), list_of({"12 00 01 00 00"}));
  EXPECT_EQ(bytes(number(0xFFFFFFFF)), list_of({"12 ff ff ff ff"}));
  EXPECT_EQ(bytes(number(0x100000000)), list_of({"13 00 00 00 01 00 00 00 00"}));
  EXPECT_EQ(bytes(number(kMost)), list_of({"13 7f ff ff ff ff ff ff ff"}));
  EXPECT_EQ(bytes(number(-1)), list_of({"13 ff ff ff ff ff ff ff ff"}));
  EXPECT_EQ(bytes(number(kLeast)), list_of({"13 80 00 00 00 00 00 00 00"}));
}

TEST_F(PropertyListWriter, the_width_a_number_was_made_with_does_not_matter) {
  EXPECT_EQ(bytes(num<std::int8_t>(kCFNumberSInt8Type, -2)), list_of({"13 ff ff ff ff ff ff ff fe"}));
  EXPECT_EQ(bytes(num<std::int16_t>(kCFNumberSInt16Type, 300)), list_of({"11 01 2c"}));
  EXPECT_EQ(bytes(num<std::int32_t>(kCFNumberSInt32Type, 7)), list_of({"10 07"}));
}

TEST_F(PropertyListWriter, reals_keep_their_precision_and_every_bit) {
  EXPECT_EQ(bytes(single(1.5F)), list_of({"22 3f c0 00 00"}));
  EXPECT_EQ(bytes(single(0.1F)), list_of({"22 3d cc cc cd"}));
  EXPECT_EQ(bytes(real(1.5)), list_of({"23 3f f8 00 00 00 00 00 00"}));
  EXPECT_EQ(bytes(real(-0.0)), list_of({"23 80 00 00 00 00 00 00 00"}));
  EXPECT_EQ(bytes(real(HUGE_VAL)), list_of({"23 7f f0 00 00 00 00 00 00"}));
  EXPECT_EQ(bytes(real(std::numeric_limits<double>::quiet_NaN())), list_of({"23 7f f8 00 00 00 00 00 00"}));
}

TEST_F(PropertyListWriter, texts_are_ascii_or_utf16) {
  EXPECT_EQ(bytes(CFSTR("")), list_of({"50"}));
  EXPECT_EQ(bytes(CFSTR("accel")), list_of({"55 61 63 63 65 6c"}));
  EXPECT_EQ(bytes(CFSTR("\u007F\u0080")), list_of({"62 00 7f 00 80"}));
  EXPECT_EQ(bytes(CFSTR("\u07FF\u0800\uFFFF")), list_of({"63 07 ff 08 00 ff ff"}));
  EXPECT_EQ(bytes(CFSTR("\U00010000\U0010FFFF")), list_of({"64 d8 00 dc 00 db ff df ff"}));
  EXPECT_EQ(bytes(CFSTR("a\U0001D11E")), list_of({"63 00 61 d8 34 dd 1e"}));
}

TEST_F(PropertyListWriter, data_stands_as_it_is) {
  EXPECT_EQ(bytes(data_of("")), list_of({"40"}));
  EXPECT_EQ(bytes(data_of(from_hex("00 ff 62"))), list_of({"43 00 ff 62"}));
}

TEST_F(PropertyListWriter, lengths_of_fifteen_and_more_stand_behind_the_marker) {
  EXPECT_EQ(bytes(data_of(std::string(14, 'a'))), list_of({"4e" + repeated(14, "61")}));
  EXPECT_EQ(bytes(data_of(std::string(15, 'a'))), list_of({"4f 10 0f" + repeated(15, "61")}));
  EXPECT_EQ(bytes(string(std::string(15, 'a').c_str())), list_of({"5f 10 0f" + repeated(15, "61")}));
  EXPECT_EQ(bytes(string(std::string(16, 'a').append("\u00e9").c_str())),
            list_of({"6f 10 11" + repeated(16, "00 61") + " 00 e9"}));
}

TEST_F(PropertyListWriter, lengths_take_the_fewest_bytes) {
  EXPECT_EQ(bytes(data_of(std::string(0xF0, 'a'))), list_of({"4f 10 f0" + repeated(0xF0, "61")}, {1, 1, 0}));
  EXPECT_EQ(bytes(data_of(std::string(0xFF, 'a'))), list_of({"4f 10 ff" + repeated(0xFF, "61")}, {2, 1, 0}));
  EXPECT_EQ(bytes(data_of(std::string(0x100, 'a'))), list_of({"4f 11 01 00" + repeated(0x100, "61")}, {2, 1, 0}));
  EXPECT_EQ(bytes(data_of(std::string(0xFFFF, 'a'))), list_of({"4f 11 ff ff" + repeated(0xFFFF, "61")}, {4, 1, 0}));
  EXPECT_EQ(bytes(data_of(std::string(0x10000, 'a'))),
            list_of({"4f 12 00 01 00 00" + repeated(0x10000, "61")}, {4, 1, 0}));
}

TEST_F(PropertyListWriter, offsets_have_room_for_where_their_table_starts) {
  EXPECT_EQ(bytes(data_of(std::string(244, 'a'))), list_of({"4f 10 f4" + repeated(244, "61")}, {1, 1, 0})) << "255";
  EXPECT_EQ(bytes(data_of(std::string(245, 'a'))), list_of({"4f 10 f5" + repeated(245, "61")}, {2, 1, 0})) << "256";
}

TEST_F(PropertyListWriter, references_have_room_for_the_number_of_objects) {
  EXPECT_EQ(bytes(counting(254)), list_of(counting_objects(254, 1), {2, 1, 0})) << "255 with the array";
  EXPECT_EQ(bytes(counting(255)), list_of(counting_objects(255, 2), {2, 2, 0})) << "256";
}

TEST_F(PropertyListWriter, a_collection_stands_before_its_members) {
  const auto inner = array({CFSTR("b")});
  EXPECT_EQ(bytes(array({inner, CFSTR("a")})), list_of({"a2 01 03", "a1 02", "51 62", "51 61"}));
  EXPECT_EQ(bytes(array()), list_of({"a0"}));
  EXPECT_EQ(bytes(dictionary()), list_of({"d0"}));
}

TEST_F(PropertyListWriter, keys_keep_their_order_and_stand_before_the_values) {
  const auto inner = dictionary();
  CFDictionarySetValue(inner, CFSTR("y"), number(1));
  const auto outer = dictionary();
  CFDictionarySetValue(outer, CFSTR("z"), inner);
  CFDictionarySetValue(outer, CFSTR("a"), number(2));
  EXPECT_EQ(bytes(outer), list_of({"d2 01 02 03 06", "51 7a", "51 61", "d1 04 05", "51 79", "10 01", "10 02"}));
}

TEST_F(PropertyListWriter, fifteen_pairs_have_their_count_behind_the_marker) {
  const auto list = dictionary();
  std::vector<std::string> objects = {"df 10 0f 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f" + repeated(15, "10")};
  for (char letter = 'a'; letter < 'a' + 15; ++letter) {
    CFDictionarySetValue(list, string(std::string(1, letter).c_str()), kCFBooleanTrue);
    objects.push_back("51" + hex_number(static_cast<std::uint8_t>(letter)));
  }
  objects.emplace_back("09");
  EXPECT_EQ(bytes(list), list_of(objects));
}

TEST_F(PropertyListWriter, equal_scalars_are_one_object) {
  EXPECT_EQ(bytes(array({CFSTR("a"), string("a"), data_of("a"), data_of("a"), number(1), number(1), real(1), real(1)})),
            list_of({"a8 01 01 02 02 03 03 04 04", "51 61", "41 61", "10 01", "23 3f f0 00 00 00 00 00 00"}));
}

TEST_F(PropertyListWriter, numbers_that_are_equal_but_not_the_same_stay_apart) {
  EXPECT_EQ(bytes(array({number(1), single(1), real(1), kCFBooleanTrue})),
            list_of({"a4 01 02 03 04", "10 01", "22 3f 80 00 00", "23 3f f0 00 00 00 00 00 00", "09"}));
  EXPECT_EQ(bytes(array({real(0.0), real(-0.0)})),
            list_of({"a2 01 02", "23 00 00 00 00 00 00 00 00", "23 80 00 00 00 00 00 00 00"}));
}

TEST_F(PropertyListWriter, a_collection_in_several_places_is_written_once) {
  EXPECT_EQ(bytes(nested(2, 3)), list_of({"a3 01 01 01", "a3 02 02 02", "a0"}));
  EXPECT_EQ(CFDataGetLength(create(nested(60, 2))), 8 + 60 * 3 + 1 + 61 + 32);
}

TEST_F(PropertyListWriter, equal_collections_need_not_be_the_same) {
  EXPECT_EQ(bytes(array({array(), array()})), list_of({"a2 01 02", "a0", "a0"}));
}

TEST_F(PropertyListWriter, thousands_of_levels_need_no_stack) {
  EXPECT_EQ(CFDataGetLength(create(nested(5000, 1))), 8 + 5000 * 3 + 1 + 5001 * 2 + 32);
}

TEST_F(PropertyListWriter, a_list_inside_itself_is_refused) {
  const auto list = array();
  const auto inner = dictionary();
  CFDictionarySetValue(inner, CFSTR("outer"), list);
  CFArrayAppendValue(list, inner);
  EXPECT_EQ(bytes(list), "refused");
  CFArrayRemoveAllValues(list);
  CFArrayAppendValue(list, list);
  EXPECT_EQ(bytes(list), "refused");
  CFArrayRemoveAllValues(list);
}

TEST_F(PropertyListWriter, objects_of_other_types_are_refused) {
  const Owned id(CFUUIDCreateFromUUIDBytes(kCFAllocatorDefault, {}));
  const auto inner = dictionary();
  CFDictionarySetValue(inner, CFSTR("id"), id);
  EXPECT_EQ(bytes(id), "refused");
  EXPECT_EQ(bytes(inner), "refused");
  EXPECT_EQ(bytes(array({CFSTR("a"), kCFAllocatorNull})), "refused");
  const void* nothing = nullptr;
  EXPECT_EQ(bytes(Owned(CFArrayCreate(kCFAllocatorDefault, &nothing, 1, nullptr))), "refused");
}

TEST_F(PropertyListWriter, keys_that_are_no_texts_are_refused) {
  const auto keys = array({number(1), kCFBooleanTrue, data_of("a"), array(), dictionary()});
  for (CFIndex index = 0; index < CFArrayGetCount(keys); ++index) {
    const auto list = dictionary();
    CFDictionarySetValue(list, CFArrayGetValueAtIndex(keys, index), CFSTR("value"));
    EXPECT_EQ(bytes(list), "refused") << index;
  }
  const void* nothing = nullptr;
  const void* value = CFSTR("value");
  const Owned keyless(CFDictionaryCreate(kCFAllocatorDefault, &nothing, &value, 1, nullptr, nullptr));
  EXPECT_EQ(bytes(keyless), "refused");
}

TEST_F(PropertyListWriter, other_formats_are_refused) {
  EXPECT_FALSE(create(CFSTR("a"), kCFAllocatorDefault, 100));
  EXPECT_FALSE(create(CFSTR("a"), kCFAllocatorDefault, 0));
}

TEST_F(PropertyListWriter, null_in_place_of_a_list_ends_the_process) {
  EXPECT_DEATH(create(nullptr), "CFPropertyListCreateData: NULL in place of an object");
}

TEST_F(PropertyListWriter, without_memory_gives_null_and_keeps_nothing) {
  LimitedAllocator allocator;
  const auto list = array({counting(20), CFSTR("text"), array({array()})});
  int allowed = 0;
  const auto create_with = [&] {
    allocator.allow(allowed);
    return create(list, allocator);
  };
  while (allowed < 100 && create_with() == nullptr) {
    EXPECT_EQ(allocator.blocks(), 0) << allowed;
    ++allowed;
  }
  EXPECT_TRUE(create_with());
  EXPECT_GE(allowed, 5) << "items, references, path, table and the data";
  EXPECT_FALSE(create(list, kCFAllocatorNull));
}

TEST_F(PropertyListWriter, only_the_data_stays_with_the_allocator) {
  LimitedAllocator allocator;
  const auto data = create(counting(20), allocator);
  EXPECT_EQ(allocator.blocks(), 1);
  EXPECT_EQ(CFGetAllocator(data), allocator);
}

TEST_F(PropertyListWriter, leaves_the_objects_as_they_were) {
  const auto text = string("text");
  const auto list = array({text});
  create(list);
  EXPECT_EQ(CFGetRetainCount(text), 2);
  EXPECT_EQ(CFGetRetainCount(list), 1);
}

}  // namespace
}  // namespace hub::test
