// SPDX-License-Identifier: Apache-2.0
// Property values of a device file as CoreFoundation objects.
#pragma once

#include <new>

#include "CoreFoundation/CoreFoundation.h"
#include "corefoundation/owned.h"
#include "host/device/device_file.h"

namespace hub::host {

// What a function of the platform has created. Throws std::bad_alloc where it gave NULL.
template <typename Ref>
platform::Owned<Ref> created(Ref object) {
  if (object == nullptr) {
    throw std::bad_alloc();
  }
  return platform::Owned<Ref>(object);
}

// A dictionary of these properties. Throws std::bad_alloc.
platform::Owned<CFDictionaryRef> create_dictionary(const Properties& properties);

}  // namespace hub::host
