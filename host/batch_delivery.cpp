// SPDX-License-Identifier: Apache-2.0
#include "host/batch_delivery.h"

#include "ledger/ledger_error.h"

namespace hub::host {
namespace {

constexpr std::size_t kRecordBytes = 7;
constexpr std::byte kRecordVersion{0x43};  // a record's first byte

}  // namespace

bool BatchDelivery::post(const Batch& batch, const ModelledService& service) {
  return service.device != nullptr &&
         service.device->post([this, &batch](const DeviceModel::Publish& publish) { deliver(batch, publish); });
}

void BatchDelivery::deliver(const Batch& batch, const DeviceModel::Publish& publish) try {
  if (failure_) {
    return;
  }
  ledger_.begin_batch();
  Bytes records = batch.records;  // the plug-in's own, whatever it does with them
  publish(records);
  ledger_.commit_batch();
  count(batch.records);
} catch (const platform::LedgerError& error) {
  failure_ = error.what();
}

void BatchDelivery::count(const Bytes& records) {
  ++batches_;
  for (std::size_t at = 0; at < records.size(); at += kRecordBytes) {
    ++(records[at] == kRecordVersion ? published_ : skipped_);
  }
}

}  // namespace hub::host
