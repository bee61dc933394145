/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The system log: messages of a subsystem and category at three levels. [any thread]
 *
 * Formats are those of printf, without wide characters, %n and numbered arguments, and %@ for a CoreFoundation object:
 * a string's text, something short for others. %s and %@ of NULL print "(null)". Nothing is redacted. A message that
 * the host does not record costs the test of its level. One for which there is no memory is
 * lost.
 */
#ifndef OS_LOG_H
#define OS_LOG_H

#include <stdbool.h>
#include <stdint.h>

#include "platform_abi.h"

PLATFORM_BEGIN_C

typedef struct os_log_s* os_log_t;
typedef uint8_t os_log_type_t;

/* The levels in use, each above the one before. */
#define OS_LOG_TYPE_DEFAULT ((os_log_type_t)0x00)
#define OS_LOG_TYPE_ERROR ((os_log_type_t)0x10)
#define OS_LOG_TYPE_FAULT ((os_log_type_t)0x11)

/*
 * The log of this subsystem and category: one per pair, the same in every call. It lives to the end of the process,
 * whatever os_release does, so that who still logs through it after another's release is heard. NULL in place of
 * a text is the empty one. NULL when there is no memory.
 */
PLATFORM_EXPORT os_log_t os_log_create(const char* subsystem, const char* category);

/* Whether a message at this level, or one between those in use, would be recorded. False for a NULL log. */
PLATFORM_EXPORT bool os_log_type_enabled(os_log_t log, os_log_type_t type);

/* Records a message if its level is enabled. Nothing for a NULL log. A NULL format that would be recorded is a misuse.
 */
PLATFORM_EXPORT void os_log_with_type(os_log_t log, os_log_type_t type, const char* format, ...);

#define os_log(log, ...) os_log_with_type((log), OS_LOG_TYPE_DEFAULT, __VA_ARGS__)
#define os_log_error(log, ...) os_log_with_type((log), OS_LOG_TYPE_ERROR, __VA_ARGS__)
#define os_log_fault(log, ...) os_log_with_type((log), OS_LOG_TYPE_FAULT, __VA_ARGS__)

/* Gives a log back. NULL is nothing to give back; what is no log is a misuse. */
PLATFORM_EXPORT void os_release(void* log);

PLATFORM_END_C

#endif
