// SPDX-License-Identifier: Apache-2.0
#include "host/session/session.h"

#include <algorithm>
#include <new>
#include <vector>

#include "dispatch/dispatch.h"
#include "host/device/modelled_registry.h"
#include "host/device/observations.h"
#include "host/session/batch_delivery.h"
#include "host/session/capture_writer.h"
#include "host/session/log_file.h"
#include "host/session/plugin_loader.h"
#include "ledger/sqlite_ledger.h"
#include "notify.h"
#include "notify/notify_host.h"
#include "registry/service_backend.h"
#include "state/state_host.h"

namespace hub::host {
namespace {

// The plug-in's log goes to a file, or nowhere, for as long as this lives.
class LogRecording {
 public:
  LogRecording(const std::optional<std::string>& path, platform::LowestLogLevel level) {
    if (path) {
      file_.emplace(*path);
      platform::set_lowest_log_level(level);
      platform::set_log_recorder([this](const platform::LogMessage& message) { file_->write(message); });
    }
  }
  LogRecording(const LogRecording&) = delete;
  LogRecording& operator=(const LogRecording&) = delete;
  ~LogRecording() { platform::set_log_recorder({}); }

  // Throws when a message could not be written, or formatted.
  void finish() {
    platform::set_log_recorder({});
    if (file_) {
      if (platform::lost_log_messages() != lost_before_) {
        throw std::bad_alloc();
      }
      file_->finish();
    }
  }

 private:
  std::optional<LogFile> file_;
  const std::uint64_t lost_before_ = platform::lost_log_messages();
};

// The queue that the plug-in gets.
class Queue {
 public:
  Queue() : queue_(dispatch_queue_create("hid.event-system", nullptr)) {
    if (queue_ == nullptr) {
      throw std::bad_alloc();
    }
  }
  Queue(const Queue&) = delete;
  Queue& operator=(const Queue&) = delete;
  ~Queue() { dispatch_release(queue_); }

  [[nodiscard]] dispatch_queue_t get() const { return queue_; }

  // Returns when all that was added has run.
  void finish() const {
    dispatch_sync(queue_, [] {});
  }

 private:
  dispatch_queue_t queue_;
};

// The statistics service files in this ledger for as long as this lives.
class LedgerInUse {
 public:
  explicit LedgerInUse(platform::Ledger& ledger) { platform::use_ledger(&ledger); }
  LedgerInUse(const LedgerInUse&) = delete;
  LedgerInUse& operator=(const LedgerInUse&) = delete;
  ~LedgerInUse() { platform::use_ledger(nullptr); }
};

// What the plug-in made of the services, as the kernel side sees it: of one that it has taken it keeps the driver's
// handle and the device's, and nothing that it needed was refused.
struct Announced {
  std::vector<std::string> taken;
  std::vector<std::string> given_up;
  std::vector<std::string> left_alone;
};

Announced announce(const std::vector<ModelledService>& services, LoadedPlugIn& plugin,
                   const Observations& observations) {
  constexpr std::size_t kHandlesOfAService = 2;
  Announced announced;
  for (const ModelledService& service : services) {
    const std::size_t held_before = platform::held_registry_references();
    const std::uint64_t refusals_before = observations.refusals();
    plugin.register_service(service.service.get());
    const std::size_t held = platform::held_registry_references() - held_before;
    const bool is_taken = held >= kHandlesOfAService && observations.refusals() == refusals_before;
    (is_taken ? announced.taken : held > 0 ? announced.given_up : announced.left_alone).push_back(service.name);
  }
  return announced;
}

// How many batches had nowhere to go.
std::size_t post_batches(const Device& device, const ModelledRegistry& registry, BatchDelivery& delivery,
                         std::ostream& messages) {
  std::size_t dropped = 0;
  for (std::size_t index = 0; index < device.batches.size(); ++index) {
    const Batch& batch = device.batches[index];
    const auto service =
        std::find_if(registry.services().begin(), registry.services().end(),
                     [&](const ModelledService& candidate) { return candidate.name == batch.service; });
    if (!delivery.post(batch, *service)) {
      messages << "hubsession: batch " << index << " of service " << batch.service
               << " is dropped: no statistics callback is installed on its device\n";
      ++dropped;
    }
  }
  return dropped;
}

// A plug-in that has been opened and scheduled, until it goes.
class RunningPlugIn {
 public:
  RunningPlugIn(const std::string& library, const Queue& queue) : plugin_(library), queue_(queue.get()) {
    if (!plugin_.open()) {
      throw PlugInError(library + ": refuses to be opened");
    }
    plugin_.schedule(queue_);
  }
  RunningPlugIn(const RunningPlugIn&) = delete;
  RunningPlugIn& operator=(const RunningPlugIn&) = delete;

  // What it registered may not be called any more once it is gone.
  ~RunningPlugIn() {
    platform::clear_notifications();
    platform::clear_state_handlers();
    plugin_.unschedule(queue_);
    plugin_.close();
  }

  [[nodiscard]] LoadedPlugIn& get() { return plugin_; }

