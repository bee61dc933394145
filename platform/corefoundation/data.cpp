// SPDX-License-Identifier: Apache-2.0
#include "CoreFoundation/CFData.h"

#include <cstring>
#include <string_view>

#include "corefoundation/byte_hash.h"
#include "corefoundation/contents.h"
#include "corefoundation/misuse.h"
#include "corefoundation/object.h"
#include "failures/failures.h"

// The bytes stand right behind the object.
struct __CFData : hub::platform::Object {
  __CFData(CFAllocatorRef owner, std::size_t its_length_bytes);
  __CFData(CFAllocatorRef owner, std::string_view its_bytes);

  [[nodiscard]] const UInt8* bytes() const { return reinterpret_cast<const UInt8*>(this + 1); }
  [[nodiscard]] std::string_view view() const { return {reinterpret_cast<const char*>(bytes()), length_bytes}; }

  std::size_t length_bytes;
};

namespace hub::platform {
namespace {

bool data_equal(const Object& first, const Object& second) {
  return static_cast<const __CFData&>(first).view() == static_cast<const __CFData&>(second).view();
}

CFHashCode hash_of_data(const Object& object) { return ByteHash::of(static_cast<const __CFData&>(object).view()); }

constexpr ObjectClass kDataClass{kDataTypeId, nullptr, data_equal, hash_of_data};

const __CFData& data_of(CFDataRef data, const char* function) {
  return static_cast<const __CFData&>(object_of(data, kDataClass, function));
}

}  // namespace

std::string_view contents_of_data(const Object& data) { return static_cast<const __CFData&>(data).view(); }

CFDataRef create_unwritten_data(CFAllocatorRef allocator, std::size_t length_bytes, UInt8*& bytes) {
  __CFData* data = create_object<__CFData>(allocator, length_bytes, length_bytes);
  if (data != nullptr) {
    bytes = reinterpret_cast<UInt8*>(data + 1);
  }
  return data;
}

}  // namespace hub::platform

using namespace hub::platform;

__CFData::__CFData(CFAllocatorRef owner, std::size_t its_length_bytes)
    : Object(kDataClass, owner, 1), length_bytes(its_length_bytes) {}

__CFData::__CFData(CFAllocatorRef owner, std::string_view its_bytes) : __CFData(owner, its_bytes.size()) {
  its_bytes.copy(reinterpret_cast<char*>(this + 1), its_bytes.size());
}

CFTypeID CFDataGetTypeID(void) { return kDataTypeId; }

CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length_bytes) {
  if (fails(Fallible::kCFDataCreate)) {
    return nullptr;
  }
  if (length_bytes < 0) {
    misuse("CFDataCreate", "a negative length");
  }
  const std::string_view view(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length_bytes));
  return create_object<__CFData>(allocator, view.size(), view);
}

CFIndex CFDataGetLength(CFDataRef data) { return static_cast<CFIndex>(data_of(data, "CFDataGetLength").length_bytes); }

const UInt8* CFDataGetBytePtr(CFDataRef data) { return data_of(data, "CFDataGetBytePtr").bytes(); }
