// SPDX-License-Identifier: Apache-2.0
// Notifications by name: who hears of a post, where, and how often.
#include <notify.h>

#include <latch>
#include <stdexcept>
#include <string>
#include <vector>

#include "notify/notify_host.h"
#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

constexpr const char* kName = "statistics.flush";
constexpr int kUntouched = -77;

int registered(notify_handler_t handler, dispatch_queue_t queue = nullptr, const char* name = kName) {
  int token = kUntouched;
  EXPECT_EQ(notify_register_dispatch(name, &token, queue, std::move(handler)), std::uint32_t{NOTIFY_STATUS_OK});
  return token;
}

void post(const char* name = kName) { EXPECT_EQ(notify_post(name), std::uint32_t{NOTIFY_STATUS_OK}); }

void cancel(int token) { EXPECT_EQ(notify_cancel(token), std::uint32_t{NOTIFY_STATUS_OK}); }

// There are no registrations before and after each test.
class Notify : public PlatformTest {
 protected:
  ~Notify() override { platform::clear_notifications(); }

  // Registers a handler that notes the tokens it is called with.
  int listener(dispatch_queue_t on = nullptr, const char* name = kName) {
    return registered([this](int token) { heard.push_back(token); }, on, name);
  }

  std::vector<int> heard;
};

TEST_F(Notify, two_registrations_for_a_name_hear_each_post_once_with_their_tokens) {
  const int first = listener();
  const int second = listener();
  post();
  EXPECT_EQ(heard, (std::vector{first, second}));
  post();
  EXPECT_EQ(heard, (std::vector{first, second, first, second}));
}

TEST_F(Notify, post_of_another_name_is_not_heard) {
  listener();
  const int other = listener(nullptr, "statistics.flush.now");
  post("statistics.flush.now");
  EXPECT_EQ(heard, std::vector{other});
}

TEST_F(Notify, post_that_nobody_registered_for_is_well) { post(); }

TEST_F(Notify, earlier_posts_are_not_heard) {
  post();
  listener();
  EXPECT_EQ(heard, std::vector<int>{});
}

TEST_F(Notify, handler_runs_on_its_queue) {
  Queue queue;
  bool was_on_queue = false;
  const int token = registered([&](int) { was_on_queue = platform::is_on_queue(queue); }, queue);
  post();
  dispatch_sync(queue, [] {});
  EXPECT_TRUE(was_on_queue);
  cancel(token);
}

TEST_F(Notify, post_does_not_wait_for_a_queue) {
  const Queue queue;
  std::latch posted(1);
  registered([&](int) { posted.wait(); }, queue);
  post();
  posted.count_down();
  dispatch_sync(queue, [] {});
}

TEST_F(Notify, without_a_queue_the_handler_runs_on_the_posting_thread_before_the_post_returns) {
  std::thread::id thread;
  registered([&](int) { thread = std::this_thread::get_id(); });
  std::thread([&] {
    post();
    EXPECT_EQ(thread, std::this_thread::get_id());
  }).join();
}

TEST_F(Notify, registrations_are_told_in_the_order_in_which_they_were_made) {
  const Queue queue;
  std::string events;
  registered([&](int) { dispatch_sync(queue, [&] { events += "first "; }); });
  registered([&](int) { events += "second "; }, queue);
  registered([&](int) { dispatch_sync(queue, [&] { events += "third"; }); });
  post();
  EXPECT_EQ(events, "first second third");
}

TEST_F(Notify, cancelled_registration_hears_nothing_more) {
  const int cancelled = listener();
  const int other = listener();
  cancel(cancelled);
  post();
  EXPECT_EQ(heard, std::vector{other});
}

TEST_F(Notify, registration_that_an_earlier_handler_cancels_does_not_hear_that_post) {
  int later = kUntouched;
  registered([&](int) { cancel(later); });
  later = listener();
  post();
  EXPECT_EQ(heard, std::vector<int>{});
}

TEST_F(Notify, handler_may_cancel_itself) {
  registered([this](int token) {
    heard.push_back(token);
    cancel(token);
  });
  post();
  post();
  EXPECT_EQ(heard.size(), 1U);
}

