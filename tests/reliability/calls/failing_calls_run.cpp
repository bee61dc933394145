// SPDX-License-Identifier: Apache-2.0
// A run in its own process, and what comes back of it.
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "notify.h"
#include "tests/reliability/calls/failing_calls.h"
#include "tests/reliability/calls/failing_calls_world.h"

namespace hub::test {
namespace {

using platform::Fallible;

// The kernel's own codes, one that a driver chooses, and one without a text.
constexpr std::int32_t kDriverCodes[] = {kIOReturnError,
                                         kIOReturnNoMemory,
                                         kIOReturnNoResources,
                                         kIOReturnNoDevice,
                                         kIOReturnNotPrivileged,
                                         kIOReturnBadArgument,
                                         kIOReturnUnsupported,
                                         kIOReturnNotOpen,
                                         kIOReturnTimeout,
                                         kIOReturnNotReady,
                                         kIOReturnAborted,
                                         kIOReturnNotFound,
                                         5,
                                         INT32_MIN};

struct FunctionCodes {
  Fallible function;
  std::vector<std::int32_t> codes;
};

// What the public headers say that a function returns.
const std::vector<FunctionCodes>& code_table() {
  static const std::vector<std::int32_t> driver_codes(std::begin(kDriverCodes), std::end(kDriverCodes));
  static const std::vector<FunctionCodes> table = {
      {Fallible::kIOConnectCallMethod, driver_codes},
      {Fallible::kIOCreatePlugInInterfaceForService, driver_codes},
      {Fallible::kIOObjectRelease, {kIOReturnBadArgument}},
      {Fallible::kIOObjectRetain, {kIOReturnBadArgument}},
      {Fallible::kIORegistryEntryGetChildEntry, {kIOReturnNoDevice, kIOReturnBadArgument}},
      {Fallible::kIORegistryEntryGetName, {kIOReturnBadArgument}},
      {Fallible::kIORegistryEntryGetParentEntry, {kIOReturnNoDevice, kIOReturnBadArgument}},
      {Fallible::kIOServiceClose, {kIOReturnNotOpen}},
      {Fallible::kIOServiceOpen, driver_codes},
      {Fallible::knotify_cancel, {NOTIFY_STATUS_INVALID_TOKEN}},
      {Fallible::knotify_post, {NOTIFY_STATUS_INVALID_NAME, NOTIFY_STATUS_FAILED}},
      {Fallible::knotify_register_dispatch, {NOTIFY_STATUS_INVALID_NAME, NOTIFY_STATUS_FAILED}},
      {Fallible::ksysctl, {ENOENT, ENOMEM, EPERM}},
  };
  return table;
}

// Both ends of a pipe.
struct Pipe {
  Pipe() {
    if (pipe(ends.data()) != 0) {
      throw std::system_error(errno, std::generic_category(), "pipe");
    }
  }
  std::array<int, 2> ends{};
};

void put(std::string& report, const std::string& key, const std::string& value) { report += key + '\0' + value + '\0'; }

// What the child does: the scenario, and a report of what was seen.
std::string perform(const Scenario& scenario, const platform::FailurePlan& plan,
                    const std::function<void(World&)>& change) {
  Outcome seen;
  World world;
  if (change) {
    change(world);
  }
  scenario.prepare(world);
  world.log.clear();
  world.kernel.clear();
  world.questions.clear();
  platform::plan_failures(plan);
  scenario.act(world);
  platform::end_failures();
  scenario.observe(world, seen);
  seen["log"] = joined(world.log);
  world.end(seen);
  std::string report;
  for (const auto& [key, value] : seen) {
    put(report, key, value);
  }
  for (const platform::FallibleFunction& row : platform::fallible_functions()) {
    put(report, std::string("#calls ") + row.name, std::to_string(platform::calls_of(row.function)));
    put(report, std::string("#failures ") + row.name, std::to_string(platform::planned_failures_of(row.function)));
  }
  return report + "#end" + '\0' + '\0';
}

void write_all(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(descriptor, text.data(), text.size());
    if (written < 0 && errno != EINTR) {
      return;
    }
    text.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
  }
}

std::string read_all(int descriptor) {
  std::string text;
  std::array<char, 65536> block;
  for (;;) {
    const ssize_t count = read(descriptor, block.data(), block.size());
    if (count > 0) {
      text.append(block.data(), static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      return text;
    }
  }
}

Run run_of(const std::string& report) {
  Outcome all;
  std::size_t at = 0;
  while (at < report.size()) {
    const std::size_t key_end = report.find('\0', at);
    const std::size_t value_end = key_end == std::string::npos ? key_end : report.find('\0', key_end + 1);
    if (value_end == std::string::npos) {
      break;
    }
    all[report.substr(at, key_end - at)] = report.substr(key_end + 1, value_end - key_end - 1);
    at = value_end + 1;
  }
  Run result;
  if (!all.contains("#end")) {
    result.ended = "without a report";
    return result;
  }
  for (const platform::FallibleFunction& row : platform::fallible_functions()) {
    result.calls[row.function] = std::stoull(all.at(std::string("#calls ") + row.name));
    result.failures[row.function] = std::stoull(all.at(std::string("#failures ") + row.name));
  }
  std::erase_if(all, [](const auto& pair) { return pair.first.starts_with('#'); });
  result.seen = std::move(all);
  return result;
}

std::string ending(int status) {
  if (WIFSIGNALED(status)) {
    return "by signal " + std::to_string(WTERMSIG(status)) + " (" + strsignal(WTERMSIG(status)) + ")";
  }
  return WEXITSTATUS(status) == 0 ? "" : "with exit status " + std::to_string(WEXITSTATUS(status));
}

std::string difference(const std::string& key, const std::string& seen, const std::string& expected) {
  return key + ": \"" + seen + "\" instead of \"" + expected + "\"";
}

std::string addition(const std::string& key, const std::string& seen) { return key + ": \"" + seen + "\" besides"; }

}  // namespace

std::vector<std::int32_t> codes_of(Fallible function) {
  for (const FunctionCodes& row : code_table()) {
    if (row.function == function) {
      return row.codes;
    }
  }
  return {};
}

Run run(const Scenario& scenario, const platform::FailurePlan& plan, const std::function<void(World&)>& change) {
  const Pipe report;
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) {
    throw std::system_error(errno, std::generic_category(), "fork");
  }
  if (child == 0) {
    close(report.ends[0]);
    alarm(20);  // a run that stalls ends by this signal
    write_all(report.ends[1], perform(scenario, plan, change));
    close(report.ends[1]);
    std::exit(0);  // so that a sanitizer looks for leaks
  }
  close(report.ends[1]);
  Run result = run_of(read_all(report.ends[0]));
  close(report.ends[0]);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (const std::string how = ending(status); !how.empty()) {
    result.ended = how;
  }
  return result;
}

std::vector<std::string> differences(const Outcome& seen, const Outcome& expected) {
  std::vector<std::string> lines;
  for (const auto& [key, value] : expected) {
    const auto found = seen.find(key);
    if (found == seen.end()) {
      lines.push_back(key + ": missing");
    } else if (found->second != value) {
      lines.push_back(difference(key, found->second, value));
    }
  }
  for (const auto& [key, value] : seen) {
    if (!expected.contains(key)) {
      lines.push_back(addition(key, value));
    }
  }
  return lines;
}

}  // namespace hub::test
