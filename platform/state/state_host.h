// SPDX-License-Identifier: Apache-2.0
// The face by which a host captures state.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>

#include "os/state.h"

namespace hub::platform {

struct FreeStateData {
  void operator()(os_state_data_t data) const { std::free(data); }
};
using OwnedStateData = std::unique_ptr<os_state_data_s, FreeStateData>;

// How many handlers are registered. [any thread]
PLATFORM_EXPORT std::size_t state_handlers();

// Calls every handler that is registered now, one after the other in the order of registration, each on its queue, with
// hints of this api. Each that answers: `take` gets its number (from 0) and its record, on the calling thread. On a
// handler's queue it is a misuse. [any thread but a handler's queue]
PLATFORM_EXPORT void capture_state(std::uint32_t api,
                                   const std::function<void(std::size_t handler, OwnedStateData data)>& take);

// Asks one handler alone, by its number; NULL when it has nothing to say. A number that no handler has is a misuse, and
// so is a call on the handler's queue. [any thread but the handler's queue]
PLATFORM_EXPORT OwnedStateData ask_state_handler(std::size_t handler, std::uint32_t api);

// The same, as if the capture had no hints to hand over: the handler gets NULL in their place, and has to live with it.
// [any thread but the handler's queue]
PLATFORM_EXPORT OwnedStateData ask_state_handler_without_hints(std::size_t handler);

// Forgets all handlers and releases their queues; handles are not used again. During a capture it is a misuse.
// [host, when nobody captures]
PLATFORM_EXPORT void clear_state_handlers();

}  // namespace hub::platform
