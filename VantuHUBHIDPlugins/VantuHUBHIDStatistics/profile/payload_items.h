// SPDX-License-Identifier: Apache-2.0
// From a layout's rows to the items of a line: the one place where rows become text.
#pragma once

#include <cstddef>
#include <cstdint>

#include "little_endian.h"
#include "profile/item_text.h"
#include "profile/payload.h"

namespace hub::profile {

// Bounds what put_item stores.
inline constexpr std::size_t kItemRoom = item_room(byte_list_room(kPayloadSize));

inline std::uint64_t load_number(Payload payload, const Field& field) {
  switch (field.kind.width_bytes) {
    [[likely]] case 4 : return load_le<std::uint32_t>(payload, field.at);
    case 1:
      return load_le<std::uint8_t>(payload, field.at);
    case 2:
      return load_le<std::uint16_t>(payload, field.at);
    default:
      return load_le<std::uint64_t>(payload, field.at);
  }
}

// Stores the item of a row of one of the rarer forms, and returns its end.
char* put_rarer_item(char* out, const Field& field, Payload payload);

// Stores the item of a row, of any form but kSubtype, and returns its end. Nearly all rows are numbers: they are
// written without a call.
inline char* put_item(char* out, const Field& field, Payload payload) {
  if (field.kind.form == Form::kUnsigned) [[likely]] {
    return put_number_item(out, field.key, load_number(payload, field), field.column);
  }
  if (field.kind.form == Form::kQuotedHex) {
    return put_hexadecimal_item(out, field.key, load_le<std::uint32_t>(payload, field.at), field.column);
  }
  return put_rarer_item(out, field, payload);
}

// Stores the items of a rendering and returns their end. Before each, `with_room(out)` says where there is kItemRoom;
// `put_subtype(out, field, number)` stores an item of Form::kSubtype.
template <typename WithRoom, typename PutSubtype>
char* put_items(char* out, const Rendering& rendering, Payload payload, const WithRoom& with_room,
                const PutSubtype& put_subtype) {
  for (const Layout* layout : {rendering.first, rendering.second}) {
    if (layout == nullptr) {
      continue;
    }
    for (const Field& field : layout->fields) {
      out = with_room(out);
      out = field.kind.form == Form::kSubtype
                ? put_subtype(out, field, static_cast<std::uint32_t>(load_number(payload, field)))
                : put_item(out, field, payload);
    }
  }
  return out;
}

}  // namespace hub::profile
