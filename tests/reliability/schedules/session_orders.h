// SPDX-License-Identifier: Apache-2.0
// Sessions in an order that a seed determines, and sessions in whatever order threads come to.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/reliability/schedules/session_run.h"

namespace hub::test {

struct Played {
  std::vector<std::string> order;  // every step, indented by the steps that it is in the midst of
  std::vector<std::string> complaints;
};

// One session on one thread. At every step that is not forced a choice by the seed says whose next action is done or
// which queue runs its next block: between actions, while somebody waits for a queue, and while the firmware answers.
Played play_by_seed(std::uint64_t seed, const std::string& plugin, ReferenceSnapshots& reference);

// The session of the plain plan: blocks as soon as they are added, then one actor after the other.
Played play_in_sequence(const std::string& plugin, ReferenceSnapshots& reference);

// One session in which each actor has a thread, as each queue has; between actions, and in the firmware, there are
// pauses by the seed. There is no order to be told.
Played play_in_threads(std::uint64_t seed, const std::string& plugin, ReferenceSnapshots& reference);

}  // namespace hub::test
