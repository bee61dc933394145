// SPDX-License-Identifier: Apache-2.0
// Serial queues: order, threads, and how long they live.
#include <pthread.h>

#include <latch>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

constexpr int kManyBlocks = 1000;

std::string name_of_thread() {
  char name[16] = {};
  pthread_getname_np(pthread_self(), name, sizeof name);
  return name;
}

std::string thread_name_of(dispatch_queue_t queue) {
  std::string name;
  dispatch_sync(queue, [&] { name = name_of_thread(); });
  return name;
}

std::thread::id thread_of(dispatch_queue_t queue) {
  std::thread::id thread;
  dispatch_sync(queue, [&] { thread = std::this_thread::get_id(); });
  return thread;
}

// Called on a queue: counts down when the queue's thread has ended and given its own state back.
void count_down_at_thread_end(std::latch& ended) {
  struct AtEnd {
    std::latch& ended;
    ~AtEnd() { ended.count_down(); }
  };
  thread_local const AtEnd at_end{ended};
}

class Dispatch : public PlatformTest {
 protected:
  // Holds the queue back, so that what is added next stands behind it.
  void hold() {
    dispatch_async(queue, [this] { go_on.wait(); });
  }

  Queue queue;
  std::latch go_on{1};
};

TEST_F(Dispatch, blocks_run_in_the_order_in_which_they_were_added) {
  std::vector<int> expected(kManyBlocks);
  std::iota(expected.begin(), expected.end(), 0);
  std::vector<int> run;
  for (const int number : expected) {
    dispatch_async(queue, [&run, number] { run.push_back(number); });
  }
  queue.give_back();
  EXPECT_EQ(run, expected);
}

TEST_F(Dispatch, block_added_on_the_queue_comes_before_one_added_later_elsewhere) {
  std::string run;
  std::latch first_is_added(1);
  dispatch_async(queue, [&] {
    dispatch_async(queue, [&] { run += "first "; });
    first_is_added.count_down();
    go_on.wait();
  });
  first_is_added.wait();
  dispatch_async(queue, [&] { run += "second "; });
  go_on.count_down();
  queue.give_back();
  EXPECT_EQ(run, "first second ");
}

TEST_F(Dispatch, async_does_not_wait_for_the_block) {
  bool has_run = false;
  hold();
  dispatch_async(queue, [&] { has_run = true; });
  EXPECT_FALSE(has_run);
  go_on.count_down();
  queue.give_back();
  EXPECT_TRUE(has_run);
}

TEST_F(Dispatch, blocks_of_many_threads_run_one_at_a_time) {
  int runs = 0;
  in_threads(4, [&](std::size_t) {
    for (int turn = 0; turn < kManyBlocks; ++turn) {
      dispatch_async(queue, [&] { ++runs; });
    }
  });
  queue.give_back();
  EXPECT_EQ(runs, 4 * kManyBlocks);
}

TEST_F(Dispatch, each_queue_has_a_thread_of_its_own) {
  const Queue other;
  EXPECT_EQ(thread_of(queue), thread_of(queue));
  EXPECT_NE(thread_of(queue), thread_of(other));
  EXPECT_NE(thread_of(queue), std::this_thread::get_id());
}

TEST_F(Dispatch, queues_run_beside_each_other) {
  Queue other;
  std::latch both_run(2);
  dispatch_async(queue, [&] { both_run.arrive_and_wait(); });
  dispatch_async(other, [&] { both_run.arrive_and_wait(); });
  both_run.wait();
  other.give_back();
  queue.give_back();
}

TEST_F(Dispatch, thread_is_named_by_the_label_as_far_as_it_fits) {
  EXPECT_EQ(thread_name_of(Queue("statistics")), "statistics");
  EXPECT_EQ(thread_name_of(Queue("statistics.queu")), "statistics.queu");
  EXPECT_EQ(thread_name_of(Queue("statistics.queue")), "statistics.queu");
}

TEST_F(Dispatch, thread_without_a_label_keeps_its_creators_name) {
  EXPECT_EQ(thread_name_of(Queue(nullptr)), name_of_thread());
}

