// SPDX-License-Identifier: Apache-2.0
#include "host/figures/figures_run.h"

#include <ostream>

namespace hub::host {
namespace {

// Adds up the records that are selected.
class SummarySink : public RecordSink {
 public:
  SummarySink(const RecordPredicate& selects, CaptureSummary& summary) : selects_(selects), summary_(summary) {}

  std::size_t take(std::span<const _HubProfileReport> records) override {
    for (const _HubProfileReport& record : records) {
      if (!selects_ || selects_(record)) {
        summary_.see(record);
      }
    }
    return records.size();
  }

 private:
  const RecordPredicate& selects_;
  CaptureSummary& summary_;
};

void read_figures(ProfileRun& run, const RecordPredicate& selects, CaptureSummary& summary) {
  SummarySink sink(selects, summary);
  run.read_into(sink);
  summary.set_loss(run.losses());
}

// The options of a run over one of the inputs alone.
ProfileRunOptions only(const ProfileRunOptions& options, const std::string& name) {
  ProfileRunOptions one = options;
  one.inputs.names = {name};
  return one;
}

int graver(int one, int other) {
  for (const int status : {kFailedStatus, kLossStatus}) {
    if (one == status || other == status) {
      return status;
    }
  }
  return kDoneStatus;
}

}  // namespace

int write_summary(const ProfileRunOptions& options, const RecordPredicate& selects, const SummaryText& text_of,
                  std::ostream& messages) {
  return with_output(options.output, messages, [&](OutputFile& output) {
    ProfileRun run(options, output, messages);
    CaptureSummary summary;
    read_figures(run, selects, summary);
    output.write(text_of(summary));
    run.complete_output();
    return run.finish();
  });
}

int write_comparison(const ProfileRunOptions& options, const RecordPredicate& selects, const ComparisonText& text_of,
                     std::ostream& messages) {
  return with_output(options.output, messages, [&](OutputFile& output) {
    const ProfileRunOptions only_a = only(options, options.inputs.names.at(0));
    const ProfileRunOptions only_b = only(options, options.inputs.names.at(1));
    const std::string name_a = display_name(only_a.inputs.names.front());
    const std::string name_b = display_name(only_b.inputs.names.front());
    ProfileRun run_a(only_a, output, messages);
    ProfileRun run_b(only_b, output, messages);
    CaptureSummary a;
    CaptureSummary b;
    read_figures(run_a, selects, a);
    read_figures(run_b, selects, b);
    output.write(text_of({name_a, a}, {name_b, b}));
    (run_a.has_output_as_input() ? run_a : run_b).complete_output();
    const int status_a = run_a.finish(name_a + ": ");
    return graver(status_a, run_b.finish(name_b + ": "));
  });
}

}  // namespace hub::host
