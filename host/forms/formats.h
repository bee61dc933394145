// SPDX-License-Identifier: Apache-2.0
// The forms in which hubprofile writes records, as a table.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/captures/clock_sources.h"
#include "host/forms/annotated_lines.h"
#include "host/forms/csv_columns.h"
#include "host/records/record_format.h"

namespace hub::host {

// What the forms can be told. Each uses what concerns it.
struct FormatOptions {
  Annotations annotations;              // text
  std::vector<CsvColumn> columns;       // csv
  std::string application;              // pcapng: what writes the file
  std::string device = "hub0";          // pcapng: the interface's name
  std::optional<ClockPair> clock_pair;  // pcapng
};

struct OutputForm {
  std::string_view name;
  std::unique_ptr<RecordFormat> (*make)(const FormatOptions& options);
  bool is_sequential;  // a record's form depends on the ones before it: one thread writes all
};

// The forms; the first is the usual one.
extern const std::span<const OutputForm> kOutputForms;

}  // namespace hub::host
