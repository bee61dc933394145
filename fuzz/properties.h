// SPDX-License-Identifier: Apache-2.0
// Properties of registry entries out of an input: of any type where a certain one is looked for.
#pragma once

#include <span>
#include <string>

#include "CoreFoundation/CoreFoundation.h"
#include "corefoundation/owned.h"
#include "fuzz/fuzzing.h"

namespace hub::fuzz {

using Property = platform::Owned<CFTypeRef>;

inline platform::Owned<CFStringRef> name_of(const char* text) {
  return platform::Owned(CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingUTF8));
}

template <typename Number>
Property number_of(Number value, CFNumberType type) {
  return Property(CFNumberCreate(kCFAllocatorDefault, type, &value));
}

// A byte says of which type, the next ones which value: a number of some size, or another object. None for 0.
inline Property any_value(Input& input) {
  switch (input.number<std::uint8_t>() % 8) {
    case 1:
      return number_of(input.number<std::int64_t>(), kCFNumberSInt64Type);
    case 2:
      return number_of(input.number<std::int32_t>(), kCFNumberSInt32Type);
    case 3:
      return number_of(input.number<std::int8_t>(), kCFNumberSInt8Type);
    case 4:
      return number_of(static_cast<double>(input.number<std::int64_t>()) * 1.5, kCFNumberDoubleType);
    case 5:
      return Property(CFRetain(kCFBooleanTrue));
    case 6:
      return Property(CFStringCreateWithCString(kCFAllocatorDefault, "7", kCFStringEncodingUTF8));
    case 7:
      return Property(CFDataCreate(kCFAllocatorDefault, nullptr, 0));
    default:
      return {};
  }
}

// An odd byte stands before a dictionary with values, or none, under these keys; an even one before any other value.
inline Property any_dictionary(Input& input, std::span<const char* const> keys) {
  if (input.number<std::uint8_t>() % 2 == 0) {
    return any_value(input);
  }
  platform::Owned<CFMutableDictionaryRef> dictionary(CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  for (const char* key : keys) {
    if (const Property value = any_value(input); value.get() != nullptr) {
      CFDictionarySetValue(dictionary.get(), name_of(key).get(), value.get());
    }
  }
  return Property(dictionary.release());
}

// An entry's properties: this one alone, or none.
inline platform::Owned<CFDictionaryRef> properties_of(const char* key, const Property& value) {
  platform::Owned<CFMutableDictionaryRef> properties(CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  if (value.get() != nullptr) {
    CFDictionarySetValue(properties.get(), name_of(key).get(), value.get());
  }
  return platform::Owned<CFDictionaryRef>(properties.release());
}

// The number under a key, converted to this type; `none` when there is no dictionary or no number there.
template <typename Number>
Number integer_in(const Property& dictionary, const char* key, Number none) {
  static_assert(sizeof none == sizeof(std::int32_t) || sizeof none == sizeof(std::int64_t));
  if (dictionary.get() == nullptr || CFGetTypeID(dictionary.get()) != CFDictionaryGetTypeID()) {
    return none;
  }
  const CFTypeRef value = CFDictionaryGetValue(static_cast<CFDictionaryRef>(dictionary.get()), name_of(key).get());
  Number number = none;
  if (value != nullptr && CFGetTypeID(value) == CFNumberGetTypeID()) {
    constexpr bool kIsWide = sizeof number == sizeof(std::int64_t);
    CFNumberGetValue(static_cast<CFNumberRef>(value), kIsWide ? kCFNumberSInt64Type : kCFNumberSInt32Type, &number);
  }
  return number;
}

}  // namespace hub::fuzz
