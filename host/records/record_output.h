// SPDX-License-Identifier: Apache-2.0
// Records to an output in some form: those that are selected, in input order, by one thread or by several.
#pragma once

#include <cstdint>
#include <optional>

#include "host/captures/capture_inputs.h"
#include "host/io/output_file.h"
#include "host/records/block_crew.h"
#include "host/records/block_writer.h"

namespace hub::host {

// What the output holds does not depend on the number of jobs.
class RecordOutput : public RecordSink {
 public:
  RecordOutput(RecordOutputOptions options, OutputFile& output);

  std::size_t take(std::span<const _HubProfileReport> records) override;
  void drain() override;
  [[nodiscard]] bool is_satisfied() const override { return counts_.written >= options_.most_records; }

  // Writes what is still to be written, and the end of the form.
  void finish();

  // How many selected records have no such form. Complete when it is finished.
  [[nodiscard]] std::uint64_t records_without_form() const { return counts_.without_form; }

 private:
  RecordOutputOptions options_;
  OutputFile& output_;
  BlockWriter writer_;  // of what is written by one thread: the beginning, the end, and all with one job
  RecordCounts counts_;
  std::optional<BlockCrew> crew_;  // none with one job
};

}  // namespace hub::host
