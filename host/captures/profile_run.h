// SPDX-License-Identifier: Apache-2.0
// One run of hubprofile: captures in, one output, what is told of both, and the exit status.
#pragma once

#include <functional>
#include <iosfwd>
#include <string>

#include "host/captures/capture_inputs.h"
#include "host/captures/loss_monitor.h"
#include "host/io/output_file.h"

namespace hub::host {

// Exit statuses. The last is what a shell reports for a command that died of SIGPIPE.
inline constexpr int kDoneStatus = 0;
inline constexpr int kFailedStatus = 1;
inline constexpr int kLossStatus = 3;
inline constexpr int kReaderGoneStatus = 141;

// Which records are wanted; empty: all. Called by any of the threads that work on a run.
using RecordPredicate = std::function<bool(const _HubProfileReport&)>;

struct ProfileRunOptions {
  CaptureInputsOptions inputs;
  std::string output;          // file name; empty or "-": standard output
  bool fails_on_loss = false;  // kLossStatus when records were lost, repeated or out of order
};

// Whether this name of an output means standard output.
bool is_standard_output(const std::string& name);

// Opens the output, lets `work` write to it, and gives its status; when the output fails, kFailedStatus with a message,
// or kReaderGoneStatus without one. A file named as output then is as it was.
int with_output(const std::string& name, std::ostream& messages, const std::function<int(OutputFile&)>& work);

// The reading side of a run. What goes wrong, and at the end what was lost, is told on `messages`, each line beginning
// with "hubprofile: ".
class ProfileRun {
 public:
  // The arguments must outlive it.
  ProfileRun(const ProfileRunOptions& options, OutputFile& output, std::ostream& messages,
             LossMonitor::Listener on_loss = {});

  // Hands all records of the inputs to the sink, once.
  void read_into(RecordSink& sink);

  [[nodiscard]] const LossCounts& losses() const { return monitor_.counts(); }

  // Whether one of the inputs is the output.
  [[nodiscard]] bool has_output_as_input() const { return inputs_.an_input_is_the_output(); }

  // Makes the output appear. An input that the output would replace stays: nothing else has what is in it.
  void complete_output();

  // Tells of losses, behind words that say whose they are, and gives the status: kDoneStatus; kFailedStatus when an
  // input could not be read or ended inside a record; kLossStatus.
  int finish(const std::string& whose = "");

 private:
  const ProfileRunOptions& options_;
  OutputFile& output_;
  std::ostream& messages_;
  CaptureInputs inputs_;
  LossMonitor monitor_;
};

}  // namespace hub::host
