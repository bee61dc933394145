// SPDX-License-Identifier: Apache-2.0
#include "profile/rendering.h"

#include <algorithm>
#include <iterator>

#include "profile/core_payloads.h"
#include "profile/cumulus_decoder.h"
#include "profile/haptics_decoder.h"
#include "profile/sshb_decoder.h"
#include "profile/wake_decoder.h"

namespace hub::profile {
namespace {

struct CategoryLayouts {
  unsigned int category_id;
  Rendering (*rendering)(const _HubProfileReport& report);
};

// The categories with layouts of their own.
constexpr CategoryLayouts kCategories[] = {
    {4, cumulus::rendering},
    {7, sshb::rendering},
    {10, wake::rendering},
    {11, haptics::rendering},
};

}  // namespace

Rendering rendering_of(const _HubProfileReport& report) {
  const auto* category = std::find_if(std::begin(kCategories), std::end(kCategories),
                                      [&](const auto& row) { return row.category_id == report.category_id; });
  return category != std::end(kCategories) ? category->rendering(report) : Rendering{core_layout(report.type_id)};
}

}  // namespace hub::profile
