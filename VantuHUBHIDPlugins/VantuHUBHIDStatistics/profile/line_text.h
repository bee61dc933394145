// SPDX-License-Identifier: Apache-2.0
// Lines of registered categories, written from their rows: the text that the category's decoder gives, without its
// virtual operations, which cannot give another, and without a stream.
#pragma once

#include <cstddef>

#include "profile/category.h"
#include "profile/line_frame.h"
#include "profile/payload_items.h"
#include "profile/profile_report.h"

namespace hub::profile {

// Bounds what a line takes, with what is stored beyond its end.
inline constexpr std::size_t kLineRoom = kBeginningRoom + 4 * Name::kRoom + 2 * kMostRows * kItemRoom + kEndRoom;

// Stores the line of a report and returns its end. [any thread]
char* put_line(char* out, const _HubProfileReport& report);

// The same for who has looked up the report's category and layouts already.
char* put_line(char* out, const _HubProfileReport& report, const Category& category, const Rendering& rendering);

}  // namespace hub::profile
