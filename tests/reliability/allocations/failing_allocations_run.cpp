// SPDX-License-Identifier: Apache-2.0
// failing_allocations [--most RUNS] [--show SCENARIO NUMBER once|on] [ROOM[.SCENARIO]...]: repeats these scenarios, or
// those of these rooms (platform, host, plugin; all of them), with each allocation failing, or with RUNS of them spread
// evenly, once and from there on. Tells a line of figures for each; exits with 1 when a promise is broken. --show: one
// run, with where it failed.
#include "tests/reliability/allocations/failing_allocations_run.h"

#include <execinfo.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>
#include <vector>

#include "CoreFoundation/CoreFoundation.h"
#include "tests/reliability/allocations/failing_allocations.h"

namespace hub::test {
namespace {

namespace fs = std::filesystem;

// How a run ends, in the order in which figures name them. Those from kBroken on must not happen.
enum Outcome {
  kWhole,
  kLacking,
  kRefused,
  kBadAlloc,
  kError,
  kTerminated,
  kAborted,
  kLostByLibrary,
  kBroken,
  kWrong,
  kDied,
  kHung,
  kLeaked,
  kSpoilt,
  kLeft
};
constexpr const char* kOutcomes[] = {"whole",
                                     "lacking lines",
                                     "refused",
                                     "bad_alloc",
                                     "other error",
                                     "ended by a library's destructor",
                                     "aborted by a library",
                                     "blocks lost by a library",
                                     "unknown exception",
                                     "WRONG RESULT",
                                     "DIED",
                                     "HUNG",
                                     "LEAKED",
                                     "UNUSABLE AFTERWARDS",
                                     "LEFT A FILE BEHIND"};

// What a process tells of its run.
struct Report {
  Outcome outcome = kDied;
  std::uint64_t allocations = 0;
  std::size_t live_blocks = 0;
  std::size_t length = 0;   // of the text
  char text[1 << 16] = {};  // the result of a run in which nothing fails, or an error's words
};

AllocationPlan plan_of_run;
std::uint64_t allocations_of_run = 0;
bool is_failing = false;
std::string scratch_folder;  // NOLINT(runtime/string): made before the first scenario

// Memory that freed objects wait in is the platform's, not lost: such a block begins with a mark.
const void* mark_of_freed() {
  static const void* mark = [] {
    const int value = 1;
    CFNumberRef number = CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, &value);
    const void* memory = number;
    CFRelease(number);
    const void* found = nullptr;
    std::memcpy(&found, memory, sizeof found);
    return found;
  }();
  return mark;
}

struct LiveBlocks {
  std::size_t count = 0;
  bool tells = false;
};

void count_block(const void* block, std::size_t length_bytes, void* context) {
  auto& live = *static_cast<LiveBlocks*>(context);
  const void* first = nullptr;
  std::memcpy(&first, block, sizeof first);
  if (first == mark_of_freed()) {
    return;
  }
  ++live.count;
  if (live.tells) {
    std::fprintf(stderr, "live: %zu bytes at %p\n", length_bytes, block);
  }
}

// Whether the lines are those of the other text, in their order, some of them missing.
bool only_lacks_lines(const std::string& text, const std::string& whole) {
  std::istringstream lines(text);
  std::istringstream all(whole);
  std::string candidate;
  for (std::string line; std::getline(lines, line);) {
    do {
      if (!std::getline(all, candidate)) {
        return false;
      }
    } while (candidate != line);
  }
  return true;
}

// A long result by its length and hash.
std::string condensed(const std::string& result) {
  constexpr std::size_t kLongest = 40'000;
  return result.size() <= kLongest
             ? result
             : std::to_string(result.size()) + " bytes " + std::to_string(std::hash<std::string>()(result));
}

Outcome outcome_of(const Scenario& scenario, const std::string& result, const std::string* whole) {
  if (whole == nullptr || result == *whole) {
    return kWhole;
  }
  return scenario.may_lack_lines && only_lacks_lines(result, *whole) ? kLacking : kWrong;
}

void put_text(Report& report, std::string_view text) {
  report.length = std::min(text.size(), sizeof report.text);
  text.copy(report.text, report.length);
}

// Only what is in the folder when nothing fails, or less, may be there.
bool has_left_over() {
  return std::any_of(fs::recursive_directory_iterator(scratch_folder), {}, [](const fs::directory_entry& entry) {
    return entry.path().filename().string().starts_with(".");
  });
}

void empty_scratch() {
  for (const auto& entry : fs::directory_iterator(scratch_folder)) {
    fs::remove_all(entry.path());
  }
}

void run_once(const Scenario& scenario, const AllocationPlan& plan, const std::string* whole, Report& report) {
  report.outcome = kBroken;
  plan_of_run = plan;
  if (!scenario.begins_itself) {
    begin_failing();
  }
  try {
    const std::string made = scenario.run();
    end_failing();
    report.allocations = allocations_of_run;
    const std::string result = condensed(made);
    report.outcome = outcome_of(scenario, result, whole);
    put_text(report, result);
  } catch (const Refused&) {
    report.outcome = kRefused;
  } catch (const std::bad_alloc&) {
    report.outcome = kBadAlloc;
  } catch (const std::exception& error) {
    end_failing();
    report.outcome = kError;
    put_text(report, error.what());
  }
  end_failing();
}

// The failing run, two more in which nothing fails, and a look at what all three have left.
void run_in_child(const Scenario& scenario, const AllocationPlan& plan, const std::string* whole, std::size_t most_live,
                  bool tells, Report& report) {
  remember_blocks();
  run_once(scenario, plan, whole, report);
  if (report.outcome < kBroken && has_left_over()) {
    report.outcome = kLeft;
  }
  for (int again = 0; again < 2 && report.outcome < kBroken; ++again) {
    empty_scratch();
    Report& later = *new Report;
    run_once(scenario, {}, whole, later);
    if (later.outcome != kWhole) {
      put_text(report, std::string_view(later.text, later.length));
      report.outcome = kSpoilt;
    }
    delete &later;
  }
  mark_of_freed();
  LiveBlocks live{.tells = tells};
  look_at_blocks(count_block, &live);
  report.live_blocks = live.count;
  if (report.outcome < kBroken && live.count > most_live) {
    report.outcome = scenario.library.may_leak ? kLostByLibrary : kLeaked;
  }
}

void show_stack() {
  void* frames[40];
  backtrace_symbols_fd(frames, backtrace(frames, 40), STDERR_FILENO);
  std::fputs("--\n", stderr);
}

constexpr unsigned kPatienceSeconds = 10;
constexpr int kTerminatedStatus = 42;

// One run in a process of its own.
Report run_apart(const Scenario& scenario, const AllocationPlan& plan, const std::string* whole = nullptr,
                 std::size_t most_live = SIZE_MAX, bool tells = false) {
  int ends[2];
  if (pipe(ends) != 0) {
    std::abort();
  }
  empty_scratch();
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    if (tells) {
      void* frame;
      backtrace(&frame, 1);  // what it loads is there before anything fails
      tell_failures_to(show_stack);
    } else {
      dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
    }
    const rlimit no_core{0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    alarm(kPatienceSeconds);
    std::set_terminate([] { _exit(kTerminatedStatus); });
    static Report report;
    run_in_child(scenario, plan, whole, most_live, tells, report);
    const auto* bytes = reinterpret_cast<const char*>(&report);
    for (std::size_t at = 0; at < sizeof report;) {
      const ssize_t written = write(ends[1], bytes + at, sizeof report - at);
      at += written > 0 ? static_cast<std::size_t>(written) : sizeof report;
    }
    _exit(0);
  }
  close(ends[1]);
  Report report;
  std::size_t length = 0;
  for (ssize_t part = 1; part > 0 && length < sizeof report;) {
    part = read(ends[0], reinterpret_cast<char*>(&report) + length, sizeof report - length);
    length += part > 0 ? static_cast<std::size_t>(part) : 0;
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFSIGNALED(status)) {
    const bool has_aborted = WTERMSIG(status) == SIGABRT && scenario.library.may_abort;
    report.outcome = WTERMSIG(status) == SIGALRM ? kHung : has_aborted ? kAborted : kDied;
    put_text(report, strsignal(WTERMSIG(status)));
  } else if (WIFEXITED(status) && WEXITSTATUS(status) == kTerminatedStatus) {
    report.outcome = scenario.library.may_terminate ? kTerminated : kDied;
    put_text(report, "std::terminate");
  } else if (length < sizeof report) {
    report.outcome = kDied;
    put_text(report, "it has ended itself with " + std::to_string(WEXITSTATUS(status)));
  }
  return report;
}

struct Figures {
  std::size_t runs = 0;
  std::size_t by_outcome[std::size(kOutcomes)] = {};

