// SPDX-License-Identifier: Apache-2.0
#include "corefoundation/constant_memory.h"

#include <array>
#include <atomic>
#include <cstdlib>

namespace hub::platform {
namespace {

constexpr std::size_t kSetAsideBytes = std::size_t{64} << 10U;

alignas(std::max_align_t) constinit std::array<std::byte, kSetAsideBytes> set_aside{};
constinit std::atomic<std::size_t> used_bytes = 0;

void* take_set_aside(std::size_t length_bytes) {
  constexpr std::size_t kStep = alignof(std::max_align_t);
  const std::size_t taken = (length_bytes + kStep - 1) / kStep * kStep;
  const std::size_t before = used_bytes.fetch_add(taken, std::memory_order_relaxed);
  return taken <= kSetAsideBytes && before <= kSetAsideBytes - taken ? set_aside.data() + before : nullptr;
}

}  // namespace

void* constant_memory(std::size_t length_bytes) {
  void* memory = std::malloc(length_bytes);
  return memory != nullptr ? memory : take_set_aside(length_bytes);
}

}  // namespace hub::platform
