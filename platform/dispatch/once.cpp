// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <cstdint>

#include "corefoundation/misuse.h"
#include "dispatch/block.h"
#include "dispatch/dispatch.h"

namespace hub::platform {
namespace {

// A token's value: 0, then the thread that runs the block, then this.
constexpr dispatch_once_t kHasRun = -1;

// A number that no other living thread has.
dispatch_once_t this_thread() {
  [[gnu::tls_model("initial-exec")]] thread_local char mark;
  return static_cast<dispatch_once_t>(reinterpret_cast<std::intptr_t>(&mark));
}

}  // namespace
}  // namespace hub::platform

using namespace hub::platform;

void dispatch_once(dispatch_once_t* token, const dispatch_block_t& block) {
  expect_callable(block, "dispatch_once");
  const std::atomic_ref<dispatch_once_t> state(*token);
  dispatch_once_t seen = 0;
  if (state.compare_exchange_strong(seen, this_thread(), std::memory_order_acquire)) {
    call_block(block);
    state.store(kHasRun, std::memory_order_release);
    state.notify_all();
    return;
  }
  if (seen == this_thread()) {
    misuse("dispatch_once", "the token of the block that it is called in");
  }
  while (seen != kHasRun) {
    state.wait(seen, std::memory_order_acquire);
    seen = state.load(std::memory_order_acquire);
  }
}
