// SPDX-License-Identifier: Apache-2.0
#include "host/session/log_file.h"

#include <fcntl.h>

#include <cerrno>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string_view>
#include <system_error>

namespace hub::host {
namespace {

struct LevelName {
  os_log_type_t type;
  const char* name;
};
constexpr LevelName kLevelNames[] = {
    {OS_LOG_TYPE_DEFAULT, "default"},
    {OS_LOG_TYPE_ERROR, "error"},
    {OS_LOG_TYPE_FAULT, "fault"},
};

const char* name_of(os_log_type_t type) {
  for (const LevelName& level : kLevelNames) {
    if (level.type == type) {
      return level.name;
    }
  }
  return "default";
}

std::string line_of(const platform::LogMessage& message) {
  std::string_view text = message.text;
  if (text.ends_with('\n')) {
    text.remove_suffix(1);
  }
  const nlohmann::ordered_json line = {
      {"level", name_of(message.type)},
      {"subsystem", message.subsystem},
      {"category", message.category},
      {"message", text},
  };
  // Bytes that are no UTF-8 become the sign for that: the line must stay readable.
  return line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

Descriptor open_file(const std::string& path) {
  const int number = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (number < 0) {
    throw std::system_error(errno, std::generic_category(), path);
  }
  return Descriptor(number);
}

}  // namespace

LogFile::LogFile(const std::string& path) : path_(path), file_(open_file(path)) {}

void LogFile::write(const platform::LogMessage& message) noexcept try {
  if (failure_ == nullptr) {
    write_all(file_.number(), line_of(message));
  }
} catch (...) {
  failure_ = std::current_exception();
}

void LogFile::finish() try {
  if (failure_ != nullptr) {
    std::rethrow_exception(failure_);
  }
  file_.close();
} catch (const std::system_error& error) {
  throw std::system_error(error.code(), path_);
}

}  // namespace hub::host
