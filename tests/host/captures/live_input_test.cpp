// SPDX-License-Identifier: Apache-2.0
#include "host/captures/live_input.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <thread>

#include "host/captures/report_reader.h"
#include "host/io/descriptor.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

namespace fs = std::filesystem;
using host::Descriptor;
using host::kReportSize;
using host::LiveInput;
using host::LiveInputOptions;
using host::ReportReader;
using host::write_all;

using Seconds = std::chrono::duration<double>;

constexpr LiveInputOptions kFollowWhatIsThere{.follow = true, .idle_timeout = Seconds(0)};
constexpr LiveInputOptions kFollow{.follow = true, .idle_timeout = {}};

// The bytes of reports with these sequence numbers.
std::string records(std::uint32_t first, std::uint32_t last) {
  std::string bytes;
  for (std::uint32_t number = first; number <= last; ++number) {
    const _HubProfileReport next = report(8, 3, 5, 0).sequence(number).count_up();
    bytes.append(reinterpret_cast<const char*>(&next), sizeof next);
  }
  return bytes;
}

// Reads reports from an input; what is dropped is in told().
class LiveReader {
 public:
  template <typename Place>
  LiveReader(const Place& place, const LiveInputOptions& options) : input_(place, options) {}

  // Sequence numbers, as far as `last` or the end: "1 2 3 ".
  std::string read_up_to(std::uint32_t last) {
    std::string numbers;
    for (auto reports = reader_.next(); !reports.empty(); reports = reader_.next()) {
      for (const _HubProfileReport& next : reports) {
        numbers += std::to_string(next.sequence_num) + " ";
      }
      if (reports.back().sequence_num == last) {
        break;
      }
    }
    return numbers;
  }

  std::string read_to_end() { return read_up_to(0); }

  // What is there now, without waiting.
  std::string read_now() {
    std::string numbers;
    while (!reader_.would_wait()) {
      const auto reports = reader_.next();
      if (reports.empty()) {
        return numbers + "end";
      }
      for (const _HubProfileReport& next : reports) {
        numbers += std::to_string(next.sequence_num) + " ";
      }
    }
    return numbers;
  }

  [[nodiscard]] bool would_wait() { return reader_.would_wait(); }
  [[nodiscard]] const std::string& told() const { return told_; }
  [[nodiscard]] std::size_t left_over_bytes() const { return reader_.left_over_bytes(); }

 private:
  std::string told_;
  LiveInput input_;
  ReportReader reader_{input_, [this](const std::string& text) { told_ += text + "\n"; }};
};

class LiveInputTest : public ::testing::Test {
 protected:
  // A reader that waits for more than there is ends the test.
  void SetUp() override {
    alarm(60);
    std::string made = (fs::temp_directory_path() / "live_input_test.XXXXXX").string();
    ASSERT_NE(mkdtemp(made.data()), nullptr);
    folder_ = made;
  }
  void TearDown() override {
    fs::remove_all(folder_);
    alarm(0);
  }

  [[nodiscard]] std::string path(const std::string& name) const { return (folder_ / name).string(); }

  // Makes the file when it is missing.
  void append(const std::string& name, const std::string& bytes) const {
    std::ofstream(path(name), std::ios::app | std::ios::binary) << bytes;
  }
  void cut(const std::string& name, const std::string& bytes) const {
    std::ofstream(path(name), std::ios::trunc | std::ios::binary) << bytes;
  }
  void move(const std::string& from, const std::string& to) const { fs::rename(path(from), path(to)); }

  void make_named_pipe(const std::string& name) const { ASSERT_EQ(mkfifo(path(name).c_str(), 0600), 0); }
  [[nodiscard]] Descriptor writer_of(const std::string& name) const {
    return Descriptor(open(path(name).c_str(), O_WRONLY | O_CLOEXEC));
  }

  // Of this thread.
  static Seconds processor_time() {
    timespec used{};
    EXPECT_EQ(clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used), 0);
    return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
  }

  static int reason_of_failure(const std::string& path) {
    try {
      LiveReader(path, kFollowWhatIsThere).read_to_end();
    } catch (const std::system_error& error) {
      return error.code().value();
    }
    return 0;
  }

  fs::path folder_;
};

