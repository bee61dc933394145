// SPDX-License-Identifier: Apache-2.0
#include "sys/sysctl.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <ctime>
#include <deque>
#include <mutex>
#include <optional>
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

class KernelStatistics {
 public:
  KernelStatistics() : descriptor_(open("/proc/stat", O_RDONLY | O_CLOEXEC)) {}
  KernelStatistics(const KernelStatistics&) = delete;
  KernelStatistics& operator=(const KernelStatistics&) = delete;
  ~KernelStatistics() {
    if (descriptor_ >= 0) {
      close(descriptor_);
    }
  }

  // The next byte; none at the end, and where they cannot be read.
  std::optional<char> next() {
    if (at_ == length_) {
      const ssize_t length = descriptor_ >= 0 ? read(descriptor_, bytes_.data(), bytes_.size()) : 0;
      at_ = 0;
      length_ = length > 0 ? static_cast<std::size_t>(length) : 0;
    }
    return at_ < length_ ? std::optional(bytes_[at_++]) : std::nullopt;
  }

 private:
  int descriptor_;
  std::array<char, 4096> bytes_{};
  std::size_t at_ = 0;
  std::size_t length_ = 0;
};

// The number of this key. Lines are as long as there are interrupts: only the beginning of each is looked at.
std::optional<std::time_t> statistic(std::string_view key) {
  KernelStatistics statistics;
  std::array<char, 64> line{};
  std::size_t length = 0;
  while (const std::optional<char> next = statistics.next()) {
    if (*next != '\n') {
      if (length < line.size()) {
        line[length++] = *next;
      }
      continue;
    }
    std::time_t value = 0;
    if (std::string_view(line.data(), length).starts_with(key) &&
        std::from_chars(line.data() + key.size(), line.data() + length, value).ec == std::errc()) {
      return value;
    }
    length = 0;
  }
  return std::nullopt;
}

// The kernel's own idea of the moment, in seconds since the epoch: the same for all processes until the next boot, and
// without memory, too, for the answer stays.
std::optional<std::time_t> boot_second_of_kernel() { return statistic("btime "); }

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
