// SPDX-License-Identifier: Apache-2.0
// failing_calls [--functions | --uncalled | SCENARIO...]: repeats each scenario (those that begin so) with one platform
// call after the other failing, and says what broke a promise. --functions: whether the scenarios reach every function
// that can fail. --uncalled: the functions that the plug-in does not call.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <set>
#include <string_view>

#include "tests/reliability/calls/failing_calls.h"
#include "tests/reliability/calls/failing_calls_world.h"

namespace hub::test {
namespace {

using platform::FailurePlan;
using platform::Fallible;
using platform::FallibleFunction;

// The functions that no scenario can fail, for the plug-in does not call them, nor does the platform for it.
struct Uncalled {
  Fallible function;
  const char* caller;
};
constexpr Uncalled kUncalled[] = {
    {Fallible::kCFAllocatorCreate, "a host that wants an allocator of its own"},
    {Fallible::kCFAllocatorReallocate, "a host that has memory of an allocator"},
    {Fallible::kCFArrayCreate, "a host that answers with an array"},
    {Fallible::kCFDataCreate, "a host that answers with data"},
    {Fallible::kCFDictionaryCreate, "a host that answers with a dictionary"},
    {Fallible::kCFStringCreateWithBytes, "a host that answers with a text"},
    {Fallible::kCFUUIDCreateString, "a host that shows an identifier"},
    {Fallible::kdispatch_queue_create, "a host that makes the plug-in's queue"},
    {Fallible::kIOObjectRetain, "a host that shares a handle"},
    {Fallible::knotify_cancel, "a program that listens for a while"},
};

const char* name_of(Fallible function) {
  return platform::fallible_functions()[static_cast<std::size_t>(function)].name;
}

std::vector<Scenario> all_scenarios() {
  std::vector<Scenario> all;
  for (auto* make :
       {loading_scenarios, registration_scenarios, publishing_scenarios, capture_scenarios, decoding_scenarios}) {
    for (Scenario& scenario : make()) {
      all.push_back(std::move(scenario));
    }
  }
  return all;
}

struct Totals {
  std::uint64_t calls = 0;
  std::uint64_t runs = 0;
  std::uint64_t wrong = 0;
  std::map<Fallible, std::uint64_t> failures;
};

// What one scenario's runs are judged by, and what has happened in them.
class Judge {
 public:
  Judge(const Scenario& scenario, Totals& totals) : scenario_(scenario), totals_(totals) {}

  void try_all() {
    if (!learn()) {
      return;
    }
    for (std::uint64_t call = 1; call <= calls_; ++call) {
      fail_alone(call);
      fail_from(call);
    }
    for (std::size_t row = 0; row < scenario_.promises.size(); ++row) {
      if (!kept_.contains(row)) {
        complain("at no call", std::string("after ") + name_of(scenario_.promises[row].function) + ": " +
                                   scenario_.promises[row].consequence);
      }
    }
    std::printf("%-30s %8llu %8llu\n", scenario_.name.c_str(), static_cast<unsigned long long>(calls_),
                static_cast<unsigned long long>(runs_));
    totals_.calls += calls_;
  }

 private:
  void complain(const std::string& when, const std::string& what) {
    ++totals_.wrong;
    std::printf("%s, %s: %s\n", scenario_.name.c_str(), when.c_str(), what.c_str());
  }

  void complain(const std::string& when, const std::vector<std::string>& all) {
    for (const std::string& what : all) {
      complain(when, what);
    }
  }

  // A run that must end well, counted.
  Run tried(const FailurePlan& plan, const std::string& when, const std::function<void(World&)>& change = nullptr) {
    Run result = run(scenario_, plan, change);
    ++runs_;
    ++totals_.runs;
    for (const auto& [function, failures] : result.failures) {
      totals_.failures[function] += failures;
    }
    if (!result.ended.empty()) {
      complain(when, "the process ended " + result.ended);
    }
    return result;
  }

  // False: the undisturbed run itself is wrong.
  bool learn() {
    const std::uint64_t wrong_before = totals_.wrong;
    const Run undisturbed = tried({}, "undisturbed");
    known_.undisturbed = undisturbed.seen;
    for (const auto& [function, calls] : undisturbed.calls) {
      calls_ += calls;
    }
    complain("a second time undisturbed", differences(tried({}, "a second time").seen, known_.undisturbed));
    for (const std::string& number : scenario_.numbers_of_the_kernel) {
      known_.without[number] = tried({}, "without " + number, [&](World& world) { world.left_out = number; }).seen;
    }
    expect_kept_things();
    if (calls_ == 0) {
      complain("undisturbed", "no call that can fail is made");
    }
    return totals_.wrong == wrong_before;
  }

