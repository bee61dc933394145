// SPDX-License-Identifier: Apache-2.0
// One operation on a statistic, as the firmware delivers it.
#pragma once

#include <array>
#include <cstddef>

// 7 bytes, packed, little-endian; batches have no header and no padding between records.
//   0  1  version  0x43
//   1  1  op       what to do with the statistic; above 5 also how often
//   2  1  key      StatLedgerKey
//   3  4  value    signed; for distributions 16.16 fixed point
struct LedgerOp {
  std::array<std::byte, 7> bytes;
};
static_assert(sizeof(LedgerOp) == 7 && alignof(LedgerOp) == 1);
