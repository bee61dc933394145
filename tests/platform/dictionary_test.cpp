// SPDX-License-Identifier: Apache-2.0
// Values by key: order, equality and misuse.
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

using Texts = std::vector<std::string>;
using TextPairs = std::initializer_list<std::pair<const char*, const char*>>;

const char* text_of(const void* object) {
  return CFStringGetCStringPtr(static_cast<CFStringRef>(object), kCFStringEncodingUTF8);
}

// An immutable dictionary of texts.
Owned<CFDictionaryRef> of_texts(TextPairs pairs) {
  std::vector<const void*> keys;
  std::vector<const void*> values;
  for (const auto& [key, value] : pairs) {
    keys.push_back(__CFStringMakeConstantString(key));
    values.push_back(__CFStringMakeConstantString(value));
  }
  return Owned(CFDictionaryCreate(kCFAllocatorDefault, keys.data(), values.data(), static_cast<CFIndex>(pairs.size()),
                                  &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

// "key=value" of each pair, in the dictionary's order.
Texts contents(CFDictionaryRef dictionary) {
  const auto count = static_cast<std::size_t>(CFDictionaryGetCount(dictionary));
  std::vector<const void*> keys(count);
  std::vector<const void*> values(count);
  CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
  Texts pairs;
  for (std::size_t index = 0; index < count; ++index) {
    pairs.push_back(std::string(text_of(keys[index])) + "=" + text_of(values[index]));
  }
  return pairs;
}

class Dictionary : public PlatformTest {};

TEST_F(Dictionary, of_equal_keys_the_first_counts) {
  EXPECT_EQ(contents(of_texts({{"a", "1"}, {"b", "2"}, {"a", "3"}})), (Texts{"a=1", "b=2"}));
}

TEST_F(Dictionary, keeps_the_order_in_which_keys_were_first_set) {
  const auto letters = dictionary();
  for (const char* key : {"q", "a", "z", "m", "b", "y", "c", "x", "d"}) {
    CFDictionarySetValue(letters, string(key), CFSTR("1"));
  }
  CFDictionarySetValue(letters, CFSTR("a"), CFSTR("2"));
  EXPECT_EQ(contents(letters), (Texts{"q=1", "a=2", "z=1", "m=1", "b=1", "y=1", "c=1", "x=1", "d=1"}));
}

TEST_F(Dictionary, add_sets_only_a_key_that_is_not_there) {
  const auto letters = dictionary();
  CFDictionaryAddValue(letters, CFSTR("a"), CFSTR("1"));
  CFDictionaryAddValue(letters, CFSTR("a"), CFSTR("2"));
  EXPECT_EQ(contents(letters), (Texts{"a=1"}));
}

TEST_F(Dictionary, remove_takes_one_key_out_and_keeps_the_order_of_the_others) {
  const auto letters = dictionary();
  for (const char* key : {"a", "b", "c", "d"}) {
    CFDictionarySetValue(letters, string(key), string(key));
  }
  CFDictionaryRemoveValue(letters, CFSTR("b"));
  EXPECT_EQ(contents(letters), (Texts{"a=a", "c=c", "d=d"}));
  EXPECT_STREQ(text_of(CFDictionaryGetValue(letters, CFSTR("d"))), "d");
  CFDictionarySetValue(letters, CFSTR("c"), CFSTR("new"));
  CFDictionarySetValue(letters, CFSTR("b"), CFSTR("last"));
  EXPECT_EQ(contents(letters), (Texts{"a=a", "c=new", "d=d", "b=last"}));
}

TEST_F(Dictionary, remove_of_a_key_that_is_not_there_does_nothing) {
  const auto letters = dictionary();
  CFDictionaryRemoveValue(letters, CFSTR("a"));
  CFDictionarySetValue(letters, CFSTR("a"), CFSTR("1"));
  CFDictionaryRemoveValue(letters, CFSTR("b"));
  EXPECT_EQ(contents(letters), (Texts{"a=1"}));
}

TEST_F(Dictionary, remove_all_leaves_it_empty_and_usable) {
  const auto letters = dictionary();
  CFDictionarySetValue(letters, CFSTR("a"), CFSTR("1"));
  CFDictionarySetValue(letters, CFSTR("b"), CFSTR("2"));
  CFDictionaryRemoveAllValues(letters);
  EXPECT_EQ(CFDictionaryGetCount(letters), 0);
  EXPECT_FALSE(CFDictionaryContainsKey(letters, CFSTR("a")));
  CFDictionarySetValue(letters, CFSTR("b"), CFSTR("3"));
  EXPECT_EQ(contents(letters), (Texts{"b=3"}));
}

TEST_F(Dictionary, finds_a_value_by_an_equal_key) {
  const auto letters = of_texts({{"a", "1"}, {"b", "2"}});
  const auto key = string("b");
  const void* value = nullptr;
  EXPECT_TRUE(CFDictionaryContainsKey(letters, key));
  EXPECT_EQ(CFDictionaryGetValue(letters, key), CFSTR("2"));
  EXPECT_TRUE(CFDictionaryGetValueIfPresent(letters, key, &value));
  EXPECT_EQ(value, CFSTR("2"));
  EXPECT_TRUE(CFDictionaryGetValueIfPresent(letters, key, nullptr));
}

TEST_F(Dictionary, finds_nothing_by_a_key_that_is_not_there) {
  const auto letters = of_texts({{"a", "1"}});
  const void* value = CFSTR("as it was");
  EXPECT_FALSE(CFDictionaryContainsKey(letters, CFSTR("b")));
  EXPECT_EQ(CFDictionaryGetValue(letters, CFSTR("b")), nullptr);
  EXPECT_FALSE(CFDictionaryGetValueIfPresent(letters, CFSTR("b"), &value));
  EXPECT_EQ(value, CFSTR("as it was"));
}

TEST_F(Dictionary, gives_keys_or_values_alone) {
  const auto letters = of_texts({{"a", "1"}, {"b", "2"}});
  const void* gotten[2];
  CFDictionaryGetKeysAndValues(letters, gotten, nullptr);
  EXPECT_STREQ(text_of(gotten[1]), "b");
  CFDictionaryGetKeysAndValues(letters, nullptr, gotten);
  EXPECT_STREQ(text_of(gotten[1]), "2");
}

TEST_F(Dictionary, grows_beyond_any_capacity_it_was_given) {
  const Owned numbers(CFDictionaryCreateMutable(kCFAllocatorDefault, 1, &kCFTypeDictionaryKeyCallBacks,
                                                &kCFTypeDictionaryValueCallBacks));
  for (std::int64_t key = 0; key < 1000; ++key) {
    CFDictionarySetValue(numbers, number(key), number(-key));
  }
  EXPECT_EQ(CFDictionaryGetCount(numbers), 1000);
  for (std::int64_t key = 0; key < 1000; ++key) {
    EXPECT_TRUE(CFEqual(CFDictionaryGetValue(numbers, number(key)), number(-key))) << key;
  }
}

TEST_F(Dictionary, of_many_keys_finds_the_others_when_some_are_removed) {
  const auto numbers = dictionary();
  for (std::int64_t key = 0; key < 300; ++key) {
    CFDictionarySetValue(numbers, number(key), number(-key));
  }
  for (std::int64_t key = 0; key < 300; key += 3) {
    CFDictionaryRemoveValue(numbers, number(key));
  }
  for (std::int64_t key = 0; key < 300; ++key) {
    EXPECT_EQ(CFDictionaryContainsKey(numbers, number(key)), key % 3 != 0) << key;
  }
  EXPECT_TRUE(CFEqual(CFDictionaryGetValue(numbers, number(299)), number(-299)));
}

TEST_F(Dictionary, emptied_of_many_keys_finds_none_of_them) {
  const auto numbers = dictionary();
  for (std::int64_t key = 0; key < 100; ++key) {
    CFDictionarySetValue(numbers, number(key), number(key));
  }
  CFDictionaryRemoveAllValues(numbers);
  EXPECT_FALSE(CFDictionaryContainsKey(numbers, number(1)));
  CFDictionarySetValue(numbers, number(1), number(7));
  EXPECT_TRUE(CFEqual(CFDictionaryGetValue(numbers, number(1)), number(7)));
}

TEST_F(Dictionary, equals_one_of_the_same_pairs_in_any_order) {
  const auto first = of_texts({{"a", "1"}, {"b", "2"}});
  const auto second = of_texts({{"b", "2"}, {"a", "1"}});
  EXPECT_TRUE(CFEqual(first, second));
  EXPECT_EQ(CFHash(first), CFHash(second));
  EXPECT_TRUE(CFEqual(of_texts({}), dictionary()));
}

TEST_F(Dictionary, differs_from_one_of_other_pairs) {
  const auto letters = of_texts({{"a", "1"}, {"b", "2"}});
  EXPECT_FALSE(CFEqual(letters, of_texts({{"a", "1"}, {"b", "3"}})));
  EXPECT_FALSE(CFEqual(letters, of_texts({{"a", "1"}, {"c", "2"}})));
  EXPECT_FALSE(CFEqual(letters, of_texts({{"a", "1"}})));
  EXPECT_FALSE(CFEqual(of_texts({{"a", "1"}}), letters));
}

TEST_F(Dictionary, holds_one_reference_to_each_key_and_value) {
  const auto key = string("key");
  const auto value = string("value");
  auto letters = dictionary();
  CFDictionarySetValue(letters, key, value);
  EXPECT_EQ(CFGetRetainCount(key), 2);
  EXPECT_EQ(CFGetRetainCount(value), 2);
  letters.give_back();
  EXPECT_EQ(CFGetRetainCount(key), 1);
  EXPECT_EQ(CFGetRetainCount(value), 1);
}

TEST_F(Dictionary, lends_what_it_gives) {
  const auto value = string("value");
  const auto letters = dictionary();
  CFDictionarySetValue(letters, CFSTR("key"), value);
  CFDictionaryGetValue(letters, CFSTR("key"));
  contents(letters);
  EXPECT_EQ(CFGetRetainCount(value), 2);
}

TEST_F(Dictionary, a_value_survives_being_set_in_its_own_place) {
  const auto letters = dictionary();
  CFDictionarySetValue(letters, CFSTR("key"), string("value"));
  CFDictionarySetValue(letters, CFSTR("key"), CFDictionaryGetValue(letters, CFSTR("key")));
  EXPECT_EQ(contents(letters), (Texts{"key=value"}));
}

TEST_F(Dictionary, changing_an_immutable_one_ends_the_process) {
  const auto letters = of_texts({{"a", "1"}});
  const auto immutable = const_cast<CFMutableDictionaryRef>(static_cast<CFDictionaryRef>(letters));
  EXPECT_DEATH(CFDictionaryAddValue(immutable, CFSTR("b"), CFSTR("2")),
               "CFDictionaryAddValue: an immutable dictionary");
  EXPECT_DEATH(CFDictionarySetValue(immutable, CFSTR("b"), CFSTR("2")),
               "CFDictionarySetValue: an immutable dictionary");
  EXPECT_DEATH(CFDictionaryRemoveValue(immutable, CFSTR("a")), "CFDictionaryRemoveValue: an immutable dictionary");
  EXPECT_DEATH(CFDictionaryRemoveAllValues(immutable), "CFDictionaryRemoveAllValues: an immutable dictionary");
}

TEST_F(Dictionary, null_in_place_of_one_ends_the_process) {
  EXPECT_DEATH(CFDictionaryGetCount(nullptr), "CFDictionaryGetCount: NULL in place of an object");
  EXPECT_DEATH(CFDictionarySetValue(nullptr, CFSTR("a"), CFSTR("1")),
               "CFDictionarySetValue: NULL in place of an object");
}

}  // namespace
}  // namespace hub::test
