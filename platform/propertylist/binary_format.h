// SPDX-License-Identifier: Apache-2.0
// The binary property list format 1.0, big-endian throughout.
//
//   "bplist00"
//   objects        each a marker byte and what belongs to it
//   offset table   the offset of each object from the first byte on, in the trailer's offset size
//   trailer        32 bytes
//
// A marker's high four bits say what the object is, its low four bits how large:
//
//   0x08, 0x09   false, true
//   0x1n         integer of 2^n bytes, n up to 3; unsigned below 8 bytes, signed in 8
//   0x22, 0x23   real of 4 or 8 bytes
//   0x4n         n bytes of data
//   0x5n         text of n ASCII characters
//   0x6n         text of n UTF-16 units
//   0xAn         array: n references
//   0xDn         dictionary: n references to its keys, then n to its values
//
// n is 15 when the length is 15 or more: the length stands behind the marker as an integer object. A reference is an
// object's place in the offset table, in the trailer's reference size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace hub::platform {

inline constexpr std::string_view kBinaryHead = "bplist00";

enum BinaryMarker : std::uint8_t {
  kFalseMarker = 0x08,
  kTrueMarker = 0x09,
  kIntegerMarker = 0x10,
  kRealMarker = 0x20,
  kDataMarker = 0x40,
  kAsciiMarker = 0x50,
  kUtf16Marker = 0x60,
  kArrayMarker = 0xA0,
  kDictionaryMarker = 0xD0,
};

inline constexpr std::size_t kLengthBehindMarker = 15;

// Where the trailer's fields stand in it. The first six bytes mean nothing here.
inline constexpr std::size_t kTrailerSize = 32;
inline constexpr std::size_t kOffsetSizeAt = 6;         // 1 byte
inline constexpr std::size_t kReferenceSizeAt = 7;      // 1 byte
inline constexpr std::size_t kObjectCountAt = 8;        // 8 bytes
inline constexpr std::size_t kTopObjectAt = 16;         // 8 bytes
inline constexpr std::size_t kOffsetTableStartAt = 24;  // 8 bytes

}  // namespace hub::platform
