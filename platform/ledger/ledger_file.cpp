// SPDX-License-Identifier: Apache-2.0
#include "ledger/ledger_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <system_error>
#include <thread>

#include "ledger/ledger_error.h"
#include "ledger/unfinished_change.h"

namespace hub::platform {
namespace {

namespace fs = std::filesystem;

std::string log_of(const std::string& location) { return location + "-wal"; }

[[noreturn]] void refuse(const std::string& file, const std::string& what) { throw LedgerError(file + ": " + what); }

void expect_access(const std::string& file, const std::string& path, int mode, const char* what) {
  if (access(path.c_str(), mode) != 0) {
    refuse(file, what + std::string(": ") + std::generic_category().message(errno));
  }
}

std::string folder_of(const std::string& location) { return fs::path(location).parent_path().string(); }

// SQLite would take a file of this size for an empty one, and write over it.
constexpr std::int64_t kSizeTakenForEmpty = 1;

// 0 when there is no such file.
std::int64_t size_of(const std::string& location) {
  struct stat status {};
  return stat(location.c_str(), &status) == 0 ? status.st_size : 0;
}

// What another process would change about a file by writing to it.
struct FileState {
  std::int64_t size_bytes = 0;
  std::int64_t changed_s = 0;
  std::int64_t changed_ns = 0;
  bool has_log = false;

  bool operator==(const FileState&) const = default;
};

FileState state_of(const std::string& location) {
  struct stat status {};
  if (stat(location.c_str(), &status) != 0) {
    return {};
  }
  const bool has_log = has_content(log_of(location)) || has_unfinished_change(location);
  return {status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec, has_log};
}

// The times of files go forward in steps: back when a change would show in the file's time, whoever makes it.
void wait_until_changes_show(const FileState& state) {
  timespec now{};
  for (;;) {
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    if (now.tv_sec != state.changed_s || now.tv_nsec != state.changed_ns) {
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

// A log is read by an index of it, which stands in a file as well.
void expect_readable_log(const std::string& file, const std::string& location) {
  if (has_content(log_of(location)) && access((location + "-shm").c_str(), F_OK) != 0) {
    expect_access(file, folder_of(location), W_OK | X_OK, "needs a folder that can be written, to recover its log");
  }
}

// SQLite's name for the file in which it can be told how to open it.
std::string uri_of(const std::string& location, const char* parameter) {
  std::string uri = "file://";
  for (const char character : location) {
    switch (character) {
      case '%':
        uri += "%25";
        break;
      case '?':
        uri += "%3f";
        break;
      case '#':
        uri += "%23";
        break;
      default:
        uri += character;
    }
  }
  return uri + "?" + parameter;
}

}  // namespace

std::string location_of(const std::string& file) {
  std::error_code error;
  const fs::path location = fs::weakly_canonical(fs::absolute(fs::path(file), error), error);
  if (file.empty() || error) {
    refuse(file, "is no name of a file" + (error ? ": " + error.message() : std::string()));
  }
  const fs::file_status folder = fs::status(location.parent_path(), error);
  if (!fs::is_directory(folder)) {
    refuse(file, "there is no folder " + location.parent_path().string());
  }
  const fs::file_status status = fs::status(location, error);
  if (fs::is_directory(status)) {
    refuse(file, "is a folder, expected a ledger");
  }
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    refuse(file, "is no regular file, expected a ledger");
  }
  return location.string();
}

void expect_writable(const std::string& file, const std::string& location) {
  if (access(location.c_str(), F_OK) == 0) {
    expect_access(file, location, R_OK | W_OK, "cannot be read and written");
  }
  expect_access(file, folder_of(location), W_OK | X_OK, "needs a folder that can be written, for its log");
}

bool has_content(const std::string& location) { return size_of(location) > 0; }

std::string as_it_stands(const std::string& location) { return uri_of(location, "immutable=1"); }

// Without a log, a reader that takes part in locking would make one and leave it there: SQLite is told then that nobody
// writes, and whether that was true is seen afterwards.
void look_at(const std::string& file, std::chrono::milliseconds patience,
             const std::function<void(Database& database)>& look) {
  const std::string location = location_of(file);
  expect_access(file, location, R_OK, "cannot be read");
  if (size_of(location) == kSizeTakenForEmpty) {
    refuse(file, "is no ledger: file is not a database");
  }
  for (;;) {
    const FileState before = state_of(location);
    wait_until_changes_show(before);
    expect_readable_log(file, location);
    const std::string uri = before.has_log ? uri_of(location, "mode=ro") : as_it_stands(location);
    const auto held_still = [&] { return before.has_log || state_of(location) == before; };
    try {
      Database database(file, uri, Database::Access::kRead, patience);
      look(database);
      if (held_still()) {
        return;
      }
    } catch (const LedgerError&) {
      if (held_still()) {
        throw;
      }
    }
  }
}

}  // namespace hub::platform
