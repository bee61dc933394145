// SPDX-License-Identifier: Apache-2.0
#include "host/session/batch_delivery.h"

#include <exception>

namespace hub::host {
namespace {

constexpr std::size_t kRecordBytes = 7;
constexpr std::byte kRecordVersion{0x43};  // a record's first byte

}  // namespace

bool BatchDelivery::post(const Batch& batch, const ModelledService& service) {
  if (service.device == nullptr) {
    return false;
  }
  begin();
  bool is_posted = false;
  try {
    is_posted = service.device->post([this, &batch](const DeviceModel::Publish& publish) {
      file(batch, publish);
      end();
    });
  } catch (...) {
    end();
    throw;
  }
  if (!is_posted) {
    end();
  }
  return is_posted;
}

void BatchDelivery::finish() {
  std::unique_lock lock(mutex_);
  delivered_.wait(lock, [this] { return under_way_ == 0; });
}

void BatchDelivery::begin() {
  const std::lock_guard lock(mutex_);
  ++under_way_;
}

// The last thing that a delivery does: whoever waits may end this object once the lock is given back.
void BatchDelivery::end() {
  const std::lock_guard lock(mutex_);
  --under_way_;
  delivered_.notify_all();
}

void BatchDelivery::file(const Batch& batch, const DeviceModel::Publish& publish) try {
  const std::lock_guard lock(filing_);
  if (failure_ != nullptr) {
    return;
  }
  ledger_.begin_batch();
  Bytes records = batch.records;  // the plug-in's own, whatever it does with them
  publish(records);
  ledger_.commit_batch();
  count(batch.records);
} catch (const std::exception&) {
  failure_ = std::current_exception();
}

std::optional<std::string> BatchDelivery::failure() const try {
  if (failure_ != nullptr) {
    std::rethrow_exception(failure_);
  }
  return std::nullopt;
} catch (const std::exception& error) {
  return error.what();
}

void BatchDelivery::count(const Bytes& records) {
  ++batches_;
  for (std::size_t at = 0; at < records.size(); at += kRecordBytes) {
    ++(records[at] == kRecordVersion ? published_ : skipped_);
  }
}

}  // namespace hub::host
