// SPDX-License-Identifier: Apache-2.0
// What becomes of a ledger that cannot be opened, read or written.
#pragma once

#include <stdexcept>

#include "platform_abi.h"

namespace hub::platform {

// Its text: the ledger's file as the caller named it, what happened, and the database's or the system's own words.
class PLATFORM_EXPORT LedgerError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace hub::platform