 private:
  LoadedPlugIn plugin_;
  dispatch_queue_t queue_;
};

// Waits for what was posted, however the run ends: batches use the plug-in, the registry and the delivery.
class Delivered {
 public:
  explicit Delivered(BatchDelivery& delivery) : delivery_(delivery) {}
  Delivered(const Delivered&) = delete;
  Delivered& operator=(const Delivered&) = delete;
  ~Delivered() { delivery_.finish(); }

 private:
  BatchDelivery& delivery_;
};

// Makes all captures, one after the other. Returns how many snapshots there were.
std::size_t make_captures(const std::vector<std::uint32_t>& kinds, CaptureWriter* writer) {
  std::size_t snapshots = 0;
  for (std::size_t capture = 0; capture < kinds.size(); ++capture) {
    platform::capture_state(kinds[capture], [&](std::size_t handler, const platform::OwnedStateData& record) {
      if (writer != nullptr) {
        writer->add(capture, kinds[capture], handler, *record);
      }
      ++snapshots;
    });
  }
  return snapshots;
}

std::string listed(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) {
    text += (text.empty() ? ": " : ", ") + name;
  }
  return text;
}

std::string counted(std::uint64_t count, const std::string& singular, const std::string& plural) {
  return std::to_string(count) + " " + (count == 1 ? singular : plural);
}

void tell_services(std::ostream& output, const Announced& announced) {
  output << "services    " << announced.taken.size() << " taken" << listed(announced.taken) << "\n";
  if (!announced.given_up.empty()) {
    output << "            " << announced.given_up.size() << " given up" << listed(announced.given_up) << "\n";
  }
  output << "            " << announced.left_alone.size() << " left alone" << listed(announced.left_alone) << "\n";
}

void tell_statistics(std::ostream& output, const BatchDelivery& delivery, std::size_t dropped) {
  output << "statistics  " << counted(delivery.published(), "record", "records") << " published in "
         << counted(delivery.batches(), "batch", "batches");
  if (delivery.skipped() != 0) {
    output << ", " << counted(delivery.skipped(), "record", "records") << " of another version skipped";
  }
  if (dropped != 0) {
    output << ", " << counted(dropped, "batch", "batches") << " dropped";
  }
  output << "\n";
}

void tell_snapshots(std::ostream& output, const SessionOptions& options, std::size_t snapshots) {
  output << "snapshots   " << snapshots << " made in " << counted(options.captures.size(), "capture", "captures");
  if (options.captures_folder) {
    output << ": " << *options.captures_folder;
  }
  output << "\n";
}

void tell_files(std::ostream& output, const SessionOptions& options, platform::SqliteLedger& ledger) {
  const platform::LedgerContents contents = ledger.contents();
  output << "ledger      " << options.ledger.value_or("in memory") << ": "
         << counted(contents.scalars.size(), "scalar", "scalars") << ", "
         << counted(contents.distributions.size(), "distribution", "distributions") << "\n";
  if (options.log) {
    output << "log         " << *options.log << "\n";
  }
}

// What the plug-in did wrong. True when there is nothing.
bool tell_complaints(std::ostream& messages, const Observations& observations) {
  std::vector<std::string> complaints = observations.complaints();
  if (platform::wrong_registry_releases() != 0) {
    complaints.push_back("registry handles were released that were not held");
  }
  if (platform::open_connections() != 0) {
    complaints.push_back(counted(platform::open_connections(), "connection", "connections") + " left open");
  }
  for (const std::string& complaint : complaints) {
    messages << "hubsession: the plug-in broke the platform's rules: " << complaint << "\n";
  }
  return complaints.empty();
}

bool tell_failure(std::ostream& messages, const std::optional<std::string>& failure) {
  if (failure) {
    messages << "hubsession: a batch was not filed, and those after it were not delivered: " << *failure << "\n";
  }
  return !failure;
}

}  // namespace

bool run_session(const Device& device, const SessionOptions& options, std::ostream& output, std::ostream& messages) {
  std::optional<CaptureWriter> writer;
  if (options.captures_folder) {
    writer.emplace(*options.captures_folder);
  }
  platform::SqliteLedger ledger = options.ledger ? platform::SqliteLedger(*options.ledger) : platform::SqliteLedger();
  const LedgerInUse ledger_in_use(ledger);
  LogRecording log(options.log, options.log_level);
  Observations observations;
  const Queue queue;
  ModelledRegistry registry(device, observations);
  BatchDelivery delivery(ledger);
  {
    RunningPlugIn plugin(options.plugin, queue);
    const Delivered before_the_plugin_goes(delivery);
    tell_services(output, announce(registry.services(), plugin.get(), observations));
    const std::size_t dropped = post_batches(device, registry, delivery, messages);
    for (const std::string& name : device.notifications) {
      notify_post(name.c_str());
    }
    queue.finish();
    delivery.finish();  // on queues that the plug-in made
    tell_statistics(output, delivery, dropped);
    tell_snapshots(output, options, make_captures(options.captures, writer ? &*writer : nullptr));
  }
  if (writer) {
    writer->complete();
  }
  log.finish();
  tell_files(output, options, ledger);
  const bool all_filed = tell_failure(messages, delivery.failure());
  return tell_complaints(messages, observations) && all_filed;
}

}  // namespace hub::host
