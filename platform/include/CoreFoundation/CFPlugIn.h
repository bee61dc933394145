/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Plug-in instances: an object made by a plug-in's factory says that it lives, so that the plug-in's code stays loaded.
 */
#ifndef COREFOUNDATION_CFPLUGIN_H
#define COREFOUNDATION_CFPLUGIN_H

#include "CoreFoundation/CFPlugInCOM.h"

PLATFORM_BEGIN_C

/*
 * What a plug-in exports to make its objects: an object of this plug-in type, as an interface with one reference for
 * the caller, or NULL when it makes none of this type.
 */
typedef void* (*CFPlugInFactoryFunction)(CFAllocatorRef allocator, CFUUIDRef type_id);

/*
 * One instance more, or one less, of the factory with this id. Removing more than were added is a misuse. When there is
 * no memory for a factory's first instance std::bad_alloc leaves the function. [any thread]
 */
PLATFORM_EXPORT void CFPlugInAddInstanceForFactory(CFUUIDRef factory_id);
PLATFORM_EXPORT void CFPlugInRemoveInstanceForFactory(CFUUIDRef factory_id);

PLATFORM_END_C

#endif
