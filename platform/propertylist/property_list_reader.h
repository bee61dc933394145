// SPDX-License-Identifier: Apache-2.0
// The face by which a host reads property lists back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "platform_abi.h"

namespace hub::platform {

// A property list's value, independent of CoreFoundation objects.
struct PropertyListValue;
struct PropertyListMember;
using PropertyListArray = std::vector<PropertyListValue>;
using PropertyListDictionary = std::vector<PropertyListMember>;  // in the file's order

struct PropertyListValue {
  // Texts are UTF-8.
  std::variant<bool, std::int64_t, double, std::string, std::vector<std::byte>, PropertyListArray,
               PropertyListDictionary>
      value;
};

struct PropertyListMember {
  std::string key;  // UTF-8
  PropertyListValue value;
};

// What is read at most. A value that is shared counts wherever it stands: few bytes can stand for very many values.
inline constexpr std::size_t kMostPropertyListValues = std::size_t{1} << 20U;    // keys are values too
inline constexpr std::size_t kMostPropertyListContent = std::size_t{64} << 20U;  // bytes of texts and data, as written
inline constexpr std::size_t kDeepestPropertyList = 256;  // arrays and dictionaries inside others

// Says what is wrong, at which offset from the first byte on, and what was expected.
class PLATFORM_EXPORT PropertyListError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reads a binary property list of format 1.0. Refuses with a PropertyListError what is damaged or hostile: a missing
// head or trailer, offsets and references outside, objects that contain themselves, lengths beyond the bytes, keys that
// are no texts or stand twice, objects that a PropertyListValue does not hold (dates, integers beyond signed 64 bits),
// lone surrogates and other invalid texts, and what is beyond the limits above. What no object leads to is not looked
// at. [any thread]
PLATFORM_EXPORT PropertyListValue read_property_list(std::span<const std::byte> bytes);

}  // namespace hub::platform
