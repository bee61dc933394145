// SPDX-License-Identifier: Apache-2.0
#include "profile/payload.h"

#include <algorithm>
#include <cmath>

namespace hub::profile {
namespace {

std::uint64_t load_number(Payload payload, const Field& field) {
  switch (field.kind.width_bytes) {
    case 1:
      return load_le<std::uint8_t>(payload, field.at);
    case 2:
      return load_le<std::uint16_t>(payload, field.at);
    case 4:
      return load_le<std::uint32_t>(payload, field.at);
    default:
      return load_le<std::uint64_t>(payload, field.at);
  }
}

void print_value(ItemWriter& out, const Field& field, Payload payload, const SubtypeName& subtype_name) {
  switch (field.kind.form) {
    case Form::kUnsigned:
    case Form::kConstant:
      out.number(number_of(field, payload), field.column);
      break;
    case Form::kQuotedHex:
      out.quoted_hex(number_of(field, payload), field.column);
      break;
    case Form::kFixedPoint:
      out.real(real_of(field, payload), field.column);
      break;
    case Form::kText:
      out.quoted(text_of(field, payload), field.column);
      break;
    case Form::kBytes:
      out.byte_list(bytes_of(field, payload), field.column);
      break;
    case Form::kSubtype:
      out.quoted(subtype_name(static_cast<std::uint32_t>(number_of(field, payload))), field.column);
      break;
  }
}

}  // namespace

std::uint64_t number_of(const Field& field, Payload payload) {
  return field.kind.form == Form::kConstant ? field.kind.detail : load_number(payload, field);
}

double real_of(const Field& field, Payload payload) {
  const auto raw = static_cast<std::int32_t>(load_le<std::uint32_t>(payload, field.at));
  return std::ldexp(static_cast<double>(raw), -field.kind.detail);
}

std::string_view text_of(const Field& field, Payload payload) {
  const auto characters = payload.subspan(field.at, field.kind.width_bytes);
  const auto end = std::find(characters.begin(), characters.end(), std::byte{0});
  return {reinterpret_cast<const char*>(characters.data()), static_cast<std::size_t>(end - characters.begin())};
}

std::span<const std::byte> bytes_of(const Field& field, Payload payload) {
  const std::size_t width_bytes = field.kind.width_bytes;
  const std::size_t used =
      field.length_at != kWholeList ? load_le<std::uint16_t>(payload, field.length_at) : width_bytes;
  return payload.subspan(field.at, std::min(used, width_bytes));
}

void print_rendering(std::streambuf& out, const Rendering& rendering, Payload payload,
                     const SubtypeName& subtype_name) {
  ItemWriter items(out);
  for (const Layout* layout : {rendering.first, rendering.second}) {
    if (layout == nullptr) {
      continue;
    }
    for (const Field& field : layout->fields) {
      items.key(field.key);
      print_value(items, field, payload, subtype_name);
      items.text(",");
    }
  }
  items.flush();
}

}  // namespace hub::profile
