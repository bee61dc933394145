/* SPDX-License-Identifier: Apache-2.0 */
/* A plug-in whose object has another interface than a session filter's. */
#include "session_filter.h"

static HRESULT give_nothing(void* self, REFIID iid, LPVOID* out) {
  (void)self;
  (void)iid;
  *out = NULL;
  return E_NOINTERFACE;
}

SESSION_FILTER(table.QueryInterface = give_nothing)