TEST_F(Dispatch, knows_whether_it_is_called_on_a_queue) {
  const Queue other;
  std::vector<bool> is_on;
  dispatch_sync(queue, [&] { is_on = {platform::is_on_queue(queue), platform::is_on_queue(other)}; });
  EXPECT_EQ(is_on, (std::vector{true, false}));
  EXPECT_FALSE(platform::is_on_queue(queue));
  EXPECT_FALSE(platform::is_on_queue(nullptr));
}

TEST_F(Dispatch, sync_returns_when_the_block_has_run) {
  bool has_run = false;
  dispatch_sync(queue, [&] { has_run = true; });
  EXPECT_TRUE(has_run);
}

TEST_F(Dispatch, sync_waits_for_the_blocks_that_were_added_before) {
  int runs = 0;
  for (int turn = 0; turn < kManyBlocks; ++turn) {
    dispatch_async(queue, [&] { ++runs; });
  }
  dispatch_sync(queue, [&] { EXPECT_EQ(runs, kManyBlocks); });
}

TEST_F(Dispatch, sync_may_be_called_on_another_queue) {
  const Queue other;
  bool was_on_other = false;
  dispatch_sync(queue, [&] { dispatch_sync(other, [&] { was_on_other = platform::is_on_queue(other); }); });
  EXPECT_TRUE(was_on_other);
}

TEST_F(Dispatch, blocks_that_were_added_still_run_after_the_last_release) {
  int runs = 0;
  hold();
  for (int turn = 0; turn < kManyBlocks; ++turn) {
    dispatch_async(queue, [&] { ++runs; });
  }
  dispatch_async(queue, [&, reference = static_cast<dispatch_queue_t>(queue)] {
    dispatch_async(reference, [&] { runs += 10 * kManyBlocks; });
  });
  std::thread releaser([&] { queue.give_back(); });
  go_on.count_down();
  releaser.join();
  EXPECT_EQ(runs, 11 * kManyBlocks);
}

TEST_F(Dispatch, last_release_returns_when_the_thread_has_ended) {
  std::latch ended(1);
  dispatch_async(queue, [&] { count_down_at_thread_end(ended); });
  queue.give_back();
  EXPECT_TRUE(ended.try_wait());
}

TEST_F(Dispatch, last_release_on_the_queue_lets_the_added_blocks_run_and_ends_the_thread) {
  std::latch ended(1);
  int runs = 0;
  hold();
  const dispatch_queue_t reference = queue.forget();
  dispatch_async(reference, [&] {
    count_down_at_thread_end(ended);
    dispatch_release(reference);
    dispatch_async(reference, [&] { runs += 10; });
  });
  dispatch_async(reference, [&] { ++runs; });
  go_on.count_down();
  ended.wait();
  EXPECT_EQ(runs, 11);
  EXPECT_EQ(platform::live_queues(), 0);
}

TEST_F(Dispatch, only_the_last_release_ends_it) {
  dispatch_retain(queue);
  dispatch_release(queue);
  EXPECT_EQ(platform::live_queues(), 1);
  queue.give_back();
  EXPECT_EQ(platform::live_queues(), 0);
}

TEST_F(Dispatch, is_counted_as_live_until_its_end) {
  EXPECT_EQ(platform::live_queues(), 1);
  Queue other;
  EXPECT_EQ(platform::live_queues(), 2);
  other.give_back();
  EXPECT_EQ(platform::live_queues(), 1);
}

TEST_F(Dispatch, many_threads_can_retain_and_release_it) {
  in_threads(4, [&](std::size_t) {
    for (int turn = 0; turn < kManyBlocks; ++turn) {
      dispatch_retain(queue);
      dispatch_async(queue, [] {});
      dispatch_release(queue);
    }
  });
  EXPECT_EQ(platform::live_queues(), 1);
}

TEST_F(Dispatch, what_a_block_holds_is_given_back_on_the_queue_before_the_next_block) {
  std::string events;
  std::shared_ptr<void> held(nullptr,
                             [&](void*) { events += platform::is_on_queue(queue) ? "given back " : "astray "; });
  hold();
  dispatch_async(queue, [held = std::move(held), &events] { events += "run "; });
  dispatch_async(queue, [&] { events += "next"; });
  go_on.count_down();
  dispatch_sync(queue, [] {});
  EXPECT_EQ(events, "run given back next");
}

