// SPDX-License-Identifier: Apache-2.0
#include "os/state.h"

#include <cstddef>
#include <memory>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "corefoundation/misuse.h"
#include "corefoundation/never_destroyed.h"
#include "dispatch/block.h"
#include "dispatch/dispatch_host.h"
#include "dispatch/retained_queue.h"
#include "failures/failures.h"
#include "state/state_host.h"

static_assert(sizeof(os_state_data_s) == 200, "a record's head");
static_assert(offsetof(os_state_data_s, type) == 0);
static_assert(offsetof(os_state_data_s, data_size_bytes) == 4);
static_assert(offsetof(os_state_data_s, decoder_library) == 8);
static_assert(offsetof(os_state_data_s, decoder_type) == 72);
static_assert(offsetof(os_state_data_s, title) == 136);
static_assert(offsetof(os_state_data_s, data) == 200);

namespace hub::platform {
namespace {

struct Handler {
  RetainedQueue queue;
  os_state_block_t block;
};

using Handlers = std::vector<std::shared_ptr<const Handler>>;

class HandlerTable {
 public:
  os_state_handle_t add(std::shared_ptr<const Handler> handler) {
    const std::lock_guard lock(mutex_);
    handlers_.push_back(std::move(handler));
    return ++last_handle_;
  }

  // Those of now, in the order of their registration.
  Handlers all() {
    const std::lock_guard lock(mutex_);
    return handlers_;
  }

  // The same, to be asked; each call has its end_capture.
  Handlers begin_capture() {
    const std::lock_guard lock(mutex_);
    Handlers asked = handlers_;
    ++captures_;  // last: without memory for the copy there is no capture
    return asked;
  }

  void end_capture() {
    const std::lock_guard lock(mutex_);
    --captures_;
  }

  void clear() {
    Handlers removed;  // their queues are released when the lock is gone
    const std::lock_guard lock(mutex_);
    if (captures_ != 0) {
      misuse("clear_state_handlers", "state is being captured");
    }
    removed.swap(handlers_);
  }

 private:
  std::mutex mutex_;
  Handlers handlers_;
  os_state_handle_t last_handle_ = 0;
  std::size_t captures_ = 0;  // under way
};

HandlerTable& handlers() {
  static NeverDestroyed<HandlerTable> instance;  // who registers may do so until the end of the process
  return instance.get();
}

// The handlers of now, who stay for as long as they are asked.
class Capture {
 public:
  Capture() : asked_(handlers().begin_capture()) {}
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;
  ~Capture() { handlers().end_capture(); }

  [[nodiscard]] const Handlers& asked() const { return asked_; }

 private:
  const Handlers asked_;
};

OwnedStateData answer_of(const Handler& handler, os_state_hints_t hints, const char* function) {
  if (is_on_queue(handler.queue.get())) {
    misuse(function, "called on a handler's queue");
  }
  OwnedStateData answer;
  const auto ask = [&] { answer.reset(call_block(handler.block, hints)); };
  if (handler.queue.get() != nullptr) {
    dispatch_sync(handler.queue.get(), [&] {
      expect_on_queue(handler.queue.get(), "a state handler");
      ask();
    });
  } else {
    ask();
  }
  return answer;
}

OwnedStateData answer_of_number(std::size_t number, os_state_hints_t hints, const char* function) {
  const Capture capture;
  if (number >= capture.asked().size()) {
    misuse(function, "no such handler");
  }
  return answer_of(*capture.asked()[number], hints, function);
}

}  // namespace

std::size_t state_handlers() { return handlers().all().size(); }

void capture_state(std::uint32_t api, const std::function<void(std::size_t handler, OwnedStateData data)>& take) {
  const Capture capture;
  const Handlers& asked = capture.asked();
  for (std::size_t number = 0; number < asked.size(); ++number) {
    os_state_hints_s hints{api};  // each handler's own: it may write to them
    if (OwnedStateData answer = answer_of(*asked[number], &hints, "capture_state")) {
      take(number, std::move(answer));
    }
  }
}

OwnedStateData ask_state_handler(std::size_t handler, std::uint32_t api) {
  os_state_hints_s hints{api};
  return answer_of_number(handler, &hints, "ask_state_handler");
}

OwnedStateData ask_state_handler_without_hints(std::size_t handler) {
  return answer_of_number(handler, nullptr, "ask_state_handler_without_hints");
}

void clear_state_handlers() { handlers().clear(); }

}  // namespace hub::platform

using namespace hub::platform;

os_state_handle_t os_state_add_handler(dispatch_queue_t queue, os_state_block_t handler) try {
  if (fails(Fallible::kos_state_add_handler)) {
    return 0;
  }
  expect_callable(handler, "os_state_add_handler");
  return handlers().add(std::make_shared<const Handler>(Handler{RetainedQueue(queue), std::move(handler)}));
} catch (const std::bad_alloc&) {
  return 0;
}
