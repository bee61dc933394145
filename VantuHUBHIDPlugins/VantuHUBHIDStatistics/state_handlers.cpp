// SPDX-License-Identifier: Apache-2.0
// State captures that hold no records yet.
#include "VantuHUBHIDStatistics.h"

os_state_data_t VantuHUBHIDStatistics::stateHandler_RawDebugData(os_state_hints_t, ServiceContext*, std::uint32_t,
                                                                 std::uint32_t, std::uint32_t, std::uint32_t) {
  return nullptr;
}
