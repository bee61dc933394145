// SPDX-License-Identifier: Apache-2.0
// Captures of profile reports to lines of text: what hubprofile does.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "host/progress.h"

namespace hub::host {

struct CaptureDecodeOptions {
  std::vector<std::string> inputs;  // file names, "-" for standard input; none: standard input
  std::string output;               // file name; empty or "-": standard output
  ProgressWhen progress = ProgressWhen::kAuto;
};

// The exit status of a tool whose reader went away: what a shell reports for one that died of SIGPIPE.
inline constexpr int kReaderGoneStatus = 141;

// Decodes the inputs in turn, each record to a line, and tells what went wrong on `messages`, each line starting with
// "hubprofile: ". A line is written as soon as its record has been read; memory does not grow with the input.
//
// Returns the exit status: 0; 1 when an input could not be read or ended inside a record (all that could be decoded was
// written), or when the output could not be written (a file named as output is then as it was); kReaderGoneStatus,
// without a message, when the reader of the output went away. Records without valid text give no line and are counted
// in a message.
int decode_captures(const CaptureDecodeOptions& options, std::ostream& messages);

}  // namespace hub::host
