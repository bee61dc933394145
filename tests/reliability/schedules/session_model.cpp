// SPDX-License-Identifier: Apache-2.0
#include "tests/reliability/schedules/session_model.h"

#include <algorithm>
#include <cstring>

#include "ledger_keys.h"
#include "os/state.h"

namespace hub::test {
namespace {

using Operation = LedgerCall::Operation;

constexpr std::size_t kRecordBytes = 7;
constexpr std::byte kRecordVersion{0x43};
constexpr int kLongestNamedOperation = 5;

std::string key_of(unsigned number) {
  return number < kStatLedgerKeyCount ? kStatLedgerKeyNames[number].text : "com.vantu.neb.unknown";
}

void append_calls(const std::byte* record, LedgerCalls& calls) {
  const int operation = std::to_integer<int>(record[1]);
  const std::string key = key_of(std::to_integer<unsigned>(record[2]));
  std::uint32_t bits = 0;
  for (unsigned byte = 0; byte < 4; ++byte) {
    bits |= std::to_integer<std::uint32_t>(record[3 + byte]) << (8 * byte);
  }
  const auto number = static_cast<std::int32_t>(bits);
  const double sample = static_cast<double>(static_cast<float>(number) / 65536.0F);
  switch (operation) {
    case 0:
      return;
    case 1:
      calls.push_back({Operation::kClearScalar, key});
      return;
    case 2:
      calls.push_back({Operation::kSetScalar, key, number});
      return;
    case 3:
      calls.push_back({Operation::kAddToScalar, key, number});
      return;
    case 4:
      calls.push_back({Operation::kClearSamples, key});
      return;
    case kLongestNamedOperation:
      calls.push_back({Operation::kSetSample, key, 0, sample});
      return;
    default:
      calls.insert(calls.end(), static_cast<std::size_t>(operation - kLongestNamedOperation),
                   {Operation::kPushSample, key, 0, sample});
  }
}

platform::DistributionSummary summary_of(const std::vector<double>& samples) {
  long double sum = 0;
  for (const double sample : samples) {
    sum += sample;
  }
  const auto [min, max] = std::minmax_element(samples.begin(), samples.end());
  return {samples.size(), *min, static_cast<double>(sum / static_cast<long double>(samples.size())), *max};
}

void append_raw_debug(std::vector<ExpectedHandler>& handlers) {
  constexpr std::pair<int, const char*> kRows[] = {{48, "fw"}, {8, "kext"}, {48, "err"}};
  for (const auto& [count, type] : kRows) {
    for (int number = 0; number < count; ++number) {
      handlers.push_back({"raw/NEB Profile " + std::to_string(number) + " ;count=1 ;type=" + type, true});
    }
  }
}

void append_handlers(const PlannedService& service, std::vector<ExpectedHandler>& handlers) {
  const std::string name = service.name;
  if (service.is_consumer_button()) {
    handlers.push_back({name + "/SSHB Statistics", false});
    handlers.push_back({name + "/SSHB assets", false});
  }
  if (service.is_sensor()) {
    handlers.push_back({name + "/SensorInfo", false});
  }
}

// Where in `calls` a batch begins: at the call that sets key 0 to its number.
bool begins_batch(const LedgerCall& call) { return call.operation == Operation::kSetScalar && call.key == key_of(0); }

// The numbers of the batches that the calls are made of; complains where they are not.
std::vector<std::size_t> batches_in(const Plan& plan, const LedgerCalls& calls, std::vector<std::string>& complaints) {
  std::vector<std::size_t> order;
  for (std::size_t at = 0; at < calls.size();) {
    const auto number = static_cast<std::size_t>(calls[at].number);
    if (!begins_batch(calls[at]) || number >= plan.batches.size()) {
      complaints.emplace_back("calls of the statistics service that no batch has at this place");
      return order;
    }
    const LedgerCalls expected = calls_of(plan.batches[number]);
    if (calls.size() - at < expected.size() ||
        !std::equal(expected.begin(), expected.end(), calls.begin() + static_cast<std::ptrdiff_t>(at))) {
      complaints.push_back("batch " + std::to_string(number) + " is not filed as it was delivered");
      return order;
    }
    order.push_back(number);
    at += expected.size();
  }
  return order;
}

// Batches by the queue of their service.
std::map<std::size_t, std::vector<std::size_t>> by_queue(const Plan& plan, const std::vector<std::size_t>& batches) {
  std::map<std::size_t, std::vector<std::size_t>> queues;
  for (const std::size_t batch : batches) {
    const auto registration = plan.registration_of(number_of(plan.batches[batch].service));
    queues[registration ? registration->queue : plan.queues].push_back(batch);
  }
  return queues;
}

}  // namespace

LedgerCalls calls_of(const host::Batch& batch) {
  LedgerCalls calls;
  for (std::size_t at = 0; at < batch.records.size(); at += kRecordBytes) {
    if (batch.records[at] == kRecordVersion) {
      append_calls(&batch.records[at], calls);
    }
  }
  return calls;
}

platform::LedgerContents contents_after(const LedgerCalls& calls) {
  platform::LedgerContents contents;
  std::map<std::string, std::vector<double>> samples;
  for (const LedgerCall& call : calls) {
    switch (call.operation) {
      case Operation::kClearScalar:
        contents.scalars.erase(call.key);
        break;
      case Operation::kSetScalar:
        contents.scalars[call.key] = call.number;
        break;
      case Operation::kAddToScalar:
        contents.scalars[call.key] += call.number;
        break;
      case Operation::kClearSamples:
        samples.erase(call.key);
        break;
      case Operation::kSetSample:
        samples[call.key] = {call.sample};
        break;
      case Operation::kPushSample:
        samples[call.key].push_back(call.sample);
        break;
    }
  }
  for (const auto& [key, its_samples] : samples) {
    contents.distributions[key] = summary_of(its_samples);
  }
  return contents;
}

bool ExpectedHandler::answers(std::size_t reason) const {
  return is_raw_debug ? reason >= OS_STATE_API_FAULT : reason == OS_STATE_API_REQUEST;
}

std::vector<ExpectedHandler> handlers_after(const Plan& plan, std::size_t done) {
  std::vector<ExpectedHandler> handlers;
  bool has_raw_debug = false;
  for (std::size_t index = 0; index < done; ++index) {
    const Action& action = plan.actions[kEventSystem][index];
    if (action.deed != Deed::kRegister || !planned_services()[action.number].of_the_hub) {
      continue;
    }
    const PlannedService& service = planned_services()[action.number];
    append_handlers(service, handlers);
    if (service.leads_to_raw_debug() && !std::exchange(has_raw_debug, true)) {
      append_raw_debug(handlers);
    }
  }
  return handlers;
}

std::size_t schedules_after(const Plan& plan, std::size_t done) {
  const auto& actions = plan.actions[kEventSystem];
  return static_cast<std::size_t>(std::count_if(actions.begin(), actions.begin() + static_cast<std::ptrdiff_t>(done),
                                                [](const Action& action) { return action.deed == Deed::kSchedule; }));
}

void check_order_of_batches(const Plan& plan, const std::vector<std::size_t>& posted, const LedgerCalls& calls,
                            std::vector<std::string>& complaints) {
  const std::vector<std::size_t> filed = batches_in(plan, calls, complaints);
  if (by_queue(plan, filed) != by_queue(plan, posted)) {
    complaints.emplace_back("a queue's batches are not filed once each, in the order in which they were delivered");
  }
}

}  // namespace hub::test
