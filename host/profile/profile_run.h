// SPDX-License-Identifier: Apache-2.0
// One run of hubprofile over its inputs: what is common to writing records, listing losses and summaries.
#pragma once

#include <functional>
#include <iosfwd>
#include <string>

#include "host/output_file.h"
#include "host/profile/capture_inputs.h"
#include "host/profile/record_output.h"

namespace hub::host {

// Exit statuses. The last is what a shell reports for a command that died of SIGPIPE.
inline constexpr int kDoneStatus = 0;
inline constexpr int kFailedStatus = 1;
inline constexpr int kLossStatus = 3;
inline constexpr int kReaderGoneStatus = 141;

struct ProfileRunOptions {
  CaptureInputsOptions inputs;
  std::string output;          // file name; empty or "-": standard output
  bool fails_on_loss = false;  // kLossStatus when records were lost, repeated or out of order
};

// Writes the records of the inputs in a form. A record is written as soon as it has been read; memory does not grow
// with the input. What went wrong, the records without such a form, and what the run tells of losses are told on
// `messages`, each line beginning with "hubprofile: ".
//
// Returns the exit status: kDoneStatus; kFailedStatus when an input could not be read or ended inside a record (all
// that could be decoded was written), or when the output could not be written (a file named as output is then as it
// was); kLossStatus; kReaderGoneStatus, without a message, when the reader of the output went away.
int write_records(const ProfileRunOptions& options, const RecordOutputOptions& records, std::ostream& messages);

// Writes a line for each loss that the inputs show, and no records. Otherwise as above.
int list_losses(const ProfileRunOptions& options, std::ostream& messages);

}  // namespace hub::host
