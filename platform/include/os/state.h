/* SPDX-License-Identifier: Apache-2.0 */
/*
 * State capture: whoever has state worth seeing registers a handler, and answers each capture with a titled record.
 */
#ifndef OS_STATE_H
#define OS_STATE_H

#include <stdint.h>

#include "dispatch/dispatch.h"

PLATFORM_BEGIN_C

/* Why state is captured: os_state_hints_s.api. */
#define OS_STATE_API_ERROR 1u   /* an error was reported */
#define OS_STATE_API_FAULT 2u   /* a fault was reported */
#define OS_STATE_API_REQUEST 3u /* somebody asked for it */

typedef struct os_state_hints_s {
  uint32_t api;
} * os_state_hints_t;

#define OS_STATE_DATA_SERIALIZED_CF_OBJECT 1u /* os_state_data_s.type: a property list */

/* An array without a length is C's; the compilers of this platform have it in C++ as well. */
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"

/* One record: a head of 200 bytes, then the data. Made with malloc by the handler; the platform frees it. */
typedef struct os_state_data_s {
  uint32_t type;
  uint32_t data_size_bytes;
  char decoder_library[64]; /* empty: the platform knows how to show the data */
  char decoder_type[64];
  char title[64]; /* zero-terminated */
  uint8_t data[];
} * os_state_data_t;

typedef uint64_t os_state_handle_t;

#ifdef __cplusplus
using os_state_block_t = std::function<os_state_data_t(os_state_hints_t)>;

/*
 * Has each later capture call the handler on the queue, which is retained; with a NULL queue on the capturing thread.
 * Handlers are called in the order of their registration. NULL from one: it has nothing to say. The handle names the
 * registration, which lasts to the end of the process; 0 when there is no memory. An empty handler is a misuse; one
 * that throws ends the process. [any thread]
 */
PLATFORM_EXPORT os_state_handle_t os_state_add_handler(dispatch_queue_t queue, os_state_block_t handler);
#endif

PLATFORM_END_C

#endif
