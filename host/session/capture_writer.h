// SPDX-License-Identifier: Apache-2.0
// A folder of snapshots: one file each, as the platform's record stands, and an index of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "os/state.h"

namespace hub::host {

// The folder cannot be taken for snapshots: something else is in it. It has been left alone.
class CaptureFolderError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Writes beside the folder and puts the whole in its place at the end: until then, and when it never comes to that,
// what was there stays as it was. At most one at a time.
class CaptureWriter {
 public:
  // A folder that is missing, empty, or holds an earlier capture; CaptureFolderError for any other. Other failures here
  // and below are std::system_error with the name of the file or folder.
  explicit CaptureWriter(const std::filesystem::path& folder);
  CaptureWriter(const CaptureWriter&) = delete;
  CaptureWriter& operator=(const CaptureWriter&) = delete;
  ~CaptureWriter();

  // Adds one snapshot, the answer of a handler to a capture of this kind. Captures and handlers count from 0.
  void add(std::size_t capture, std::uint32_t kind, std::size_t handler, const os_state_data_s& record);

  // Writes the index and makes the folder appear. Nothing may be added afterwards.
  void complete();

 private:
  struct Snapshot {
    std::string file;
    std::size_t capture;
    std::uint32_t kind;
    std::size_t handler;
    std::string title;
    std::size_t size_bytes;  // of the property list
  };

  friend void remove_unfinished_captures() noexcept;

  void write_index() const;

  std::filesystem::path folder_;
  std::string unfinished_;  // the folder beside it; empty when it is complete
  std::vector<Snapshot> snapshots_;
};

// Removes what is being written, for a process that ends at once. Needs no memory. [the writer's thread]
void remove_unfinished_captures() noexcept;

}  // namespace hub::host
