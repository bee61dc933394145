// SPDX-License-Identifier: Apache-2.0
// What holds for a block or a handler, whoever runs it.
#pragma once

#include <functional>
#include <utility>

#include "corefoundation/misuse.h"

namespace hub::platform {

// An empty one is a misuse of the function that it was handed to.
template <typename Signature>
void expect_callable(const std::function<Signature>& block, const char* function) {
  if (!block) {
    misuse(function, "an empty block");
  }
}

// Calls it. One that throws ends the process, and what the block holds is not given back before that.
template <typename Block, typename... Arguments>
auto call_block(Block& block, Arguments&&... arguments) noexcept {
  return block(std::forward<Arguments>(arguments)...);
}

}  // namespace hub::platform
