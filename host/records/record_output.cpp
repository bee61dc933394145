// SPDX-License-Identifier: Apache-2.0
#include "host/records/record_output.h"

#include <utility>

namespace hub::host {

RecordOutput::RecordOutput(RecordOutputOptions options, OutputFile& output)
    : options_(std::move(options)), output_(output), writer_(options_) {
  if (options_.jobs > 1) {
    crew_.emplace(options_, output_);
  }
  TextBuffer beginning;
  writer_.format().begin(beginning);
  output_.write(beginning.view());
}

std::size_t RecordOutput::take(std::span<const _HubProfileReport> records) {
  if (crew_) {
    crew_->give(records);
    return records.size();
  }
  const std::size_t seen = writer_.write(records, options_.most_records - counts_.written);
  output_.write(writer_.text());
  counts_ += writer_.counts();
  return seen;
}

void RecordOutput::drain() {
  if (crew_) {
    counts_ += crew_->drain();
  }
}

void RecordOutput::finish() {
  drain();
  TextBuffer end;
  writer_.format().end(end);
  output_.write(end.view());
}

}  // namespace hub::host
