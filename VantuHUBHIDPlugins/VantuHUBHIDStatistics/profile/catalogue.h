// SPDX-License-Identifier: Apache-2.0
// All that the decoders know, for tools that show reports in another form than a line: which names and layouts each
// category has. The names are those of the decoders' virtual operations, the layouts those that their lines print.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "profile/category.h"

namespace hub::profile {

// Every layout, those that all categories share first. Their names are unique.
extern const std::span<const Layout* const> kLayouts;

// The layouts of a report, in the order of its line. [any thread]
Rendering rendering_of(const _HubProfileReport& report);

// The names that a report's line shows: constant texts; empty where the line shows the number in decimal. A subtype is
// the number in a row of Form::kSubtype. [any thread]
std::string_view known_category_name(const _HubProfileReport& report);
std::string_view known_component_name(const _HubProfileReport& report);
std::string_view known_event_name(const _HubProfileReport& report);
std::string_view known_type_name(const _HubProfileReport& report);
std::string_view known_subtype_name(const _HubProfileReport& report, std::uint32_t subtype);

// The same for an event and a subtype, with the number where there is no name. [any thread]
std::string event_name_of(const _HubProfileReport& report);
std::string subtype_name_of(const _HubProfileReport& report, std::uint32_t subtype);

}  // namespace hub::profile
