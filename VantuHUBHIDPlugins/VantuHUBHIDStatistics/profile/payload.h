// SPDX-License-Identifier: Apache-2.0
// Payload layouts as data: a layout is a list of rows, a row is one item of the line. One walker prints them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <streambuf>
#include <string>
#include <string_view>

#include "little_endian.h"
#include "profile/item_text.h"
#include "profile/profile_report.h"

namespace hub::profile {

inline constexpr std::size_t kPayloadSize = sizeof(_HubProfileReport::payload);

using Payload = std::span<const std::byte, kPayloadSize>;

// The bytes behind a report's header. The report must outlive them.
inline Payload payload_of(const _HubProfileReport& report) { return std::as_bytes(std::span(report.payload)); }

enum class Form : std::uint8_t {
  kUnsigned,    // little-endian number, decimal
  kConstant,    // no bytes of the payload: the kind's own number, decimal
  kQuotedHex,   // little-endian number of 4 bytes, lower-case hexadecimal in quotes; the column is that of the first
                // quote
  kFixedPoint,  // signed little-endian number in fixed point, six significant digits
  kText,        // bytes up to the first zero or the field's end, in quotes
  kBytes,       // list of bytes in decimal
  kSubtype,     // little-endian number, printed in quotes as the decoder names this subtype
};

// What the bytes of a row are and how they are printed.
struct Kind {
  Form form;
  std::uint8_t width_bytes;
  std::uint8_t detail = 0;  // kConstant: the number; kFixedPoint: how many of the bits are the fraction
};

inline constexpr Kind u8{Form::kUnsigned, 1};
inline constexpr Kind u16{Form::kUnsigned, 2};
inline constexpr Kind u32{Form::kUnsigned, 4};
inline constexpr Kind u64{Form::kUnsigned, 8};
inline constexpr Kind hex32{Form::kQuotedHex, 4};
inline constexpr Kind subtype32{Form::kSubtype, 4};
inline constexpr Kind fixed16_16{Form::kFixedPoint, 4, 16};
inline constexpr Kind fixed20_12{Form::kFixedPoint, 4, 12};

consteval Kind text(std::uint8_t width_bytes) { return {Form::kText, width_bytes}; }
consteval Kind bytes(std::uint8_t width_bytes) { return {Form::kBytes, width_bytes}; }
consteval Kind constant(std::uint8_t number) { return {Form::kConstant, 0, number}; }

// In place of an offset: the list is printed whole.
inline constexpr std::uint8_t kWholeList = 0xFF;

// One item of the line.
struct Field {
  std::uint8_t at;  // offset in the payload
  Kind kind;
  ItemKey key;
  std::uint8_t column = 0;  // least width of the value's text, blanks in front; 0: none
  // kBytes only: offset of the 16-bit number of bytes in use; more than the field has counts as all of them
  std::uint8_t length_at = kWholeList;
};

// The items of one layout, in print order. The name is ours, for messages and other formats; a line does not show it.
struct Layout {
  constexpr Layout(std::string_view its_name, std::span<const Field> its_fields)
      : name(its_name),
        fields(its_fields),
        has_text(std::any_of(its_fields.begin(), its_fields.end(),
                             [](const Field& field) { return field.kind.form == Form::kText; })) {}

  std::string_view name;
  std::span<const Field> fields;
  bool has_text;  // whether bytes of the payload are printed as they come
};

// What a report's payload is printed as: one after the other, absent ones left out.
struct Rendering {
  const Layout* first = nullptr;
  const Layout* second = nullptr;
};

// Names a number of Form::kSubtype.
using SubtypeName = std::function<std::string(std::uint32_t subtype)>;

inline constexpr std::size_t kMostRows = 32;

// True when every row, and the length that it is cut at, lies inside the payload, or at its beginning when it takes
// none of it, and when the items of all rows fit into the room for a line: pinned beside each table.
consteval bool fits(std::span<const Field> fields) {
  for (const Field& field : fields) {
    if (field.at + field.kind.width_bytes > kPayloadSize || (field.kind.width_bytes == 0 && field.at != 0) ||
        (field.length_at != kWholeList && field.length_at + sizeof(std::uint16_t) > kPayloadSize)) {
      return false;
    }
  }
  return fields.size() <= kMostRows &&
         std::all_of(fields.begin(), fields.end(), [](const Field& field) { return field.column <= kLongestColumn; });
}

// The number of a kUnsigned, kQuotedHex, kSubtype or kConstant row.
std::uint64_t number_of(const Field& field, Payload payload);

// The number of a kFixedPoint row, exactly.
double real_of(const Field& field, Payload payload);

// The text of a kText row: no zero byte, any other; at most the field's width. It points into the payload.
std::string_view text_of(const Field& field, Payload payload);

// The bytes of a kBytes row that are in use. They point into the payload.
std::span<const std::byte> bytes_of(const Field& field, Payload payload);

// Prints the items of a rendering. `subtype_name` is asked for rows of Form::kSubtype; where a layout has such a row it
// must be there. [any thread]
void print_rendering(std::streambuf& out, const Rendering& rendering, Payload payload,
                     const SubtypeName& subtype_name = {});

}  // namespace hub::profile
