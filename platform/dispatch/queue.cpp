// SPDX-License-Identifier: Apache-2.0
#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <cstring>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#define ASIO_STANDALONE
#define ASIO_DISABLE_VISIBILITY    // nothing of it leaves the library
#define ASIO_DISABLE_FENCED_BLOCK  // the context's own lock orders the blocks, and the thread sanitizer knows no fences
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>

#include "corefoundation/misuse.h"
#include "dispatch/block.h"
#include "dispatch/dispatch.h"
#include "dispatch/dispatch_host.h"
#include "failures/failures.h"

namespace hub::platform {
namespace {

constinit std::atomic<std::int64_t> live_count{0};

struct CountedLife {
  CountedLife() { live_count.fetch_add(1, std::memory_order_relaxed); }
  CountedLife(const CountedLife&) = delete;
  CountedLife& operator=(const CountedLife&) = delete;
  ~CountedLife() { live_count.fetch_sub(1, std::memory_order_relaxed); }
};

constinit thread_local dispatch_queue_t current_queue = nullptr;

}  // namespace
}  // namespace hub::platform

// The context is made for any number of threads, though one runs it: told that there is one, it would let blocks that
// the queue adds to itself wait for the end of the running one, and others that were added later overtake them.
struct dispatch_queue_s {
  hub::platform::CountedLife counted_life;  // the first, so that it ends last
  asio::io_context context;
  asio::executor_work_guard<asio::io_context::executor_type> owned_by_somebody{context.get_executor()};
  std::thread thread;
  std::size_t owners = 1;
  std::size_t blocks = 0;  // added and not done yet
};

namespace hub::platform {
namespace {

// A name of a thread has 15 bytes at most.
std::string thread_name(const char* label) {
  constexpr std::size_t kLongestName = 15;
  return label != nullptr ? std::string(label, strnlen(label, kLongestName)) : std::string();
}

void run_queue(dispatch_queue_s& queue, const std::string& name) {
  if (!name.empty()) {
    pthread_setname_np(pthread_self(), name.c_str());
  }
  current_queue = &queue;
  queue.context.run();
}

// The queues that somebody owns or that have blocks to run, by their addresses: any other address is a misuse. One lock
// guards the table and the counts and threads of its queues. The thread itself keeps its queue in memory.
class QueueTable {
 public:
  dispatch_queue_t create(const char* label) {
    const auto queue = std::make_shared<dispatch_queue_s>();
    std::map<dispatch_queue_t, std::shared_ptr<dispatch_queue_s>> added{{queue.get(), queue}};
    queue->thread = std::thread([queue, name = thread_name(label)] { run_queue(*queue, name); });
    const std::lock_guard lock(mutex_);
    queues_.merge(added);  // allocates nothing: a queue whose thread runs must not get lost
    return queue.get();
  }

  void retain(dispatch_queue_t reference) {
    const std::lock_guard lock(mutex_);
    ++owned(reference, "dispatch_retain").owners;
  }

  void release(dispatch_queue_t reference) {
    std::thread thread = give_back(reference);
    if (!thread.joinable()) {
      return;
    }
    if (is_on_queue(reference)) {
      thread.detach();
    } else {
      thread.join();
    }
  }

  // When there is no memory std::bad_alloc leaves the function and nothing is added.
  template <typename Block>
  void add(dispatch_queue_t reference, Block block, const char* function) {
    const std::lock_guard lock(mutex_);
    dispatch_queue_s& queue = live(reference, function);
    asio::post(queue.context, [this, &queue, block = std::move(block)]() mutable {
      run_and_forget(std::move(block));
      count_as_done(queue);
    });
    ++queue.blocks;
  }

 private:
  // What the block holds goes on the queue too, and before the block counts as done.
  template <typename Block>
  static void run_and_forget(Block block) {
    call_block(block);
  }

  // The queue's thread when that was the last reference, to be waited for without the lock.
  std::thread give_back(dispatch_queue_t reference) {
    const std::lock_guard lock(mutex_);
    dispatch_queue_s& queue = owned(reference, "dispatch_release");
    if (--queue.owners != 0) {
      return {};
    }
    std::thread thread = std::move(queue.thread);
    queue.owned_by_somebody.reset();
    forget_if_over(queue);
    return thread;
  }

  void count_as_done(dispatch_queue_s& queue) {
    const std::lock_guard lock(mutex_);
    --queue.blocks;
    forget_if_over(queue);
  }

  void forget_if_over(dispatch_queue_s& queue) {
    if (queue.owners == 0 && queue.blocks == 0) {
      queues_.erase(&queue);
    }
  }

  dispatch_queue_s& live(dispatch_queue_t reference, const char* function) {
    if (reference == nullptr) {
      misuse(function, "NULL in place of a queue");
    }
    if (!queues_.contains(reference)) {
      misuse(function, "a queue that nobody owns any more");
    }
    return *reference;
  }

  dispatch_queue_s& owned(dispatch_queue_t reference, const char* function) {
    dispatch_queue_s& queue = live(reference, function);
    if (queue.owners == 0) {
      misuse(function, "a queue that nobody owns any more");
    }
    return queue;
  }

  std::mutex mutex_;
  std::map<dispatch_queue_t, std::shared_ptr<dispatch_queue_s>> queues_;
};

QueueTable& queues() {
  static auto& instance = *new QueueTable;  // never destroyed: queues may run until the very end of the process
  return instance;
}

}  // namespace

std::int64_t live_queues() { return live_count.load(std::memory_order_relaxed); }

bool is_on_queue(dispatch_queue_t queue) { return queue != nullptr && queue == current_queue; }

}  // namespace hub::platform

using namespace hub::platform;

dispatch_queue_t dispatch_queue_create(const char* label, const void*) try {
  if (fails(Fallible::kdispatch_queue_create)) {
    return nullptr;
  }
  return queues().create(label);
} catch (const std::bad_alloc&) {
  return nullptr;
} catch (const std::system_error&) {
  return nullptr;
}

void dispatch_retain(dispatch_queue_t queue) { queues().retain(queue); }

void dispatch_release(dispatch_queue_t queue) { queues().release(queue); }

void dispatch_async(dispatch_queue_t queue, dispatch_block_t block) {
  expect_callable(block, "dispatch_async");
  queues().add(queue, std::move(block), "dispatch_async");
}

void dispatch_sync(dispatch_queue_t queue, const dispatch_block_t& block) {
  expect_callable(block, "dispatch_sync");
  if (is_on_queue(queue)) {
    misuse("dispatch_sync", "the queue that it is called on");
  }
  std::promise<void> promise;
  const std::future<void> ran = promise.get_future();
  queues().add(
      queue,
      [&block, promise = std::move(promise)]() mutable {
        block();
        promise.set_value();
      },
      "dispatch_sync");
  ran.wait();
}
