// SPDX-License-Identifier: Apache-2.0
#include "host/forms/formats.h"

#include "host/forms/csv_format.h"
#include "host/forms/jsonl_format.h"
#include "host/forms/pcapng_format.h"
#include "host/forms/text_format.h"
#include "host/forms/trace_format.h"

namespace hub::host {
namespace {

using MadeFormat = std::unique_ptr<RecordFormat>;

MadeFormat make_text(const FormatOptions& options) {
  const bool is_annotated = options.annotations.delta != DeltaFrom::kNone || options.annotations.colors;
  auto lines = std::make_unique<TextFormat>();
  return is_annotated ? annotate_lines(std::move(lines), options.annotations) : std::move(lines);
}

MadeFormat make_jsonl(const FormatOptions& /*options*/) { return std::make_unique<JsonlFormat>(); }

MadeFormat make_csv(const FormatOptions& options) { return std::make_unique<CsvFormat>(options.columns); }

MadeFormat make_pcapng(const FormatOptions& options) {
  return std::make_unique<PcapngFormat>(PcapngOrigin{options.application, options.device, options.clock_pair});
}

MadeFormat make_trace(const FormatOptions& /*options*/) { return std::make_unique<TraceFormat>(); }

constexpr OutputForm kRows[] = {
    {"text", make_text, false},     {"jsonl", make_jsonl, false}, {"csv", make_csv, false},
    {"pcapng", make_pcapng, false}, {"trace", make_trace, true},
};

}  // namespace

constinit const std::span<const OutputForm> kOutputForms{kRows};

}  // namespace hub::host
