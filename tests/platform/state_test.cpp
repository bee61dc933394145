// SPDX-License-Identifier: Apache-2.0
// State capture: who is asked, where and in which order, and what becomes of the answers.
#include <os/state.h>

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "state/state_host.h"
#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

using platform::OwnedStateData;

// A record of this title with `data_size_bytes` bytes of data.
os_state_data_t record(const std::string& title, std::uint32_t data_size_bytes = 0) {
  auto* data = static_cast<os_state_data_t>(std::calloc(1, sizeof(os_state_data_s) + data_size_bytes));
  data->type = OS_STATE_DATA_SERIALIZED_CF_OBJECT;
  data->data_size_bytes = data_size_bytes;
  title.copy(data->title, sizeof data->title - 1);
  return data;
}

using Taken = std::vector<std::pair<std::size_t, std::string>>;

// The numbers and titles of what one capture brings.
Taken capture(std::uint32_t api = OS_STATE_API_REQUEST) {
  Taken taken;
  platform::capture_state(
      api, [&](std::size_t handler, const OwnedStateData& data) { taken.emplace_back(handler, data->title); });
  return taken;
}

// There are no handlers before and after each test.
class State : public PlatformTest {
 protected:
  ~State() override { platform::clear_state_handlers(); }

  // Registers a handler that notes its title and answers with it.
  os_state_handle_t answering(const std::string& title, dispatch_queue_t on = nullptr) {
    return os_state_add_handler(on, [this, title](os_state_hints_t) {
      asked.push_back(title);
      return record(title);
    });
  }

  os_state_handle_t silent(const std::string& title) {
    return os_state_add_handler(nullptr, [this, title](os_state_hints_t) -> os_state_data_t {
      asked.push_back(title);
      return nullptr;
    });
  }

  std::vector<std::string> asked;
};

using Titles = std::vector<std::string>;

TEST_F(State, without_handlers_a_capture_brings_nothing) { EXPECT_EQ(capture(), Taken{}); }

TEST_F(State, handlers_are_called_in_the_order_of_their_registration) {
  const Queue queue;
  const Queue other;
  answering("first", queue);
  answering("second", other);
  answering("third");
  answering("fourth", queue);
  EXPECT_EQ(capture(), (Taken{{0, "first"}, {1, "second"}, {2, "third"}, {3, "fourth"}}));
  EXPECT_EQ(asked, (Titles{"first", "second", "third", "fourth"}));
}

TEST_F(State, next_handler_is_called_when_the_one_before_has_been_taken) {
  Titles events;
  for (const char* title : {"first", "second"}) {
    os_state_add_handler(nullptr, [&events, title](os_state_hints_t) {
      events.push_back(std::string("ask ") + title);
      return record(title);
    });
  }
  platform::capture_state(OS_STATE_API_REQUEST, [&](std::size_t, const OwnedStateData& data) {
    events.push_back(std::string("take ") + data->title);
  });
  EXPECT_EQ(events, (Titles{"ask first", "take first", "ask second", "take second"}));
}

TEST_F(State, handler_is_called_on_its_queue_and_its_record_taken_on_the_capturing_thread) {
  const Queue queue;
  bool was_on_queue = false;
  std::thread::id taken_on;
  os_state_add_handler(queue, [&](os_state_hints_t) {
    was_on_queue = platform::is_on_queue(queue);
    return record("title");
  });
  platform::capture_state(OS_STATE_API_REQUEST,
                          [&](std::size_t, const OwnedStateData&) { taken_on = std::this_thread::get_id(); });
  EXPECT_TRUE(was_on_queue);
  EXPECT_EQ(taken_on, std::this_thread::get_id());
}

TEST_F(State, without_a_queue_the_handler_is_called_on_the_capturing_thread) {
  std::thread::id asked_on;
  os_state_add_handler(nullptr, [&](os_state_hints_t) {
    asked_on = std::this_thread::get_id();
    return record("title");
  });
  std::thread([&] {
    capture();
    EXPECT_EQ(asked_on, std::this_thread::get_id());
  }).join();
}

