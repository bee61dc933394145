/* SPDX-License-Identifier: Apache-2.0 */
/* A library, and no plug-in. */
#include "platform_abi.h"

PLATFORM_EXPORT int something_else(void);
PLATFORM_EXPORT int something_else(void) { return 0; }
