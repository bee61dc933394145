// SPDX-License-Identifier: Apache-2.0
// The face by which a host decides which queue runs its next block, and when: an order that can be repeated.
//
// A controlled queue has no thread. Its blocks run on the thread that calls run_next_block, in their order and one at a
// time, and that thread is on the queue until the block is done. All else is as the public header says. One thread does
// everything with controlled queues. [host]
#pragma once

#include <functional>
#include <vector>

#include "dispatch/dispatch.h"

namespace hub::platform {

// From now on queues that are created are controlled. `wait` is called, again and again, while dispatch_sync waits for
// its block or the last dispatch_release for the queue's end: it runs at least one block each time, of whichever queue.
// One that runs none is a misuse of the function that waits: it would never return. Empty, as at the start of the
// process: queues that are created have threads; those that were controlled stay so, and nobody can wait for them.
PLATFORM_EXPORT void control_queues(std::function<void()> wait);

// The controlled queues whose next block could run now: they have one and are not in the midst of one. In the order of
// their creation.
PLATFORM_EXPORT std::vector<dispatch_queue_t> runnable_queues();

// Runs the next block of a queue that could run one; any other queue is a misuse.
PLATFORM_EXPORT void run_next_block(dispatch_queue_t queue);

}  // namespace hub::platform
