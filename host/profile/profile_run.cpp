// SPDX-License-Identifier: Apache-2.0
#include "host/profile/profile_run.h"

#include <ostream>
#include <system_error>

#include "host/profile/loss_monitor.h"

namespace hub::host {
namespace {

constexpr const char* kTool = "hubprofile: ";
constexpr const char* kStandardOutput = "-";

// Runs `work` with the output, and gives its status; when the output fails, that one's.
int with_output(const std::string& name, std::ostream& messages, const std::function<int(OutputFile&)>& work) {
  const bool is_standard_output = name.empty() || name == kStandardOutput;
  try {
    if (is_standard_output) {
      OutputFile output;
      return work(output);
    }
    OutputFile output(name);
    return work(output);
  } catch (const std::system_error& error) {
    if (error.code() == std::errc::broken_pipe) {
      return kReaderGoneStatus;
    }
    messages << kTool << (is_standard_output ? "standard output" : name) << ": " << error.code().message() << "\n";
    return kFailedStatus;
  }
}

// Watches for losses on the way to another sink.
class LossWatch : public RecordSink {
 public:
  LossWatch(LossMonitor& monitor, RecordSink& next) : monitor_(monitor), next_(next) {}

  void take(std::span<const _HubProfileReport> records) override {
    for (const _HubProfileReport& record : records) {
      monitor_.see(record);
    }
    next_.take(records);
  }
  void drain() override { next_.drain(); }
  [[nodiscard]] bool is_satisfied() const override { return next_.is_satisfied(); }

 private:
  LossMonitor& monitor_;
  RecordSink& next_;
};

// For runs that only look at losses.
class NoSink : public RecordSink {
 public:
  void take(std::span<const _HubProfileReport> /*records*/) override {}
};

// The run over the inputs; what its records go to is the caller's.
class ProfileRun {
 public:
  ProfileRun(const ProfileRunOptions& options, OutputFile& output, std::ostream& messages)
      : options_(options),
        output_(output),
        messages_(messages),
        inputs_(
            options.inputs, [&output](const struct stat& file) { return output.concerns(file); }, messages) {}

  void read(RecordSink& sink, LossMonitor& monitor) {
    LossWatch watch(monitor, sink);
    inputs_.read_into(watch);
    monitor.finish();
  }

  // Makes the output appear. An input that the output would replace stays: nothing else has what is in it.
  void complete_output() {
    if (!inputs_.an_input_is_the_output()) {
      output_.complete();
    }
  }

  // Tells of losses, and gives the status.
  int finish(const LossMonitor& monitor) {
    const std::string losses = loss_summary(monitor.counts());
    if (!losses.empty()) {
      messages_ << kTool << losses << "\n";
    }
    if (inputs_.failed()) {
      return kFailedStatus;
    }
    return options_.fails_on_loss && !losses.empty() ? kLossStatus : kDoneStatus;
  }

 private:
  const ProfileRunOptions& options_;
  OutputFile& output_;
  std::ostream& messages_;
  CaptureInputs inputs_;
};

void tell_records_without_form(std::uint64_t count, std::ostream& messages) {
  if (count > 0) {
    messages << kTool << count << (count == 1 ? " record has" : " records have")
             << " no line: the text in it is not valid UTF-8\n";
  }
}

}  // namespace

int write_records(const ProfileRunOptions& options, const RecordOutputOptions& records, std::ostream& messages) {
  return with_output(options.output, messages, [&](OutputFile& output) {
    ProfileRun run(options, output, messages);
    RecordOutput sink(records, output);
    LossMonitor monitor;
    run.read(sink, monitor);
    sink.finish();
    run.complete_output();
    tell_records_without_form(sink.records_without_form(), messages);
    return run.finish(monitor);
  });
}

int list_losses(const ProfileRunOptions& options, std::ostream& messages) {
  return with_output(options.output, messages, [&](OutputFile& output) {
    ProfileRun run(options, output, messages);
    NoSink none;
    LossMonitor monitor([&output](const LossFinding& finding) { output.write(loss_line(finding) + "\n"); });
    run.read(none, monitor);
    run.complete_output();
    return run.finish(monitor);
  });
}

}  // namespace hub::host
