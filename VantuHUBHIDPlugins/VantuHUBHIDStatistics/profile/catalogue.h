// SPDX-License-Identifier: Apache-2.0
// All that the decoders know, for tools that show reports in another form than a line: which names and layouts each
// category has. The names are those of the decoders' virtual operations, the layouts those that their lines print.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "profile/category.h"

namespace hub::profile {

// Every layout, those that all categories share first. Their names are unique.
extern const std::span<const Layout* const> kLayouts;

// The layouts of a report, in the order of its line. [any thread]
Rendering rendering_of(const _HubProfileReport& report);

// The name of a report's event, as its line shows it. [any thread]
std::string event_name_of(const _HubProfileReport& report);

// The name of a number in a report's row of Form::kSubtype, as its line shows it. [any thread]
std::string subtype_name_of(const _HubProfileReport& report, std::uint32_t subtype);

}  // namespace hub::profile
