// SPDX-License-Identifier: Apache-2.0
// The log as a file: one JSON object a line, with the keys level, subsystem, category and message, in the order in
// which the messages were logged. A message's one final line end is taken off.
#pragma once

#include <exception>
#include <mutex>
#include <string>

#include "host/io/descriptor.h"
#include "log/log_host.h"

namespace hub::host {

// Written through at once, so that a process that ends in an unusual way leaves what led to it.
class LogFile {
 public:
  // Replaces what was there. Throws std::system_error with the file's name.
  explicit LogFile(const std::string& path);

  // Throws nothing: a failure is kept, and later messages are dropped. [any thread, one at a time]
  void write(const platform::LogMessage& message) noexcept;

  // Throws the first failure, or one to close the file.
  void finish();

 private:
  std::string path_;
  Descriptor file_;
  std::exception_ptr failure_;
};

}  // namespace hub::host
