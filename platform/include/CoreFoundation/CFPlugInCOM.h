/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Interfaces of plug-ins: an interface is a pointer to a pointer to a table of functions. Every table begins with the
 * four entries of IUNKNOWN_C_GUTS, and every function takes the interface first.
 *
 * All numbers have the widths that the platform gives them, whatever this machine's long is.
 */
#ifndef COREFOUNDATION_CFPLUGINCOM_H
#define COREFOUNDATION_CFPLUGINCOM_H

#include "CoreFoundation/CFUUID.h"

PLATFORM_BEGIN_C

typedef SInt32 HRESULT; /* negative: failed */
typedef UInt32 ULONG;
typedef void* LPVOID;
typedef CFUUIDBytes REFIID;

#define S_OK ((HRESULT)0)
#define E_NOINTERFACE ((HRESULT)0x80000004)

#define SUCCEEDED(Status) ((HRESULT)(Status) >= 0)

/* 00000000-0000-0000-C000-000000000046: what every plug-in object answers to. */
#define IUnknownUUID                                                                                              \
  CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xC0, \
                                 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46)

/*
 * Entries 0 to 3. QueryInterface stores another interface of the object in *out, with a reference for the caller, and
 * returns S_OK; E_NOINTERFACE, with NULL in *out, for one that it does not have. AddRef and Release return the number
 * of references afterwards; at 0 the object is gone.
 */
#define IUNKNOWN_C_GUTS                                           \
  void* _reserved;                                                \
  HRESULT (*QueryInterface)(void* self, REFIID iid, LPVOID* out); \
  ULONG (*AddRef)(void* self);                                    \
  ULONG (*Release)(void* self)

typedef struct IUnknownVTbl {
  IUNKNOWN_C_GUTS;
} IUnknownVTbl;

PLATFORM_END_C

#endif
