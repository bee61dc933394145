/* SPDX-License-Identifier: Apache-2.0 */
/* The two truth values. They are constants: there are no others, and none is ever freed. */
#ifndef COREFOUNDATION_CFBOOLEAN_H
#define COREFOUNDATION_CFBOOLEAN_H

#include "CoreFoundation/CFBase.h"

PLATFORM_BEGIN_C

PLATFORM_EXPORT extern const CFBooleanRef kCFBooleanTrue;
PLATFORM_EXPORT extern const CFBooleanRef kCFBooleanFalse;

PLATFORM_EXPORT CFTypeID CFBooleanGetTypeID(void);

PLATFORM_EXPORT Boolean CFBooleanGetValue(CFBooleanRef boolean);

PLATFORM_END_C

#endif
