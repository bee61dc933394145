// SPDX-License-Identifier: Apache-2.0
#include "profile/line_text.h"

#include <array>
#include <string_view>

#include "profile/category.h"
#include "profile/core_payloads.h"
#include "profile/line_frame.h"
#include "profile/payload_items.h"

namespace hub::profile {
namespace {

// A line is put together here, and copied once.
constexpr std::size_t kLineRoom = kBeginningRoom + 4 * Name::kRoom + 2 * kMostRows * kItemRoom + kEndRoom;
using LineBuffer = std::array<char, kLineRoom>;

Name decimal_name(std::uint32_t number) {
  std::array<char, kMostDecimalDigits> digits;
  return Name({digits.data(), put_decimal(digits.data(), number, decimal_length(number))});
}

// What a line shows for an id without a name.
constexpr auto kIdsInDecimal = [] {
  std::array<Name, 256> names;
  for (unsigned id = 0; id < names.size(); ++id) {
    const ByteText& text = kByteTexts[id];
    names[id] = Name({text.text.data(), text.length - 1});
  }
  return names;
}();

const Name& shown(const Name* name, std::uint8_t id) { return name != nullptr ? *name : kIdsInDecimal[id]; }

struct LineNames {
  LineNames(const Category& of, const _HubProfileReport& report)
      : category(shown(kCategoryNames.find(report.category_id), report.category_id)),
        component(shown(component_name(of, report.component_id), report.component_id)),
        event(shown(event_name(of, report.component_id, report.event_id), report.event_id)),
        type(shown(kTypeNames.find(report.type_id), report.type_id)) {}

  const Name& category;
  const Name& component;
  const Name& event;
  const Name& type;
};

// Writes a line into the buffer and returns it.
std::string_view write_line(const _HubProfileReport& report, LineBuffer& buffer) {
  const Category& category = category_of(report);
  const auto has_room = [](char* out) { return out; };
  const auto put_subtype = [&](char* out, const Field& field, std::uint32_t subtype) {
    const Name* name = subtype_name(category, report.component_id, subtype);
    return put_name_item(out, field.key, name != nullptr ? *name : decimal_name(subtype), field.column);
  };
  char* out = put_beginning(buffer.data(), LineNames(category, report), report, put_name_item);
  out = put_items(out, choose_layouts(category.layouts, report), payload_of(report), has_room, put_subtype);
  out = put_end(out, report, LineTimes(report));
  return {buffer.data(), static_cast<std::size_t>(out - buffer.data())};
}

}  // namespace

void append_line(const _HubProfileReport& report, std::string& out) {
  LineBuffer buffer;
  out += write_line(report, buffer);
}

std::string line_of(const _HubProfileReport& report) {
  LineBuffer buffer;
  return std::string(write_line(report, buffer));
}

}  // namespace hub::profile
