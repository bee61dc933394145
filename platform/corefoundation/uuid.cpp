// SPDX-License-Identifier: Apache-2.0
#include "CoreFoundation/CFUUID.h"

#include <array>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "CoreFoundation/CFString.h"
#include "corefoundation/misuse.h"
#include "corefoundation/object.h"
#include "failures/failures.h"

static_assert(sizeof(CFUUIDBytes) == 16, "an identifier is 16 bytes without padding");

struct __CFUUID : hub::platform::Object {
  __CFUUID(CFAllocatorRef owner, const CFUUIDBytes& its_bytes);

  [[nodiscard]] std::string_view view() const { return {reinterpret_cast<const char*>(&bytes), sizeof bytes}; }

  CFUUIDBytes bytes;
};

namespace hub::platform {
namespace {

bool uuids_equal(const Object& first, const Object& second) {
  return static_cast<const __CFUUID&>(first).view() == static_cast<const __CFUUID&>(second).view();
}

CFHashCode hash_of_uuid(const Object& object) {
  return std::hash<std::string_view>{}(static_cast<const __CFUUID&>(object).view());
}

constexpr ObjectClass kUuidClass{kUuidTypeId, nullptr, uuids_equal, hash_of_uuid};

const __CFUUID& uuid_of(CFUUIDRef identifier, const char* function) {
  return static_cast<const __CFUUID&>(object_of(identifier, kUuidClass, function));
}

// The constant identifier of these bytes, made at the first call.
CFUUIDRef constant_uuid(const CFUUIDBytes& bytes) {
  // Never destroyed: constants outlive everything that may still use them while the process ends.
  static auto& identifiers = *new std::map<std::string, CFUUIDRef>;
  static auto& mutex = *new std::mutex;
  const std::lock_guard lock(mutex);
  CFUUIDRef& identifier = identifiers[std::string(reinterpret_cast<const char*>(&bytes), sizeof bytes)];
  if (identifier == nullptr) {
    identifier = create_constant<__CFUUID>(0, bytes);
    if (identifier == nullptr) {
      misuse("CFUUIDGetConstantUUIDWithBytes", "there is no memory for a constant");
    }
  }
  return identifier;
}

}  // namespace
}  // namespace hub::platform

using namespace hub::platform;

__CFUUID::__CFUUID(CFAllocatorRef owner, const CFUUIDBytes& its_bytes)
    : Object(kUuidClass, owner, 1), bytes(its_bytes) {}

CFTypeID CFUUIDGetTypeID(void) { return kUuidTypeId; }

CFUUIDRef CFUUIDCreateFromUUIDBytes(CFAllocatorRef allocator, CFUUIDBytes bytes) {
  if (fails(Fallible::kCFUUIDCreateFromUUIDBytes)) {
    return nullptr;
  }
  return create_object<__CFUUID>(allocator, 0, bytes);
}

CFUUIDRef CFUUIDGetConstantUUIDWithBytes(CFAllocatorRef, UInt8 byte0, UInt8 byte1, UInt8 byte2, UInt8 byte3,
                                         UInt8 byte4, UInt8 byte5, UInt8 byte6, UInt8 byte7, UInt8 byte8, UInt8 byte9,
                                         UInt8 byte10, UInt8 byte11, UInt8 byte12, UInt8 byte13, UInt8 byte14,
                                         UInt8 byte15) {
  return constant_uuid({byte0, byte1, byte2, byte3, byte4, byte5, byte6, byte7, byte8, byte9, byte10, byte11, byte12,
                        byte13, byte14, byte15});
}

CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef identifier) { return uuid_of(identifier, "CFUUIDGetUUIDBytes").bytes; }

CFStringRef CFUUIDCreateString(CFAllocatorRef allocator, CFUUIDRef identifier) {
  if (fails(Fallible::kCFUUIDCreateString)) {
    return nullptr;
  }
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text;
  for (const char character : uuid_of(identifier, "CFUUIDCreateString").view()) {
    const auto byte = static_cast<unsigned char>(character);
    if (text.size() == 8 || text.size() == 13 || text.size() == 18 || text.size() == 23) {
      text += '-';
    }
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 0xFU];
  }
  return CFStringCreateWithCString(allocator, text.c_str(), kCFStringEncodingASCII);
}
