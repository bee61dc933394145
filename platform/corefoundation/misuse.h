// SPDX-License-Identifier: Apache-2.0
// What the platform does about a caller that breaks its promises.
#pragma once

namespace hub::platform {

// Says on standard error which function was misused and how, and ends the process: going on would damage an object that
// somebody else still uses. [any thread]
[[noreturn]] void misuse(const char* function, const char* what);

}  // namespace hub::platform
