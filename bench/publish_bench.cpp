// SPDX-License-Identifier: Apache-2.0
// Operation records per second through the plug-in: into a ledger that does nothing, and into SQLite. For comparison,
// in the same run: looking the same keys up in a hash map and adding, which is the least that any counter does, and
// adding to the counters of a metrics library that are looked up by the same keys.
#include <benchmark/benchmark.h>
#include <prometheus/counter.h>
#include <prometheus/registry.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/device/device_model.h"
#include "host/device/modelled_registry.h"
#include "host/device/observations.h"
#include "host/session/plugin_loader.h"
#include "ledger/sqlite_ledger.h"
#include "ledger_keys.h"
#include "log/log_host.h"

namespace {

using namespace hub::host;
using hub::platform::SqliteLedger;

constexpr std::size_t kRecords = 1000;  // a batch

class NullLedger final : public hub::platform::Ledger {
 public:
  bool clear_scalar(std::string_view) override { return true; }
  bool set_scalar(std::string_view, std::int64_t) override { return true; }
  bool add_to_scalar(std::string_view, std::int64_t) override { return true; }
  bool clear_distribution(std::string_view) override { return true; }
  bool set_distribution(std::string_view, double) override { return true; }
  bool push_to_distribution(std::string_view, double) override { return true; }
};

// Adds 1 to each key in turn.
Bytes scalar_batch() {
  Bytes records;
  for (std::size_t index = 0; index < kRecords; ++index) {
    for (const unsigned byte : {0x43U, 3U, static_cast<unsigned>(index % kStatLedgerKeyCount), 1U, 0U, 0U, 0U}) {
      records.push_back(static_cast<std::byte>(byte));
    }
  }
  return records;
}

// One service with statistics.
Device device() {
  Node service;
  service.name = "statistics";
  service.hid.emplace().properties = {{"Transport", {"HUB"}}, {"NEBSupportsStatLedger", {true}}};
  Node between;
  between.children = {service};
  Node root;
  root.device.emplace();
  root.children = {between};
  Device device;
  device.registry = {root};
  return device;
}

// The plug-in with that service registered. Without a queue, so that batches run on the benchmark's thread.
class PublishingPlugIn {
 public:
  PublishingPlugIn() : registry_(device(), observations_), plugin_(HUB_PLUGIN) {
    plugin_.open();
    plugin_.register_service(registry_.services().front().service.get());
  }

  void publish(Bytes& records) const {
    registry_.services().front().device->post([&](const DeviceModel::Publish& publish) { publish(records); });
  }

 private:
  Observations observations_;
  ModelledRegistry registry_;
  LoadedPlugIn plugin_;
};

const PublishingPlugIn& plugin() {
  static const PublishingPlugIn instance;
  return instance;
}

void count_records(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kRecords));
}

void into_a_ledger_that_does_nothing(benchmark::State& state) {
  NullLedger ledger;
  hub::platform::use_ledger(&ledger);
  Bytes records = scalar_batch();
  for ([[maybe_unused]] auto _ : state) {
    plugin().publish(records);
  }
  hub::platform::use_ledger(nullptr);
  count_records(state);
}
BENCHMARK(into_a_ledger_that_does_nothing);

void the_same_with_each_record_logged(benchmark::State& state) {
  std::size_t bytes = 0;
  hub::platform::set_log_recorder([&](const hub::platform::LogMessage& message) { bytes += message.text.size(); });
  into_a_ledger_that_does_nothing(state);
  hub::platform::set_log_recorder(nullptr);
  benchmark::DoNotOptimize(bytes);
}
BENCHMARK(the_same_with_each_record_logged);

void into_sqlite(benchmark::State& state, SqliteLedger& ledger) {
  hub::platform::use_ledger(&ledger);
  Bytes records = scalar_batch();
  for ([[maybe_unused]] auto _ : state) {
    ledger.begin_batch();
    plugin().publish(records);
    ledger.commit_batch();
  }
  hub::platform::use_ledger(nullptr);
  count_records(state);
}

void into_sqlite_in_memory(benchmark::State& state) {
  SqliteLedger ledger;
  into_sqlite(state, ledger);
}
BENCHMARK(into_sqlite_in_memory);

void into_sqlite_on_disk(benchmark::State& state) {
  const auto folder = std::filesystem::temp_directory_path() / ("publish_bench." + std::to_string(getpid()));
  std::filesystem::create_directory(folder);
  {
    SqliteLedger ledger((folder / "ledger.sqlite").string());
    into_sqlite(state, ledger);
  }
  std::filesystem::remove_all(folder);
}
BENCHMARK(into_sqlite_on_disk);

void hash_map_of_the_same_keys(benchmark::State& state) {
  std::unordered_map<std::string, std::int64_t> counters;
  std::vector<std::string> keys;
  for (const StatLedgerKeyName& name : kStatLedgerKeyNames) {
    keys.emplace_back(name.text);
  }
  for ([[maybe_unused]] auto _ : state) {
    for (std::size_t index = 0; index < kRecords; ++index) {
      ++counters[keys[index % keys.size()]];
    }
    benchmark::ClobberMemory();
  }
  count_records(state);
}
BENCHMARK(hash_map_of_the_same_keys);

void prometheus_counter_look_up(benchmark::State& state) {
  prometheus::Registry registry;
  auto& counters = prometheus::BuildCounter().Name("statistics").Register(registry);
  for ([[maybe_unused]] auto _ : state) {
    for (std::size_t index = 0; index < kRecords; ++index) {
      counters.Add({{"key", kStatLedgerKeyNames[index % kStatLedgerKeyCount].text}}).Increment(1);
    }
  }
  constexpr std::size_t kOfFirstKey = (kRecords + kStatLedgerKeyCount - 1) / kStatLedgerKeyCount;
  const double first = counters.Add({{"key", kStatLedgerKeyNames[0].text}}).Value();
  if (first != static_cast<double>(static_cast<std::size_t>(state.iterations()) * kOfFirstKey)) {
    state.SkipWithError("the counters have not what was added");
  }
  count_records(state);
}
BENCHMARK(prometheus_counter_look_up);

}  // namespace

BENCHMARK_MAIN();
