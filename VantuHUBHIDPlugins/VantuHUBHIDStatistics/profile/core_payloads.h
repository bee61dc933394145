// SPDX-License-Identifier: Apache-2.0
// What every category shares: names of categories and payload types, and the layouts of the common types.
#pragma once

#include "profile/name_table.h"
#include "profile/payload.h"

namespace hub::profile {

extern const NameTable kCategoryNames;
extern const NameTable kTypeNames;

// The layouts, named after the types that they belong to.
extern const Layout kLongData;
extern const Layout kShortData;
extern const Layout kEvent;
extern const Layout kTrigger;
extern const Layout kFunction;
extern const Layout kSensorInfo;
extern const Layout kExtFunction;
extern const Layout kAnnotation;
extern const Layout kDecimationInfo;

// The layout of a payload type wherever the category has none of its own; null when the type has no items.
const Layout* core_layout(unsigned int type_id);

}  // namespace hub::profile
