// SPDX-License-Identifier: Apache-2.0
#include "host/records/record_run.h"

#include <ostream>

namespace hub::host {
namespace {

// For runs that look at losses alone.
class NoSink : public RecordSink {
 public:
  std::size_t take(std::span<const _HubProfileReport> records) override { return records.size(); }
};

void tell_records_without_form(std::uint64_t count, std::ostream& messages) {
  if (count > 0) {
    messages << "hubprofile: " << count << (count == 1 ? " record has" : " records have")
             << " no line: the text in it is not valid UTF-8\n";
  }
}

}  // namespace

int write_records(const ProfileRunOptions& options, const RecordOutputOptions& records, std::ostream& messages) {
  return with_output(options.output, messages, [&](OutputFile& output) {
    ProfileRun run(options, output, messages);
    RecordOutput sink(records, output);
    run.read_into(sink);
    sink.finish();
    run.complete_output();
    tell_records_without_form(sink.records_without_form(), messages);
    return run.finish();
  });
}

int list_losses(const ProfileRunOptions& options, std::ostream& messages) {
  return with_output(options.output, messages, [&](OutputFile& output) {
    ProfileRun run(options, output, messages,
                   [&output](const LossFinding& finding) { output.write(loss_line(finding) + "\n"); });
    NoSink none;
    run.read_into(none);
    run.complete_output();
    return run.finish();
  });
}

}  // namespace hub::host
