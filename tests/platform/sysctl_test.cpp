// SPDX-License-Identifier: Apache-2.0
// Kernel state by numeric name: the boot time and every way of not getting it.
#include <sys/sysctl.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <utility>
#include <vector>

#include "system/system_host.h"
#include "tests/platform/platform_test.h"

namespace hub::test {
namespace {

constexpr timeval kUntouched{-77, -77};
constexpr timeval kSomeTime{1'763'000'000, 123'456};
constexpr std::size_t kUntouchedLength = 1000;

using Moment = std::pair<std::int64_t, std::int64_t>;

Moment moment(const timeval& time) { return {time.tv_sec, time.tv_usec}; }

// One query with a buffer that says it is of this size, and all that came of it.
struct Query {
  explicit Query(std::vector<int> name = {CTL_KERN, KERN_BOOTTIME}, std::size_t length = kUntouchedLength,
                 void* new_value = nullptr)
      : length_bytes(length) {
    errno = 0;
    result = sysctl(name.data(), static_cast<unsigned>(name.size()), &value, &length_bytes, new_value, 0);
    error_number = errno;
  }

  int result;
  int error_number;
  timeval value = kUntouched;
  std::size_t length_bytes;
};

Query with_buffer_of(std::size_t length_bytes) { return Query({CTL_KERN, KERN_BOOTTIME}, length_bytes); }

void expect_failure(const Query& query, int error_number, std::size_t length_bytes = kUntouchedLength) {
  EXPECT_EQ(query.result, -1);
  EXPECT_EQ(query.error_number, error_number);
  EXPECT_EQ(moment(query.value), moment(kUntouched));
  EXPECT_EQ(query.length_bytes, length_bytes);
}

void expect_success(const Query& query, const timeval& value) {
  EXPECT_EQ(query.result, 0);
  EXPECT_EQ(query.error_number, 0);
  EXPECT_EQ(moment(query.value), moment(value));
  EXPECT_EQ(query.length_bytes, sizeof(timeval));
}

std::int64_t seconds_of(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return now.tv_sec;
}

class Sysctl : public PlatformTest {
 protected:
  ~Sysctl() override { platform::use_machine_boot_time(); }
};

TEST_F(Sysctl, machine_boot_time_stays_the_same) {
  std::vector<Moment> seen(4);
  in_threads(seen.size(), [&](std::size_t index) { seen[index] = moment(Query().value); });
  EXPECT_EQ(seen, std::vector<Moment>(4, moment(Query().value)));
}

TEST_F(Sysctl, machine_boot_time_is_as_long_ago_as_the_machine_runs) {
  const Query query;
  expect_success(query, query.value);
  const std::int64_t expected = seconds_of(CLOCK_REALTIME) - seconds_of(CLOCK_BOOTTIME);
  EXPECT_NEAR(static_cast<double>(query.value.tv_sec), static_cast<double>(expected), 60);
  EXPECT_GE(query.value.tv_usec, 0);
  EXPECT_LT(query.value.tv_usec, 1'000'000);
}

TEST_F(Sysctl, boot_time_that_the_host_set_is_given_as_it_stands) {
  for (const timeval& value : {kSomeTime, timeval{0, 0}, timeval{-5, 2'000'000}}) {
    platform::set_boot_time(value);
    expect_success(Query(), value);
  }
}

TEST_F(Sysctl, boot_time_fails_with_the_errno_that_the_host_chose) {
  for (const int error_number : {EPERM, EIO, ENOENT, ENOMEM}) {
    platform::fail_boot_time(error_number);
    expect_failure(Query(), error_number);
  }
}

TEST_F(Sysctl, last_choice_of_the_host_counts) {
  platform::fail_boot_time(EIO);
  platform::set_boot_time(kSomeTime);
  expect_success(Query(), kSomeTime);
  platform::fail_boot_time(EIO);
  expect_failure(Query(), EIO);
}

TEST_F(Sysctl, machine_boot_time_comes_back_unchanged) {
  const Query before;
  platform::set_boot_time(kSomeTime);
  platform::use_machine_boot_time();
  expect_success(Query(), before.value);
  platform::fail_boot_time(EIO);
  platform::use_machine_boot_time();
  expect_success(Query(), before.value);
}

TEST_F(Sysctl, unknown_name_gives_enoent) {
  const std::vector<int> unknown[] = {{},
                                      {CTL_KERN},
                                      {CTL_KERN, KERN_BOOTTIME, 0},
                                      {CTL_KERN, KERN_BOOTTIME + 1},
                                      {CTL_KERN + 1, KERN_BOOTTIME},
                                      {KERN_BOOTTIME, CTL_KERN}};
  for (const std::vector<int>& name : unknown) {
    expect_failure(Query(name), ENOENT);
  }
}

TEST_F(Sysctl, setting_gives_eperm) {
  timeval new_value = kSomeTime;
  expect_failure(Query({CTL_KERN, KERN_BOOTTIME}, kUntouchedLength, &new_value), EPERM);
  EXPECT_EQ(moment(new_value), moment(kSomeTime));
}

TEST_F(Sysctl, buffer_that_is_too_small_gives_enomem) {
  expect_failure(with_buffer_of(sizeof(timeval) - 1), ENOMEM, sizeof(timeval) - 1);
  expect_failure(with_buffer_of(0), ENOMEM, 0);
}

TEST_F(Sysctl, buffer_of_just_the_size_is_enough) {
  platform::set_boot_time(kSomeTime);
  expect_success(with_buffer_of(sizeof(timeval)), kSomeTime);
}

TEST_F(Sysctl, without_a_buffer_gives_the_size) {
  int name[] = {CTL_KERN, KERN_BOOTTIME};
  for (std::size_t length_bytes : {std::size_t{0}, kUntouchedLength}) {
    EXPECT_EQ(sysctl(name, 2, nullptr, &length_bytes, nullptr, 0), 0);
    EXPECT_EQ(length_bytes, sizeof(timeval));
  }
}

TEST_F(Sysctl, without_buffer_and_size_says_whether_the_value_is_there) {
  int name[] = {CTL_KERN, KERN_BOOTTIME};
  EXPECT_EQ(sysctl(name, 2, nullptr, nullptr, nullptr, 0), 0);
  platform::fail_boot_time(EIO);
  EXPECT_EQ(sysctl(name, 2, nullptr, nullptr, nullptr, 0), -1);
  EXPECT_EQ(errno, EIO);
}

TEST_F(Sysctl, answers_are_whole_while_the_host_changes_them) {
  const auto change = [] {
    for (int turn = 1; turn <= 1000; ++turn) {
      platform::set_boot_time({turn, turn});
      platform::fail_boot_time(EIO);
    }
  };
  const auto read = [] {
    for (int turn = 0; turn < 2000; ++turn) {
      const Query query;
      EXPECT_TRUE(query.result == 0 ? query.value.tv_sec == query.value.tv_usec : query.error_number == EIO);
    }
  };
  platform::set_boot_time({0, 0});
  in_threads(3, [&](std::size_t index) { index == 0 ? change() : read(); });
}

}  // namespace
}  // namespace hub::test
