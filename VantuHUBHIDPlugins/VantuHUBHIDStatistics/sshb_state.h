// SPDX-License-Identifier: Apache-2.0
// The solid-state button's records, and what snapshots show of them. [plug-in queue]
#pragma once

#include <array>
#include <cstddef>

#include "CoreFoundation/CFDictionary.h"
#include "hub_ids.h"

// The latency statistics of the last press: packed, little-endian, co-processor time values. See the rows in
// sshb_state.cpp.
struct _SSHBLatencyStatsV2 {
  std::array<std::byte, kSSHBLatencyStats.length> bytes;
};

// A new dictionary, owned by the caller: "last button press" and "latency". NULL when there is no memory for it.
CFMutableDictionaryRef copySSHBStatistics(const _SSHBLatencyStatsV2& statistics);

// A new dictionary, owned by the caller, of the haptic assets in a reply: 3 speeds of 17 click states, a text each.
// NULL, which is told in the log, when the reply is shorter than that or there is no memory.
CFMutableDictionaryRef copySSHBAssets(const void* reply, std::size_t length);