TEST_F(LiveInputTest, file_that_is_not_followed_ends_at_its_end) {
  append("capture", records(1, 3) + "abc");
  LiveReader reader(path("capture"), {});
  EXPECT_EQ(reader.read_now(), "1 2 3 end");
  EXPECT_EQ(reader.left_over_bytes(), 3U);
}

TEST_F(LiveInputTest, file_that_grows_is_read_on) {
  append("capture", records(1, 2));
  LiveReader reader(path("capture"), kFollow);
  EXPECT_EQ(reader.read_now(), "1 2 ");
  append("capture", records(3, 3));
  EXPECT_EQ(reader.read_now(), "3 ");
  EXPECT_TRUE(reader.would_wait());
}

TEST_F(LiveInputTest, file_that_grows_is_waited_for) {
  append("capture", "");
  LiveReader reader(path("capture"), kFollow);
  std::jthread writer([this] {
    const std::string bytes = records(1, 5);
    for (std::size_t at = 0; at < bytes.size(); at += 30) {
      append("capture", bytes.substr(at, 30));
    }
  });
  EXPECT_EQ(reader.read_up_to(5), "1 2 3 4 5 ");
}

TEST_F(LiveInputTest, record_that_has_begun_is_waited_for) {
  append("capture", records(1, 1).substr(0, 20));
  LiveReader reader(path("capture"), kFollow);
  EXPECT_TRUE(reader.would_wait());
  append("capture", records(1, 1).substr(20));
  EXPECT_EQ(reader.read_now(), "1 ");
}

TEST_F(LiveInputTest, end_by_the_idle_timeout_leaves_the_record_that_has_begun) {
  append("capture", records(1, 2) + "abc");
  LiveReader reader(path("capture"), kFollowWhatIsThere);
  EXPECT_EQ(reader.read_to_end(), "1 2 ");
  EXPECT_EQ(reader.left_over_bytes(), 3U);
  EXPECT_FALSE(reader.would_wait());
}

TEST_F(LiveInputTest, end_that_was_reached_stays_reached_when_the_file_grows) {
  append("capture", records(1, 1));
  LiveInput input(path("capture"), kFollowWhatIsThere);
  std::array<std::byte, 100> room{};
  EXPECT_EQ(input.read_some(room).length_bytes, kReportSize);
  EXPECT_EQ(input.read_some(room).length_bytes, 0U);
  append("capture", records(2, 2));
  EXPECT_FALSE(input.would_wait());
  EXPECT_EQ(input.read_some(room).length_bytes, 0U);
}

TEST_F(LiveInputTest, idle_timeout_waits_as_long_as_it_says) {
  append("capture", "");
  LiveReader reader(path("capture"), {.follow = true, .idle_timeout = Seconds(0.08)});
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(reader.read_to_end(), "");
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(80));
}

TEST_F(LiveInputTest, rotated_file_is_read_to_its_end_before_the_new_one) {
  append("capture", records(1, 2));
  LiveReader reader(path("capture"), kFollowWhatIsThere);
  append("capture", records(3, 3));
  move("capture", "capture.1");
  append("capture.1", records(4, 4));
  append("capture", records(5, 6));
  EXPECT_EQ(reader.read_to_end(), "1 2 3 4 5 6 ");
  EXPECT_EQ(reader.told(), "");
}

TEST_F(LiveInputTest, file_that_is_rotated_while_it_is_waited_for_is_left_for_the_new_one) {
  append("capture", records(1, 1));
  LiveReader reader(path("capture"), kFollow);
  EXPECT_EQ(reader.read_now(), "1 ");
  std::jthread writer([this] {
    append("capture", records(2, 2));
    move("capture", "capture.1");
    append("capture", records(3, 3));
  });
  EXPECT_EQ(reader.read_up_to(3), "2 3 ");
}

