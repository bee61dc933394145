/* SPDX-License-Identifier: Apache-2.0 */
/*
 * How the platform library's functions leave it: C linkage and default visibility. Every public header of the platform
 * wraps its declarations in these.
 */
#ifndef PLATFORM_ABI_H
#define PLATFORM_ABI_H

#define PLATFORM_EXPORT __attribute__((visibility("default")))

#ifdef __cplusplus
#define PLATFORM_BEGIN_C extern "C" {
#define PLATFORM_END_C }
#else
#define PLATFORM_BEGIN_C
#define PLATFORM_END_C
#endif

#endif
