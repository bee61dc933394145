// SPDX-License-Identifier: Apache-2.0
#include "CoreFoundation/CFDictionary.h"

#include <algorithm>
#include <new>
#include <utility>

#include "corefoundation/contents.h"
#include "corefoundation/misuse.h"
#include "corefoundation/object.h"
#include "corefoundation/pair_table.h"
#include "failures/failures.h"

struct __CFDictionary : hub::platform::Object {
  __CFDictionary(CFAllocatorRef owner, bool is_mutable, CFIndex capacity,
                 const CFDictionaryKeyCallBacks& its_key_callbacks,
                 const CFDictionaryValueCallBacks& its_value_callbacks);
  ~__CFDictionary() { release_all(); }
  __CFDictionary(const __CFDictionary&) = delete;
  __CFDictionary& operator=(const __CFDictionary&) = delete;

  [[nodiscard]] const hub::platform::KeyAndValue* find(const void* key) const;
  void add(const void* key, const void* value);
  void set(const void* key, const void* value);
  void remove(const void* key);
  void remove_all();
  void release_all();

  bool can_change;
  CFDictionaryKeyCallBacks key_callbacks;
  CFDictionaryValueCallBacks value_callbacks;
  hub::platform::PairTable pairs;

 private:
  [[nodiscard]] std::uint32_t hash_of(const void* key) const;
  [[nodiscard]] std::size_t position_of(const void* key, std::uint32_t hash) const;
  void append(const void* key, const void* value, std::uint32_t hash);

  const void* retained_key(const void* key) const {
    return key_callbacks.retain != nullptr ? key_callbacks.retain(allocator, key) : key;
  }
  const void* retained_value(const void* value) const {
    return value_callbacks.retain != nullptr ? value_callbacks.retain(allocator, value) : value;
  }
  void release_key(const void* key) const {
    if (key_callbacks.release != nullptr) {
      key_callbacks.release(allocator, key);
    }
  }
  void release_value(const void* value) const {
    if (value_callbacks.release != nullptr) {
      value_callbacks.release(allocator, value);
    }
  }
};

namespace hub::platform {
namespace {

bool same_value(const __CFDictionary& dictionary, const void* first, const void* second) {
  const auto equal = dictionary.value_callbacks.equal;
  return first == second || (equal != nullptr && equal(first, second));
}

// Keys and values that are compared in different ways are not comparable: one side's might be no objects.
bool compare_alike(const __CFDictionary& left, const __CFDictionary& right) {
  return left.key_callbacks.equal == right.key_callbacks.equal && left.key_callbacks.hash == right.key_callbacks.hash &&
         left.value_callbacks.equal == right.value_callbacks.equal;
}

bool dictionaries_equal(const Object& first, const Object& second) {
  const auto& left = static_cast<const __CFDictionary&>(first);
  const auto& right = static_cast<const __CFDictionary&>(second);
  return compare_alike(left, right) && left.pairs.size() == right.pairs.size() &&
         std::ranges::all_of(left.pairs.pairs(), [&](const KeyAndValue& pair) {
           const KeyAndValue* other = right.find(pair.key);
           return other != nullptr && same_value(left, pair.value, other->value);
         });
}

CFHashCode hash_of_dictionary(const Object& object) {
  return static_cast<const __CFDictionary&>(object).pairs.size();  // whatever the order, equal ones have equal counts
}

void destroy_dictionary(Object& object) noexcept { std::destroy_at(&static_cast<__CFDictionary&>(object)); }

constexpr ObjectClass kDictionaryClass{kDictionaryTypeId, destroy_dictionary, dictionaries_equal, hash_of_dictionary};

const __CFDictionary& dictionary_of(CFDictionaryRef dictionary, const char* function) {
  return static_cast<const __CFDictionary&>(object_of(dictionary, kDictionaryClass, function));
}

__CFDictionary& mutable_dictionary_of(CFMutableDictionaryRef dictionary, const char* function) {
  if (!dictionary_of(dictionary, function).can_change) {
    misuse(function, "an immutable dictionary");
  }
  return *dictionary;
}

__CFDictionary* create_dictionary(CFAllocatorRef allocator, bool can_change, CFIndex capacity,
                                  const CFDictionaryKeyCallBacks* key_callbacks,
                                  const CFDictionaryValueCallBacks* value_callbacks) {
  return create_object<__CFDictionary>(allocator, 0, can_change, capacity,
                                       key_callbacks != nullptr ? *key_callbacks : CFDictionaryKeyCallBacks{},
                                       value_callbacks != nullptr ? *value_callbacks : CFDictionaryValueCallBacks{});
}

}  // namespace

std::span<const KeyAndValue> contents_of_dictionary(const Object& dictionary) {
  return static_cast<const __CFDictionary&>(dictionary).pairs.pairs();
}

}  // namespace hub::platform

using namespace hub::platform;

__CFDictionary::__CFDictionary(CFAllocatorRef owner, bool is_mutable, CFIndex capacity,
                               const CFDictionaryKeyCallBacks& its_key_callbacks,
                               const CFDictionaryValueCallBacks& its_value_callbacks)
    : Object(kDictionaryClass, owner, 1),
      can_change(is_mutable),
      key_callbacks(its_key_callbacks),
      value_callbacks(its_value_callbacks),
      pairs(owner, static_cast<std::size_t>(std::max<CFIndex>(capacity, 0))) {}

