// SPDX-License-Identifier: Apache-2.0
// Queues whose blocks run when the host says so.
#include "dispatch/queue_control_host.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

using platform::run_next_block;
using platform::runnable_queues;
using Queues = std::vector<dispatch_queue_t>;

// Whoever waits has the oldest queue run a block, or does what a test says.
class QueueControl : public PlatformTest {
 protected:
  QueueControl() {
    platform::control_queues([this] { while_waiting(); });
    first = std::make_unique<Queue>("first");
    second = std::make_unique<Queue>("second");
  }
  ~QueueControl() override {
    first.reset();
    second.reset();
    platform::control_queues({});
  }

  void add(const std::unique_ptr<Queue>& queue, const std::string& event) {
    dispatch_async(*queue, [this, event] { events += event; });
  }

  std::function<void()> while_waiting = [] {
    if (const Queues queues = runnable_queues(); !queues.empty()) {
      run_next_block(queues.front());
    }
  };
  std::unique_ptr<Queue> first;
  std::unique_ptr<Queue> second;
  std::string events;
};

TEST_F(QueueControl, blocks_run_in_the_order_that_the_host_chooses) {
  add(first, "a");
  add(first, "b");
  add(second, "c");
  EXPECT_EQ(events, "");
  run_next_block(*first);
  run_next_block(*second);
  run_next_block(*first);
  EXPECT_EQ(events, "acb");
}

TEST_F(QueueControl, queues_with_blocks_are_told_in_the_order_of_their_creation) {
  EXPECT_EQ(runnable_queues(), Queues{});
  add(second, "a");
  EXPECT_EQ(runnable_queues(), Queues{*second});
  add(first, "b");
  EXPECT_EQ(runnable_queues(), (Queues{*first, *second}));
  run_next_block(*first);
  EXPECT_EQ(runnable_queues(), Queues{*second});
}

TEST_F(QueueControl, block_runs_on_its_queue_and_thread_of_the_host) {
  std::thread::id thread;
  dispatch_async(*first, [&] {
    thread = std::this_thread::get_id();
    events += platform::is_on_queue(*first) ? "on " : "off ";
  });
  run_next_block(*first);
  events += platform::is_on_queue(*first) ? "on" : "off";
  EXPECT_EQ(events, "on off");
  EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(QueueControl, queue_that_is_in_a_block_runs_no_other_until_it_is_done) {
  dispatch_async(*first, [&] {
    add(first, "next");
    add(second, "other ");
    EXPECT_EQ(runnable_queues(), Queues{*second});
    run_next_block(*second);
    events += platform::is_on_queue(*first) ? "on " : "off ";
  });
  run_next_block(*first);
  run_next_block(*first);
  EXPECT_EQ(events, "other on next");
}

TEST_F(QueueControl, sync_returns_when_the_host_has_run_its_block) {
  add(first, "a");
  add(second, "b");
  dispatch_sync(*second, [&] { events += "c"; });
  EXPECT_EQ(events, "abc");
}

TEST_F(QueueControl, sync_within_a_block_of_another_queue_returns_too) {
  dispatch_async(*first, [&] { dispatch_sync(*second, [&] { events += "inner "; }); });
  dispatch_sync(*first, [&] { events += "outer"; });
  EXPECT_EQ(events, "inner outer");
}

TEST_F(QueueControl, last_release_runs_what_is_left_and_ends_the_queue) {
  add(first, "a");
  add(first, "b");
  first->give_back();
  EXPECT_EQ(events, "ab");
  EXPECT_EQ(platform::live_queues(), 1);
}

TEST_F(QueueControl, last_release_on_the_queue_returns_at_once) {
  const dispatch_queue_t reference = first->forget();
  dispatch_async(reference, [&, reference] {
    dispatch_release(reference);
    events += "released ";
  });
  add(second, "last");
  dispatch_async(reference, [&] { events += "still run "; });
  dispatch_sync(*second, [] {});
  EXPECT_EQ(events, "released still run last");
  EXPECT_EQ(platform::live_queues(), 1);
}

TEST_F(QueueControl, queues_that_are_created_without_control_have_threads) {
  platform::control_queues({});
  const Queue queue;
  std::thread::id thread;
  dispatch_sync(queue, [&] { thread = std::this_thread::get_id(); });
  EXPECT_NE(thread, std::this_thread::get_id());
  EXPECT_EQ(runnable_queues(), Queues{});
}

TEST_F(QueueControl, running_what_cannot_run_ends_the_process) {
  EXPECT_DEATH(run_next_block(nullptr), "platform: run_next_block: NULL in place of a queue");
  EXPECT_DEATH(run_next_block(*first), "platform: run_next_block: a queue that cannot run a block now");
  const auto run_within_a_block = [this] {
    dispatch_async(*first, [this] { run_next_block(*first); });
    add(first, "next");
    run_next_block(*first);
  };
  EXPECT_DEATH(run_within_a_block(), "platform: run_next_block: a queue that cannot run a block now");
}

TEST_F(QueueControl, waiting_for_a_block_that_the_host_does_not_run_ends_the_process) {
  const auto usual = std::exchange(while_waiting, [] {});
  EXPECT_DEATH(dispatch_sync(*first, [] {}), "platform: dispatch_sync: waits for a block, and the host runs none");
  add(first, "a");
  EXPECT_DEATH(first->give_back(), "platform: dispatch_release: waits for a block, and the host runs none");
  while_waiting = usual;
}

// The block that is waited for stands behind the one that waits.
TEST_F(QueueControl, two_queues_that_wait_for_each_other_end_the_process) {
  const auto wait_for_each_other = [this] {
    dispatch_sync(*first, [this] { dispatch_sync(*second, [this] { dispatch_sync(*first, [] {}); }); });
  };
  EXPECT_DEATH(wait_for_each_other(), "platform: dispatch_sync: waits for a block, and the host runs none");
}

}  // namespace
}  // namespace hub::test
