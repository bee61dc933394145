// SPDX-License-Identifier: Apache-2.0
#include "log/object_text.h"

#include <array>
#include <charconv>
#include <cstdint>

#include "CoreFoundation/CoreFoundation.h"
#include "corefoundation/owned.h"

namespace hub::platform {
namespace {

std::string text_of_string(CFTypeRef object) {
  const char* text = CFStringGetCStringPtr(static_cast<CFStringRef>(object), kCFStringEncodingUTF8);
  return text != nullptr ? text : "<string>";
}

template <typename Value>
std::string digits(Value value) {
  std::array<char, 32> room{};
  return {room.data(), std::to_chars(room.data(), room.data() + room.size(), value).ptr};
}

template <typename Value>
std::string digits_as(CFNumberRef number, CFNumberType type) {
  Value value = 0;
  CFNumberGetValue(number, type, &value);
  return digits(value);
}

// In the precision that it was created with: the digits of the other one would be more than name it.
std::string text_of_number(CFTypeRef object) {
  const auto number = static_cast<CFNumberRef>(object);
  switch (CFNumberGetType(number)) {
    case kCFNumberFloat32Type:
      return digits_as<float>(number, kCFNumberFloat32Type);
    case kCFNumberFloat64Type:
      return digits_as<double>(number, kCFNumberFloat64Type);
    default:
      return digits_as<std::int64_t>(number, kCFNumberSInt64Type);
  }
}

std::string text_of_boolean(CFTypeRef object) {
  return CFBooleanGetValue(static_cast<CFBooleanRef>(object)) ? "true" : "false";
}

std::string text_of_identifier(CFTypeRef object) {
  const Owned text(CFUUIDCreateString(kCFAllocatorDefault, static_cast<CFUUIDRef>(object)));
  return describe(text.get());
}

std::string text_of_data(CFTypeRef object) {
  return "<data: " + digits(CFDataGetLength(static_cast<CFDataRef>(object))) + " bytes>";
}

std::string text_of_array(CFTypeRef object) {
  return "<array: " + digits(CFArrayGetCount(static_cast<CFArrayRef>(object))) + " values>";
}

std::string text_of_dictionary(CFTypeRef object) {
  return "<dictionary: " + digits(CFDictionaryGetCount(static_cast<CFDictionaryRef>(object))) + " values>";
}

std::string text_of_allocator(CFTypeRef) { return "<allocator>"; }

struct Description {
  CFTypeID (*type)();
  std::string (*text)(CFTypeRef object);
};

constexpr Description kDescriptions[] = {
    {CFStringGetTypeID, text_of_string},
    {CFNumberGetTypeID, text_of_number},
    {CFBooleanGetTypeID, text_of_boolean},
    {CFUUIDGetTypeID, text_of_identifier},
    {CFDataGetTypeID, text_of_data},
    {CFArrayGetTypeID, text_of_array},
    {CFDictionaryGetTypeID, text_of_dictionary},
    {CFAllocatorGetTypeID, text_of_allocator},
};

}  // namespace

std::string describe(CFTypeRef object) {
  if (object == nullptr) {
    return "(null)";
  }
  for (const Description& description : kDescriptions) {
    if (CFGetTypeID(object) == description.type()) {
      return description.text(object);
    }
  }
  return "<object>";
}

}  // namespace hub::platform