TEST_F(LiveInputTest, record_that_a_rotated_file_leaves_unfinished_is_dropped_and_told) {
  append("capture", records(1, 2) + "abc");
  LiveReader reader(path("capture"), kFollowWhatIsThere);
  move("capture", "capture.1");
  append("capture", records(3, 4));
  EXPECT_EQ(reader.read_to_end(), "1 2 3 4 ");
  EXPECT_EQ(reader.told(),
            "was replaced inside a record: at offset 96, 3 bytes are dropped of the 48 that a record has\n");
}

TEST_F(LiveInputTest, each_of_several_rotations_is_followed) {
  append("capture", records(1, 1));
  LiveReader reader(path("capture"), kFollow);
  EXPECT_EQ(reader.read_up_to(1), "1 ");
  for (std::uint32_t number = 2; number < 5; ++number) {
    move("capture", "capture." + std::to_string(number));
    append("capture", records(number, number));
    EXPECT_EQ(reader.read_up_to(number), std::to_string(number) + " ");
  }
}

TEST_F(LiveInputTest, name_that_comes_to_lead_to_another_file_by_a_link_is_followed) {
  append("first", records(1, 1));
  append("second", records(2, 2));
  fs::create_symlink("first", path("capture"));
  LiveReader reader(path("capture"), kFollowWhatIsThere);
  fs::remove(path("capture"));
  fs::create_symlink("second", path("capture"));
  EXPECT_EQ(reader.read_to_end(), "1 2 ");
}

TEST_F(LiveInputTest, file_without_a_name_is_read_on_until_the_name_is_there_again) {
  append("capture", records(1, 1));
  LiveReader reader(path("capture"), kFollow);
  move("capture", "capture.1");
  EXPECT_EQ(reader.read_up_to(1), "1 ");
  append("capture.1", records(2, 2));
  EXPECT_EQ(reader.read_up_to(2), "2 ");
  std::jthread writer([this] { append("capture", records(3, 3)); });
  EXPECT_EQ(reader.read_up_to(3), "3 ");
}

TEST_F(LiveInputTest, name_that_stays_missing_ends_by_the_idle_timeout) {
  append("capture", records(1, 1));
  LiveReader reader(path("capture"), {.follow = true, .idle_timeout = Seconds(0.01)});
  fs::remove(path("capture"));
  EXPECT_EQ(reader.read_to_end(), "1 ");
}

TEST_F(LiveInputTest, file_that_is_cut_is_read_again_from_its_start) {
  append("capture", records(1, 3));
  LiveReader reader(path("capture"), kFollow);
  EXPECT_EQ(reader.read_up_to(3), "1 2 3 ");
  cut("capture", records(4, 5));
  EXPECT_EQ(reader.read_up_to(5), "4 5 ");
  append("capture", records(6, 6));
  EXPECT_EQ(reader.read_up_to(6), "6 ");
  EXPECT_EQ(reader.told(), "");
}

TEST_F(LiveInputTest, record_that_a_cut_leaves_unfinished_is_dropped_and_told) {
  append("capture", records(1, 1) + "a");
  LiveReader reader(path("capture"), kFollow);
  EXPECT_EQ(reader.read_up_to(1), "1 ");
  EXPECT_TRUE(reader.would_wait());
  cut("capture", records(2, 2));
  EXPECT_EQ(reader.read_up_to(2), "2 ");
  EXPECT_EQ(reader.told(),
            "was cut short inside a record: at offset 48, 1 byte is dropped of the 48 that a record has\n");
}

TEST_F(LiveInputTest, cut_to_nothing_would_wait) {
  append("capture", records(1, 1));
  LiveReader reader(path("capture"), kFollow);
  EXPECT_EQ(reader.read_up_to(1), "1 ");
  cut("capture", "");
  EXPECT_TRUE(reader.would_wait());
}

