/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Numbers: signed integers of up to 64 bits and IEEE floating point. Two numbers are equal when their values are.
 */
#ifndef COREFOUNDATION_CFNUMBER_H
#define COREFOUNDATION_CFNUMBER_H

#include "CoreFoundation/CFBase.h"

PLATFORM_BEGIN_C

typedef CFIndex CFNumberType;

enum {
  kCFNumberSInt8Type = 1,
  kCFNumberSInt16Type = 2,
  kCFNumberSInt32Type = 3,
  kCFNumberSInt64Type = 4,
  kCFNumberFloat32Type = 5,
  kCFNumberFloat64Type = 6,
  kCFNumberCharType = 7,
  kCFNumberShortType = 8,
  kCFNumberIntType = 9,
  kCFNumberLongType = 10,
  kCFNumberLongLongType = 11,
  kCFNumberFloatType = 12,
  kCFNumberDoubleType = 13,
  kCFNumberCFIndexType = 14
};

PLATFORM_EXPORT CFTypeID CFNumberGetTypeID(void);

/*
 * A new number from the value of this type at `value`, in the machine's byte order and of any alignment. NULL when the
 * type is none of those above and when there is no memory.
 */
PLATFORM_EXPORT CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void* value);

/* The fixed-width type (1 to 6) that the number was created with. */
PLATFORM_EXPORT CFNumberType CFNumberGetType(CFNumberRef number);

/* True for the floating-point types. */
PLATFORM_EXPORT Boolean CFNumberIsFloatType(CFNumberRef number);

/*
 * Writes the number as a value of this type. True when nothing was lost. Else false, and what is written is the nearest
 * there is: an integer keeps its low bytes, a real number is cut towards zero and held at the limits of 64 bits (NaN
 * gives 0). False with nothing written when the type is none of those above.
 */
PLATFORM_EXPORT Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);

PLATFORM_END_C

#endif
