// SPDX-License-Identifier: Apache-2.0
// What a session must come to, worked out from its plan and from the order in which things were done.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "ledger/ledger_contents.h"
#include "ledger/ledger_host.h"
#include "tests/reliability/schedules/session_plan.h"

namespace hub::test {

// A call of the statistics service.
struct LedgerCall {
  enum class Operation { kClearScalar, kSetScalar, kAddToScalar, kClearSamples, kSetSample, kPushSample };

  Operation operation;
  std::string key;
  std::int64_t number = 0;
  double sample = 0;

  bool operator==(const LedgerCall&) const = default;
};
using LedgerCalls = std::vector<LedgerCall>;

// The calls that the plug-in makes of a batch.
LedgerCalls calls_of(const host::Batch& batch);

// What a ledger holds after these calls.
platform::LedgerContents contents_after(const LedgerCalls& calls);

// A state handler, by what it shows: "button/SSHB Statistics", or "raw/..." for what is registered once.
struct ExpectedHandler {
  std::string snapshot;
  bool is_raw_debug;

  [[nodiscard]] bool answers(std::size_t reason) const;
};

// The handlers that are there after the first `done` actions of the event system, in the order of registration.
std::vector<ExpectedHandler> handlers_after(const Plan& plan, std::size_t done);

// How often the plug-in was scheduled in them.
std::size_t schedules_after(const Plan& plan, std::size_t done);

// The numbers of batches, in the order in which calls of the service show them. Sentences about what is not as it must
// be go to `complaints`: other calls than the batches', a batch twice or not at all, batches of a queue out of order.
void check_order_of_batches(const Plan& plan, const std::vector<std::size_t>& posted, const LedgerCalls& calls,
                            std::vector<std::string>& complaints);

}  // namespace hub::test
