// SPDX-License-Identifier: Apache-2.0
// What objects hold, for the platform's own walks over them. Everything is lent by the object. Each function takes an
// object that is known to be of its type.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "CoreFoundation/CFData.h"
#include "CoreFoundation/CFNumber.h"
#include "corefoundation/number_object.h"
#include "corefoundation/object.h"
#include "corefoundation/string_object.h"

namespace hub::platform {

struct StringContents {
  std::string_view utf8;  // valid
  std::size_t utf16_length;
  CFHashCode hash;
  bool ascii;
};

struct NumberContents {
  CFNumberType fixed_type;  // 1 to 6
  std::int64_t integer;     // of the integer types
  double real;              // of the floating-point types; one of single precision is exact in it
};

struct KeyAndValue {
  const void* key;
  const void* value;
};

inline StringContents contents_of_string(const Object& string) {
  const auto& object = static_cast<const __CFString&>(string);
  return {object.view(), object.utf16_length, object.hash(), object.ascii};
}

inline NumberContents contents_of_number(const Object& number) {
  const auto& object = static_cast<const __CFNumber&>(number);
  return {object.fixed_type, object.integer, object.real};
}

bool contents_of_boolean(const Object& boolean);
std::string_view contents_of_data(const Object& data);
std::span<const void* const> contents_of_array(const Object& array);
std::span<const KeyAndValue> contents_of_dictionary(const Object& dictionary);  // in the dictionary's order

// Data whose bytes the caller has still to write, at `bytes`. NULL when there is no memory.
CFDataRef create_unwritten_data(CFAllocatorRef allocator, std::size_t length_bytes, UInt8*& bytes);

}  // namespace hub::platform
