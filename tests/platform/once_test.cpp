// SPDX-License-Identifier: Apache-2.0
// What is done once per process, whoever comes first.
#include <latch>
#include <stdexcept>

#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

using Once = PlatformTest;

TEST_F(Once, runs_the_block_of_the_first_call_and_no_other) {
  dispatch_once_t token = 0;
  int runs = 0;
  dispatch_once(&token, [&] { runs += 1; });
  dispatch_once(&token, [&] { runs += 10; });
  EXPECT_EQ(runs, 1);
}

TEST_F(Once, runs_the_block_on_the_calling_thread) {
  dispatch_once_t token = 0;
  std::thread::id thread;
  dispatch_once(&token, [&] { thread = std::this_thread::get_id(); });
  EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(Once, each_token_has_a_run_of_its_own) {
  dispatch_once_t first = 0;
  dispatch_once_t second = 0;
  int runs = 0;
  dispatch_once(&first, [&] { dispatch_once(&second, [&] { ++runs; }); });
  dispatch_once(&second, [&] { ++runs; });
  EXPECT_EQ(runs, 1);
}

TEST_F(Once, racing_threads_run_it_once_and_all_see_what_it_wrote) {
  for (int turn = 0; turn < 100; ++turn) {
    dispatch_once_t token = 0;
    int runs = 0;
    in_threads(8, [&](std::size_t) {
      dispatch_once(&token, [&] { ++runs; });
      EXPECT_EQ(runs, 1);
    });
  }
}

TEST_F(Once, who_comes_while_the_block_runs_waits_for_its_end) {
  dispatch_once_t token = 0;
  bool has_run = false;
  std::latch all_call(8);
  in_threads(8, [&](std::size_t) {
    all_call.count_down();
    dispatch_once(&token, [&] {
      all_call.wait();
      has_run = true;
    });
    EXPECT_TRUE(has_run);
  });
}

TEST_F(Once, within_its_own_block_ends_the_process) {
  dispatch_once_t token = 0;
  const auto call_within = [&] { dispatch_once(&token, [&] { dispatch_once(&token, [] {}); }); };
  EXPECT_DEATH(call_within(), "platform: dispatch_once: the token of the block that it is called in");
}

TEST_F(Once, empty_block_ends_the_process) {
  dispatch_once_t token = 0;
  EXPECT_DEATH(dispatch_once(&token, nullptr), "platform: dispatch_once: an empty block");
}

TEST_F(Once, block_that_throws_ends_the_process) {
  dispatch_once_t token = 0;
  const auto call_and_catch = [&] {
    try {
      dispatch_once(&token, [] { throw std::runtime_error("thrown by a block"); });
    } catch (const std::runtime_error&) {
    }
  };
  EXPECT_DEATH(call_and_catch(), "thrown by a block");
}

}  // namespace
}  // namespace hub::test
