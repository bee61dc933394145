// SPDX-License-Identifier: Apache-2.0
#include "tests/reliability/schedules/session_run.h"

#include <algorithm>

#include "CoreFoundation/CoreFoundation.h"
#include "IOKit/hid/IOHIDDevice.h"
#include "corefoundation/corefoundation_host.h"
#include "dispatch/dispatch_host.h"
#include "notify.h"
#include "notify/notify_host.h"
#include "registry/service_backend.h"
#include "state/state_host.h"
#include "tests/support/live_counts.h"

namespace hub::test {
namespace {

using Operation = LedgerCall::Operation;

constexpr const char* kFault = "com.vantu.vantuhubhidstatistics.fault";
constexpr const char* kTick = "tests.reliability.tick";
constexpr std::size_t kRecordBytes = 7;
constexpr std::size_t kReportBytes = 48;
constexpr std::int64_t kKeys = 67;

// What a session may leave behind is known to one.
test::Counts counts() {
  test::Counts counted = test::live_counts();
  counted["wrong releases"] = static_cast<std::int64_t>(platform::wrong_registry_releases());
  return counted;
}

// One report at every read.
class Firmware final : public platform::ServiceBackend {
 public:
  explicit Firmware(std::function<void()> while_answering) : while_answering_(std::move(while_answering)) {}

  kern_return_t open_user_client(std::uint32_t, std::unique_ptr<platform::UserClient>& client) override {
    client = std::make_unique<Client>(while_answering_);
    return kIOReturnSuccess;
  }

 private:
  struct Client final : platform::UserClient {
    explicit Client(std::function<void()> its_pause) : pause(std::move(its_pause)) {}
    platform::MethodResult call(const platform::MethodCall& call) override {
      pause();
      const std::size_t length = std::min(call.output.size(), kReportBytes);
      std::fill_n(call.output.begin(), length, std::byte{1});
      return {.status = kIOReturnSuccess, .output_bytes = length};
    }
    std::function<void()> pause;
  };

