// SPDX-License-Identifier: Apache-2.0
// The system log: what is recorded, from which level on, and how long logs live.
#include <os/log.h>

#include <bit>
#include <stdexcept>
#include <string>
#include <vector>

#include "log/log_host.h"
#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

using platform::LogMessage;
using platform::LowestLogLevel;

// Before and after each test there is no recorder, and the lowest level is the default one.
class Log : public PlatformTest {
 protected:
  ~Log() override {
    platform::set_log_recorder(nullptr);
    platform::set_lowest_log_level(LowestLogLevel::kDefault);
  }

  void record() {
    platform::set_log_recorder([this](const LogMessage& message) { messages.push_back(message); });
  }

  // Default, error, fault: which of them are enabled.
  [[nodiscard]] std::vector<bool> enabled() const {
    return {os_log_type_enabled(log, OS_LOG_TYPE_DEFAULT), os_log_type_enabled(log, OS_LOG_TYPE_ERROR),
            os_log_type_enabled(log, OS_LOG_TYPE_FAULT)};
  }

  [[nodiscard]] std::vector<std::string> texts() const {
    std::vector<std::string> texts;
    for (const LogMessage& message : messages) {
      texts.push_back(message.text);
    }
    return texts;
  }

  void log_all_levels() const {
    os_log(log, "default");
    os_log_error(log, "error");
    os_log_fault(log, "fault");
  }

  const os_log_t log = os_log_create("statistics", "snapshot");
  std::vector<LogMessage> messages;
};

using Texts = std::vector<std::string>;

TEST_F(Log, recorder_gets_level_subsystem_category_and_text) {
  record();
  os_log_error(log, "%d of %s\n", 3, "four");
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_EQ(messages[0].type, OS_LOG_TYPE_ERROR);
  EXPECT_EQ(messages[0].subsystem, "statistics");
  EXPECT_EQ(messages[0].category, "snapshot");
  EXPECT_EQ(messages[0].text, "3 of four\n");
}

TEST_F(Log, each_macro_has_its_level) {
  record();
  log_all_levels();
  ASSERT_EQ(texts(), (Texts{"default", "error", "fault"}));
  EXPECT_EQ(messages[0].type, OS_LOG_TYPE_DEFAULT);
  EXPECT_EQ(messages[1].type, OS_LOG_TYPE_ERROR);
  EXPECT_EQ(messages[2].type, OS_LOG_TYPE_FAULT);
}

TEST_F(Log, without_a_recorder_nothing_is_enabled) {
  EXPECT_EQ(enabled(), (std::vector{false, false, false}));
  record();
  platform::set_log_recorder(nullptr);
  EXPECT_EQ(enabled(), (std::vector{false, false, false}));
  log_all_levels();
  EXPECT_EQ(texts(), Texts{});
}

TEST_F(Log, each_lowest_level_enables_itself_and_those_above) {
  record();
  EXPECT_EQ(enabled(), (std::vector{true, true, true}));
  platform::set_lowest_log_level(LowestLogLevel::kError);
  EXPECT_EQ(enabled(), (std::vector{false, true, true}));
  platform::set_lowest_log_level(LowestLogLevel::kFault);
  EXPECT_EQ(enabled(), (std::vector{false, false, true}));
  platform::set_lowest_log_level(LowestLogLevel::kOff);
  EXPECT_EQ(enabled(), (std::vector{false, false, false}));
  platform::set_lowest_log_level(LowestLogLevel::kDefault);
  EXPECT_EQ(enabled(), (std::vector{true, true, true}));
}

TEST_F(Log, what_is_not_enabled_is_not_recorded) {
  record();
  platform::set_lowest_log_level(LowestLogLevel::kError);
  log_all_levels();
  EXPECT_EQ(texts(), (Texts{"error", "fault"}));
  platform::set_lowest_log_level(LowestLogLevel::kOff);
  log_all_levels();
  EXPECT_EQ(texts(), (Texts{"error", "fault"}));
}

TEST_F(Log, lowest_level_lasts_over_recorders) {
  platform::set_lowest_log_level(LowestLogLevel::kFault);
  record();
  log_all_levels();
  EXPECT_EQ(texts(), Texts{"fault"});
}

TEST_F(Log, arguments_of_what_is_not_enabled_are_not_read) {
  os_log(log, "%s", std::bit_cast<const char*>(std::uintptr_t{1}));
  record();
  platform::set_lowest_log_level(LowestLogLevel::kError);
  os_log(log, "%s", std::bit_cast<const char*>(std::uintptr_t{1}));
  EXPECT_EQ(texts(), Texts{});
}

TEST_F(Log, null_log_is_never_enabled_and_records_nothing) {
  record();
  EXPECT_FALSE(os_log_type_enabled(nullptr, OS_LOG_TYPE_FAULT));
  os_log_fault(static_cast<os_log_t>(nullptr), "fault");
  EXPECT_EQ(texts(), Texts{});
}

