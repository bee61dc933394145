// SPDX-License-Identifier: Apache-2.0
// All that the decoders know, for tools that show reports in another form than a line: which names and layouts each
// category has. The names are those of the decoders' virtual operations, the layouts those that their lines print.
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
extern const std::span<const Category> kCategories;

// Every layout, those that all categories share first. Their names are unique.
extern const std::span<const Layout* const> kLayouts;

// The layouts of a report, in the order of its line. [any thread]
Rendering rendering_of(const _HubProfileReport& report);

// The name of a report's event, as its line shows it. [any thread]
std::string event_name_of(const _HubProfileReport& report);

// The name of a number in a report's row of Form::kSubtype, as its line shows it. [any thread]
std::string subtype_name_of(const _HubProfileReport& report, std::uint32_t subtype);

}  // namespace hub::profile
