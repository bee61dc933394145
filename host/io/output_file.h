// SPDX-License-Identifier: Apache-2.0
// Where a tool's output goes: standard output, or a file that appears under its name only when it is complete.
#pragma once

#include <sys/stat.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "host/io/descriptor.h"

namespace hub::host {

// Failures are std::system_error with the system's reason; for a reader that has gone away the code is EPIPE.
class OutputFile {
 public:
  // Standard output.
  OutputFile();

  // A file that is written beside its place under a name of its own and put there by complete(). Until then, and when
  // it never comes to that, what was there stays as it was and nothing else is left; a signal that ends the process
  // (interrupt, hang-up, termination) removes what was begun. A new file gets the usual permissions, one that replaces
  // another keeps the other's. What exists and is no regular file (a pipe, a device) is written directly. At most one
  // such file at a time.
  explicit OutputFile(const std::string& path);

  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile();

  // Whether an open file is the one that is written, or the one that will be replaced.
  [[nodiscard]] bool concerns(const struct stat& file) const;

  void write(std::string_view text) { write_all(descriptor_, text); }

  // Makes the file appear. Nothing may be written afterwards.
  void complete();

 private:
  void open_beside(const std::filesystem::path& path);

  Descriptor owned_;
  int descriptor_;
  std::optional<struct stat> replaced_;  // what stands where the file will appear
  std::filesystem::path path_;           // where the file appears
  std::string unfinished_path_;          // empty when it is written directly, and when it is complete
};

// Removes the file that is being written, for a process that ends at once. [any thread, also in a signal handler]
void remove_unfinished_output() noexcept;

}  // namespace hub::host
