// SPDX-License-Identifier: Apache-2.0
// What the host library reads, writes and runs without memory.
#include <filesystem>
#include <fstream>
#include <sstream>

#include "IOKit/IOKitLib.h"
#include "IOKit/hid/IOHIDService.h"
#include "host/captures/clock_sources.h"
#include "host/device/device_file.h"
#include "host/device/modelled_registry.h"
#include "host/figures/comparison_json.h"
#include "host/figures/comparison_text.h"
#include "host/figures/figures_run.h"
#include "host/figures/summary_json.h"
#include "host/figures/summary_text.h"
#include "host/filter/record_filter.h"
#include "host/filter/time_window.h"
#include "host/forms/formats.h"
#include "host/records/record_run.h"
#include "host/session/capture_writer.h"
#include "host/session/ledger_report.h"
#include "host/session/plugin_loader.h"
#include "host/session/session.h"
#include "host/session/snapshot_file.h"
#include "host/session/snapshot_text.h"
#include "ledger/sqlite_ledger.h"
#include "tests/reliability/allocations/failing_allocations_run.h"

namespace hub::test {
namespace {

using namespace hub::host;

constexpr std::size_t kWidth = 80;

std::string read_device() {
  const Device device = read_device_file(HUB_SMALL_DEVICE);
  return std::to_string(device.registry.size()) + " " + std::to_string(device.batches.size());
}

std::string fill_registry() {
  Node node;
  node.name = "service";
  node.hid = HidPlan{.properties = {{"number", {std::int64_t{7}}}}, .usages = {}, .registry_id = {}};
  Observations observations;
  const ModelledRegistry registry(Device{{std::move(node)}, {}, {}}, observations);
  std::string found;
  for (const ModelledService& modelled : registry.services()) {
    const platform::Owned number(IOHIDServiceCopyProperty(modelled.service.get(), CFSTR("number")));
    const bool has_id = IOHIDServiceGetRegistryID(modelled.service.get()) != nullptr;
    found += modelled.name + (number.get() != nullptr ? " number" : "") + (has_id ? " id" : "");
  }
  return found;
}

std::string number_of(CFDictionaryRef numbers, CFStringRef key) {
  std::int64_t number = 0;
  const auto* value = static_cast<CFNumberRef>(CFDictionaryGetValue(numbers, key));
  return value != nullptr && CFNumberGetValue(value, kCFNumberSInt64Type, &number) ? std::to_string(number) : "none";
}

std::string publish_clocks() {
  platform::clear_registry();
  publish_clock_pair({1, 2});
  end_failing();
  const io_service_t entry = IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceMatching("VantuHUBTimesync"));
  const platform::Owned pair(IORegistryEntryCreateCFProperty(entry, CFSTR("timesync"), kCFAllocatorDefault, 0));
  IOObjectRelease(entry);
  const auto* numbers = static_cast<CFDictionaryRef>(pair.get());
  return number_of(numbers, CFSTR("hub")) + " " + number_of(numbers, CFSTR("calendar"));
}

std::string parse_filter() {
  const auto filter = RecordFilter::parse(
      R"((category == sshb && event in (status-event, 5)) || !(duration > 1000) && name =~ "^[a-c]+")");
  std::string matching;
  for (unsigned category = 0; category < 12; ++category) {
    _HubProfileReport report{};
    report.category_id = static_cast<std::uint8_t>(category);
    report.event_id = 5;
    matching += filter.matches(report) ? '1' : '0';
  }
  return matching;
}

// The output that a run has completed. One that has failed says why, and has none.
std::string completed(const std::string& output, int status, const std::ostringstream& messages) {
  if (status == kDoneStatus) {
    return content_of(output);
  }
  const std::string told = messages.str();
  if (std::filesystem::exists(output)) {
    return "there is an output of a run that has failed: " + told;
  }
  throw std::runtime_error(told);
}

template <unsigned Form, unsigned Jobs>
std::string write_form() {
  ProfileRunOptions options;
  options.inputs.names = {HUB_SMALL_CAPTURE};
  options.inputs.progress = ProgressWhen::kNever;
  options.output = scratch("records");
  FormatOptions form;
  form.columns = parse_fields(kDefaultFields);
  RecordOutputOptions records;
  records.make_format = [&form] { return kOutputForms[Form].make(form); };
  records.jobs = Jobs;
  std::ostringstream messages;
  return completed(options.output, write_records(options, records, messages), messages);
}

ProfileRunOptions figures_run() {
  ProfileRunOptions options;
  options.inputs.names = {HUB_SMALL_CAPTURE, HUB_SMALL_CAPTURE};
  options.inputs.progress = ProgressWhen::kNever;
  options.output = scratch("figures");
  return options;
}

template <bool IsJson>
std::string summarise() {
  const ProfileRunOptions options = figures_run();
  std::ostringstream messages;
  const auto text = [](const CaptureSummary& summary) {
    return IsJson ? summary_json(summary) : summary_text(summary, kWidth);
  };
  return completed(options.output, write_summary(options, {}, text, messages), messages);
}

template <bool IsJson>
std::string compare() {
  const ProfileRunOptions options = figures_run();
  std::ostringstream messages;
  const auto text = [](const NamedSummary& a, const NamedSummary& b) {
    return IsJson ? comparison_json(a, b) : comparison_text(a, b, kWidth, kRowsShown);
  };
  return completed(options.output, write_comparison(options, {}, text, messages), messages);
}

std::string show_snapshot() {
  const Snapshot snapshot = read_snapshot_file(HUB_SMALL_SNAPSHOT);
  return snapshot_text(snapshot) + snapshot_json(snapshot);
}

// The folder of the captures is there whole or not at all.
std::string write_captures() {
  const std::string folder = scratch("captures");
  try {
    CaptureWriter writer(folder);
    os_state_data_s record{};
    record.type = 1;
    for (std::size_t handler = 0; handler < 3; ++handler) {
      writer.add(0, OS_STATE_API_REQUEST, handler, record);
    }
    writer.complete();
  } catch (...) {
    if (std::filesystem::exists(folder)) {
      return "there is a folder that was not completed";
    }
    throw;
  }
  return content_of(folder + "/index.json") + content_of(folder + "/0002.state");
}

std::string report_ledger() {
  platform::SqliteLedger ledger;
  if (!ledger.set_scalar("a key that is long enough for a block of its own", 5) ||
      !ledger.push_to_distribution("another key that is long enough for it", 1.5)) {
    throw Refused();
  }
  const platform::LedgerContents contents = ledger.contents();
  return ledger_text(contents) + ledger_json(contents);
}

// What the run filed and which snapshots there are: a line each.
std::string run_small_session() {
  const std::string folder = scratch("session.captures");
  SessionOptions options;
  options.plugin = HUB_PLUGIN;
  options.ledger = scratch("session.db");
  options.log = scratch("session.log");
  options.captures_folder = folder;
  std::ostringstream output;
  std::ostringstream messages;
  if (!run_session(read_device_file(HUB_SMALL_DEVICE), options, output, messages)) {
    throw std::runtime_error(messages.str());
  }
  std::string left;
  for (const auto& [key, value] : platform::SqliteLedger(*options.ledger).contents().scalars) {
    left += key + " " + std::to_string(value) + "\n";
  }
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    files += entry.is_regular_file() ? 1 : 0;
  }
  for (; files > 0; --files) {
    left += "file\n";
  }
  return left;
}