TEST_F(Log, is_one_per_subsystem_and_category) {
  EXPECT_EQ(os_log_create("statistics", "snapshot"), log);
  EXPECT_NE(os_log_create("statistics", "profile"), log);
  EXPECT_NE(os_log_create("snapshot", "statistics"), log);
  EXPECT_NE(os_log_create("statisticssnapshot", ""), log);
}

TEST_F(Log, null_in_place_of_a_text_is_the_empty_one) {
  EXPECT_EQ(os_log_create(nullptr, "snapshot"), os_log_create("", "snapshot"));
  EXPECT_EQ(os_log_create("statistics", nullptr), os_log_create("statistics", ""));
}

TEST_F(Log, keeps_copies_of_its_names) {
  record();
  std::string subsystem = "copied";
  const os_log_t copied = os_log_create(subsystem.c_str(), "category");
  subsystem[0] = '-';
  os_log(copied, "text");
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_EQ(messages[0].subsystem, "copied");
}

TEST_F(Log, is_heard_after_its_release) {
  record();
  os_release(log);
  os_release(log);
  os_log(log, "still here");
  EXPECT_EQ(texts(), Texts{"still here"});
  EXPECT_EQ(messages[0].category, "snapshot");
  EXPECT_EQ(os_log_create("statistics", "snapshot"), log);
}

TEST_F(Log, releasing_null_does_nothing) { os_release(nullptr); }

TEST_F(Log, recorder_is_called_on_the_thread_that_logs) {
  std::thread::id recorded_on;
  platform::set_log_recorder([&](const LogMessage&) { recorded_on = std::this_thread::get_id(); });
  std::thread([&] {
    os_log(log, "text");
    EXPECT_EQ(recorded_on, std::this_thread::get_id());
  }).join();
}

TEST_F(Log, messages_of_many_threads_come_one_at_a_time_and_each_threads_in_its_order) {
  record();
  in_threads(4, [&](std::size_t thread) {
    for (int turn = 0; turn < 200; ++turn) {
      os_log(log, "%zu %d", thread, turn);
    }
  });
  ASSERT_EQ(messages.size(), 800U);
  std::array<int, 4> next_turns{};
  for (const std::string& text : texts()) {
    const std::size_t thread = std::stoul(text);
    EXPECT_EQ(text, std::to_string(thread) + " " + std::to_string(next_turns.at(thread)++));
  }
}

TEST_F(Log, recorder_and_level_can_change_while_others_log) {
  in_threads(4, [&](std::size_t thread) {
    for (int turn = 0; turn < 200; ++turn) {
      if (thread == 0) {
        record();
        platform::set_lowest_log_level(turn % 2 == 0 ? LowestLogLevel::kOff : LowestLogLevel::kDefault);
        platform::set_log_recorder(nullptr);
      }
      os_log(log, "text");
    }
  });
  EXPECT_EQ(enabled(), (std::vector{false, false, false}));
}

TEST_F(Log, what_the_recorder_logs_is_dropped) {
  platform::set_log_recorder([this](const LogMessage& message) {
    messages.push_back(message);
    os_log(log, "within");
  });
  os_log(log, "first");
  os_log(log, "second");
  EXPECT_EQ(texts(), (Texts{"first", "second"}));
}

TEST_F(Log, recorder_is_destroyed_when_another_is_set) {
  auto held = std::make_shared<int>();
  platform::set_log_recorder([held](const LogMessage&) {});
  EXPECT_EQ(held.use_count(), 2);
  platform::set_log_recorder([](const LogMessage&) {});
  EXPECT_EQ(held.use_count(), 1);
}

TEST_F(Log, release_of_what_is_no_log_ends_the_process) {
  int no_log = 0;
  EXPECT_DEATH(os_release(&no_log), "platform: os_release: what is no log");
}

TEST_F(Log, null_in_place_of_a_format_ends_the_process) {
  record();
  EXPECT_DEATH(os_log_with_type(log, OS_LOG_TYPE_DEFAULT, nullptr),
               "platform: os_log_with_type: NULL in place of a format");
}

TEST_F(Log, recorder_that_changes_the_recording_ends_the_process) {
  const auto log_with = [this](void (*change)()) {
    platform::set_log_recorder([change](const LogMessage&) { change(); });
    os_log(log, "text");
  };
  EXPECT_DEATH(log_with([] { platform::set_log_recorder(nullptr); }), "platform: set_log_recorder: called by the rec");
  EXPECT_DEATH(log_with([] { platform::set_lowest_log_level(LowestLogLevel::kOff); }),
               "platform: set_lowest_log_level: called by the recorder");
}

TEST_F(Log, recorder_that_throws_ends_the_process) {
  const auto log_and_catch = [this] {
    platform::set_log_recorder([](const LogMessage&) { throw std::runtime_error("thrown by a recorder"); });
    try {
      os_log(log, "text");
    } catch (const std::runtime_error&) {
    }
  };
  EXPECT_DEATH(log_and_catch(), "thrown by a recorder");
}

}  // namespace
}  // namespace hub::test