TEST_F(LiveInputTest, file_by_its_descriptor_is_read_on_and_again_when_it_is_cut) {
  append("capture", records(1, 3));
  const Descriptor file(open(path("capture").c_str(), O_RDONLY | O_CLOEXEC));
  LiveReader reader(file.number(), kFollow);
  EXPECT_EQ(reader.read_now(), "1 2 3 ");
  append("capture", records(4, 4));
  EXPECT_EQ(reader.read_now(), "4 ");
  cut("capture", records(5, 5));
  EXPECT_EQ(reader.read_up_to(5), "5 ");
}

TEST_F(LiveInputTest, file_by_its_descriptor_stays_when_its_name_leads_elsewhere) {
  append("capture", records(1, 1));
  const Descriptor file(open(path("capture").c_str(), O_RDONLY | O_CLOEXEC));
  LiveReader reader(file.number(), kFollowWhatIsThere);
  move("capture", "capture.1");
  append("capture", records(2, 2));
  EXPECT_EQ(reader.read_to_end(), "1 ");
}

TEST_F(LiveInputTest, named_pipe_is_opened_before_its_writer_and_waits) {
  make_named_pipe("pipe");
  LiveReader reader(path("pipe"), {});
  EXPECT_TRUE(reader.would_wait());
  Descriptor writer = writer_of("pipe");
  write_all(writer.number(), records(1, 2));
  EXPECT_EQ(reader.read_now(), "1 2 ");
  writer.close();
  EXPECT_EQ(reader.read_now(), "end");
}

TEST_F(LiveInputTest, named_pipe_that_is_followed_goes_on_with_the_next_writer) {
  make_named_pipe("pipe");
  LiveReader reader(path("pipe"), kFollow);
  for (std::uint32_t number = 1; number < 5; ++number) {
    write_all(writer_of("pipe").number(), records(number, number));
    EXPECT_EQ(reader.read_up_to(number), std::to_string(number) + " ");
    EXPECT_TRUE(reader.would_wait());
  }
  EXPECT_EQ(reader.told(), "");
}

TEST_F(LiveInputTest, named_pipe_that_is_followed_waits_for_the_next_writer) {
  make_named_pipe("pipe");
  LiveReader reader(path("pipe"), kFollow);
  std::jthread writers([this] {
    for (std::uint32_t number = 1; number <= 20; ++number) {
      write_all(writer_of("pipe").number(), records(number, number));
    }
  });
  EXPECT_EQ(reader.read_up_to(20), "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 ");
}

TEST_F(LiveInputTest, record_that_a_writer_leaves_unfinished_is_dropped_and_told) {
  make_named_pipe("pipe");
  LiveReader reader(path("pipe"), kFollow);
  write_all(writer_of("pipe").number(), records(1, 1) + "abc");
  EXPECT_EQ(reader.read_now(), "1 ");
  write_all(writer_of("pipe").number(), records(2, 2));
  EXPECT_EQ(reader.read_now(), "2 ");
  EXPECT_EQ(
      reader.told(),
      "was closed by its writer inside a record: at offset 48, 3 bytes are dropped of the 48 that a record has\n");
}

TEST_F(LiveInputTest, named_pipe_that_nobody_writes_ends_by_the_idle_timeout) {
  make_named_pipe("pipe");
  EXPECT_EQ(LiveReader(path("pipe"), {.follow = false, .idle_timeout = Seconds(0.01)}).read_to_end(), "");
  EXPECT_EQ(LiveReader(path("pipe"), {.follow = true, .idle_timeout = Seconds(0.01)}).read_to_end(), "");
}

TEST_F(LiveInputTest, named_pipe_that_its_writers_have_left_is_waited_for_without_work) {
  make_named_pipe("pipe");
  LiveReader reader(path("pipe"), {.follow = true, .idle_timeout = Seconds(0.3)});
  write_all(writer_of("pipe").number(), records(1, 1));
  const Seconds before = processor_time();
  EXPECT_EQ(reader.read_to_end(), "1 ");
  EXPECT_LT(processor_time() - before, Seconds(0.015));
}

