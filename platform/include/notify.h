/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Notifications by name: whoever registered for a name hears of each post. [any thread]
 *
 * A handler that throws ends the process.
 */
#ifndef NOTIFY_H
#define NOTIFY_H

#include <stdint.h>

#include "dispatch/dispatch.h"

#ifdef __cplusplus
#include <functional>
using notify_handler_t = std::function<void(int token)>;
#endif

PLATFORM_BEGIN_C

#define NOTIFY_STATUS_OK 0
#define NOTIFY_STATUS_INVALID_NAME 1  /* NULL or empty */
#define NOTIFY_STATUS_INVALID_TOKEN 2 /* no such registration */
#define NOTIFY_STATUS_FAILED 3        /* there is no memory, or notifications cannot be had */

#ifdef __cplusplus

/*
 * Has each later post of this name run the handler, with the registration's token, on the queue; the queue is retained
 * until the registration is cancelled. A NULL queue: on the posting thread, before the post returns. Registering a name
 * again adds a registration. `token` is left alone on failure. An empty handler and a NULL token are misuses.
 */
PLATFORM_EXPORT uint32_t notify_register_dispatch(const char* name, int* token, dispatch_queue_t queue,
                                                  notify_handler_t handler);

#endif

/*
 * Ends a registration and releases its queue: posts from now on do not reach it. What was posted before may still be on
 * its way to the handler: its queue's last release, elsewhere than on the queue, returns when it has arrived.
 */
PLATFORM_EXPORT uint32_t notify_cancel(int token);

/*
 * Tells all registrations for this name, in the order in which they were made. One that is made meanwhile is not told.
 * When there is no memory for it the later ones are not told.
 */
PLATFORM_EXPORT uint32_t notify_post(const char* name);

PLATFORM_END_C

#endif
