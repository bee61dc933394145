// SPDX-License-Identifier: Apache-2.0
#include "StatLedger/StatLedger.h"

#include <atomic>
#include <string_view>

#include "ledger/ledger_host.h"

namespace hub::platform {
namespace {

constinit std::atomic<Ledger*> ledger_in_use = nullptr;

// Hands one call to the ledger in use.
template <typename... Values>
bool forward(bool (Ledger::*operation)(std::string_view, Values...), CFStringRef key, Values... values) {
  Ledger* ledger = ledger_in_use.load(std::memory_order_acquire);
  return ledger != nullptr && key != nullptr &&
         (ledger->*operation)(CFStringGetCStringPtr(key, kCFStringEncodingUTF8), values...);
}

}  // namespace

void use_ledger(Ledger* ledger) { ledger_in_use.store(ledger, std::memory_order_release); }

}  // namespace hub::platform

using namespace hub::platform;

bool SLClientClearScalarKey(CFStringRef key) { return forward(&Ledger::clear_scalar, key); }

bool SLClientSetValueForScalarKey(CFStringRef key, int64_t value) { return forward(&Ledger::set_scalar, key, value); }

bool SLClientAddValueForScalarKey(CFStringRef key, int64_t value) {
  return forward(&Ledger::add_to_scalar, key, value);
}

bool SLClientClearDistributionKey(CFStringRef key) { return forward(&Ledger::clear_distribution, key); }

bool SLClientSetValueForDistributionKey(CFStringRef key, double sample) {
  return forward(&Ledger::set_distribution, key, sample);
}

bool SLClientPushValueForDistributionKey(CFStringRef key, double sample) {
  return forward(&Ledger::push_to_distribution, key, sample);
}
