// SPDX-License-Identifier: Apache-2.0
// The captures that a command is given, read in turn as one run of records.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <span>
#include <string>
#include <vector>

#include "host/captures/live_input.h"
#include "host/io/progress.h"
#include "profile/profile_report.h"

namespace hub::host {

// What the records of a run go to.
class RecordSink {
 public:
  RecordSink() = default;
  RecordSink(const RecordSink&) = delete;
  RecordSink& operator=(const RecordSink&) = delete;
  virtual ~RecordSink() = default;

  // The next records of the run, in input order. They are gone after the call. Gives how many of them belong to the
  // run: all, or those up to the one that satisfied it.
  virtual std::size_t take(std::span<const _HubProfileReport> records) = 0;

  // The reader is about to wait for input: what can be seen of the records so far must be seen now.
  virtual void drain() {}

  // True when it has all that it wants: reading stops.
  [[nodiscard]] virtual bool is_satisfied() const { return false; }
};

struct CaptureInputsOptions {
  std::vector<std::string> names;  // of files, "-" for standard input; none: standard input
  LiveInputOptions last;           // how the last of them is read on; the others are left when they are silent
  ProgressWhen progress = ProgressWhen::kAuto;
};

// Reads the inputs and tells what is wrong with them on `messages`, each line beginning with "hubprofile: ". Memory
// does not grow with the input; records are handed over as soon as they are whole.
class CaptureInputs {
 public:
  // `is_output` tells whether an opened file is the one that is written: it is not read.
  CaptureInputs(const CaptureInputsOptions& options, std::function<bool(const struct stat&)> is_output,
                std::ostream& messages);

  // Hands all records to the sink. What is wrong with an input is told and remembered, and is no reason to stop; what
  // the sink throws is passed on.
  void read_into(RecordSink& sink);

  // Whether an input could not be opened or read to its end, or ended inside a record.
  [[nodiscard]] bool failed() const { return failed_; }

  // Whether one of the inputs is the output.
  [[nodiscard]] bool an_input_is_the_output() const { return an_input_is_the_output_; }

 private:
  void read_one(const std::string& path, const LiveInputOptions& live, RecordSink& sink);
  void tell_failure(const std::string& name, const std::string& what);

  const CaptureInputsOptions& options_;
  std::function<bool(const struct stat&)> is_output_;
  std::ostream& messages_;
  bool failed_ = false;
  bool an_input_is_the_output_ = false;
};

// How messages call an input: its name, or what "-" stands for.
std::string display_name(const std::string& name);

// How many bytes the inputs have together; 0 when one of them is no regular file, so that nobody knows.
std::uint64_t total_size_bytes(const std::vector<std::string>& names);

}  // namespace hub::host
