// SPDX-License-Identifier: Apache-2.0
#include "CoreFoundation/CFDictionary.h"

#include <algorithm>
#include <functional>
#include <unordered_map>
#include <vector>

#include "corefoundation/contents.h"
#include "corefoundation/misuse.h"
#include "corefoundation/object.h"
#include "failures/failures.h"

namespace hub::platform {
namespace {

struct KeyHash {
  CFDictionaryKeyCallBacks callbacks;
  std::size_t operator()(const void* key) const {
    return callbacks.hash != nullptr ? callbacks.hash(key) : std::hash<const void*>{}(key);
  }
};

struct KeyEqual {
  CFDictionaryKeyCallBacks callbacks;
  bool operator()(const void* first, const void* second) const {
    return first == second || (callbacks.equal != nullptr && callbacks.equal(first, second));
  }
};

using Pair = KeyAndValue;
using Pairs = std::vector<Pair, StandardAllocator<Pair>>;
using Positions = std::unordered_map<const void*, std::size_t, KeyHash, KeyEqual,
                                     StandardAllocator<std::pair<const void* const, std::size_t>>>;

constexpr std::size_t kFirstCapacity = 4;

}  // namespace
}  // namespace hub::platform

// `pairs` keeps the order in which keys were set; `positions` finds a key's place in it.
struct __CFDictionary : hub::platform::Object {
  __CFDictionary(CFAllocatorRef owner, bool is_mutable, const CFDictionaryKeyCallBacks& its_key_callbacks,
                 const CFDictionaryValueCallBacks& its_value_callbacks);
  ~__CFDictionary() { remove_all(); }
  __CFDictionary(const __CFDictionary&) = delete;
  __CFDictionary& operator=(const __CFDictionary&) = delete;

  [[nodiscard]] const hub::platform::Pair* find(const void* key) const;
  void add(const void* key, const void* value);
  void set(const void* key, const void* value);
  void remove(const void* key);
  void remove_all();

  bool can_change;
  CFDictionaryKeyCallBacks key_callbacks;
  CFDictionaryValueCallBacks value_callbacks;
  hub::platform::Pairs pairs;
  hub::platform::Positions positions;

 private:
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
         std::all_of(left.pairs.begin(), left.pairs.end(), [&](const Pair& pair) {
           const Pair* other = right.find(pair.key);
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

__CFDictionary* create_dictionary(CFAllocatorRef allocator, bool can_change,
                                  const CFDictionaryKeyCallBacks* key_callbacks,
                                  const CFDictionaryValueCallBacks* value_callbacks) {
  return create_object<__CFDictionary>(allocator, 0, can_change,
                                       key_callbacks != nullptr ? *key_callbacks : CFDictionaryKeyCallBacks{},
                                       value_callbacks != nullptr ? *value_callbacks : CFDictionaryValueCallBacks{});
}

}  // namespace

std::span<const KeyAndValue> contents_of_dictionary(const Object& dictionary) {
  return static_cast<const __CFDictionary&>(dictionary).pairs;
}

}  // namespace hub::platform

using namespace hub::platform;

__CFDictionary::__CFDictionary(CFAllocatorRef owner, bool is_mutable, const CFDictionaryKeyCallBacks& its_key_callbacks,
                               const CFDictionaryValueCallBacks& its_value_callbacks)
    : Object(kDictionaryClass, owner, 1),
      can_change(is_mutable),
      key_callbacks(its_key_callbacks),
      value_callbacks(its_value_callbacks),
      pairs(StandardAllocator<Pair>(owner)),
      positions(0, KeyHash{its_key_callbacks}, KeyEqual{its_key_callbacks}, Positions::allocator_type(owner)) {}

const Pair* __CFDictionary::find(const void* key) const {
  const auto found = positions.find(key);
  return found != positions.end() ? &pairs[found->second] : nullptr;
}

void __CFDictionary::add(const void* key, const void* value) {
  if (find(key) != nullptr) {
    return;
  }
  if (pairs.size() == pairs.capacity()) {  // all that can fail comes before anything is retained
    pairs.reserve(std::max<std::size_t>(kFirstCapacity, pairs.size() * 2));
  }
  const auto place = positions.emplace(key, pairs.size()).first;
  const void* kept_key = retained_key(key);
  if (kept_key != key) {  // a callback may keep another pointer of the same hash and equality
    auto node = positions.extract(place);
    node.key() = kept_key;
    positions.insert(std::move(node));
  }
  pairs.push_back({kept_key, retained_value(value)});
}

void __CFDictionary::set(const void* key, const void* value) {
  const auto found = positions.find(key);
  if (found == positions.end()) {
    add(key, value);
    return;
  }
  const void* kept_value = retained_value(value);
  release_value(std::exchange(pairs[found->second].value, kept_value));
}

void __CFDictionary::remove(const void* key) {
  const auto found = positions.find(key);
  if (found == positions.end()) {
    return;
  }
  const std::size_t position = found->second;
  const Pair removed = pairs[position];
  positions.erase(found);
  pairs.erase(pairs.begin() + static_cast<std::ptrdiff_t>(position));
  for (auto& [later_key, later_position] : positions) {
    later_position -= later_position > position ? 1 : 0;
  }
  release_key(removed.key);
  release_value(removed.value);
}

void __CFDictionary::remove_all() {
  positions.clear();
  for (const Pair& pair : pairs) {
    release_key(pair.key);
    release_value(pair.value);
  }
  pairs.clear();
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
  __CFDictionary* dictionary = create_dictionary(allocator, false, key_callbacks, value_callbacks);
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

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex,
                                                 const CFDictionaryKeyCallBacks* key_callbacks,
                                                 const CFDictionaryValueCallBacks* value_callbacks) {
  if (fails(Fallible::kCFDictionaryCreateMutable)) {
    return nullptr;
  }
  return create_dictionary(allocator, true, key_callbacks, value_callbacks);
}

CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary) {
  return static_cast<CFIndex>(dictionary_of(dictionary, "CFDictionaryGetCount").pairs.size());
}

Boolean CFDictionaryContainsKey(CFDictionaryRef dictionary, const void* key) {
  return dictionary_of(dictionary, "CFDictionaryContainsKey").find(key) != nullptr;
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
  const Pair* pair = dictionary_of(dictionary, "CFDictionaryGetValue").find(key);
  return pair != nullptr ? pair->value : nullptr;
}

Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef dictionary, const void* key, const void** value) {
  const Pair* pair = dictionary_of(dictionary, "CFDictionaryGetValueIfPresent").find(key);
  if (pair != nullptr && value != nullptr) {
    *value = pair->value;
  }
  return pair != nullptr;
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void** keys, const void** values) {
  std::size_t index = 0;
  for (const Pair& pair : dictionary_of(dictionary, "CFDictionaryGetKeysAndValues").pairs) {
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
