// SPDX-License-Identifier: Apache-2.0
#include "host/session/capture_writer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <new>
#include <nlohmann/json.hpp>
#include <string_view>
#include <system_error>

#include "host/io/descriptor.h"

namespace hub::host {
namespace {

namespace fs = std::filesystem;

constexpr char kIndex[] = "index.json";
constexpr char kFormat[] = "hub-captures/1";

[[noreturn]] void throw_errno(const fs::path& path) {
  throw std::system_error(errno, std::generic_category(), path.string());
}

using FileName = std::array<char, 32>;

FileName file_name(std::size_t number) {
  FileName name{};
  std::snprintf(name.data(), name.size(), "%04zu.state", number);
  return name;
}

// A folder in which there is nothing else than so many snapshots and an index. Needs no memory.
void remove_own_folder(const std::string& folder, std::size_t snapshots) {
  const int number = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (number >= 0) {
    const Descriptor opened(number);
    for (std::size_t snapshot = 0; snapshot < snapshots; ++snapshot) {
      unlinkat(number, file_name(snapshot).data(), 0);
    }
    unlinkat(number, kIndex, 0);
  }
  rmdir(folder.c_str());
}

bool is_snapshot_name(const std::string& name) {
  constexpr std::string_view kEnding = ".state";
  return name.size() >= 4 + kEnding.size() && name.ends_with(kEnding) &&
         std::all_of(name.begin(), name.end() - kEnding.size(),
                     [](unsigned char character) { return std::isdigit(character) != 0; });
}

bool is_index(const fs::path& path) {
  std::ifstream file(path);
  const auto index = nlohmann::json::parse(file, nullptr, false);
  return index.is_object() && index.value("format", nlohmann::json()) == kFormat;
}

// An index, and nothing that a capture does not have.
bool holds_capture(const fs::path& folder) {
  return is_index(folder / kIndex) && std::all_of(fs::directory_iterator(folder), {}, [](const auto& entry) {
           const std::string name = entry.path().filename().string();
           return entry.is_regular_file() && (name == kIndex || is_snapshot_name(name));
         });
}

void expect_usable(const fs::path& folder) {
  if (!fs::exists(folder)) {
    return;
  }
  if (!fs::is_directory(folder)) {
    throw CaptureFolderError(folder.string() + ": is no folder; expected one that is new, empty, or holds a capture");
  }
  if (!fs::is_empty(folder) && !holds_capture(folder)) {
    throw CaptureFolderError(
        folder.string() + ": holds something else than a capture; expected a folder that is new, empty, or holds one");
  }
}

// The folder itself, without a trailing slash, and not a link to it: what is renamed must be the folder.
fs::path real_path(const fs::path& folder) {
  fs::path path = fs::weakly_canonical(fs::absolute(folder));
  return path.has_filename() ? path : path.parent_path();
}

std::string make_unfinished(const fs::path& folder) {
  fs::create_directories(folder.parent_path());
  std::string name = (folder.parent_path() / ("." + folder.filename().string() + ".XXXXXX")).string();
  if (mkdtemp(name.data()) == nullptr) {
    throw_errno(folder);
  }
  const mode_t mask = umask(0);
  umask(mask);
  chmod(name.c_str(), 0777 & ~mask);  // made for nobody else, but it will be an ordinary folder
  return name;
}

void write_file(const fs::path& path, std::string_view bytes) {
  const int number = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (number < 0) {
    throw_errno(path);
  }
  Descriptor file(number);
  try {
    write_all(file.number(), bytes);
    file.close();
  } catch (const std::system_error& error) {
    throw std::system_error(error.code(), path.string());
  }
}

// For a process that ends at once.
constinit const CaptureWriter* current_writer = nullptr;

}  // namespace

CaptureWriter::CaptureWriter(const fs::path& folder) {
  expect_usable(folder);
  folder_ = real_path(folder);
  unfinished_ = make_unfinished(folder_);
  current_writer = this;
}

CaptureWriter::~CaptureWriter() {
  current_writer = nullptr;
  if (unfinished_.empty()) {
    return;
  }
  remove_own_folder(unfinished_, snapshots_.size() + 1);  // the last of them may be written and not noted
  try {
    std::error_code ignored;
    fs::remove_all(unfinished_, ignored);  // an earlier capture may have had more
  } catch (const std::bad_alloc&) {
    return;
  }
}

void CaptureWriter::add(std::size_t capture, std::uint32_t kind, std::size_t handler, const os_state_data_s& record) {
  Snapshot snapshot{.file = file_name(snapshots_.size()).data(),
                    .capture = capture,
                    .kind = kind,
                    .handler = handler,
                    .title = std::string(record.title, strnlen(record.title, sizeof record.title)),
                    .size_bytes = record.data_size_bytes};
  write_file(fs::path(unfinished_) / snapshot.file,
             {reinterpret_cast<const char*>(&record), sizeof record + record.data_size_bytes});
  snapshots_.push_back(std::move(snapshot));
}

void CaptureWriter::write_index() const {
  auto list = nlohmann::ordered_json::array();
  for (const Snapshot& snapshot : snapshots_) {
    list.push_back({{"file", snapshot.file},
                    {"capture", snapshot.capture},
                    {"kind", snapshot.kind},
                    {"handler", snapshot.handler},
                    {"title", snapshot.title},
                    {"size", snapshot.size_bytes}});
  }
  const nlohmann::ordered_json index = {{"format", kFormat}, {"snapshots", std::move(list)}};
  write_file(fs::path(unfinished_) / kIndex,
             index.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n");
}

void CaptureWriter::complete() {
  write_index();
  expect_usable(folder_);  // it may have changed meanwhile
  const bool replaces = fs::exists(folder_);
  if (renameat2(AT_FDCWD, unfinished_.c_str(), AT_FDCWD, folder_.c_str(), replaces ? RENAME_EXCHANGE : 0) != 0) {
    throw_errno(folder_);
  }
  if (!replaces) {
    unfinished_.clear();
  }
}

void remove_unfinished_captures() noexcept {
  if (current_writer != nullptr && !current_writer->unfinished_.empty()) {
    remove_own_folder(current_writer->unfinished_, current_writer->snapshots_.size() + 1);
  }
}

}  // namespace hub::host