TEST_F(Dispatch, block_may_hold_the_last_reference_to_its_queue) {
  std::latch ended(1);
  const dispatch_queue_t reference = queue.forget();
  std::shared_ptr<void> held(reference, [](void* last) { dispatch_release(static_cast<dispatch_queue_t>(last)); });
  dispatch_async(reference, [held = std::move(held), &ended] { count_down_at_thread_end(ended); });
  ended.wait();
  EXPECT_EQ(platform::live_queues(), 0);
}

using DispatchMisuse = PlatformTest;

TEST_F(DispatchMisuse, null_in_place_of_a_queue_ends_the_process) {
  EXPECT_DEATH(dispatch_retain(nullptr), "platform: dispatch_retain: NULL in place of a queue");
  EXPECT_DEATH(dispatch_release(nullptr), "platform: dispatch_release: NULL in place of a queue");
  EXPECT_DEATH(dispatch_async(nullptr, [] {}), "platform: dispatch_async: NULL in place of a queue");
  EXPECT_DEATH(dispatch_sync(nullptr, [] {}), "platform: dispatch_sync: NULL in place of a queue");
}

// The last release of a queue, and then something with it.
template <typename Action>
void after_release(const Action& action) {
  const dispatch_queue_t queue = dispatch_queue_create("queue", nullptr);
  dispatch_release(queue);
  action(queue);
}

TEST_F(DispatchMisuse, queue_that_nobody_owns_ends_the_process) {
  EXPECT_DEATH(after_release(dispatch_retain), "platform: dispatch_retain: a queue that nobody owns any more");
  EXPECT_DEATH(after_release(dispatch_release), "platform: dispatch_release: a queue that nobody owns any more");
  EXPECT_DEATH(after_release([](dispatch_queue_t queue) { dispatch_async(queue, [] {}); }),
               "platform: dispatch_async: a queue that nobody owns any more");
  EXPECT_DEATH(after_release([](dispatch_queue_t queue) { dispatch_sync(queue, [] {}); }),
               "platform: dispatch_sync: a queue that nobody owns any more");
}

// A queue whose block gives the last reference back and then does something with it.
template <typename Action>
void after_release_on_the_queue(const Action& action) {
  const dispatch_queue_t queue = dispatch_queue_create("queue", nullptr);
  std::latch done(1);
  dispatch_async(queue, [&] {
    dispatch_release(queue);
    action(queue);
    done.count_down();
  });
  done.wait();
}

TEST_F(DispatchMisuse, reference_to_a_queue_that_only_has_blocks_left_ends_the_process) {
  EXPECT_DEATH(after_release_on_the_queue(dispatch_retain), "platform: dispatch_retain: a queue that nobody owns");
  EXPECT_DEATH(after_release_on_the_queue(dispatch_release), "platform: dispatch_release: a queue that nobody owns");
}

TEST_F(DispatchMisuse, sync_onto_its_own_queue_ends_the_process) {
  const Queue queue;
  EXPECT_DEATH(dispatch_sync(queue, [&] { dispatch_sync(queue, [] {}); }),
               "platform: dispatch_sync: the queue that it is called on");
}

TEST_F(DispatchMisuse, what_is_called_elsewhere_than_on_its_queue_ends_the_process) {
  const Queue queue;
  const Queue other;
  dispatch_sync(queue, [&] { platform::expect_on_queue(queue, "a handler"); });
  EXPECT_DEATH(platform::expect_on_queue(queue, "a handler"),
               "platform: a handler: called elsewhere than on its queue");
  EXPECT_DEATH(dispatch_sync(other, [&] { platform::expect_on_queue(queue, "a handler"); }),
               "platform: a handler: called elsewhere than on its queue");
}

TEST_F(DispatchMisuse, empty_block_ends_the_process) {
  const Queue queue;
  EXPECT_DEATH(dispatch_async(queue, nullptr), "platform: dispatch_async: an empty block");
  EXPECT_DEATH(dispatch_sync(queue, nullptr), "platform: dispatch_sync: an empty block");
}

TEST_F(DispatchMisuse, block_that_throws_ends_the_process) {
  const Queue queue;
  EXPECT_DEATH(dispatch_sync(queue, [] { throw std::runtime_error("thrown by a block"); }), "thrown by a block");
}

}  // namespace
}  // namespace hub::test
