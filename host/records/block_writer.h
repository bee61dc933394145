// SPDX-License-Identifier: Apache-2.0
// A block of records to text, by one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <span>

#include "host/records/record_format.h"

namespace hub::host {

struct RecordOutputOptions {
  std::function<std::unique_ptr<RecordFormat>()> make_format;
  std::function<bool(const _HubProfileReport&)> selects;  // empty: all records; else called by all jobs
  unsigned jobs = 1;  // threads that write forms; more than one only for forms in which a record knows no other
  std::uint64_t most_records =
      std::numeric_limits<std::uint64_t>::max();  // ends with the last of them; only with one job
};

struct RecordCounts {
  std::uint64_t written = 0;
  std::uint64_t without_form = 0;  // selected, and not written

  RecordCounts& operator+=(const RecordCounts& more) {
    written += more.written;
    without_form += more.without_form;
    return *this;
  }
};

// Has a form object and a text of its own, which stays in the cache of the core that writes it. Writers stand side by
// side, and each changes with every record: in cache lines of their own, one thread does not wait for another's. Two
// lines, since processors fetch them in pairs.
class alignas(128) BlockWriter {
 public:
  explicit BlockWriter(const RecordOutputOptions& options);  // lives as long as the options

  // Replaces the text by the form of each selected record, at most `most` of them, and the counts by theirs. Gives how
  // many records of the block it looked at.
  std::size_t write(std::span<const _HubProfileReport> block, std::uint64_t most);

  [[nodiscard]] RecordFormat& format() { return *format_; }
  [[nodiscard]] std::string_view text() const { return text_.view(); }
  [[nodiscard]] const RecordCounts& counts() const { return counts_; }

 private:
  const RecordOutputOptions& options_;
  std::unique_ptr<RecordFormat> format_;
  TextBuffer text_;
  RecordCounts counts_;
};

}  // namespace hub::host