TEST_F(State, handler_is_called_behind_what_its_queue_has_still_to_do) {
  const Queue queue;
  Titles events;
  answering("state", queue);
  dispatch_async(queue, [this] { asked.emplace_back("work"); });
  capture();
  EXPECT_EQ(asked, (Titles{"work", "state"}));
}

TEST_F(State, each_capture_tells_every_handler_its_reason) {
  std::vector<std::uint32_t> reasons;
  const Queue queue;
  for (const dispatch_queue_t on : {static_cast<dispatch_queue_t>(queue), dispatch_queue_t{}}) {
    os_state_add_handler(on, [&](os_state_hints_t hints) {
      reasons.push_back(std::exchange(hints->api, 0));
      return record("title");
    });
  }
  capture(OS_STATE_API_ERROR);
  capture(OS_STATE_API_FAULT);
  capture(OS_STATE_API_REQUEST);
  EXPECT_EQ(reasons, (std::vector<std::uint32_t>{1, 1, 2, 2, 3, 3}));
}

TEST_F(State, handler_with_nothing_to_say_is_skipped_and_keeps_its_number) {
  silent("first");
  answering("second");
  silent("third");
  answering("fourth");
  EXPECT_EQ(capture(), (Taken{{1, "second"}, {3, "fourth"}}));
  EXPECT_EQ(asked, (Titles{"first", "second", "third", "fourth"}));
}

TEST_F(State, one_handler_can_be_asked_alone) {
  answering("first");
  answering("second");
  silent("third");
  EXPECT_STREQ(platform::ask_state_handler(1, OS_STATE_API_REQUEST)->title, "second");
  EXPECT_EQ(platform::ask_state_handler(2, OS_STATE_API_REQUEST), nullptr);
  EXPECT_EQ(asked, (Titles{"second", "third"}));
}

TEST_F(State, handler_asked_without_hints_gets_null_and_may_answer) {
  os_state_add_handler(nullptr, [](os_state_hints_t hints) { return record(hints == nullptr ? "none" : "some"); });
  EXPECT_STREQ(platform::ask_state_handler_without_hints(0)->title, "none");
  EXPECT_STREQ(platform::ask_state_handler(0, OS_STATE_API_REQUEST)->title, "some");
}

TEST_F(State, handler_that_is_not_there_cannot_be_asked) {
  answering("only");
  EXPECT_DEATH(platform::ask_state_handler(1, OS_STATE_API_REQUEST), "platform: ask_state_handler: no such handler");
  EXPECT_DEATH(platform::ask_state_handler_without_hints(1),
               "platform: ask_state_handler_without_hints: no such handler");
}

TEST_F(State, handler_registered_during_a_capture_is_called_in_the_next) {
  os_state_add_handler(nullptr, [this](os_state_hints_t) {
    answering("later");
    return record("first");
  });
  EXPECT_EQ(capture(), (Taken{{0, "first"}}));
  EXPECT_EQ(capture(), (Taken{{0, "first"}, {1, "later"}}));
}

TEST_F(State, record_is_the_handlers_own_and_belongs_to_who_takes_it) {
  os_state_data_t made = nullptr;
  os_state_add_handler(nullptr, [&](os_state_hints_t) {
    made = record("title", 3);
    made->data[2] = 0xBE;
    return made;
  });
  std::vector<OwnedStateData> kept;
  platform::capture_state(OS_STATE_API_REQUEST,
                          [&](std::size_t, OwnedStateData data) { kept.push_back(std::move(data)); });
  ASSERT_EQ(kept.size(), 1U);
  EXPECT_EQ(kept[0].get(), made);
  EXPECT_EQ(kept[0]->data_size_bytes, 3U);
  EXPECT_EQ(kept[0]->data[2], 0xBE);
}

