// SPDX-License-Identifier: Apache-2.0
// Which layouts the reports of a category have, as data: a row says for which reports it is, the first that fits
// decides.
#pragma once

#include <span>

#include "profile/payload.h"

namespace hub::profile {

inline constexpr int kAny = -1;

// What a report must have for the row to fit; kAny: whatever it has.
struct LayoutChoice {
  int component_id;
  int event_id;
  int type_id;
  int version;  // the number in the payload's first two bytes
  Rendering rendering;
};

// The layouts of the first row that fits; without one, the common layout of the report's type. [any thread]
Rendering choose_layouts(std::span<const LayoutChoice> choices, const _HubProfileReport& report);

}  // namespace hub::profile
