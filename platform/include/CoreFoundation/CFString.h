/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Immutable texts. A string is kept in UTF-8; its length counts UTF-16 units, as everywhere on the platform.
 */
#ifndef COREFOUNDATION_CFSTRING_H
#define COREFOUNDATION_CFSTRING_H

#include "CoreFoundation/CFBase.h"

PLATFORM_BEGIN_C

typedef UInt32 CFStringEncoding;

enum {
  kCFStringEncodingMacRoman = 0, /* here only as far as it is ASCII */
  kCFStringEncodingASCII = 0x0600,
  kCFStringEncodingUTF8 = 0x08000100
};

PLATFORM_EXPORT CFTypeID CFStringGetTypeID(void);

/*
 * A new string of zero-terminated bytes in the given encoding. NULL when the bytes are not of that encoding (UTF-8 is
 * checked strictly: no overlong forms, no surrogates, nothing above U+10FFFF, nothing cut off), when the encoding is
 * none of those above, and when there is no memory.
 */
PLATFORM_EXPORT CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text,
                                                      CFStringEncoding encoding);

/* The same of `length_bytes` bytes, which may hold zeros. A byte-order mark has no meaning whatever the last argument.
 */
PLATFORM_EXPORT CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length_bytes,
                                                    CFStringEncoding encoding, Boolean is_external_representation);

/* The number of UTF-16 units. */
PLATFORM_EXPORT CFIndex CFStringGetLength(CFStringRef string);

/*
 * The string's own buffer, zero-terminated and lent, or NULL when the string is not kept in that encoding. In UTF-8
 * there always is one; in the others only when the text is all ASCII.
 */
PLATFORM_EXPORT const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding);

/*
 * Copies the text, zero-terminated, into a buffer. False, with the buffer unchanged, when it does not fit or cannot be
 * written in that encoding.
 */
PLATFORM_EXPORT Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex buffer_size_bytes,
                                           CFStringEncoding encoding);

/* The most bytes that `length` UTF-16 units can take, without the final zero; -1 when the encoding is not known. */
PLATFORM_EXPORT CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);

/* The constant string of these UTF-8 bytes, one per text, never freed. Called through CFSTR. */
PLATFORM_EXPORT CFStringRef __CFStringMakeConstantString(const char* text);

PLATFORM_END_C

/* The constant string of a literal. In C++ each place looks it up once. */
#ifdef __cplusplus
#define CFSTR(literal)                                                                      \
  ([]() -> CFStringRef {                                                                    \
    static const CFStringRef constant_string = __CFStringMakeConstantString("" literal ""); \
    return constant_string;                                                                 \
  }())
#else
#define CFSTR(literal) __CFStringMakeConstantString("" literal "")
#endif

#endif