  std::function<void()> while_answering_;
};

std::string bytes_of(const os_state_data_s& record) {
  return {reinterpret_cast<const char*>(&record), sizeof record + record.data_size_bytes};
}

}  // namespace

bool ObservedLedger::clear_scalar(std::string_view key) {
  calls_.push_back({Operation::kClearScalar, std::string(key)});
  return ledger_.clear_scalar(key);
}

bool ObservedLedger::set_scalar(std::string_view key, std::int64_t value) {
  calls_.push_back({Operation::kSetScalar, std::string(key), value});
  return ledger_.set_scalar(key, value);
}

bool ObservedLedger::add_to_scalar(std::string_view key, std::int64_t value) {
  calls_.push_back({Operation::kAddToScalar, std::string(key), value});
  return ledger_.add_to_scalar(key, value);
}

bool ObservedLedger::clear_distribution(std::string_view key) {
  calls_.push_back({Operation::kClearSamples, std::string(key)});
  return ledger_.clear_distribution(key);
}

bool ObservedLedger::set_distribution(std::string_view key, double sample) {
  calls_.push_back({Operation::kSetSample, std::string(key), 0, sample});
  return ledger_.set_distribution(key, sample);
}

bool ObservedLedger::push_to_distribution(std::string_view key, double sample) {
  calls_.push_back({Operation::kPushSample, std::string(key), 0, sample});
  return ledger_.push_to_distribution(key, sample);
}

SessionRun::SessionRun(const Plan& plan, const std::string& plugin, ReferenceSnapshots& reference,
                       const std::function<void()>& while_answering)
    : plan_(plan), reference_(reference), counts_before_(counts()) {
  for (std::size_t number = 0; number < plan.queues; ++number) {
    queues_.push_back(dispatch_queue_create("plug-in", nullptr));
  }
  platform::use_ledger(&observed_);
  platform::set_log_recorder([this](const platform::LogMessage& message) {
    if (message.type == OS_LOG_TYPE_FAULT) {
      faults_heard_.fetch_add(1, std::memory_order_relaxed);
    } else if (message.type == OS_LOG_TYPE_ERROR) {
      records_told_.fetch_add(1, std::memory_order_relaxed);
    }
  });
  registry_.emplace(planned_device(), observations_);
  add_firmware(while_answering);
  delivery_.emplace(ledger_);
  plugin_.emplace(plugin);
  expect(plugin_->open(), "the plug-in refuses to be opened");
  for (std::size_t number = 0; number < plan.listeners.size(); ++number) {
    listeners_.push_back(std::make_unique<Listener>());
  }
}

SessionRun::~SessionRun() {
  platform::set_log_recorder({});
  platform::use_ledger(nullptr);
}

void SessionRun::add_firmware(const std::function<void()>& while_answering) {
  for (const char* name : {"NEB_profile", "VantuHUBProfileDriver"}) {
    const auto entry = platform::add_registry_entry(platform::kNoParent, name, "Client", nullptr);
    platform::set_service_backend(entry, std::make_shared<Firmware>(while_answering));
  }
}

const Action* SessionRun::next_action(Actor actor) const {
  const auto& actions = plan_.actions[actor];
  return done_[actor] < actions.size() ? &actions[done_[actor]] : nullptr;
}

std::size_t SessionRun::actions_left(Actor actor) const { return plan_.actions[actor].size() - done_[actor]; }

void SessionRun::act(Actor actor) {
  const Action& action = plan_.actions[actor][done_[actor]];
  if (actor == kEventSystem) {
    event_actions_begun_.fetch_add(1, std::memory_order_relaxed);
  }
  switch (action.deed) {
    case Deed::kSchedule:
      plugin_->schedule(queues_[action.number]);
      break;
    case Deed::kRegister:
      plugin_->register_service(registry_->services()[action.number].service.get());
      break;
    case Deed::kDeliver:
      deliver(action.number);
      break;
    case Deed::kPostFault:
      post_fault();
      break;
    case Deed::kPostTick:
      post_tick();
      break;
    case Deed::kListen:
      listen(action.number);
      break;
    case Deed::kCancel:
      listeners_[action.number]->is_listening = false;
      notify_cancel(listeners_[action.number]->token);
      break;
    case Deed::kCapture:
      capture(action.number);
  }
  if (actor == kEventSystem) {
    event_actions_done_.fetch_add(1, std::memory_order_relaxed);
  }
  ++done_[actor];
}

dispatch_queue_t SessionRun::queue_of(std::optional<std::size_t> number) const {
  return number ? queues_[*number] : nullptr;
}

std::size_t SessionRun::number_of_queue(dispatch_queue_t queue) const {
  return static_cast<std::size_t>(std::find(queues_.begin(), queues_.end(), queue) - queues_.begin());
}

void SessionRun::listen(std::size_t number) {
  Listener& listener = *listeners_[number];
  const dispatch_queue_t queue = queue_of(plan_.listeners[number]);
  notify_register_dispatch(kTick, &listener.token, queue, [&listener, queue](int) {
    listener.heard.fetch_add(1, std::memory_order_relaxed);
    if (queue != nullptr && !platform::is_on_queue(queue)) {
      listener.heard_elsewhere.fetch_add(1, std::memory_order_relaxed);
    }
  });
  listener.is_listening = true;
}

void SessionRun::post_tick() {
  for (const auto& listener : listeners_) {
    listener->posted += listener->is_listening ? 1 : 0;
  }
  notify_post(kTick);
}

void SessionRun::post_fault() {
  least_faults_ += schedules_after(plan_, event_actions_done_.load(std::memory_order_relaxed));
  notify_post(kFault);
  most_faults_ += schedules_after(plan_, event_actions_begun_.load(std::memory_order_relaxed));
}

// It can be delivered when its service has been registered and publishes.
void SessionRun::deliver(std::size_t number) {
  const std::size_t service = number_of(plan_.batches[number].service);
  const auto registration = plan_.registration_of(service);
  const bool may_publish =
      registration && planned_services()[service].publishes && planned_services()[service].of_the_hub;
  const bool must = may_publish && event_actions_done_.load(std::memory_order_relaxed) > registration->action;
  const bool is_posted = delivery_->post(plan_.batches[number], registry_->services()[service]);
  const bool may = may_publish && event_actions_begun_.load(std::memory_order_relaxed) > registration->action;
  if (is_posted) {
    posted_.push_back(number);
  }
  if (is_posted ? !may : must) {
    delivery_complaints_.push_back("batch " + std::to_string(number) + (is_posted ? " is taken" : " is not taken"));
  }
}

void SessionRun::capture(std::size_t reason) {
  Captured& captured =
      captured_.emplace_back(Captured{reason, event_actions_done_.load(std::memory_order_relaxed), 0, {}});
  platform::capture_state(static_cast<std::uint32_t>(reason),
                          [&captured](std::size_t handler, const platform::OwnedStateData& record) {
                            captured.snapshots.emplace_back(handler, bytes_of(*record));
                          });
  captured.begun_after = event_actions_begun_.load(std::memory_order_relaxed);
}

void SessionRun::expect(bool is_so, const std::string& otherwise) {
  if (!is_so) {
    complaints_.push_back(otherwise);
  }
}

void SessionRun::finish() {
  for (const dispatch_queue_t queue : queues_) {
    dispatch_sync(queue, [] {});
  }
  delivery_->finish();
  platform::clear_notifications();
  platform::clear_state_handlers();
  plugin_->unschedule(queues_.front());
  plugin_->close();
  plugin_.reset();
  registry_.reset();
  for (const dispatch_queue_t queue : queues_) {
    dispatch_release(queue);
  }
  check_captures();
  check_notifications();
  check_ledger();
  check_what_is_left();
}

void SessionRun::check_captures() {
  for (const Captured& captured : captured_) {
    check_capture(captured);
  }
}

// The handlers that were there all the time have answered, in their order; behind them may stand those that were
// registered meanwhile.
void SessionRun::check_capture(const Captured& captured) {
  const std::vector<ExpectedHandler> least = handlers_after(plan_, captured.registered_before);
  const std::vector<ExpectedHandler> most = handlers_after(plan_, captured.begun_after);
  std::size_t at = 0;
  std::size_t missing = 0;
  for (std::size_t number = 0; number < most.size(); ++number) {
    if (!most[number].answers(captured.reason)) {
      continue;
    }
    if (at == captured.snapshots.size() || captured.snapshots[at].first != number) {
      missing += number < least.size() ? 1 : 0;
      continue;
    }
    const auto [known, is_first] = reference_.emplace(most[number].snapshot, captured.snapshots[at].second);
    expect(known->second == captured.snapshots[at].second, "another snapshot than alone: " + most[number].snapshot);
    const std::string title = known->first.substr(known->first.find('/') + 1);
    expect(captured.snapshots[at].second.compare(136, title.size() + 1, title.c_str(), title.size() + 1) == 0,
           "a snapshot without the title " + title);
    ++at;
  }
  expect(missing == 0, "a capture lacks " + std::to_string(missing) + " snapshots");
  expect(at == captured.snapshots.size(), "a capture has snapshots that nobody could give");
}

void SessionRun::check_notifications() {
  const std::uint64_t faults = faults_heard_.load();
  expect(least_faults_ <= faults && faults <= most_faults_, "the plug-in heard " + std::to_string(faults) +
                                                                " faults, not " + std::to_string(least_faults_) +
                                                                " to " + std::to_string(most_faults_));
  for (std::size_t number = 0; number < listeners_.size(); ++number) {
    const Listener& listener = *listeners_[number];
    expect(listener.heard == listener.posted, "listener " + std::to_string(number) + " heard " +
                                                  std::to_string(listener.heard) + " of " +
                                                  std::to_string(listener.posted) + " posts");
    expect(listener.heard_elsewhere == 0, "listener " + std::to_string(number) + " heard elsewhere than on its queue");
  }
}

void SessionRun::check_ledger() {
  complaints_.insert(complaints_.end(), delivery_complaints_.begin(), delivery_complaints_.end());
  check_order_of_batches(plan_, posted_, observed_.calls(), complaints_);
  const platform::LedgerContents contents = ledger_.contents();
  const platform::LedgerContents expected = contents_after(observed_.calls());
  expect(contents.scalars == expected.scalars, "other scalars in the ledger than were filed");
  expect(contents.distributions == expected.distributions, "other samples in the ledger than were filed");
  expect(!delivery_->failure(), "a batch failed: " + delivery_->failure().value_or(""));
  std::uint64_t records = 0;
  for (const std::size_t batch : posted_) {
    records += plan_.batches[batch].records.size() / kRecordBytes;
  }
  expect(delivery_->batches() == posted_.size() && delivery_->published() + delivery_->skipped() == records,
         "the delivery counted other batches or records than were delivered");
  expect(records_told_ == records,
         "the log tells " + std::to_string(records_told_) + " records of " + std::to_string(records));
}

// The plug-in keeps its keys, the array of its contexts, and of each service that it took two handles and, of a button,
// the HID device.
void SessionRun::check_what_is_left() {
  std::map<std::string, std::int64_t> expected = counts_before_;
  expected["strings"] += kKeys;
  expected["arrays"] += 1;
  for (std::size_t service = 0; service < kPlannedServices; ++service) {
    if (plan_.registration_of(service) && planned_services()[service].of_the_hub) {
      expected["registry handles"] += 2;
      expected["HID devices"] += planned_services()[service].is_consumer_button() ? 1 : 0;
    }
  }
  const test::Counts left = counts();
  for (const auto& [what, count] : expected) {
    expect(left.at(what) == count, std::to_string(left.at(what) - count) + " " + what + " too many are left");
  }
  for (const std::string& complaint : observations_.complaints()) {
    complaints_.push_back("the plug-in broke a rule: " + complaint);
  }
}

}  // namespace hub::test
