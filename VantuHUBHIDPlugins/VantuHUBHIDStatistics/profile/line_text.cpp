// SPDX-License-Identifier: Apache-2.0
#include "profile/line_text.h"

#include <array>

#include "profile/category.h"
#include "profile/core_payloads.h"

namespace hub::profile {
namespace {

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

}  // namespace

char* put_line(char* out, const _HubProfileReport& report) {
  const Category& category = category_of(report);
  return put_line(out, report, category, choose_layouts(category.layouts, report));
}

char* put_line(char* out, const _HubProfileReport& report, const Category& category, const Rendering& rendering) {
  const auto has_room = [](char* at) { return at; };
  const auto put_subtype = [&](char* at, const Field& field, std::uint32_t subtype) {
    const Name* name = subtype_name(category, report.component_id, subtype);
    return put_name_item(at, field.key, name != nullptr ? *name : decimal_name(subtype), field.column);
  };
  out = put_beginning(out, LineNames(category, report), report, put_name_item);
  out = put_items(out, rendering, payload_of(report), has_room, put_subtype);
  return put_end(out, report, LineTimes(report));
}

}  // namespace hub::profile
