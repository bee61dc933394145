// SPDX-License-Identifier: Apache-2.0
// Records as CSV by RFC 4180.
#pragma once

#include <utility>
#include <vector>

#include "host/forms/csv_columns.h"
#include "host/records/record_format.h"
#include "host/text/text_buffer.h"

namespace hub::host {

// Writes a header line with the columns' names and a line of cells for each record. Lines end in CR and LF; a cell with
// a comma, a quote, a CR or an LF stands in quotes. UTF-8. Every record has this form; what it has no value for is an
// empty cell.
class CsvFormat : public RecordFormat {
 public:
  // At least one column.
  explicit CsvFormat(std::vector<CsvColumn> columns) : columns_(std::move(columns)) {}

  void begin(TextBuffer& out) override;
  bool append(const _HubProfileReport& report, TextBuffer& out) override;

 private:
  std::vector<CsvColumn> columns_;
};

}  // namespace hub::host
