// SPDX-License-Identifier: Apache-2.0
// The decoder's text as a first version would write it: one stream per record, and its operators for everything.
#pragma once

#include <string>

#include "profile/profile_report.h"

namespace hub::bench {

// The text that NEBLogDecoder::to_string has for a record of three_types.h, without calendar and boot time.
std::string plain_text(const _HubProfileReport& record);

}  // namespace hub::bench
