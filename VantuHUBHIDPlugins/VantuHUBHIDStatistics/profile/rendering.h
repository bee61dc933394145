// SPDX-License-Identifier: Apache-2.0
// Which layouts a report's payload has, whatever its category: for tools that show or make payloads in another form
// than a line.
#pragma once

#include "profile/payload.h"

namespace hub::profile {

// The layouts that the decoder of the report's category prints, in their order. [any thread]
Rendering rendering_of(const _HubProfileReport& report);

}  // namespace hub::profile
