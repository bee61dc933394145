// SPDX-License-Identifier: Apache-2.0
// The limit: how fast the decoder's text can be written by code that knows three types of records and nothing else.
#pragma once

#include <cstddef>

#include "profile/profile_report.h"

namespace hub::bench {

// What put_limit_text may write to, from where its text begins.
inline constexpr std::size_t kLimitTextRoom = 1024;

// Writes the text that NEBLogDecoder::to_string has for a record of three_types.h, without calendar and boot time, and
// gives its end. Behind the end it may write as well, within kLimitTextRoom. Any other record has no defined text.
char* put_limit_text(char* out, const _HubProfileReport& record);

}  // namespace hub::bench