TEST_F(LiveInputTest, named_pipe_that_has_become_a_file_is_left_for_it) {
  make_named_pipe("capture");
  LiveReader reader(path("capture"), kFollow);
  write_all(writer_of("capture").number(), records(1, 1));
  fs::remove(path("capture"));
  append("capture", records(2, 2));
  EXPECT_EQ(reader.read_up_to(2), "1 2 ");
}

class LivePipeTest : public LiveInputTest {
 protected:
  LivePipeTest() {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    reading_end_ = Descriptor(ends[0]);
    writing_end_ = Descriptor(ends[1]);
  }

  Descriptor reading_end_;
  Descriptor writing_end_;
};

TEST_F(LivePipeTest, ends_when_it_is_closed_even_if_it_is_followed) {
  LiveReader reader(reading_end_.number(), kFollow);
  write_all(writing_end_.number(), records(1, 2));
  EXPECT_EQ(reader.read_now(), "1 2 ");
  writing_end_.close();
  EXPECT_EQ(reader.read_now(), "end");
}

TEST_F(LivePipeTest, ends_by_the_idle_timeout_while_it_is_open) {
  LiveReader reader(reading_end_.number(), {.follow = false, .idle_timeout = Seconds(0.01)});
  write_all(writing_end_.number(), records(1, 2) + "abc");
  EXPECT_EQ(reader.read_to_end(), "1 2 ");
  EXPECT_EQ(reader.left_over_bytes(), 3U);
}

TEST_F(LivePipeTest, is_waited_for_within_the_idle_timeout) {
  LiveReader reader(reading_end_.number(), {.follow = false, .idle_timeout = Seconds(1e12)});
  std::jthread writer([this] {
    for (std::uint32_t number = 1; number <= 20; ++number) {
      write_all(writing_end_.number(), records(number, number).substr(0, 20));
      write_all(writing_end_.number(), records(number, number).substr(20));
    }
    writing_end_.close();
  });
  EXPECT_EQ(reader.read_to_end(), "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 ");
}

TEST_F(LivePipeTest, descriptor_stays_open_for_its_owner) {
  { LiveInput(reading_end_.number(), kFollow); }
  EXPECT_GE(fcntl(reading_end_.number(), F_GETFD), 0);
}

TEST_F(LivePipeTest, signal_that_is_handled_does_not_end_the_wait) {
  const auto before = std::signal(SIGUSR1, [](int) {});
  LiveReader reader(reading_end_.number(), {});
  std::jthread writer([this, waiting = pthread_self()] {
    for (int count = 0; count < 20; ++count) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));  // so that it waits again
      pthread_kill(waiting, SIGUSR1);
    }
    write_all(writing_end_.number(), records(1, 1));
  });
  EXPECT_EQ(reader.read_up_to(1), "1 ");
  std::signal(SIGUSR1, before);
}

TEST_F(LivePipeTest, signal_ends_the_process_that_waits) {
  for (const int signal_number : {SIGINT, SIGTERM}) {
    const auto wait_and_get_signal = [&] {
      std::signal(signal_number, SIG_DFL);
      std::jthread sender([=] { kill(getpid(), signal_number); });
      LiveReader(reading_end_.number(), kFollow).read_to_end();
    };
    EXPECT_EXIT(wait_and_get_signal(), ::testing::KilledBySignal(signal_number), "");
  }
}

TEST_F(LiveInputTest, that_cannot_be_read_fails_with_the_reason) {
  EXPECT_EQ(reason_of_failure(path("missing")), ENOENT);
  EXPECT_EQ(reason_of_failure(folder_.string()), EISDIR);
  EXPECT_THROW(LiveInput(-1, kFollow), std::system_error);
}

TEST_F(LiveInputTest, name_that_comes_to_lead_to_what_cannot_be_read_fails) {
  append("capture", records(1, 1));
  LiveReader reader(path("capture"), kFollow);
  EXPECT_EQ(reader.read_now(), "1 ");
  fs::remove(path("capture"));
  fs::create_directory(path("capture"));
  EXPECT_THROW(reader.read_to_end(), std::system_error);
}

}  // namespace
}  // namespace hub::test
