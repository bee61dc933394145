/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Allocators: where an object's memory comes from and goes back to.
 *
 * NULL (kCFAllocatorDefault) means the system's allocator wherever an allocator is asked for. An object keeps a
 * reference to its allocator for as long as it lives.
 */
#ifndef COREFOUNDATION_CFALLOCATOR_H
#define COREFOUNDATION_CFALLOCATOR_H

#include "CoreFoundation/CFBase.h"

PLATFORM_BEGIN_C

/*
 * What an allocator consists of. `info` is handed to every callback; `retain` and `release` (each may be NULL) are
 * called once each, when the allocator is created and when it is freed. `allocate` returns NULL when there is no
 * memory; NULL in its place makes an allocator that never gives any. `reallocate` and `deallocate` may be NULL: then
 * nothing can be resized, and freeing does nothing. Blocks are aligned for any scalar type. The callbacks may be called
 * on any thread.
 */
typedef struct CFAllocatorContext {
  CFIndex version; /* 0 */
  void* info;
  const void* (*retain)(const void* info);
  void (*release)(const void* info);
  CFStringRef (*copyDescription)(const void* info);
  void* (*allocate)(CFIndex length_bytes, CFOptionFlags hint, void* info);
  void* (*reallocate)(void* block, CFIndex length_bytes, CFOptionFlags hint, void* info);
  void (*deallocate)(void* block, void* info);
  CFIndex (*preferredSize)(CFIndex length_bytes, CFOptionFlags hint, void* info);
} CFAllocatorContext;

#define kCFAllocatorDefault ((CFAllocatorRef)NULL)

/* The process heap. Constant. */
PLATFORM_EXPORT extern const CFAllocatorRef kCFAllocatorSystemDefault;

/* Gives no memory and frees none: every creation with it fails. Constant. */
PLATFORM_EXPORT extern const CFAllocatorRef kCFAllocatorNull;

PLATFORM_EXPORT CFTypeID CFAllocatorGetTypeID(void);

/* A new allocator with a copy of the context; its own memory comes from `allocator`. NULL when there is none. */
PLATFORM_EXPORT CFAllocatorRef CFAllocatorCreate(CFAllocatorRef allocator, const CFAllocatorContext* context);

/* A block of `length_bytes`, uninitialised; NULL for a length of 0 or less and when there is no memory. */
PLATFORM_EXPORT void* CFAllocatorAllocate(CFAllocatorRef allocator, CFIndex length_bytes, CFOptionFlags hint);

/*
 * Resizes a block. A NULL block is an allocation, a length of 0 frees. NULL when there is no memory: the block is then
 * as it was.
 */
PLATFORM_EXPORT void* CFAllocatorReallocate(CFAllocatorRef allocator, void* block, CFIndex length_bytes,
                                            CFOptionFlags hint);

/* Frees a block of this allocator; nothing for NULL. */
PLATFORM_EXPORT void CFAllocatorDeallocate(CFAllocatorRef allocator, void* block);

/* Copies the allocator's context, of version 0. */
PLATFORM_EXPORT void CFAllocatorGetContext(CFAllocatorRef allocator, CFAllocatorContext* context);

PLATFORM_END_C

#endif
