// SPDX-License-Identifier: Apache-2.0
#include "host/device/property_objects.h"

#include <new>
#include <type_traits>
#include <variant>

namespace hub::host {
namespace {

using platform::Owned;

void require_memory(bool there_was_some) {
  if (!there_was_some) {
    throw std::bad_alloc();
  }
}

Owned<CFTypeRef> create_string(const std::string& text) {
  return created<CFTypeRef>(CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                                                    static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
}

// One overload for each type that a value can have.
struct CreateObject {
  Owned<CFTypeRef> operator()(const std::string& text) const { return create_string(text); }

  Owned<CFTypeRef> operator()(bool value) const {
    return Owned<CFTypeRef>(CFRetain(value ? kCFBooleanTrue : kCFBooleanFalse));
  }

  Owned<CFTypeRef> operator()(std::int64_t value) const {
    return created<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value));
  }

  Owned<CFTypeRef> operator()(double value) const {
    return created<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &value));
  }

  Owned<CFTypeRef> operator()(const PropertyArray& values) const {
    auto array = created(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    for (const PropertyValue& value : values) {
      CFArrayAppendValue(array.get(), std::visit(*this, value.value).get());
    }
    require_memory(CFArrayGetCount(array.get()) == static_cast<CFIndex>(values.size()));
    return Owned<CFTypeRef>(array.release());
  }

  Owned<CFTypeRef> operator()(const Properties& properties) const {
    auto dictionary = created(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                        &kCFTypeDictionaryValueCallBacks));
    for (const auto& [name, value] : properties) {
      const auto key = create_string(name);
      CFDictionarySetValue(dictionary.get(), key.get(), std::visit(*this, value.value).get());
    }
    require_memory(CFDictionaryGetCount(dictionary.get()) == static_cast<CFIndex>(properties.size()));
    return Owned<CFTypeRef>(dictionary.release());
  }
};

}  // namespace

Owned<CFDictionaryRef> create_dictionary(const Properties& properties) {
  return Owned(static_cast<CFDictionaryRef>(CreateObject{}(properties).release()));
}

}  // namespace hub::host