// The leak checker sees a record that nobody freed.
TEST_F(State, record_that_is_not_kept_is_freed) {
  answering("first");
  platform::capture_state(OS_STATE_API_REQUEST, [](std::size_t, const OwnedStateData&) {});
  EXPECT_THROW(platform::capture_state(OS_STATE_API_REQUEST,
                                       [](std::size_t, const OwnedStateData&) { throw std::runtime_error("full"); }),
               std::runtime_error);
  EXPECT_EQ(asked, (Titles{"first", "first"}));
}

TEST_F(State, every_registration_has_a_handle_of_its_own) {
  const os_state_handle_t first = answering("title");
  const os_state_handle_t second = answering("title");
  platform::clear_state_handlers();
  const os_state_handle_t third = answering("title");
  EXPECT_NE(first, 0U);
  EXPECT_NE(second, 0U);
  EXPECT_NE(first, second);
  EXPECT_NE(third, first);
  EXPECT_NE(third, second);
}

TEST_F(State, handlers_are_counted_until_they_are_cleared) {
  answering("first");
  answering("second");
  EXPECT_EQ(platform::state_handlers(), 2U);
  platform::clear_state_handlers();
  EXPECT_EQ(platform::state_handlers(), 0U);
  EXPECT_EQ(capture(), Taken{});
}

TEST_F(State, queue_is_retained_until_the_handlers_are_cleared) {
  Queue queue;
  answering("title", queue);
  queue.give_back();
  EXPECT_EQ(platform::live_queues(), 1);
  EXPECT_EQ(capture(), (Taken{{0, "title"}}));
  platform::clear_state_handlers();
  EXPECT_EQ(platform::live_queues(), 0);
}

TEST_F(State, many_threads_can_register_and_capture) {
  const Queue queue;
  in_threads(4, [&](std::size_t) {
    for (int turn = 0; turn < 20; ++turn) {
      answering("title", queue);
      capture();
    }
  });
  EXPECT_EQ(capture().size(), 80U);
}

TEST_F(State, capture_on_a_handlers_queue_ends_the_process) {
  const Queue queue;
  const Queue other;
  answering("first", queue);
  EXPECT_DEATH(dispatch_sync(queue, [] { capture(); }), "platform: capture_state: called on a handler's queue");
  EXPECT_DEATH(dispatch_sync(queue, [] { platform::ask_state_handler(0, OS_STATE_API_REQUEST); }),
               "platform: ask_state_handler: called on a handler's queue");
  dispatch_sync(other, [] { EXPECT_EQ(capture(), (Taken{{0, "first"}})); });
}

TEST_F(State, handlers_that_are_cleared_while_they_are_asked_end_the_process) {
  os_state_add_handler(nullptr, [](os_state_hints_t) -> os_state_data_t {
    platform::clear_state_handlers();
    return nullptr;
  });
  EXPECT_DEATH(capture(), "platform: clear_state_handlers: state is being captured");
  EXPECT_DEATH(platform::ask_state_handler(0, OS_STATE_API_REQUEST),
               "platform: clear_state_handlers: state is being captured");
}

TEST_F(State, capture_that_ends_with_an_exception_is_over) {
  answering("first");
  EXPECT_THROW(platform::capture_state(OS_STATE_API_REQUEST,
                                       [](std::size_t, const OwnedStateData&) { throw std::runtime_error("full"); }),
               std::runtime_error);
  platform::clear_state_handlers();
  EXPECT_EQ(platform::state_handlers(), 0U);
}

TEST_F(State, empty_handler_ends_the_process) {
  EXPECT_DEATH(os_state_add_handler(nullptr, nullptr), "platform: os_state_add_handler: an empty block");
}

TEST_F(State, handler_that_throws_ends_the_process) {
  const auto capture_and_catch = [] {
    os_state_add_handler(nullptr,
                         [](os_state_hints_t) -> os_state_data_t { throw std::runtime_error("thrown by a handler"); });
    try {
      capture();
    } catch (const std::runtime_error&) {
    }
  };
  EXPECT_DEATH(capture_and_catch(), "thrown by a handler");
}

}  // namespace
}  // namespace hub::test
