// SPDX-License-Identifier: Apache-2.0
// Scenarios over the plug-in, each repeated with one platform call after the other failing: what a scenario is, what is
// seen of a run, and what a failure may change of that.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "failures/failures_host.h"

namespace hub::test {

class World;

// What is seen of a run, by name: "open": "true", "entry latency/max": "5", "kept strings": "67".
using Outcome = std::map<std::string, std::string>;

// A call that was made to fail.
struct Failure {
  platform::Fallible function;
  std::int32_t code;  // what it returned, for functions that have one
};

// What is known of a scenario before anything fails in it.
struct Known {
  Outcome undisturbed;
  std::map<std::string, Outcome> without;  // what is seen when the kernel's answers lack this number
};

// The outcomes that are right when a call has failed: undisturbed but for what depends on the call.
using Consequence = std::function<std::vector<Outcome>(const Known& known, const Failure& failure)>;

// A promise: a call of this function that fails may have this consequence. What may happen must happen at some call.
struct Promise {
  platform::Fallible function;
  std::string consequence;
  Consequence outcomes;
};

// While all calls fail from one on, what begins so may become one of these texts, or be missing.
inline constexpr char kAny[] = "(any)";      // any text
inline constexpr char kFewer[] = "(fewer)";  // a smaller number
struct WhenAllFail {
  std::string beginning;
  std::vector<std::string> texts;
};

struct Scenario {
  std::string name;
  std::function<void(World& world)> prepare{};  // nothing fails yet
  std::function<void(World& world)> act{};      // here calls fail
  std::function<void(World& world, Outcome& seen)> observe{};
  std::vector<Promise> promises{};
  std::vector<WhenAllFail> when_all_fail{};
  std::vector<std::string> lines_when_all_fail{};    // that the log may have besides the undisturbed ones
  std::vector<std::string> numbers_of_the_kernel{};  // that may be left out of its answers
  std::size_t instances = 1;                         // that are opened
  std::size_t services = 0;                          // that are taken: what each keeps is listed
  std::size_t consumer_buttons = 0;
};

std::vector<Scenario> loading_scenarios();
std::vector<Scenario> registration_scenarios();
std::vector<Scenario> publishing_scenarios();
std::vector<Scenario> capture_scenarios();
std::vector<Scenario> decoding_scenarios();

// One run in a process of its own, so that each begins as the device does and a crash ends that run alone.
struct Run {
  Outcome seen;
  std::map<platform::Fallible, std::uint64_t> calls;
  std::map<platform::Fallible, std::uint64_t> failures;
  std::string ended;  // empty, or how the process ended that should have reported
};

// `change` is applied to the new world.
Run run(const Scenario& scenario, const platform::FailurePlan& plan,
        const std::function<void(World& world)>& change = nullptr);

// The codes that a function may return instead of 0; empty: it has none.
std::vector<std::int32_t> codes_of(platform::Fallible function);

// What differs, one line each: "entry model: 'B4' instead of 'B5'".
std::vector<std::string> differences(const Outcome& seen, const Outcome& expected);

// Runs each reply of the co-processor short, over-long and refused. How many runs, and what was wrong in them.
struct Tally {
  std::uint64_t runs = 0;
  std::vector<std::string> wrong;
};
Tally run_bad_replies(const std::vector<Scenario>& captures);

}  // namespace hub::test
