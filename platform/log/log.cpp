// SPDX-License-Identifier: Apache-2.0
#include "os/log.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include "corefoundation/misuse.h"
#include "corefoundation/never_destroyed.h"
#include "failures/failures.h"
#include "log/log_host.h"
#include "log/message_format.h"

struct os_log_s {
  std::string subsystem;
  std::string category;
};

namespace hub::platform {
namespace {

constexpr unsigned kNothingEnabled = UINT8_MAX + 1U;

// By LowestLogLevel.
constexpr unsigned kLowestEnabledTypes[] = {OS_LOG_TYPE_DEFAULT, OS_LOG_TYPE_ERROR, OS_LOG_TYPE_FAULT, kNothingEnabled};

// Read by every message, and written when the recorder or the lowest level changes.
constinit std::atomic<unsigned> lowest_enabled_type{kNothingEnabled};

[[gnu::tls_model("initial-exec")]] constinit thread_local bool is_recording = false;

constinit std::atomic<std::uint64_t> lost_messages{0};

// The logs of the process, by subsystem and category.
class LogTable {
 public:
  os_log_t log_of(std::string subsystem, std::string category) {
    const std::lock_guard lock(mutex_);
    std::unique_ptr<os_log_s>& log = logs_[{subsystem, category}];
    if (log == nullptr) {
      log = std::make_unique<os_log_s>(os_log_s{std::move(subsystem), std::move(category)});
    }
    return log.get();
  }

  bool contains(const void* address) {
    const std::lock_guard lock(mutex_);
    return std::any_of(logs_.begin(), logs_.end(), [=](const auto& entry) { return entry.second.get() == address; });
  }

 private:
  std::mutex mutex_;
  std::map<std::pair<std::string, std::string>, std::unique_ptr<os_log_s>> logs_;
};

// Who reads the messages, and from which level on.
class Recording {
 public:
  void set_recorder(std::function<void(const LogMessage&)> recorder) {
    refuse_within_recorder("set_log_recorder");
    const std::lock_guard lock(mutex_);
    recorder_.swap(recorder);  // the one before is destroyed when the lock is gone
    enable();
  }

  void set_lowest_level(LowestLogLevel level) {
    refuse_within_recorder("set_lowest_log_level");
    const std::lock_guard lock(mutex_);
    lowest_level_ = level;
    enable();
  }

  void record(const LogMessage& message) noexcept {
    const std::lock_guard lock(mutex_);
    if (message.type < lowest_enabled_type.load(std::memory_order_relaxed)) {
      return;  // it was enabled when its formatting began
    }
    is_recording = true;
    recorder_(message);
    is_recording = false;
  }

 private:
  static void refuse_within_recorder(const char* function) {
    if (is_recording) {
      misuse(function, "called by the recorder");
    }
  }

  void enable() {
    const unsigned lowest = kLowestEnabledTypes[static_cast<std::size_t>(lowest_level_)];
    lowest_enabled_type.store(recorder_ ? lowest : kNothingEnabled, std::memory_order_release);
  }

  std::mutex mutex_;
  std::function<void(const LogMessage&)> recorder_;
  LowestLogLevel lowest_level_ = LowestLogLevel::kDefault;
};

LogTable& logs() {
  static NeverDestroyed<LogTable> instance;  // somebody may log until the very end of the process
  return instance.get();
}

Recording& recording() {
  static NeverDestroyed<Recording> instance;  // as above
  return instance.get();
}

// Who logs is never in the way of what it tells of: a message for which there is no memory is lost, and counted.
void record_formatted(const os_log_s& log, os_log_type_t type, const char* format, std::va_list arguments) try {
  recording().record({type, log.subsystem, log.category, format_message(format, arguments)});
} catch (const std::bad_alloc&) {
  lost_messages.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

std::uint64_t lost_log_messages() { return lost_messages.load(std::memory_order_relaxed); }

void set_log_recorder(std::function<void(const LogMessage&)> recorder) {
  recording().set_recorder(std::move(recorder));
}

void set_lowest_log_level(LowestLogLevel level) { recording().set_lowest_level(level); }

}  // namespace hub::platform

using namespace hub::platform;

os_log_t os_log_create(const char* subsystem, const char* category) try {
  if (fails(Fallible::kos_log_create)) {
    return nullptr;
  }
  return logs().log_of(subsystem != nullptr ? subsystem : "", category != nullptr ? category : "");
} catch (const std::bad_alloc&) {
  return nullptr;
}

bool os_log_type_enabled(os_log_t log, os_log_type_t type) {
  return log != nullptr && type >= lowest_enabled_type.load(std::memory_order_acquire);
}

void os_log_with_type(os_log_t log, os_log_type_t type, const char* format, ...) {
  if (!os_log_type_enabled(log, type) || is_recording) {
    return;
  }
  if (format == nullptr) {
    misuse("os_log_with_type", "NULL in place of a format");
  }
  va_list arguments;
  va_start(arguments, format);
  record_formatted(*log, type, format, arguments);
  va_end(arguments);
}

void os_release(void* log) {
  if (log != nullptr && !logs().contains(log)) {
    misuse("os_release", "what is no log");
  }
}
