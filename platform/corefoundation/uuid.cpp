// SPDX-License-Identifier: Apache-2.0
#include "CoreFoundation/CFUUID.h"

#include <array>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string_view>
#include <utility>

#include "CoreFoundation/CFString.h"
#include "corefoundation/constant_memory.h"
#include "corefoundation/misuse.h"
#include "corefoundation/never_destroyed.h"
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

using ByBytes =
    std::map<std::string_view, CFUUIDRef, std::less<>, ConstantAllocator<std::pair<const std::string_view, CFUUIDRef>>>;

// A new constant, found by its own bytes from now on.
CFUUIDRef remember_constant(ByBytes& identifiers, const CFUUIDBytes& bytes) try {
  const auto* identifier = create_constant<__CFUUID>(0, bytes);
  identifiers.emplace(identifier->view(), identifier);
  return identifier;
} catch (const std::bad_alloc&) {
  misuse("CFUUIDGetConstantUUIDWithBytes", "there is no memory for a constant");
}

// The constant identifier of these bytes, made at the first call.
CFUUIDRef constant_uuid(const CFUUIDBytes& bytes) {
  // Never destroyed: constants outlive everything that may still use them while the process ends.
  static NeverDestroyed<ByBytes> identifiers;
  static NeverDestroyed<std::mutex> mutex;
  const std::lock_guard lock(mutex.get());
  const auto found = identifiers.get().find({reinterpret_cast<const char*>(&bytes), sizeof bytes});
  return found != identifiers.get().end() ? found->second : remember_constant(identifiers.get(), bytes);
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
  constexpr std::size_t kTextBytes = 36;
  std::array<char, kTextBytes + 1> text{};
  char* out = text.data();
  for (const char character : uuid_of(identifier, "CFUUIDCreateString").view()) {
    const auto byte = static_cast<unsigned char>(character);
    if (const auto length = out - text.data(); length == 8 || length == 13 || length == 18 || length == 23) {
      *out++ = '-';
    }
    *out++ = kDigits[byte >> 4U];
    *out++ = kDigits[byte & 0xFU];
  }
  return CFStringCreateWithCString(allocator, text.data(), kCFStringEncodingASCII);
}
