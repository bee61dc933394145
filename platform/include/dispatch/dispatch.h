/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Serial queues: each runs its blocks on a thread of its own, one at a time, in the order in which they were added.
 *
 * Blocks. The compilers of this platform have none: a block is any C++ callable, copied when it is handed over. The
 * functions that take one are therefore for C++. A block that throws ends the process.
 *
 * Misuse. NULL in place of a queue, a queue that nobody owns any more, and an empty block end the process with a
 * sentence on standard error. When there is no memory for a block std::bad_alloc leaves the function, and nothing is
 * added.
 */
#ifndef DISPATCH_DISPATCH_H
#define DISPATCH_DISPATCH_H

#include "platform_abi.h"

#ifdef __cplusplus
#include <functional>
using dispatch_block_t = std::function<void()>;
#endif

PLATFORM_BEGIN_C

typedef struct dispatch_queue_s* dispatch_queue_t;

/* Zero at first. A static or global variable. */
typedef long dispatch_once_t;

/*
 * A new serial queue, owned by the caller; `label` names its thread with up to 15 bytes, NULL leaves it unnamed.
 * `attributes` has no meaning. NULL when there is no memory or no thread to be had. [any thread]
 */
PLATFORM_EXPORT dispatch_queue_t dispatch_queue_create(const char* label, const void* attributes);

/*
 * One reference more, or one less. The last release lets the blocks that were added still run, and then ends the
 * queue's thread; called elsewhere than on the queue it returns when that has happened. Called on the queue it returns
 * at once. [any thread]
 */
PLATFORM_EXPORT void dispatch_retain(dispatch_queue_t queue);
PLATFORM_EXPORT void dispatch_release(dispatch_queue_t queue);

#ifdef __cplusplus

/*
 * Adds a block and returns at once. The queue lives at least until the block has run; what the block holds is given
 * back on the queue. [any thread]
 */
PLATFORM_EXPORT void dispatch_async(dispatch_queue_t queue, dispatch_block_t block);

/* Adds a block and returns when it has run. On the queue itself this would wait forever: a misuse. [any thread] */
PLATFORM_EXPORT void dispatch_sync(dispatch_queue_t queue, const dispatch_block_t& block);

/*
 * Runs the block if no call with this token has run one before. Every call returns only when the block has been run,
 * whoever runs it, and sees what it wrote. Within the block itself that would be never: a misuse. [any thread]
 */
PLATFORM_EXPORT void dispatch_once(dispatch_once_t* token, const dispatch_block_t& block);

#endif

PLATFORM_END_C

#endif