  // Exactly what the table says is left over, and nothing else.
  void expect_kept_things() {
    std::map<std::string, std::int64_t> expected;
    for (const Kept& row : kKept) {
      expected[std::string("kept ") + row.name] =
          row.by_instance * static_cast<std::int64_t>(scenario_.instances) +
          row.by_service * static_cast<std::int64_t>(scenario_.services) +
          row.by_consumer_button * static_cast<std::int64_t>(scenario_.consumer_buttons);
    }
    for (const auto& [key, value] : known_.undisturbed) {
      if (key.starts_with("kept ") && std::stoll(value) != expected[key]) {
        complain("undisturbed", kept_text(key, value, expected[key]));
      }
    }
  }

  void fail_alone(std::uint64_t call) {
    const std::string when = "call " + std::to_string(call) + " alone";
    const Run first = tried({.first = call}, when);
    std::uint64_t failures = 0;
    Fallible failing{};
    for (const auto& [function, count] : first.failures) {
      failures += count;
      failing = count != 0 ? function : failing;
    }
    if (failures != 1) {
      complain(when, std::to_string(failures) + " calls failed");
      return;
    }
    const FallibleFunction& row = platform::fallible_functions()[static_cast<std::size_t>(failing)];
    expect_promised(first, {failing, row.code}, when);
    for (const std::int32_t code : codes_of(failing)) {
      if (code != row.code) {
        const std::string with_code = when + " with code " + std::to_string(code);
        expect_promised(tried({.first = call, .code = code}, with_code), {failing, code}, with_code);
      }
    }
  }

  // The outcome is one of those that are promised after this failure. Memory that cannot be had fails what it was for.
  void expect_promised(const Run& seen, const Failure& failure, const std::string& when) {
    if (!seen.ended.empty()) {
      return;
    }
    bool is_promised = false;
    for (std::size_t row = 0; row < scenario_.promises.size(); ++row) {
      const Promise& promise = scenario_.promises[row];
      const bool applies = promise.function == failure.function || failure.function == Fallible::kCFAllocatorAllocate;
      if (applies && is_one_of(promise.outcomes(known_, failure), seen.seen)) {
        is_promised = true;
        if (promise.function == failure.function) {
          kept_.insert(row);
        }
      }
    }
    if (!is_promised) {
      complain(when + " (" + name_of(failure.function) + ")", "another outcome than any that is promised");
      complain(when, differences(seen.seen, known_.undisturbed));
    }
  }

  static std::string kept_text(const std::string& key, const std::string& value, std::int64_t expected) {
    return key + " are " + value + " and not " + std::to_string(expected);
  }

  static std::string entry_text(const std::string& key, const std::string& value) {
    return key + ": \"" + value + "\"";
  }

  static bool is_one_of(const std::vector<Outcome>& outcomes, const Outcome& seen) {
    return std::find(outcomes.begin(), outcomes.end(), seen) != outcomes.end();
  }

  void fail_from(std::uint64_t call) {
    const std::string when = "all calls from " + std::to_string(call);
    const Run result = tried({.first = call, .and_all_later = true}, when);
    for (const auto& [key, value] : result.seen) {
      if (!may_be(key, value)) {
        complain(when, entry_text(key, value));
      }
    }
  }

  // Whether this may be seen while all calls fail from one on: what is seen undisturbed, what the scenario lists, and
  // fewer things that are kept.
  [[nodiscard]] bool may_be(const std::string& key, const std::string& value) const {
    const auto undisturbed = known_.undisturbed.find(key);
    const bool is_known = undisturbed != known_.undisturbed.end();
    if (is_known && undisturbed->second == value) {
      return true;
    }
    if (key == "log") {
      return lines_are_known(value);
    }
    const auto is_fewer = [&] {
      return is_known && std::stoll(value) >= 0 && std::stoll(value) < std::stoll(undisturbed->second);
    };
    if (key.starts_with("kept ")) {
      return is_fewer();
    }
    return std::any_of(scenario_.when_all_fail.begin(), scenario_.when_all_fail.end(), [&](const WhenAllFail& row) {
      return key.starts_with(row.beginning) &&
             std::any_of(row.texts.begin(), row.texts.end(), [&](const std::string& text) {
               return text == value || text == kAny || (text == kFewer && is_fewer());
             });
    });
  }

  [[nodiscard]] bool lines_are_known(const std::string& log) const {
    std::vector<std::string> lines = scenario_.lines_when_all_fail;
    lines.push_back(known_.undisturbed.at("log"));
    for (const std::string& line : lines) {
      if (!line.empty() && log.starts_with(line)) {
        const bool ends_with_line = log.substr(line.size()).starts_with('\n');
        const std::string rest = log.substr(line.size() + (ends_with_line ? 1 : 0));
        return rest.empty() || lines_are_known(rest);
      }
    }
    return log.empty();
  }

