// SPDX-License-Identifier: Apache-2.0
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#define ASIO_STANDALONE
#define ASIO_DISABLE_VISIBILITY    // nothing of it leaves the library
#define ASIO_DISABLE_FENCED_BLOCK  // the context's own lock orders the blocks, and the thread sanitizer knows no fences
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>

#include "corefoundation/misuse.h"
#include "corefoundation/never_destroyed.h"
#include "dispatch/block.h"
#include "dispatch/dispatch.h"
#include "dispatch/dispatch_host.h"
#include "dispatch/queue_control_host.h"
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

[[gnu::tls_model("initial-exec")]] constinit thread_local dispatch_queue_t current_queue = nullptr;

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
  std::size_t blocks = 0;      // added and not done yet
  bool is_controlled = false;  // there is no thread
  bool is_running = false;     // a controlled one: in the midst of a block
  std::uint64_t number = 0;    // its place in the order of creation
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

// Whether a block has run. Needs no memory, neither to be there nor to go.
class Done {
 public:
  // The last thing that is done with it: whoever waits may end this object once the lock is given back.
  void tell() {
    const std::lock_guard lock(mutex_);
    is_done_ = true;
    told_.notify_all();
  }

  void wait() {
    std::unique_lock lock(mutex_);
    told_.wait(lock, [this] { return is_done_; });
  }

  bool is_told() {
    const std::lock_guard lock(mutex_);
    return is_done_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable told_;
  bool is_done_ = false;
};

// The queues that somebody owns or that have blocks to run, by their addresses: any other address is a misuse. One lock
// guards the table and the counts and threads of its queues. The thread itself keeps its queue in memory.
class QueueTable {
 public:
  dispatch_queue_t create(const char* label) {
    const auto queue = std::make_shared<dispatch_queue_s>();
    std::map<dispatch_queue_t, std::shared_ptr<dispatch_queue_s>> added{{queue.get(), queue}};
    queue->is_controlled = waiter() != nullptr;
    if (!queue->is_controlled) {
      queue->thread = std::thread([queue, name = thread_name(label)] { run_queue(*queue, name); });
    }
    const std::lock_guard lock(mutex_);
    queue->number = ++last_number_;
    queues_.merge(added);  // allocates nothing: a queue whose thread runs must not get lost
    return queue.get();
  }

  void retain(dispatch_queue_t reference) {
    const std::lock_guard lock(mutex_);
    ++owned(reference, "dispatch_retain").owners;
  }

  void release(dispatch_queue_t reference) {
    const std::shared_ptr<dispatch_queue_s> ending = give_back(reference);
    if (ending == nullptr) {
      return;
    }
    if (ending->is_controlled) {
      end_controlled(reference);
    } else if (is_on_queue(reference)) {
      ending->thread.detach();
    } else {
      ending->thread.join();
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

  // Returns when the block that is to tell this has run.
  void wait_for(dispatch_queue_t reference, Done& done) {
    if (!is_controlled(reference)) {
      done.wait();
      return;
    }
    wait_until("dispatch_sync", [&done] { return done.is_told(); });
  }

  void control(std::function<void()> wait) {
    auto waiter = wait ? std::make_shared<const std::function<void()>>(std::move(wait)) : nullptr;
    const std::lock_guard lock(mutex_);
    waiter_.swap(waiter);
  }

  std::vector<dispatch_queue_t> runnable() {
    const std::lock_guard lock(mutex_);
    std::vector<dispatch_queue_t> found;
    for (const auto& [reference, queue] : queues_) {
      if (is_runnable(*queue)) {
        found.push_back(reference);
      }
    }
    std::sort(found.begin(), found.end(), [](auto* first, auto* second) { return first->number < second->number; });
    return found;
  }

  void run_next(dispatch_queue_t reference) {
    const std::shared_ptr<dispatch_queue_s> queue = begin_block(reference);
    const dispatch_queue_t outer = std::exchange(current_queue, reference);
    queue->context.poll_one();
    current_queue = outer;
    const std::lock_guard lock(mutex_);
    queue->is_running = false;
  }

 private:
  using Waiter = std::shared_ptr<const std::function<void()>>;

  // What the block holds goes on the queue too, and before the block counts as done.
  template <typename Block>
  static void run_and_forget(Block block) {
    call_block(block);
  }

  // The queue when that was the last reference, to be waited for without the lock.
  std::shared_ptr<dispatch_queue_s> give_back(dispatch_queue_t reference) {
    const std::lock_guard lock(mutex_);
    dispatch_queue_s& queue = owned(reference, "dispatch_release");
    if (--queue.owners != 0) {
      return nullptr;
    }
    std::shared_ptr<dispatch_queue_s> ending = queues_.at(reference);
    queue.owned_by_somebody.reset();
    forget_if_over(queue);
    return ending;
  }

  // Called elsewhere than on the queue: returns when its blocks have run.
  void end_controlled(dispatch_queue_t reference) {
    if (!is_on_queue(reference)) {
      wait_until("dispatch_release", [&] { return !is_controlled(reference); });
    }
  }

  // Has the host run blocks until it is so.
  template <typename Condition>
  void wait_until(const char* function, const Condition& is_so) {
    while (!is_so()) {
      const std::uint64_t before = blocks_begun();
      if (const Waiter waiter = this->waiter()) {
        (*waiter)();
      }
      if (blocks_begun() == before) {
        misuse(function, "waits for a block, and the host runs none");
      }
    }
  }

  std::shared_ptr<dispatch_queue_s> begin_block(dispatch_queue_t reference) {
    const std::lock_guard lock(mutex_);
    dispatch_queue_s& queue = live(reference, "run_next_block");
    if (!is_runnable(queue)) {
      misuse("run_next_block", "a queue that cannot run a block now");
    }
    queue.is_running = true;
    ++blocks_begun_;
    return queues_.at(reference);
  }

  static bool is_runnable(const dispatch_queue_s& queue) {
    return queue.is_controlled && !queue.is_running && queue.blocks > 0;
  }

  // False for a queue that is over.
  bool is_controlled(dispatch_queue_t reference) {
    const std::lock_guard lock(mutex_);
    const auto found = queues_.find(reference);
    return found != queues_.end() && found->second->is_controlled;
  }

  Waiter waiter() {
    const std::lock_guard lock(mutex_);
    return waiter_;
  }

  std::uint64_t blocks_begun() {
    const std::lock_guard lock(mutex_);
    return blocks_begun_;
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
  Waiter waiter_;                   // set: queues that are created are controlled
  std::uint64_t last_number_ = 0;   // of a queue
  std::uint64_t blocks_begun_ = 0;  // on controlled queues
};

QueueTable& queues() {
  static NeverDestroyed<QueueTable> instance;  // queues may run until the very end of the process
  return instance.get();
}

}  // namespace

std::int64_t live_queues() { return live_count.load(std::memory_order_relaxed); }

bool is_on_queue(dispatch_queue_t queue) { return queue != nullptr && queue == current_queue; }

void expect_on_queue(dispatch_queue_t queue, const char* caller) {
  if (!is_on_queue(queue)) {
    misuse(caller, "called elsewhere than on its queue");
  }
}

void control_queues(std::function<void()> wait) { queues().control(std::move(wait)); }

std::vector<dispatch_queue_t> runnable_queues() { return queues().runnable(); }

void run_next_block(dispatch_queue_t queue) { queues().run_next(queue); }

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
  Done done;
  queues().add(
      queue,
      [&block, &done] {
        block();
        done.tell();
      },
      "dispatch_sync");
  queues().wait_for(queue, done);
}
