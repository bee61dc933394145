// SPDX-License-Identifier: Apache-2.0
#include "profile/payload.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "profile/payload_items.h"

namespace hub::profile {

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

char* put_rarer_item(char* out, const Field& field, Payload payload) {
  switch (field.kind.form) {
    case Form::kFixedPoint:
      return put_real_item(out, field.key, real_of(field, payload), field.column);
    case Form::kText:
      return put_quoted_item(out, field.key, text_of(field, payload), field.column);
    case Form::kBytes:
      return put_byte_list_item(out, field.key, bytes_of(field, payload), field.column);
    default:
      return put_number_item(out, field.key, number_of(field, payload), field.column);
  }
}

void print_rendering(std::streambuf& out, const Rendering& rendering, Payload payload,
                     const SubtypeName& subtype_name) {
  constexpr std::size_t kRoom = 4096;  // for nearly all reports
  std::array<char, kRoom> items;
  const auto hand_over = [&](const char* end) { out.sputn(items.data(), end - items.data()); };
  const auto with_room = [&](char* end) {
    if (static_cast<std::size_t>(items.data() + kRoom - end) >= kItemRoom) [[likely]] {
      return end;
    }
    hand_over(end);
    return items.data();
  };
  // The name is a decoder's, of any length.
  const auto put_subtype = [&](const char* end, const Field& field, std::uint32_t subtype) {
    hand_over(end);
    const std::string name = subtype_name(subtype);
    std::string item(item_room(name.size()), '\0');
    out.sputn(item.data(), put_quoted_item(item.data(), field.key, name, field.column) - item.data());
    return items.data();
  };
  hand_over(put_items(items.data(), rendering, payload, with_room, put_subtype));
}

}  // namespace hub::profile
