// SPDX-License-Identifier: Apache-2.0
// What a log message shows of an object.
#pragma once

#include <string>

#include "CoreFoundation/CFBase.h"

namespace hub::platform {

// A string: its text up to its first zero. A number: its digits, as short as they name it. A boolean: "true" or
// "false". An identifier: its usual form. Of data, arrays and dictionaries how much there is: "<data: 16 bytes>",
// "<array: 3 values>", "<dictionary: 3 values>". An allocator: "<allocator>". NULL: "(null)". [any thread]
std::string describe(CFTypeRef object);

}  // namespace hub::platform