  [[nodiscard]] std::size_t broken() const {
    std::size_t count = 0;
    for (std::size_t outcome = kBroken; outcome < std::size(kOutcomes); ++outcome) {
      count += by_outcome[outcome];
    }
    return count;
  }
};

void tell(const char* room, const Scenario& scenario, std::uint64_t allocations, const Figures& figures) {
  std::printf("%s %s: %llu allocations, %zu runs:", room, scenario.name, static_cast<unsigned long long>(allocations),
              figures.runs);
  const char* separator = " ";
  for (std::size_t outcome = 0; outcome < std::size(kOutcomes); ++outcome) {
    if (figures.by_outcome[outcome] != 0) {
      std::printf("%s%zu %s", separator, figures.by_outcome[outcome], kOutcomes[outcome]);
      separator = ", ";
    }
  }
  std::puts("");
}

// Every allocation, or as many of them, at even distances.
Figures repeat(const char* room, const Scenario& scenario, std::uint64_t most) {
  const Report clean = run_apart(scenario, {});
  Figures figures;
  if (clean.outcome != kWhole) {
    std::printf("%s %s: fails when nothing fails: %s: %.*s\n", room, scenario.name, kOutcomes[clean.outcome],
                static_cast<int>(clean.length), clean.text);
    figures.by_outcome[kBroken] = 1;
    return figures;
  }
  const std::string whole(clean.text, clean.length);
  const std::uint64_t count = std::min(clean.allocations, most);
  const std::size_t most_live = clean.live_blocks + scenario.library.most_kept_blocks;
  for (std::uint64_t index = 0; index < count; ++index) {
    const std::uint64_t number = index * clean.allocations / count + 1;
    for (const bool and_all_later : {false, true}) {
      const Report report = run_apart(scenario, {number, and_all_later}, &whole, most_live);
      ++figures.runs;
      ++figures.by_outcome[report.outcome];
      if (report.outcome >= kBroken) {
        std::printf("%s %s %llu %s: %s: %.*s\n", room, scenario.name, static_cast<unsigned long long>(number),
                    and_all_later ? "on" : "once", kOutcomes[report.outcome],
                    static_cast<int>(std::min<std::size_t>(report.length, 200)), report.text);
      }
    }
  }
  tell(room, scenario, clean.allocations, figures);
  return figures;
}

struct Room {
  std::string_view name;
  std::span<const Scenario> scenarios;
};

std::span<const Room> rooms() {
  static const Room all[] = {{"platform", kPlatformScenarios}, {"host", kHostScenarios}, {"plugin", kPlugInScenarios}};
  return all;
}

int show(const std::string& name, const AllocationPlan& plan) {
  for (const Room& room : rooms()) {
    for (const Scenario& scenario : room.scenarios) {
      if (scenario.name == name) {
        const Report clean = run_apart(scenario, {});
        const std::string whole(clean.text, clean.length);
        const Report report = run_apart(scenario, plan, &whole, clean.live_blocks, true);
        std::printf("%s: %.*s\nlive blocks: %zu, %zu when nothing fails\n", kOutcomes[report.outcome],
                    static_cast<int>(report.length), report.text, report.live_blocks, clean.live_blocks);
        return report.outcome < kBroken ? EXIT_SUCCESS : EXIT_FAILURE;
      }
    }
  }
  return EXIT_FAILURE;
}

// Whether a room or one of its scenarios is among the names, if there are any.
bool is_chosen(const std::vector<std::string>& names, const Room& room, const Scenario& scenario) {
  const std::string whole_room(room.name);
  return names.empty() || std::any_of(names.begin(), names.end(), [&](const std::string& name) {
           return name == whole_room || name == whole_room + "." + scenario.name;
         });
}

int run_rooms(const std::vector<std::string>& names, std::uint64_t most) {
  std::size_t scenarios = 0;
  std::size_t runs = 0;
  std::size_t broken = 0;
  for (const Room& room : rooms()) {
    for (const Scenario& scenario : room.scenarios) {
      if (!is_chosen(names, room, scenario)) {
        continue;
      }
      const Figures figures = repeat(room.name.data(), scenario, most);
      ++scenarios;
      runs += figures.runs;
      broken += figures.broken();
    }
  }
  std::printf("%zu scenarios, %zu runs with failing allocations, %zu broken promises\n", scenarios, runs, broken);
  return broken == 0 && runs > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

int run(std::vector<std::string> words) {
  std::uint64_t most = UINT64_MAX;
  if (words.size() == 4 && words[0] == "--show") {
    return show(words[1], {std::stoull(words[2]), words[3] == "on"});
  }
  if (words.size() >= 2 && words[0] == "--most") {
    most = std::stoull(words[1]);
    words.erase(words.begin(), words.begin() + 2);
  }
  return run_rooms(words, most);
}

}  // namespace

void begin_failing() {
  is_failing = true;
  fail_allocations(plan_of_run);
}

void end_failing() {
  if (is_failing) {
    allocations_of_run = end_failing_allocations();
    is_failing = false;
  }
}

std::string scratch(const std::string& name) { return scratch_folder + "/" + name; }

std::string content_of(const std::string& file) {
  std::string bytes(static_cast<std::size_t>(fs::file_size(file)), '\0');
  std::FILE* stream = std::fopen(file.c_str(), "rb");
  if (stream == nullptr) {
    throw Refused();
  }
  const std::size_t read = std::fread(bytes.data(), 1, bytes.size(), stream);
  std::fclose(stream);
  bytes.resize(read);
  return bytes;
}

}  // namespace hub::test

int main(int count, char** words) {
  using namespace hub::test;
  std::string folder = (fs::temp_directory_path() / "failing_allocations.XXXXXX").string();
  if (mkdtemp(folder.data()) == nullptr) {
    std::perror("failing_allocations");
    return EXIT_FAILURE;
  }
  scratch_folder = folder;
  const int status = run({words + 1, words + count});
  fs::remove_all(folder);
  return status;
}
