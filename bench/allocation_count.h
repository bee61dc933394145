// SPDX-License-Identifier: Apache-2.0
// Counts heap allocations of a benchmark program.
#pragma once

#include <cstdint>

namespace hub::bench {

// How often operator new was called so far. CoreFoundation objects have their own allocator and are not in it.
std::uint64_t allocation_count();

}  // namespace hub::bench
