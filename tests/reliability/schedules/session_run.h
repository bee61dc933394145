// SPDX-License-Identifier: Apache-2.0
// One session of the plug-in as a plan has it, with all that it leaves behind checked.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/device/modelled_registry.h"
#include "host/session/batch_delivery.h"
#include "host/session/plugin_loader.h"
#include "ledger/sqlite_ledger.h"
#include "log/log_host.h"
#include "tests/reliability/schedules/session_model.h"

namespace hub::test {

// What each handler shows when nothing else happens, byte for byte. Filled by the first session.
using ReferenceSnapshots = std::map<std::string, std::string>;

// The statistics service in front of a ledger: keeps the calls in their order. Called by whoever files a batch.
class ObservedLedger final : public platform::Ledger {
 public:
  explicit ObservedLedger(platform::SqliteLedger& ledger) : ledger_(ledger) {}

  bool clear_scalar(std::string_view key) override;
  bool set_scalar(std::string_view key, std::int64_t value) override;
  bool add_to_scalar(std::string_view key, std::int64_t value) override;
  bool clear_distribution(std::string_view key) override;
  bool set_distribution(std::string_view key, double sample) override;
  bool push_to_distribution(std::string_view key, double sample) override;

  [[nodiscard]] const LedgerCalls& calls() const { return calls_; }

 private:
  platform::SqliteLedger& ledger_;
  LedgerCalls calls_;
};

// The platform, the co-processor and the plug-in, opened; then actions, by one thread for each actor or by one for all;
// then the end. What was not as it must be is said in sentences.
class SessionRun {
 public:
  // `while_answering` is called by the co-processor's firmware before it answers a user client.
  SessionRun(const Plan& plan, const std::string& plugin, ReferenceSnapshots& reference,
             const std::function<void()>& while_answering);
  SessionRun(const SessionRun&) = delete;
  SessionRun& operator=(const SessionRun&) = delete;
  ~SessionRun();

  // The next action of this actor that has one left. [one thread at a time for each actor]
  void act(Actor actor);
  [[nodiscard]] const Action* next_action(Actor actor) const;
  [[nodiscard]] std::size_t actions_left(Actor actor) const;

  // When all have acted: lets everything end, in the order of the tools, and checks it.
  void finish();

  // The number of a queue that the plug-in was given; the count of them for another.
  [[nodiscard]] std::size_t number_of_queue(dispatch_queue_t queue) const;

  [[nodiscard]] const std::vector<std::string>& complaints() const { return complaints_; }

 private:
  struct Listener {
    int token = 0;
    std::atomic<std::uint64_t> heard = 0;
    std::atomic<std::uint64_t> heard_elsewhere = 0;  // than on its queue
    std::uint64_t posted = 0;
    bool is_listening = false;
  };
  struct Captured {
    std::size_t reason;
    std::size_t registered_before;  // actions of the event system that were done when it began
    std::size_t begun_after;        // and those that had begun when it had ended
    std::vector<std::pair<std::size_t, std::string>> snapshots;  // handler, record
  };

  void listen(std::size_t number);
  void post_tick();
  void post_fault();
  void deliver(std::size_t number);
  void capture(std::size_t reason);
  void add_firmware(const std::function<void()>& while_answering);
  [[nodiscard]] dispatch_queue_t queue_of(std::optional<std::size_t> number) const;

  void expect(bool is_so, const std::string& otherwise);
  void check_captures();
  void check_capture(const Captured& captured);
  void check_notifications();
  void check_ledger();
  void check_what_is_left();

  const Plan& plan_;
  ReferenceSnapshots& reference_;
  std::map<std::string, std::int64_t> counts_before_;
  std::vector<dispatch_queue_t> queues_;
  platform::SqliteLedger ledger_;
  ObservedLedger observed_{ledger_};
  host::Observations observations_;
  std::optional<host::ModelledRegistry> registry_;
  std::optional<host::BatchDelivery> delivery_;
  std::optional<host::LoadedPlugIn> plugin_;

  // Each actor's own, but for the event system's progress, which the others read.
  std::array<std::size_t, kActors> done_{};
  std::atomic<std::size_t> event_actions_begun_ = 0;
  std::atomic<std::size_t> event_actions_done_ = 0;
  std::vector<std::size_t> posted_;
  std::vector<std::string> delivery_complaints_;
  std::vector<std::unique_ptr<Listener>> listeners_;
  std::uint64_t least_faults_ = 0;
  std::uint64_t most_faults_ = 0;
  std::atomic<std::uint64_t> faults_heard_ = 0;
  std::atomic<std::uint64_t> records_told_ = 0;
  std::vector<Captured> captured_;

  std::vector<std::string> complaints_;
};

}  // namespace hub::test
