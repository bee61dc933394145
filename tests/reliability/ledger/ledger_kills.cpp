// SPDX-License-Identifier: Apache-2.0
// Processes that write a ledger are killed: at random moments, at every change that they make to a file, and there with
// a power failure, which takes what was not synced. What is left is whole: all batches that were acknowledged, perhaps
// the one under way, nothing in part; and the ledger can be opened and goes on.
//
// ledger_kills [--kills N] [--every N] [--failures N] [--seed N]: kills at N random moments (1000); at each N-th change
// (1); loses power there in N ways (4).
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <new>
#include <optional>
#include <random>
#include <string>
#include <thread>

#include "ledger/ledger_error.h"
#include "tests/reliability/ledger/failing_vfs.h"
#include "tests/reliability/ledger/ledger_story.h"
#include "tests/reliability/ledger/trust_report.h"

namespace hub::test {
namespace {

using platform::SqliteLedger;

constexpr std::uint64_t kBatchesBefore = 7;  // in a ledger that exists

// How many batches the ledger acknowledged: of a process that is killed, for the one that sees it.
class Acknowledged {
 public:
  Acknowledged()
      : count_(static_cast<std::uint64_t*>(
            mmap(nullptr, sizeof(std::uint64_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {
    if (count_ == MAP_FAILED) {
      throw std::bad_alloc();
    }
  }
  Acknowledged(const Acknowledged&) = delete;
  Acknowledged& operator=(const Acknowledged&) = delete;
  ~Acknowledged() { munmap(count_, sizeof(std::uint64_t)); }

  std::uint64_t volatile& count() { return *count_; }

 private:
  std::uint64_t* count_;
};

// Files batches behind those that are there, and closes the ledger after every few. A batch that is refused is a
// failure of the process.
void write_ledger(const std::string& file, Acknowledged& acknowledged, std::uint64_t batches) {
  constexpr std::uint64_t kBatchesOfALife = 5;
  const std::uint64_t end = acknowledged.count() + batches;
  while (acknowledged.count() < end) {
    SqliteLedger ledger(file);
    const std::uint64_t closing = std::min(acknowledged.count() + kBatchesOfALife, end);
    while (acknowledged.count() < closing) {
      if (!file_batch(ledger, acknowledged.count())) {
        throw platform::LedgerError("a batch is refused");
      }
      acknowledged.count() = acknowledged.count() + 1;
    }
  }
}

// The same in a process of its own: its id.
template <typename Prepare>
pid_t start_writer(const std::string& file, Acknowledged& acknowledged, std::uint64_t batches, const Prepare& prepare) {
  const pid_t process = fork();
  if (process == 0) {
    try {
      prepare();
      write_ledger(file, acknowledged, batches);
      _exit(0);
    } catch (const std::exception& error) {
      std::fprintf(stderr, "the writer fails: %s\n", error.what());
      _exit(1);
    }
  }
  return process;
}

int status_of(pid_t process) {
  int status = 0;
  waitpid(process, &status, 0);
  return status;
}

// Expects what was acknowledged, with the batch under way or without, and that the ledger goes on.
class Aftermath {
 public:
  Aftermath(const Folder& folder, Acknowledged& acknowledged, TrustReport& report)
      : file_(folder.file()), acknowledged_(acknowledged), report_(report) {}

  // True when the batch under way is there. `through_ledger`: the ledger is the first to see what was left.
  bool check(bool through_ledger) {
    if (through_ledger) {
      expect_works([this] { const SqliteLedger ledger(file_); });
    }
    const std::uint64_t count = acknowledged_.count();
    Filed expected = filed_by_first(count);
    const Filed found = filed();
    const bool is_without = found == expected;
    apply_batch(count, expected);
    const bool is_with = !is_without && found == expected;
    report_.expect(is_without || is_with, [count] {
      return "neither the " + std::to_string(count) + " acknowledged batches nor one more, whole";
    });
    acknowledged_.count() = count + (is_with ? 1 : 0);
    return is_with;
  }

  void go_on() {
    expect_works([this] { write_ledger(file_, acknowledged_, 1); });
    report_.expect(filed() == filed_by_first(acknowledged_.count()),
                   [] { return std::string("the next batch is not filed"); });
  }

 private:
  template <typename Action>
  void expect_works(const Action& action) {
    try {
      action();
    } catch (const std::exception& error) {
      report_.expect(false, [&] { return std::string("the ledger does not go on: ") + error.what(); });
    }
  }

  Filed filed() {
    Filed found;
    expect_works([&] { found = filed_in(file_); });
    return found;
  }

  std::string file_;
  Acknowledged& acknowledged_;
  TrustReport& report_;
};

struct Figures {
  std::uint64_t kills = 0;
  std::uint64_t batches_under_way = 0;  // of those that were not acknowledged and are there
};

// Every second time the ledger is a new one, else it is the one that the kills before have left.
Figures kill_at_random_moments(std::uint64_t kills, std::uint64_t seed, TrustReport& report) {
  constexpr std::uint64_t kMany = 1'000'000;
  constexpr std::uint64_t kLongestLife_us = 40'000;
  std::mt19937_64 random(seed);
  const Folder grown;
  const Folder fresh;
  Acknowledged in_grown;
  Figures figures;
  for (std::uint64_t kill = 0; kill < kills; ++kill) {
    const bool is_new = kill % 2 == 0;
    const std::chrono::microseconds life(random() % kLongestLife_us);
    report.begin_trial("kill " + std::to_string(kill) + " after " + std::to_string(life.count()) + " us");
    Acknowledged in_fresh;
    fresh.clear();
    const Folder& folder = is_new ? fresh : grown;
    Acknowledged& acknowledged = is_new ? in_fresh : in_grown;
    const pid_t writer = start_writer(folder.file(), acknowledged, kMany, [] {});
    std::this_thread::sleep_for(life);
    ::kill(writer, SIGKILL);
    const int status = status_of(writer);
    report.expect(WIFSIGNALED(status), [] { return std::string("the writer ended by itself"); });
    ++figures.kills;
    Aftermath aftermath(folder, acknowledged, report);
    figures.batches_under_way += aftermath.check(random() % 2 == 0) ? 1 : 0;
    aftermath.go_on();
  }
  return figures;
}

struct Beginning {
  const char* name;
  void (*prepare)(const Folder& folder);
  std::uint64_t batches;
};

constexpr Beginning kBeginnings[] = {
    {"new ledger", [](const Folder&) {}, 0},
    {"ledger half made", make_unfinished_ledger, 0},
    {"ledger", [](const Folder& folder) { make_closed_ledger(folder, kBatchesBefore); }, kBatchesBefore},
    {"killed ledger", [](const Folder& folder) { make_killed_ledger(folder, kBatchesBefore); }, kBatchesBefore},
};

struct Change {
  const char* name;
  FileCall call;
};

constexpr Change kChanges[] = {
    {"write", FileCall::kWrite},
    {"sync", FileCall::kSync},
    {"truncation", FileCall::kTruncate},
    {"deletion", FileCall::kDelete},
};

// Ends a writer at one change after the other, until it gets to its own end.
class EndingAtChanges {
 public:
  EndingAtChanges(const Beginning& beginning, TrustReport& report) : beginning_(beginning), report_(report) {
    beginning.prepare(before_);
  }

  std::uint64_t at_each(const Change& change, FilePlan::Effect effect, std::uint64_t every, std::uint64_t seed) {
    std::uint64_t ends = 0;
    for (std::uint64_t number = 1;; number += every) {
      const FilePlan plan = {.call = change.call, .first = number, .effect = effect, .seed = seed * 1'000'003 + number};
      report_.begin_trial(std::string(beginning_.name) + ", " + kEffects[static_cast<std::size_t>(effect)] + " " +
                          change.name + " " + std::to_string(number) + ", seed " + std::to_string(seed));
      if (!end_at(plan)) {
        return ends;
      }
      ++ends;
    }
  }

 private:
  static constexpr const char* kEffects[] = {"failure of", "kill before", "kill in", "power failure in"};

  // Whether the writer got so far.
  bool end_at(const FilePlan& plan) {
    constexpr std::uint64_t kBatches = 8;
    folder_.become(before_);
    Acknowledged acknowledged;
    acknowledged.count() = beginning_.batches;
    const int status =
        status_of(start_writer(folder_.file(), acknowledged, kBatches, [&plan] { plan_file_failures(plan); }));
    const bool is_ended = WIFEXITED(status) && WEXITSTATUS(status) == kEndedAsPlanned;
    report_.expect(is_ended || status == 0, [] { return std::string("the writer fails"); });
    Aftermath aftermath(folder_, acknowledged, report_);
    aftermath.check(plan.first % 2 == 0);
    aftermath.go_on();
    return is_ended;
  }

  const Beginning& beginning_;
  TrustReport& report_;
  Folder before_;
  Folder folder_;
};

void end_at_changes(const Beginning& beginning, std::uint64_t every, std::uint64_t failures, std::uint64_t seed,
                    TrustReport& report) {
  EndingAtChanges ending(beginning, report);
  for (const Change& change : kChanges) {
    const std::uint64_t before = ending.at_each(change, FilePlan::Effect::kEnd, every, seed);
    const std::uint64_t halfway = ending.at_each(change, FilePlan::Effect::kEndHalfway, every, seed);
    std::uint64_t power_failures = 0;
    for (std::uint64_t way = 0; way < failures; ++way) {
      power_failures += ending.at_each(change, FilePlan::Effect::kLosePower, every, seed + way);
    }
    std::printf("%-18s  %-12s %5llu killed before it, %5llu in it, %6llu power failures\n", beginning.name, change.name,
                static_cast<unsigned long long>(before), static_cast<unsigned long long>(halfway),
                static_cast<unsigned long long>(power_failures));
  }
}

}  // namespace
}  // namespace hub::test

int main(int count, char** arguments) {
  using namespace hub::test;
  const std::uint64_t kills = option(count, arguments, "--kills", 1000);
  const std::uint64_t every = option(count, arguments, "--every", 1);
  const std::uint64_t failures = option(count, arguments, "--failures", 4);
  const std::uint64_t seed = option(count, arguments, "--seed", 20240229);
  std::printf("seed %llu\n", static_cast<unsigned long long>(seed));
  TrustReport report;
  write_log_back_often();
  const Figures figures = kill_at_random_moments(kills, seed, report);
  std::printf("random moments      %llu kills, %llu left the batch under way whole, the others none of it\n",
              static_cast<unsigned long long>(figures.kills),
              static_cast<unsigned long long>(figures.batches_under_way));
  install_failing_vfs();
  for (const Beginning& beginning : kBeginnings) {
    end_at_changes(beginning, every, failures, seed, report);
  }
  std::printf("%llu trials, %llu broken promises\n", static_cast<unsigned long long>(report.trials()),
              static_cast<unsigned long long>(report.broken()));
  return report.broken() == 0 && report.trials() != 0 ? 0 : 1;
}
