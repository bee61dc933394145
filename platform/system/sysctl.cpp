// SPDX-License-Identifier: Apache-2.0
#include "sys/sysctl.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <mutex>
#include <optional>

#include "system/system_host.h"

namespace hub::platform {
namespace {

// What the boot-time query answers: an error, a value, or, when neither is set, the machine's own.
struct BootTimeAnswer {
  int error_number = 0;
  std::optional<timeval> value;
};

constinit std::mutex answer_mutex;
constinit BootTimeAnswer answer;

void set_answer(const BootTimeAnswer& new_answer) {
  const std::lock_guard lock(answer_mutex);
  answer = new_answer;
}

BootTimeAnswer current_answer() {
  const std::lock_guard lock(answer_mutex);
  return answer;
}

constexpr std::int64_t kMicrosecondsPerSecond = 1'000'000;
constexpr std::int64_t kNanosecondsPerMicrosecond = 1'000;

std::int64_t clock_microseconds(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return now.tv_sec * kMicrosecondsPerSecond + now.tv_nsec / kNanosecondsPerMicrosecond;
}

// Asked of the clocks once: a difference of two readings is another one each time.
timeval machine_boot_time() {
  static const std::int64_t boot_time_us = clock_microseconds(CLOCK_REALTIME) - clock_microseconds(CLOCK_BOOTTIME);
  return {boot_time_us / kMicrosecondsPerSecond, boot_time_us % kMicrosecondsPerSecond};
}

int fail(int error_number) {
  errno = error_number;
  return -1;
}

}  // namespace

void set_boot_time(const timeval& boot_time) { set_answer({0, boot_time}); }

void fail_boot_time(int error_number) { set_answer({error_number, std::nullopt}); }

void use_machine_boot_time() { set_answer({}); }

}  // namespace hub::platform

using namespace hub::platform;

int sysctl(int* name, unsigned int name_length, void* old_value, size_t* old_length_bytes, void* new_value, size_t) {
  if (name_length != 2 || name[0] != CTL_KERN || name[1] != KERN_BOOTTIME) {
    return fail(ENOENT);
  }
  if (new_value != nullptr) {
    return fail(EPERM);
  }
  const BootTimeAnswer current = current_answer();
  if (current.error_number != 0) {
    return fail(current.error_number);
  }
  const timeval boot_time = current.value ? *current.value : machine_boot_time();
  if (old_length_bytes != nullptr && old_value != nullptr && *old_length_bytes < sizeof boot_time) {
    return fail(ENOMEM);
  }
  if (old_value != nullptr) {
    std::memcpy(old_value, &boot_time, sizeof boot_time);
  }
  if (old_length_bytes != nullptr) {
    *old_length_bytes = sizeof boot_time;
  }
  return 0;
}
