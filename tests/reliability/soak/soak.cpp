// SPDX-License-Identifier: Apache-2.0
// soak [--scale X] [--seed N] [--no-memory]: one session of the plug-in under a load that never ends on the device,
// with faults of every kind strewn in. Memory and live objects must be after it what they were after the warm-up.
//   --scale X     so many times the full load of 10^7 operation records, 10^8 profile records and 10,000 captures
//   --seed N      of the chance that chooses loads and faults; 1
//   --no-memory   memory is told and not judged: a sanitizer keeps some back
#include <algorithm>
#include <array>
#include <charconv>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "failures/failures_host.h"
#include "os/state.h"
#include "profile/profile_exports.h"
#include "state/state_host.h"
#include "tests/reliability/soak/soak_figures.h"
#include "tests/reliability/soak/soak_world.h"

namespace {

using hub::platform::Fallible;
using hub::test::SoakFigures;
using hub::test::SoakWorld;

constexpr double kOperationRecords = 1e7;
constexpr double kProfileRecords = 1e8;
constexpr double kCaptures = 1e4;
constexpr std::uint64_t kMostRounds = 1000;
constexpr std::int64_t kMemoryLimit = 1 << 20;
constexpr std::size_t kOperationBytes = 7;

struct Options {
  double scale = 1;
  std::uint64_t seed = 1;
  bool judges_memory = true;
};

bool read_number(const char* text, auto& number) {
  const char* end = text + std::strlen(text);
  const auto [stopped, error] = std::from_chars(text, end, number);
  return error == std::errc() && stopped == end;
}

bool read_options(std::span<char*> arguments, Options& options) {
  for (std::size_t at = 1; at < arguments.size(); ++at) {
    const std::string_view name = arguments[at];
    const char* value = at + 1 < arguments.size() ? arguments[at + 1] : "";
    if (name == "--no-memory") {
      options.judges_memory = false;
    } else if ((name == "--scale" && read_number(value, options.scale) && options.scale > 0 && options.scale <= 1) ||
               (name == "--seed" && read_number(value, options.seed))) {
      ++at;
    } else {
      std::fprintf(stderr, "soak: expected [--scale ABOVE_0_TO_1] [--seed NUMBER] [--no-memory], not \"%s %s\"\n",
                   arguments[at], value);
      return false;
    }
  }
  return true;
}

// What is done, and what should have come of it.
struct Done {
  std::uint64_t operations = 0;
  std::uint64_t batches = 0;
  std::uint64_t profiles = 0;
  std::uint64_t descriptions = 0;
  std::uint64_t captures = 0;
  std::uint64_t snapshots = 0;
  std::uint64_t ledger_calls = 0;  // that the operation records ask for and no plan prevents
};

class Soak {
 public:
  explicit Soak(const Options& options) : world_(options.seed) {}

  // Nothing fails, so that all that is made once is made.
  void warm_up() {
    for (const std::uint32_t api : {OS_STATE_API_REQUEST, OS_STATE_API_FAULT, OS_STATE_API_ERROR}) {
      capture(api);
    }
    decode(1000);
    publish(1000);
  }

