/* SPDX-License-Identifier: Apache-2.0 */
/* All of CoreFoundation that this platform has. */
#ifndef COREFOUNDATION_COREFOUNDATION_H
#define COREFOUNDATION_COREFOUNDATION_H

#include "CoreFoundation/CFAllocator.h"
#include "CoreFoundation/CFArray.h"
#include "CoreFoundation/CFBase.h"
#include "CoreFoundation/CFBoolean.h"
#include "CoreFoundation/CFData.h"
#include "CoreFoundation/CFDictionary.h"
#include "CoreFoundation/CFNumber.h"
#include "CoreFoundation/CFPlugIn.h"
#include "CoreFoundation/CFPlugInCOM.h"
#include "CoreFoundation/CFPropertyList.h"
#include "CoreFoundation/CFString.h"
#include "CoreFoundation/CFUUID.h"

#endif
