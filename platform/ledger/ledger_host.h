// SPDX-License-Identifier: Apache-2.0
// The face by which a host stands behind the statistics service.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform_abi.h"

namespace hub::platform {

// Where the statistics service files what it is told. Each function does what the service's call of that name promises
// and returns what it returns; keys are UTF-8. The functions are called on the threads that call the service.
class PLATFORM_EXPORT Ledger {
 public:
  virtual ~Ledger() = default;
  virtual bool clear_scalar(std::string_view key) = 0;
  virtual bool set_scalar(std::string_view key, std::int64_t value) = 0;
  virtual bool add_to_scalar(std::string_view key, std::int64_t value) = 0;
  virtual bool clear_distribution(std::string_view key) = 0;
  virtual bool set_distribution(std::string_view key, double sample) = 0;
  virtual bool push_to_distribution(std::string_view key, double sample) = 0;

 protected:
  Ledger() = default;
  Ledger(const Ledger&) = default;
  Ledger& operator=(const Ledger&) = default;
};

// From now on the service files there; NULL, as at the start of the process: there is no service. The caller keeps the
// ledger alive until it has named another, and calls this when nobody is using the service. [host]
PLATFORM_EXPORT void use_ledger(Ledger* ledger);

}  // namespace hub::platform