  void run_round(std::uint64_t operations, std::uint64_t profiles, std::uint64_t captures, bool may_clear_registry) {
    world_.co_processor.makes_mistakes = true;
    if (world_.chance.one_in(8)) {
      world_.take_services_away(may_clear_registry && world_.chance.one_in(2));
    }
    for (std::uint64_t left = operations; left > 0;) {
      const std::uint64_t count = std::min(left, 1 + world_.chance.below(1000));
      with_faults(kLedgerFunctions, count, [&] { publish(count); });
      left -= count;
    }
    for (std::uint64_t left = profiles; left > 0;) {
      const std::uint64_t count = std::min<std::uint64_t>(left, 10'000);
      with_faults(kDecodingFunctions, count, [&] { decode(count); });
      left -= count;
    }
    for (std::uint64_t number = 0; number < captures; ++number) {
      with_faults({}, 3000, [&] { capture(static_cast<std::uint32_t>(1 + world_.chance.below(5))); });
    }
    world_.post_fault();
    world_.bring_services_back();
    world_.co_processor.makes_mistakes = false;
    keep_spares();
  }

  [[nodiscard]] const Done& done() const { return done_; }
  [[nodiscard]] const SoakWorld& world() const { return world_; }

 private:
  static constexpr Fallible kLedgerFunctions[] = {Fallible::kSLClientAddValueForScalarKey,
                                                  Fallible::kSLClientClearDistributionKey,
                                                  Fallible::kSLClientClearScalarKey,
                                                  Fallible::kSLClientPushValueForDistributionKey,
                                                  Fallible::kSLClientSetValueForDistributionKey,
                                                  Fallible::kSLClientSetValueForScalarKey};
  static constexpr Fallible kDecodingFunctions[] = {Fallible::kCFStringCreateWithCString,
                                                    Fallible::kIOServiceMatching,
                                                    Fallible::kIOServiceGetMatchingService,
                                                    Fallible::kIORegistryEntryCreateCFProperty,
                                                    Fallible::ksysctl,
                                                    Fallible::kCFNumberGetValue,
                                                    Fallible::kCFStringCreateWithBytes};

  // Once in four times, one call in about the first `calls` fails, or that and all later ones: of one of these
  // functions, or, without any, of one or all that can fail.
  template <typename Work>
  void with_faults(std::span<const Fallible> functions, std::uint64_t calls, const Work& work) {
    if (!world_.chance.one_in(4)) {
      work();
      return;
    }
    const auto all = hub::platform::fallible_functions();
    hub::platform::FailurePlan plan{.first = 1 + world_.chance.below(calls), .and_all_later = world_.chance.one_in(4)};
    if (!functions.empty()) {
      plan.function = functions[world_.chance.below(functions.size())];
    } else if (world_.chance.one_in(2)) {
      plan.function = all[world_.chance.below(all.size())].function;
      plan.first = 1 + world_.chance.below(100);
    }
    hub::platform::plan_failures(plan);
    work();
    hub::platform::end_failures();
    for (const auto& row : all) {
      world_.faults.platform_calls += hub::platform::planned_failures_of(row.function);
    }
    for (const Fallible function : kLedgerFunctions) {
      done_.ledger_calls -= hub::platform::planned_failures_of(function);
    }
  }

  // A batch: mostly records as the firmware sends them, some of other versions, with any key and any operation to 12.
  void publish(std::uint64_t count) {
    batch_.resize(count * kOperationBytes);
    world_.chance.fill(batch_);
    for (std::uint64_t record = 0; record < count; ++record) {
      const std::span bytes = std::span(batch_).subspan(record * kOperationBytes, kOperationBytes);
      const auto operation = std::to_integer<unsigned>(bytes[1]) % 13;
      const bool is_known = std::to_integer<unsigned>(bytes[0]) % 64 != 0;
      bytes[0] = static_cast<std::byte>(is_known ? 0x43 : 0x42);
      bytes[1] = static_cast<std::byte>(operation);
      done_.ledger_calls += !is_known ? 0 : operation > 5 ? operation - 5 : operation > 0 ? 1 : 0;
    }
    world_.deliver(batch_, count);
    done_.operations += count;
    ++done_.batches;
  }

  // Reports of all categories, half of them with text that is no UTF-8 where a text may be.
  void decode(std::uint64_t count) {
    std::array<std::byte, sizeof(_HubProfileReport)> bytes{};
    for (std::uint64_t record = 0; record < count; ++record) {
      world_.chance.fill(bytes);
      for (const std::size_t at : {0U, 1U, 2U, 3U}) {
        bytes[at] = bytes[at] & (at == 3 ? std::byte{0x0F} : std::byte{0x1F});
      }
      if (record % 2 == 0) {
        for (std::byte& byte : std::span(bytes).subspan(16)) {
          byte = byte & std::byte{0x7F};
        }
      }
      _HubProfileReport report;
      std::memcpy(&report, bytes.data(), sizeof report);
      if (const CFStringRef description = CopyProfileDescription(&report)) {
        ++done_.descriptions;
        CFRelease(description);
      }
    }
    done_.profiles += count;
  }

  void capture(std::uint32_t api) {
    hub::platform::capture_state(api, [this](std::size_t, const hub::platform::OwnedStateData&) { ++done_.snapshots; });
    ++done_.captures;
    world_.settle();
  }

  // A thread keeps what it asks for the clocks with, and loses it when asking fails: both threads have it for a sample.
  void keep_spares() {
    const Done before = done_;
    decode(1);
    capture(OS_STATE_API_FAULT);
    done_ = before;
  }

  SoakWorld world_;
  Done done_;
  std::vector<std::byte> batch_;
};

void tell_memory(const char* what, const SoakFigures& figures, std::int64_t hub::test::MemoryUse::*bytes) {
  const auto mebibytes = [](std::int64_t count) { return static_cast<double>(count) / (1024 * 1024); };
  const std::int64_t first = figures.first().*bytes;
  std::printf("soak: %s after the warm-up %.3f MiB; in %zu samples at most %+.3f MiB, in the last %+.3f MiB\n", what,
              mebibytes(first), figures.samples(), mebibytes(figures.highest().*bytes - first),
              mebibytes(figures.last().*bytes - first));
}

// Prints what was done and what it left, and tells whether all promises held.
bool tell(const Soak& soak, const SoakFigures& figures, const Options& options) {
  const Done& done = soak.done();
  const SoakWorld& world = soak.world();
  std::printf("soak: seed %" PRIu64 ": %" PRIu64 " operation records in %" PRIu64 " batches, %" PRIu64
              " profile records (%" PRIu64 " with a description), %" PRIu64 " captures (%" PRIu64 " snapshots)\n",
              options.seed, done.operations, done.batches, done.profiles, done.descriptions, done.captures,
              done.snapshots);
  std::printf("soak: faults: %" PRIu64 " platform calls, %" PRIu64 " replies, %" PRIu64 " ledger refusals, %" PRIu64
              " absences; log: %" PRIu64 " messages\n",
              world.faults.platform_calls, world.faults.replies, world.faults.ledger_refusals, world.faults.absences,
              world.log_messages);
  tell_memory("resident memory", figures, &hub::test::MemoryUse::resident_bytes);
  tell_memory("heap", figures, &hub::test::MemoryUse::heap_bytes);
  std::printf("soak: live objects of %zu kinds, %zu drifts\n", figures.kinds(), figures.drifts().size());
  for (const std::string& drift : figures.drifts()) {
    std::printf("soak: drift: %s\n", drift.c_str());
  }
  std::printf("soak: ledger called %" PRIu64 " times, expected %" PRIu64 "\n", world.ledger.calls, done.ledger_calls);
  std::printf("soak: %.0f s of CPU time\n", static_cast<double>(std::clock()) / CLOCKS_PER_SEC);
  const std::int64_t growth = figures.highest().resident_bytes - figures.first().resident_bytes;
  const bool memory_is_flat = growth < kMemoryLimit || !options.judges_memory;
  return memory_is_flat && figures.drifts().empty() && world.ledger.calls == done.ledger_calls && done.snapshots > 0;
}

// The share of a load that is due by the end of round `round`.
std::uint64_t due(double load, std::uint64_t round, std::uint64_t rounds) {
  return static_cast<std::uint64_t>(std::llround(load)) * round / rounds;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!read_options({argv, static_cast<std::size_t>(argc)}, options)) {
    return 2;
  }
  const auto captures = static_cast<std::uint64_t>(std::llround(kCaptures * options.scale));
  const std::uint64_t rounds = std::clamp<std::uint64_t>(captures, 10, kMostRounds);
  Soak soak(options);
  soak.warm_up();
  SoakFigures figures;
  for (std::uint64_t round = 1; round <= rounds; ++round) {
    const auto share = [&](double load) {
      return due(load * options.scale, round, rounds) - due(load * options.scale, round - 1, rounds);
    };
    soak.run_round(share(kOperationRecords), share(kProfileRecords), share(kCaptures), round > rounds * 3 / 4);
    if (round == rounds / 10) {
      figures.end_warm_up();
    } else if (round > rounds / 10) {
      figures.sample();
    }
  }
  return tell(soak, figures, options) ? 0 : 1;
}
