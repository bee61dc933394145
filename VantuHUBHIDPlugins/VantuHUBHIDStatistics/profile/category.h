// SPDX-License-Identifier: Apache-2.0
// All that makes the lines of one category of reports, as data. The category's room has the rows; its decoder's virtual
// operations answer from them, lines of the registered categories are written from them without asking.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "profile/layout_choice.h"
#include "profile/name_table.h"
#include "profile/payload.h"

namespace hub::profile {

// The names that a component's ids have: of its events, or of its subtypes. kAny: of every component without a row
// above.
struct ComponentNames {
  int component_id;
  const NameTable* names;
};

struct Category {
  unsigned int id;
  const NameTable* components;               // null: they have no names
  std::span<const ComponentNames> events;    // by component, the first row that fits; without one they have no names
  std::span<const ComponentNames> subtypes;  // likewise, of rows of Form::kSubtype
  std::span<const LayoutChoice> layouts;     // beside those that all categories share
};

// The registered categories, by id. Their names: kCategoryNames.
extern const std::span<const Category* const> kCategories;

// The category of a report; one without names and layouts when it is not registered. [any thread]
const Category& category_of(const _HubProfileReport& report);

inline const Name* name_among(std::span<const ComponentNames> rows, unsigned int component_id, std::uint32_t id) {
  for (const ComponentNames& row : rows) {
    if (row.component_id == kAny || static_cast<unsigned int>(row.component_id) == component_id) {
      return row.names->find(id);
    }
  }
  return nullptr;
}

// What a line shows for an id of a category, or null where that is the number in decimal. [any thread]
inline const Name* component_name(const Category& category, unsigned int component_id) {
  return category.components != nullptr ? category.components->find(component_id) : nullptr;
}
inline const Name* event_name(const Category& category, unsigned int component_id, unsigned int event_id) {
  return name_among(category.events, component_id, event_id);
}
inline const Name* subtype_name(const Category& category, unsigned int component_id, std::uint32_t subtype) {
  return name_among(category.subtypes, component_id, subtype);
}

// The name, or the number in decimal.
inline std::string name_or_number(const Name* name, std::uint32_t number) {
  return name != nullptr ? std::string(name->view()) : std::to_string(number);
}

}  // namespace hub::profile
