// SPDX-License-Identifier: Apache-2.0
#include "host/captures/profile_run.h"

#include <ostream>
#include <system_error>
#include <utility>

namespace hub::host {
namespace {

constexpr const char* kTool = "hubprofile: ";
constexpr const char* kStandardOutput = "-";

// Watches for losses on the way to another sink.
class LossWatch : public RecordSink {
 public:
  LossWatch(LossMonitor& monitor, RecordSink& next) : monitor_(monitor), next_(next) {}

  std::size_t take(std::span<const _HubProfileReport> records) override {
    const std::size_t taken = next_.take(records);
    for (const _HubProfileReport& record : records.first(taken)) {
      monitor_.see(record);
    }
    return taken;
  }
  void drain() override { next_.drain(); }
  [[nodiscard]] bool is_satisfied() const override { return next_.is_satisfied(); }

 private:
  LossMonitor& monitor_;
  RecordSink& next_;
};

}  // namespace

bool is_standard_output(const std::string& name) { return name.empty() || name == kStandardOutput; }

int with_output(const std::string& name, std::ostream& messages, const std::function<int(OutputFile&)>& work) {
  try {
    if (is_standard_output(name)) {
      OutputFile output;
      return work(output);
    }
    OutputFile output(name);
    return work(output);
  } catch (const std::system_error& error) {
    if (error.code() == std::errc::broken_pipe) {
      return kReaderGoneStatus;
    }
    messages << kTool << (is_standard_output(name) ? "standard output" : name) << ": " << error.code().message()
             << "\n";
    return kFailedStatus;
  }
}

ProfileRun::ProfileRun(const ProfileRunOptions& options, OutputFile& output, std::ostream& messages,
                       LossMonitor::Listener on_loss)
    : options_(options),
      output_(output),
      messages_(messages),
      inputs_(
          options.inputs, [&output](const struct stat& file) { return output.concerns(file); }, messages),
      monitor_(std::move(on_loss)) {}

void ProfileRun::read_into(RecordSink& sink) {
  LossWatch watch(monitor_, sink);
  inputs_.read_into(watch);
  monitor_.finish();
}

void ProfileRun::complete_output() {
  if (!has_output_as_input()) {
    output_.complete();
  }
}

int ProfileRun::finish(const std::string& whose) {
  const std::string what_was_lost = loss_summary(losses());
  if (!what_was_lost.empty()) {
    messages_ << kTool << whose << what_was_lost << "\n";
  }
  if (inputs_.failed()) {
    return kFailedStatus;
  }
  return options_.fails_on_loss && !what_was_lost.empty() ? kLossStatus : kDoneStatus;
}

}  // namespace hub::host
