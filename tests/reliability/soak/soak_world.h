// SPDX-License-Identifier: Apache-2.0
// What the soaked plug-in lives in: services whose drivers answer what they like, services by name that come and go, a
// ledger that may refuse, and a log. Everything happens on one thread or, while that waits, on the plug-in's queue.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <span>
#include <string_view>
#include <vector>

#include "IOKit/hid/IOHIDSessionFilter.h"
#include "dispatch/dispatch.h"
#include "ledger/ledger_host.h"
#include "registry/service_backend.h"
#include "tests/reliability/soak/soak_chance.h"
#include "tests/support/recording_kernel.h"

namespace hub::test {

// What went wrong on purpose.
struct SoakFaults {
  std::uint64_t platform_calls = 0;   // failed by plan
  std::uint64_t replies = 0;          // refused, short, empty, or said to be longer than the room
  std::uint64_t ledger_refusals = 0;  // calls that the ledger answered with false
  std::uint64_t absences = 0;         // times that the services were away or did not open
};

// Counts its calls and refuses one in 16.
class RefusingLedger final : public platform::Ledger {
 public:
  RefusingLedger(Chance& chance, SoakFaults& faults) : chance_(chance), faults_(faults) {}

  bool clear_scalar(std::string_view) override { return answer(); }
  bool set_scalar(std::string_view, std::int64_t) override { return answer(); }
  bool add_to_scalar(std::string_view, std::int64_t) override { return answer(); }
  bool clear_distribution(std::string_view) override { return answer(); }
  bool set_distribution(std::string_view, double) override { return answer(); }
  bool push_to_distribution(std::string_view, double) override { return answer(); }

  std::uint64_t calls = 0;

 private:
  bool answer() {
    ++calls;
    const bool refused = chance_.one_in(16);
    faults_.ledger_refusals += refused ? 1 : 0;
    return !refused;
  }

  Chance& chance_;
  SoakFaults& faults_;
};

// The co-processor's side: answers of every kind, as long as it is asked to make mistakes.
class CoProcessor {
 public:
  CoProcessor(Chance& chance, SoakFaults& faults) : chance_(chance), faults_(faults) {}

  // A driver's command: a property's, a command's; fills as much as a good answer has.
  IOReturn answer(std::span<std::byte> output, std::size_t& length);
  // A user client's method: some profile reports, or whatever fits.
  IOReturn answer_client(std::span<std::byte> output, std::size_t& length);
  // Whether a service by name opens.
  IOReturn open();

  bool makes_mistakes = false;
  bool is_away = false;

 private:
  IOReturn mistaken(std::span<std::byte> output, std::size_t& length);

  Chance& chance_;
  SoakFaults& faults_;
};

// A session: the plug-in in its library, opened, scheduled, with services of every kind registered.
class SoakWorld {
 public:
  explicit SoakWorld(std::uint64_t seed);
  SoakWorld(const SoakWorld&) = delete;
  SoakWorld& operator=(const SoakWorld&) = delete;
  ~SoakWorld();

  // The device with statistics hands over a batch of operation records.
  void deliver(std::span<std::byte> records, std::uint64_t count);

  // All services by name, and with `entirely` the whole registry, are gone; then those by name are there again.
  void take_services_away(bool entirely);
  void bring_services_back();

  // Posts the fault notification, whether or not that succeeds.
  void post_fault();

  // Waits until the plug-in's queue has nothing to do; what the drivers have written down is forgotten.
  void settle();

  Chance chance;
  SoakFaults faults;
  RefusingLedger ledger{chance, faults};
  CoProcessor co_processor{chance, faults};
  std::uint64_t log_messages = 0;
  std::uint64_t log_bytes = 0;

 private:
  RecordedService& register_service(const char* name, std::set<Usage> usages, bool with_statistics);
  void register_failing_services();
  void add_named_services();

  Story questions_;
  Story kernel_;
  dispatch_queue_t queue_;
  IOHIDSessionFilterPlugInInterface** plugin_;
  std::vector<std::unique_ptr<RecordedService>> services_;
  RecordedService* statistics_ = nullptr;
  bool registry_is_cleared_ = false;
};

}  // namespace hub::test
