// SPDX-License-Identifier: Apache-2.0
// Runs that write figures of captures instead of their records.
#pragma once

#include <functional>
#include <iosfwd>
#include <string>

#include "host/captures/profile_run.h"
#include "host/figures/capture_comparison.h"

namespace hub::host {

using SummaryText = std::function<std::string(const CaptureSummary& summary)>;
using ComparisonText = std::function<std::string(const NamedSummary& a, const NamedSummary& b)>;

// Writes what `text_of` makes of the figures of the records that are selected. Losses are those of all records. Returns
// the exit status: that of with_output or that of ProfileRun::finish.
int write_summary(const ProfileRunOptions& options, const RecordPredicate& selects, const SummaryText& text_of,
                  std::ostream& messages);

// The same for two captures, the inputs' names, each a run of its own. The graver of their statuses.
int write_comparison(const ProfileRunOptions& options, const RecordPredicate& selects, const ComparisonText& text_of,
                     std::ostream& messages);

}  // namespace hub::host
