// SPDX-License-Identifier: Apache-2.0
#include "notify.h"

#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "corefoundation/misuse.h"
#include "corefoundation/never_destroyed.h"
#include "dispatch/block.h"
#include "dispatch/dispatch_host.h"
#include "dispatch/retained_queue.h"
#include "failures/failures.h"
#include "notify/notify_host.h"

namespace hub::platform {
namespace {

struct Registration {
  std::string name;
  RetainedQueue queue;
  std::shared_ptr<const notify_handler_t> handler;  // shared with the blocks of posts
};

// Registrations by token, which is the order in which they were made: no token is used twice.
using Registrations = std::map<int, Registration>;

class NotificationCenter {
 public:
  int add(Registration registration) {
    const std::lock_guard lock(mutex_);
    registrations_.emplace(next_token_, std::move(registration));
    return next_token_++;
  }

  bool remove(int token) {
    Registrations::node_type removed;  // its queue is released when the lock is gone
    const std::lock_guard lock(mutex_);
    removed = registrations_.extract(token);
    return !removed.empty();
  }

  void clear() {
    Registrations removed;  // as above
    const std::lock_guard lock(mutex_);
    expect_elsewhere("clear_notifications");
    removed.swap(registrations_);
  }

  std::size_t size() {
    const std::lock_guard lock(mutex_);
    return registrations_.size();
  }

  void post(std::string_view name) {
    for (const int token : tokens_for(name)) {
      if (const auto handler = tell(token)) {
        call_block(*handler, token);
      }
    }
  }

 private:
  std::vector<int> tokens_for(std::string_view name) {
    const std::lock_guard lock(mutex_);
    std::vector<int> tokens;
    for (const auto& [token, registration] : registrations_) {
      if (registration.name == name) {
        tokens.push_back(token);
      }
    }
    return tokens;
  }

  // What was posted before would still be on its way when the caller goes on.
  void expect_elsewhere(const char* function) const {
    for (const auto& [token, registration] : registrations_) {
      if (is_on_queue(registration.queue.get())) {
        misuse(function, "called on the queue of a registration");
      }
    }
  }

  // Adds the handler to its queue; one without a queue is returned, to be called without the lock. One that was
  // cancelled since the post began is left out. The block is added under the lock and holds no reference to its queue:
  // once a registration is cancelled, the queue's last release is its owner's.
  std::shared_ptr<const notify_handler_t> tell(int token) {
    const std::lock_guard lock(mutex_);
    const auto found = registrations_.find(token);
    if (found == registrations_.end()) {
      return nullptr;
    }
    const Registration& registration = found->second;
    if (registration.queue.get() == nullptr) {
      return registration.handler;
    }
    dispatch_async(registration.queue.get(), [handler = registration.handler, token, queue = registration.queue.get()] {
      expect_on_queue(queue, "the handler of a notification");
      (*handler)(token);
    });
    return nullptr;
  }

  std::mutex mutex_;
  Registrations registrations_;
  int next_token_ = 1;
};

NotificationCenter& center() {
  static NeverDestroyed<NotificationCenter> instance;  // posts may come until the end of the process
  return instance.get();
}

bool is_name(const char* name) { return name != nullptr && *name != '\0'; }

}  // namespace

std::size_t notification_registrations() { return center().size(); }

void clear_notifications() { center().clear(); }

}  // namespace hub::platform

using namespace hub::platform;

uint32_t notify_register_dispatch(const char* name, int* token, dispatch_queue_t queue, notify_handler_t handler) try {
  if (const auto code = failing_code(Fallible::knotify_register_dispatch)) {
    return static_cast<uint32_t>(*code);
  }
  if (!is_name(name)) {
    return NOTIFY_STATUS_INVALID_NAME;
  }
  expect_callable(handler, "notify_register_dispatch");
  if (token == nullptr) {
    misuse("notify_register_dispatch", "NULL in place of a token");
  }
  *token = center().add({name, RetainedQueue(queue), std::make_shared<const notify_handler_t>(std::move(handler))});
  return NOTIFY_STATUS_OK;
} catch (const std::bad_alloc&) {
  return NOTIFY_STATUS_FAILED;
}

uint32_t notify_cancel(int token) {
  if (const auto code = failing_code(Fallible::knotify_cancel)) {
    return static_cast<uint32_t>(*code);
  }
  return center().remove(token) ? NOTIFY_STATUS_OK : NOTIFY_STATUS_INVALID_TOKEN;
}

uint32_t notify_post(const char* name) try {
  if (const auto code = failing_code(Fallible::knotify_post)) {
    return static_cast<uint32_t>(*code);
  }
  if (!is_name(name)) {
    return NOTIFY_STATUS_INVALID_NAME;
  }
  center().post(name);
  return NOTIFY_STATUS_OK;
} catch (const std::bad_alloc&) {
  return NOTIFY_STATUS_FAILED;
}
