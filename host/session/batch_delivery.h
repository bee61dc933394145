// SPDX-License-Identifier: Apache-2.0
// Batches of statistics on their way to the plug-in, each of them one transaction of the ledger.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <optional>
#include <string>

#include "host/device/device_file.h"
#include "host/device/modelled_registry.h"
#include "ledger/sqlite_ledger.h"

namespace hub::host {

// Whatever queues the devices were given, the ledger gets one batch at a time. Lives until all have been delivered.
class BatchDelivery {
 public:
  explicit BatchDelivery(platform::SqliteLedger& ledger) : ledger_(ledger) {}
  BatchDelivery(const BatchDelivery&) = delete;
  BatchDelivery& operator=(const BatchDelivery&) = delete;

  // Has the batch delivered by the device of this service, on the device's queue, unless an earlier one has failed by
  // then. False: the device has no callback, and the batch is dropped. The batch lives as long as this.
  bool post(const Batch& batch, const ModelledService& service);

  // Returns when all batches that were posted have been delivered. Not on a queue that delivers.
  void finish();

  // When it has finished.
  [[nodiscard]] std::uint64_t batches() const { return batches_; }
  [[nodiscard]] std::uint64_t published() const { return published_; }
  [[nodiscard]] std::uint64_t skipped() const { return skipped_; }  // records of another version
  [[nodiscard]] std::optional<std::string> failure() const;

 private:
  void begin();
  void end();
  void file(const Batch& batch, const DeviceModel::Publish& publish);
  void count(const Bytes& records);

  std::mutex filing_;  // held for as long as a batch is filed
  platform::SqliteLedger& ledger_;
  std::uint64_t batches_ = 0;  // those that are in the ledger
  std::uint64_t published_ = 0;
  std::uint64_t skipped_ = 0;
  std::exception_ptr failure_;

  std::mutex mutex_;
  std::condition_variable delivered_;
  std::uint64_t under_way_ = 0;
};

}  // namespace hub::host
