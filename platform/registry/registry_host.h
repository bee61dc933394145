// SPDX-License-Identifier: Apache-2.0
// The face by which a host fills the registry. All functions take and give plain values; the registry copies what it
// needs and retains the properties. [any thread]
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "CoreFoundation/CoreFoundation.h"

namespace hub::platform {

// An entry's registry id: names it to the host as to everybody, for as long as the registry holds it. Not a handle:
// holding one counts nothing.
using RegistryEntryId = std::uint64_t;

// In place of a parent: the entry becomes a root.
inline constexpr RegistryEntryId kNoParent = 0;

// In place of an id: the registry assigns one that no entry has.
inline constexpr RegistryEntryId kAssignedId = 0;

// Adds an entry behind its parent's other children, or behind the other roots, and returns its id. `properties` may be
// NULL. An unknown parent, an id that an entry has already, and a name longer than 127 bytes are misuses.
PLATFORM_EXPORT RegistryEntryId add_registry_entry(RegistryEntryId parent, const std::string& name,
                                                   const std::string& class_name, CFDictionaryRef properties,
                                                   RegistryEntryId id = kAssignedId);

// Gives an entry other properties from now on: the next reader sees them whole. Values that were read before stay
// valid. NULL: none. An unknown entry is a misuse.
PLATFORM_EXPORT void set_registry_properties(RegistryEntryId entry, CFDictionaryRef properties);

// Takes all entries out. Handles that are still held stay valid, without properties and backends, until they are
// released.
PLATFORM_EXPORT void clear_registry();

// How many references to handles are held: 0 when everything that was looked up has been released.
PLATFORM_EXPORT std::size_t held_registry_references();

// How many releases there have been of handles that were not held. Each is also told on standard error.
PLATFORM_EXPORT std::size_t wrong_registry_releases();

}  // namespace hub::platform
