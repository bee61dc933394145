// SPDX-License-Identifier: Apache-2.0
// Values back into objects and bytes, for tests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "CoreFoundation/CoreFoundation.h"
#include "corefoundation/owned.h"
#include "propertylist/property_list_reader.h"

namespace hub::test {

platform::Owned<CFTypeRef> objects_of(const platform::PropertyListValue& value);

// Makes the object of each kind of value.
struct ObjectMaker {
  platform::Owned<CFTypeRef> operator()(bool value) const {
    return platform::Owned<CFTypeRef>(CFRetain(value ? kCFBooleanTrue : kCFBooleanFalse));
  }
  platform::Owned<CFTypeRef> operator()(std::int64_t value) const {
    return platform::Owned<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value));
  }
  platform::Owned<CFTypeRef> operator()(double value) const {
    return platform::Owned<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberFloat64Type, &value));
  }
  platform::Owned<CFTypeRef> operator()(const std::string& value) const {
    return platform::Owned<CFTypeRef>(
        CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(value.data()),
                                static_cast<CFIndex>(value.size()), kCFStringEncodingUTF8, false));
  }
  platform::Owned<CFTypeRef> operator()(const std::vector<std::byte>& value) const {
    return platform::Owned<CFTypeRef>(CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(value.data()),
                                                   static_cast<CFIndex>(value.size())));
  }
  platform::Owned<CFTypeRef> operator()(const platform::PropertyListArray& values) const {
    platform::Owned<CFMutableArrayRef> array(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    for (const platform::PropertyListValue& value : values) {
      CFArrayAppendValue(array.get(), objects_of(value).get());
    }
    return platform::Owned<CFTypeRef>(array.release());
  }
  platform::Owned<CFTypeRef> operator()(const platform::PropertyListDictionary& pairs) const {
    platform::Owned<CFMutableDictionaryRef> dictionary(CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    for (const auto& [key, value] : pairs) {
      CFDictionarySetValue(dictionary.get(), (*this)(key).get(), objects_of(value).get());
    }
    return platform::Owned<CFTypeRef>(dictionary.release());
  }
};

inline platform::Owned<CFTypeRef> objects_of(const platform::PropertyListValue& value) {
  return std::visit(ObjectMaker(), value.value);
}

// The value as the platform writes it.
inline std::string written(const platform::PropertyListValue& value) {
  const platform::Owned<CFDataRef> data(CFPropertyListCreateData(kCFAllocatorDefault, objects_of(value).get(),
                                                                 kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
  return {reinterpret_cast<const char*>(CFDataGetBytePtr(data.get())),
          static_cast<std::size_t>(CFDataGetLength(data.get()))};
}

}  // namespace hub::test