  const Scenario& scenario_;
  Totals& totals_;
  Known known_;
  std::uint64_t calls_ = 0;
  std::uint64_t runs_ = 0;
  std::set<std::size_t> kept_;  // the promises that some call's failure has shown
};

bool is_uncalled(Fallible function) {
  return std::any_of(std::begin(kUncalled), std::end(kUncalled),
                     [&](const Uncalled& row) { return row.function == function; });
}

// Each function failed somewhere, unless the table says that it cannot.
std::uint64_t wrong_functions(const std::map<Fallible, std::uint64_t>& counts, const char* what) {
  std::uint64_t wrong = 0;
  for (const FallibleFunction& row : platform::fallible_functions()) {
    const auto found = counts.find(row.function);
    const std::uint64_t count = found != counts.end() ? found->second : 0;
    if ((count == 0) != is_uncalled(row.function)) {
      ++wrong;
      std::printf("%s: %s %llu times, %s\n", row.name, what, static_cast<unsigned long long>(count),
                  count == 0 ? "and nothing says why" : "although the plug-in is said not to call it");
    }
  }
  return wrong;
}

// Which functions the scenarios call, undisturbed or after the first failure of a function with a code.
int check_functions() {
  std::map<Fallible, std::uint64_t> calls;
  const auto add = [&](const Run& result) {
    for (const auto& [function, count] : result.calls) {
      calls[function] += count;
    }
  };
  for (const Scenario& scenario : all_scenarios()) {
    const Run undisturbed = run(scenario, {});
    add(undisturbed);
    for (const auto& [function, count] : undisturbed.calls) {
      if (count != 0 && !codes_of(function).empty()) {
        add(run(scenario, {.first = 1, .function = function}));
      }
    }
  }
  return wrong_functions(calls, "called") == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

int list_uncalled() {
  for (const Uncalled& row : kUncalled) {
    std::printf("%s %s\n", name_of(row.function), row.caller);
  }
  return EXIT_SUCCESS;
}

void show_functions(const Totals& totals) {
  std::printf("\n%-38s %8s\n", "function", "failures");
  for (const FallibleFunction& row : platform::fallible_functions()) {
    if (const auto found = totals.failures.find(row.function); found != totals.failures.end() && found->second != 0) {
      std::printf("%-38s %8llu\n", row.name, static_cast<unsigned long long>(found->second));
    } else {
      const auto* uncalled = std::find_if(std::begin(kUncalled), std::end(kUncalled), [&](const Uncalled& candidate) {
        return candidate.function == row.function;
      });
      std::printf("%-38s %8s  called by %s\n", row.name, "-",
                  uncalled != std::end(kUncalled) ? uncalled->caller : "nobody here");
    }
  }
}

bool is_asked_for(const std::string& name, const std::vector<std::string>& beginnings) {
  return beginnings.empty() || std::any_of(beginnings.begin(), beginnings.end(),
                                           [&](const std::string& beginning) { return name.starts_with(beginning); });
}

int try_scenarios(const std::vector<std::string>& beginnings) {
  Totals totals;
  std::size_t tried = 0;
  std::printf("%-30s %8s %8s\n", "scenario", "calls", "runs");
  for (const Scenario& scenario : all_scenarios()) {
    if (is_asked_for(scenario.name, beginnings)) {
      Judge(scenario, totals).try_all();
      ++tried;
    }
  }
  Tally replies;
  if (is_asked_for("replies", beginnings)) {
    replies = run_bad_replies(capture_scenarios());
    ++tried;
    std::printf("%-30s %8s %8llu\n", "replies", "-", static_cast<unsigned long long>(replies.runs));
    for (const std::string& wrong : replies.wrong) {
      std::printf("replies, %s\n", wrong.c_str());
    }
  }
  totals.runs += replies.runs;
  totals.wrong += replies.wrong.size() + (tried == 0 ? 1 : 0);
  if (beginnings.empty()) {
    show_functions(totals);
    totals.wrong += wrong_functions(totals.failures, "failed");
  }
  std::printf("\nfailing calls: %zu scenarios, %llu calls failed in turn, %llu runs, %llu broken promises\n", tried,
              static_cast<unsigned long long>(totals.calls), static_cast<unsigned long long>(totals.runs),
              static_cast<unsigned long long>(totals.wrong));
  return totals.wrong == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace
}  // namespace hub::test

int main(int argument_count, char** arguments) {
  setenv("TZ", "UTC", 1);
  testing::InitGoogleTest(&argument_count, arguments);
  GTEST_FLAG_SET(throw_on_failure, true);  // what the recorded world expects is a promise like any other
  const std::vector<std::string> asked(arguments + 1, arguments + argument_count);
  if (asked == std::vector<std::string>{"--functions"}) {
    return hub::test::check_functions();
  }
  if (asked == std::vector<std::string>{"--uncalled"}) {
    return hub::test::list_uncalled();
  }
  return hub::test::try_scenarios(asked);
}