TEST_F(Notify, registration_made_during_a_post_hears_only_the_next) {
  int later = kUntouched;
  const int first = registered([&](int token) {
    cancel(token);
    later = listener();
  });
  post();
  EXPECT_EQ(heard, std::vector<int>{});
  post();
  EXPECT_EQ(heard, std::vector{later});
  EXPECT_NE(later, first);
}

TEST_F(Notify, what_was_posted_before_the_cancel_arrives_before_the_queue_ends) {
  Queue queue;
  const int token = listener(queue);
  post();
  cancel(token);
  queue.give_back();
  EXPECT_EQ(heard, std::vector{token});
}

TEST_F(Notify, queue_is_retained_until_the_cancel) {
  Queue queue;
  const int token = listener(queue);
  queue.give_back();
  EXPECT_EQ(platform::live_queues(), 1);
  cancel(token);
  EXPECT_EQ(platform::live_queues(), 0);
}

TEST_F(Notify, clearing_ends_all_registrations_and_releases_their_queues) {
  Queue queue;
  listener(queue);
  listener();
  queue.give_back();
  EXPECT_EQ(platform::notification_registrations(), 2U);
  platform::clear_notifications();
  EXPECT_EQ(platform::notification_registrations(), 0U);
  EXPECT_EQ(platform::live_queues(), 0);
}

TEST_F(Notify, token_that_names_no_registration_cannot_be_cancelled) {
  const int token = listener();
  cancel(token);
  EXPECT_EQ(notify_cancel(token), std::uint32_t{NOTIFY_STATUS_INVALID_TOKEN});
  EXPECT_EQ(notify_cancel(kUntouched), std::uint32_t{NOTIFY_STATUS_INVALID_TOKEN});
}

TEST_F(Notify, no_name_is_refused_and_the_token_left_alone) {
  for (const char* name : {static_cast<const char*>(nullptr), ""}) {
    int token = kUntouched;
    EXPECT_EQ(notify_register_dispatch(name, &token, nullptr, [](int) {}), std::uint32_t{NOTIFY_STATUS_INVALID_NAME});
    EXPECT_EQ(notify_post(name), std::uint32_t{NOTIFY_STATUS_INVALID_NAME});
    EXPECT_EQ(token, kUntouched);
  }
  EXPECT_EQ(platform::notification_registrations(), 0U);
}

TEST_F(Notify, many_threads_can_register_post_and_cancel) {
  const Queue queue;
  in_threads(4, [&](std::size_t) {
    for (int turn = 0; turn < 200; ++turn) {
      const int token = listener(queue);
      post();
      cancel(token);
    }
  });
  dispatch_sync(queue, [this] { EXPECT_GE(heard.size(), 800U); });
}

TEST_F(Notify, registration_without_a_handler_or_a_token_ends_the_process) {
  int token = kUntouched;
  EXPECT_DEATH(notify_register_dispatch(kName, &token, nullptr, nullptr),
               "platform: notify_register_dispatch: an empty block");
  EXPECT_DEATH(notify_register_dispatch(kName, nullptr, nullptr, [](int) {}),
               "platform: notify_register_dispatch: NULL in place of a token");
}

TEST_F(Notify, clearing_on_the_queue_of_a_registration_ends_the_process) {
  const Queue queue;
  const Queue other;
  listener();
  listener(queue);
  EXPECT_DEATH(dispatch_sync(queue, platform::clear_notifications),
               "platform: clear_notifications: called on the queue of a registration");
  dispatch_sync(other, platform::clear_notifications);
  EXPECT_EQ(platform::notification_registrations(), 0U);
}

TEST_F(Notify, handler_that_throws_ends_the_process) {
  const auto post_and_catch = [] {
    registered([](int) { throw std::runtime_error("thrown by a handler"); });
    try {
      notify_post(kName);
    } catch (const std::runtime_error&) {
    }
  };
  EXPECT_DEATH(post_and_catch(), "thrown by a handler");
}

}  // namespace
}  // namespace hub::test