// Its values, made and destroyed without memory: a list of values that is not finished is lost, and so are its values.
constexpr LibraryLimits kJson{.may_terminate = true, .may_leak = true};

// A pattern that is not finished is lost. The first one is made within the C library's pthread_once, which ends the
// process by abort() when it may not load what passes an exception on.
constexpr LibraryLimits kPatterns{.may_abort = true, .may_leak = true};

// The C library keeps the stacks of threads that have ended, with a block each; how many depends on who was first.
constexpr LibraryLimits kThreads{.most_kept_blocks = 2};

constexpr Scenario kScenarios[] = {
    {"device_file", read_device},
    {"registry", fill_registry},
    {"clocks", publish_clocks},
    {"filter", parse_filter, false, kPatterns},
    {"text", write_form<0, 1>},
    {"text_by_two", write_form<0, 2>, false, kThreads},
    {"jsonl", write_form<1, 1>},
    {"jsonl_by_two", write_form<1, 2>, false, kThreads},
    {"csv", write_form<2, 1>},
    {"csv_by_two", write_form<2, 2>, false, kThreads},
    {"pcapng", write_form<3, 1>},
    {"pcapng_by_two", write_form<3, 2>, false, kThreads},
    {"trace", write_form<4, 1>},
    {"summary", summarise<false>},
    {"summary_json", summarise<true>, false, kJson},
    {"comparison", compare<false>},
    {"comparison_json", compare<true>, false, kJson},
    {"snapshot_file", show_snapshot, false, kJson},
    {"captures_folder", write_captures, false, kJson},
    {"ledger_report", report_ledger, false, kJson},
    {"session", run_small_session, true, kJson},
};

}  // namespace

const std::span<const Scenario> kHostScenarios = kScenarios;

}  // namespace hub::test
