// SPDX-License-Identifier: Apache-2.0
#include "host/batch_delivery.h"

#include "ledger/ledger_error.h"

namespace hub::host {
namespace {

constexpr std::size_t kRecordBytes = 7;

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
  ++batches_;
  records_ += records.size() / kRecordBytes;
} catch (const platform::LedgerError& error) {
  failure_ = error.what();
}

}  // namespace hub::host
