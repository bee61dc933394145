// SPDX-License-Identifier: Apache-2.0
// Records to an output in some form: those that are selected, in input order, by one thread or by several.
#pragma once

#include <cstdint>
#include <functional>
#include <future>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/captures/capture_inputs.h"
#include "host/io/output_file.h"
#include "host/records/record_format.h"

namespace hub::host {

struct RecordOutputOptions {
  std::function<std::unique_ptr<RecordFormat>()> make_format;
  std::function<bool(const _HubProfileReport&)> selects;  // empty: all records; else called by all jobs
  unsigned jobs = 1;  // threads that write forms; more than one only for forms in which a record knows no other
  std::uint64_t most_records =
      std::numeric_limits<std::uint64_t>::max();  // ends with the last of them; only with one job
};

// What the output holds does not depend on the number of jobs. Blocks of records go round a ring of slots, each with a
// form object and buffers of its own: a slot is filled, worked on by some thread, and written when all before it are.
// So memory is bounded by the ring, and the order needs no sorting.
class RecordOutput : public RecordSink {
 public:
  RecordOutput(RecordOutputOptions options, OutputFile& output);
  ~RecordOutput() override;

  std::size_t take(std::span<const _HubProfileReport> records) override;
  void drain() override;
  [[nodiscard]] bool is_satisfied() const override { return written_records_ >= options_.most_records; }

  // Writes what is still to be written, and the end of the form.
  void finish();

  // How many selected records have no such form.
  [[nodiscard]] std::uint64_t records_without_form() const { return records_without_form_; }

 private:
  struct Slot;
  class Workers;

  void write_oldest();

  RecordOutputOptions options_;
  OutputFile& output_;
  std::vector<std::unique_ptr<Slot>> ring_;
  std::size_t oldest_ = 0;   // slot of the ring that is written next
  std::size_t in_work_ = 0;  // slots that are filled and not yet written
  std::uint64_t written_records_ = 0;
  std::uint64_t records_without_form_ = 0;
  std::unique_ptr<Workers> workers_;  // none with one job; ends before the slots do
};

}  // namespace hub::host
