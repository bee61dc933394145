// SPDX-License-Identifier: Apache-2.0
#include "sys/sysctl.h"

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <ctime>
#include <deque>
#include <fstream>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include "failures/failures.h"
#include "system/system_host.h"

namespace hub::platform {
namespace {

// What the boot-time query answers: an error, a value, or, when neither is set, the machine's own.
struct BootTimeAnswer {
  int error_number = 0;
  std::optional<timeval> value;
};

constexpr BootTimeAnswer kOfThisMachine;

// Who asks takes no lock, for decoders ask once a record. So an answer that is replaced may still be being read; all
// that were ever set are kept. A host sets few.
constinit std::atomic<const BootTimeAnswer*> answer{&kOfThisMachine};

void set_answer(const BootTimeAnswer& new_answer) {
  static std::mutex mutex;
  static auto& answers = *new std::deque<BootTimeAnswer>;
  const std::lock_guard lock(mutex);
  answer.store(&answers.emplace_back(new_answer), std::memory_order_release);
}

// The kernel's own idea of the moment, in seconds since the epoch: the same for all processes until the next boot.
std::optional<std::time_t> boot_second_of_kernel() try {
  std::ifstream statistics("/proc/stat");
  for (std::string line; std::getline(statistics, line);) {
    constexpr std::string_view kKey = "btime ";
    std::time_t seconds = 0;
    if (line.starts_with(kKey) &&
        std::from_chars(line.data() + kKey.size(), line.data() + line.size(), seconds).ec == std::errc()) {
      return seconds;
    }
  }
  return std::nullopt;
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

// Where the kernel's statistics cannot be read: the calendar's second less those since boot.
std::time_t boot_second_of_clocks() {
  timespec now{};
  timespec since_boot{};
  clock_gettime(CLOCK_REALTIME, &now);
  clock_gettime(CLOCK_BOOTTIME, &since_boot);
  return now.tv_sec - since_boot.tv_sec;
}

std::time_t boot_second() {
  const int error_before = errno;  // a query that succeeds leaves errno alone, whatever it took to answer it
  const std::optional<std::time_t> told = boot_second_of_kernel();
  const std::time_t seconds = told ? *told : boot_second_of_clocks();
  errno = error_before;
  return seconds;
}

// Asked once: a difference of two readings is another one each time.
timeval machine_boot_time() {
  static const std::time_t seconds = boot_second();
  return {seconds, 0};
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
  if (std::int32_t error_number = 0; fails(Fallible::ksysctl, error_number)) {
    return fail(error_number);
  }
  const BootTimeAnswer& current = *answer.load(std::memory_order_acquire);
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
