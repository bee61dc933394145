// SPDX-License-Identifier: Apache-2.0
#include "profile/layout_choice.h"

#include "little_endian.h"
#include "profile/core_payloads.h"

namespace hub::profile {
namespace {

bool fits(int wanted, unsigned int found) { return wanted == kAny || static_cast<unsigned int>(wanted) == found; }

bool fits(const LayoutChoice& choice, const _HubProfileReport& report) {
  return fits(choice.type_id, report.type_id) && fits(choice.component_id, report.component_id) &&
         fits(choice.event_id, report.event_id) &&
         (choice.version == kAny || fits(choice.version, load_le<std::uint16_t>(payload_of(report), 0)));
}

}  // namespace

Rendering choose_layouts(std::span<const LayoutChoice> choices, const _HubProfileReport& report) {
  for (const LayoutChoice& choice : choices) {
    if (fits(choice, report)) {
      return choice.rendering;
    }
  }
  return {core_layout(report.type_id)};
}

}  // namespace hub::profile
