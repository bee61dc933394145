// SPDX-License-Identifier: Apache-2.0
#include "StatLedger/StatLedger.h"

#include <atomic>
#include <string_view>

#include "failures/failures.h"
#include "ledger/ledger_host.h"

namespace hub::platform {
namespace {

constinit std::atomic<Ledger*> ledger_in_use = nullptr;

// Hands one call to the ledger in use.
template <typename... Values>
bool forward(bool (Ledger::*operation)(std::string_view, Values...), CFStringRef key, Values... values) {
  Ledger* ledger = ledger_in_use.load(std::memory_order_acquire);
  if (ledger == nullptr || key == nullptr) {
    return false;
  }
  const char* text = CFStringGetCStringPtr(key, kCFStringEncodingUTF8);
  return text != nullptr && (ledger->*operation)(text, values...);
}

}  // namespace

void use_ledger(Ledger* ledger) { ledger_in_use.store(ledger, std::memory_order_release); }

}  // namespace hub::platform

using namespace hub::platform;

bool SLClientClearScalarKey(CFStringRef key) {
  if (fails(Fallible::kSLClientClearScalarKey)) {
    return false;
  }
  return forward(&Ledger::clear_scalar, key);
}

bool SLClientSetValueForScalarKey(CFStringRef key, int64_t value) {
  if (fails(Fallible::kSLClientSetValueForScalarKey)) {
    return false;
  }
  return forward(&Ledger::set_scalar, key, value);
}

bool SLClientAddValueForScalarKey(CFStringRef key, int64_t value) {
  if (fails(Fallible::kSLClientAddValueForScalarKey)) {
    return false;
  }
  return forward(&Ledger::add_to_scalar, key, value);
}

bool SLClientClearDistributionKey(CFStringRef key) {
  if (fails(Fallible::kSLClientClearDistributionKey)) {
    return false;
  }
  return forward(&Ledger::clear_distribution, key);
}

bool SLClientSetValueForDistributionKey(CFStringRef key, double sample) {
  if (fails(Fallible::kSLClientSetValueForDistributionKey)) {
    return false;
  }
  return forward(&Ledger::set_distribution, key, sample);
}

bool SLClientPushValueForDistributionKey(CFStringRef key, double sample) {
  if (fails(Fallible::kSLClientPushValueForDistributionKey)) {
    return false;
  }
  return forward(&Ledger::push_to_distribution, key, sample);
}
