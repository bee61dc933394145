/* SPDX-License-Identifier: Apache-2.0 */
/* A plug-in that does not want to be used. */
#include "session_filter.h"

static bool refuse(void* self, IOHIDSessionRef session, IOOptionBits options) {
  (void)self;
  (void)session;
  (void)options;
  return false;
}

SESSION_FILTER(table.open = refuse)