// Neighbouring numbers and addresses spread over the whole table.
std::uint32_t __CFDictionary::hash_of(const void* key) const {
  constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15;
  const std::uint64_t hash =
      key_callbacks.hash != nullptr ? key_callbacks.hash(key) : reinterpret_cast<std::uintptr_t>(key);
  return static_cast<std::uint32_t>(hash * kSpread >> 32U);
}

std::size_t __CFDictionary::position_of(const void* key, std::uint32_t hash) const {
  return pairs.find(hash, [this, key](const void* other) {
    return other == key || (key_callbacks.equal != nullptr && key_callbacks.equal(other, key));
  });
}

const KeyAndValue* __CFDictionary::find(const void* key) const {
  std::size_t position = pairs.find_same(key);
  if (position == PairTable::kNowhere) {
    position = position_of(key, hash_of(key));
  }
  return position != PairTable::kNowhere ? &pairs[position] : nullptr;
}

void __CFDictionary::append(const void* key, const void* value, std::uint32_t hash) {
  pairs.make_room();                                             // all that can fail comes before anything is retained
  pairs.append(retained_key(key), retained_value(value), hash);  // a key that was kept as another has the same hash
}

void __CFDictionary::add(const void* key, const void* value) {
  const std::uint32_t hash = hash_of(key);
  if (position_of(key, hash) == PairTable::kNowhere) {
    append(key, value, hash);
  }
}

void __CFDictionary::set(const void* key, const void* value) {
  const std::uint32_t hash = hash_of(key);
  const std::size_t position = position_of(key, hash);
  if (position == PairTable::kNowhere) {
    append(key, value, hash);
    return;
  }
  const void* kept_value = retained_value(value);
  release_value(std::exchange(pairs[position].value, kept_value));
}

void __CFDictionary::remove(const void* key) {
  const std::size_t position = position_of(key, hash_of(key));
  if (position == PairTable::kNowhere) {
    return;
  }
  const KeyAndValue removed = pairs[position];
  pairs.remove(position);
  release_key(removed.key);
  release_value(removed.value);
}

void __CFDictionary::remove_all() {
  release_all();
  pairs.clear();
}

void __CFDictionary::release_all() {
  for (const KeyAndValue& pair : pairs.pairs()) {
    release_key(pair.key);
    release_value(pair.value);
  }
}

const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks{0,       retain_member, release_member,
                                                             nullptr, CFEqual,       CFHash};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks{0, retain_member, release_member, nullptr, CFEqual};

CFTypeID CFDictionaryGetTypeID(void) { return kDictionaryTypeId; }

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys, const void** values, CFIndex count,
                                   const CFDictionaryKeyCallBacks* key_callbacks,
                                   const CFDictionaryValueCallBacks* value_callbacks) {
  if (fails(Fallible::kCFDictionaryCreate)) {
    return nullptr;
  }
  __CFDictionary* dictionary = create_dictionary(allocator, false, count, key_callbacks, value_callbacks);
  if (dictionary == nullptr) {
    return nullptr;
  }
  try {
    for (CFIndex index = 0; index < count; ++index) {
      dictionary->add(keys[index], values[index]);
    }
  } catch (const std::bad_alloc&) {
    CFRelease(dictionary);
    return nullptr;
  }
  return dictionary;
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* key_callbacks,
                                                 const CFDictionaryValueCallBacks* value_callbacks) {
  if (fails(Fallible::kCFDictionaryCreateMutable)) {
    return nullptr;
  }
  return create_dictionary(allocator, true, capacity, key_callbacks, value_callbacks);
}

CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary) {
  return static_cast<CFIndex>(dictionary_of(dictionary, "CFDictionaryGetCount").pairs.size());
}

Boolean CFDictionaryContainsKey(CFDictionaryRef dictionary, const void* key) {
  return dictionary_of(dictionary, "CFDictionaryContainsKey").find(key) != nullptr;
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
  const KeyAndValue* pair = dictionary_of(dictionary, "CFDictionaryGetValue").find(key);
  return pair != nullptr ? pair->value : nullptr;
}

Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef dictionary, const void* key, const void** value) {
  const KeyAndValue* pair = dictionary_of(dictionary, "CFDictionaryGetValueIfPresent").find(key);
  if (pair != nullptr && value != nullptr) {
    *value = pair->value;
  }
  return pair != nullptr;
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void** keys, const void** values) {
  std::size_t index = 0;
  for (const KeyAndValue& pair : dictionary_of(dictionary, "CFDictionaryGetKeysAndValues").pairs.pairs()) {
    if (keys != nullptr) {
      keys[index] = pair.key;
    }
    if (values != nullptr) {
      values[index] = pair.value;
    }
    ++index;
  }
}

void CFDictionaryAddValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) try {
  mutable_dictionary_of(dictionary, "CFDictionaryAddValue").add(key, value);
} catch (const std::bad_alloc&) {
  return;  // as it was
}

void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) try {
  mutable_dictionary_of(dictionary, "CFDictionarySetValue").set(key, value);
} catch (const std::bad_alloc&) {
  return;  // as it was
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef dictionary, const void* key) {
  mutable_dictionary_of(dictionary, "CFDictionaryRemoveValue").remove(key);
}

void CFDictionaryRemoveAllValues(CFMutableDictionaryRef dictionary) {
  mutable_dictionary_of(dictionary, "CFDictionaryRemoveAllValues").remove_all();
}
