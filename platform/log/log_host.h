// SPDX-License-Identifier: Apache-2.0
// The face by which a host reads the log.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "os/log.h"

namespace hub::platform {

struct LogMessage {
  os_log_type_t type;
  std::string subsystem;
  std::string category;
  std::string text;  // as formatted, with its final line end if the format has one
};

// From now on each enabled message goes to the recorder, one at a time, in the order in which they were logged, on the
// thread that logs. An empty recorder: nothing is enabled, as at the start of the process. When this returns, the one
// before is not called any more and has been destroyed.
//
// What the recorder itself logs is dropped. It must not wait for another thread that logs, nor set a recorder or level
// (a misuse); if it throws, the process ends. [any thread]
PLATFORM_EXPORT void set_log_recorder(std::function<void(const LogMessage&)> recorder);

// How many messages were lost because there was no memory to format them, since the process started. [any thread]
PLATFORM_EXPORT std::uint64_t lost_log_messages();

enum class LowestLogLevel { kDefault, kError, kFault, kOff };

// The lowest level that is enabled when there is a recorder; kDefault at the start. [any thread]
PLATFORM_EXPORT void set_lowest_log_level(LowestLogLevel level);

}  // namespace hub::platform
