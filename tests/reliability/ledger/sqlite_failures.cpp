// SPDX-License-Identifier: Apache-2.0
// Every call that SQLite makes to the file system for a ledger fails in turn, once and from there on. Each time the
// ledger says what it has not filed, gives back what it took, and what it said stands in the file.
//
// sqlite_failures [--every N]: tries each N-th call (1) of every kind.
#include <sqlite3.h>

#include <array>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "ledger/ledger_error.h"
#include "tests/reliability/ledger/failing_vfs.h"
#include "tests/reliability/ledger/ledger_story.h"
#include "tests/reliability/ledger/trust_report.h"

namespace hub::test {
namespace {

using platform::LedgerError;
using platform::SqliteLedger;

constexpr std::chrono::milliseconds kPatience{20};
constexpr std::uint64_t kBatchesBefore = 7;  // in a ledger that exists

struct Failure {
  const char* name;
  FileCall call;
  int code;
};

constexpr Failure kFailures[] = {
    {"open", FileCall::kOpen, SQLITE_CANTOPEN},
    {"read", FileCall::kRead, SQLITE_IOERR_READ},
    {"write", FileCall::kWrite, SQLITE_IOERR_WRITE},
    {"write, disk full", FileCall::kWrite, SQLITE_FULL},
    {"sync", FileCall::kSync, SQLITE_IOERR_FSYNC},
    {"truncate", FileCall::kTruncate, SQLITE_IOERR_TRUNCATE},
    {"size", FileCall::kSize, SQLITE_IOERR_FSTAT},
    {"lock", FileCall::kLock, SQLITE_IOERR_LOCK},
    {"lock, busy", FileCall::kLock, SQLITE_BUSY},
    {"delete", FileCall::kDelete, SQLITE_IOERR_DELETE},
    {"access", FileCall::kAccess, SQLITE_IOERR_ACCESS},
    {"map the log's index", FileCall::kMapIndex, SQLITE_IOERR_SHMMAP},
    {"lock the log's index", FileCall::kLockIndex, SQLITE_IOERR_SHMLOCK},
    {"lock the log's index, busy", FileCall::kLockIndex, SQLITE_BUSY},
};

// What a run was told, step by step.
class Told {
 public:
  Told(std::string file, bool is_single_failure, TrustReport& report)
      : file_(std::move(file)), is_single_failure_(is_single_failure), report_(report) {}

  // Makes one step; true when the ledger says that it is done. A refusal names the file and gives a reason.
  template <typename Step>
  bool step(const Step& make) {
    try {
      if (make()) {
        return true;
      }
    } catch (const LedgerError& error) {
      const std::string text = error.what();
      report_.expect(text.starts_with(file_ + ": ") && text.find("not an error") == std::string::npos &&
                         text.find("cannot be used") == std::string::npos,
                     [&] { return "unclear message \"" + text + "\""; });
    } catch (const std::exception& error) {
      report_.expect(false, [&] { return std::string("not a ledger's error: ") + error.what(); });
    }
    ++refusals_;
    report_.expect(!is_single_failure_ || refusals_ == 1, [] { return std::string("a single failure fails again"); });
    return false;
  }

  void batch(SqliteLedger& ledger, std::uint64_t number) {
    if (step([&] { return file_batch(ledger, number); })) {
      filed.insert(number);
      last_failed_.reset();
    } else {
      last_failed_ = number;
    }
  }

  // The ledger was closed, or tried to.
  void end_life() {
    if (last_failed_) {
      in_doubt.push_back(*last_failed_);
    }
    last_failed_.reset();
  }

  // What the file held before, and these batches since.
  std::set<std::uint64_t> filed;
  std::vector<std::uint64_t> in_doubt;  // the last one of each life, when it failed

  [[nodiscard]] const std::string& file() const { return file_; }

 private:
  std::string file_;
  bool is_single_failure_;
  TrustReport& report_;
  std::uint64_t refusals_ = 0;
  std::optional<std::uint64_t> last_failed_;
};

// Opens the ledger, once more when that fails, and files these batches.
void file_batches(Told& told, std::uint64_t first, std::uint64_t count) {
  std::optional<SqliteLedger> ledger;
  const auto open = [&] {
    ledger.emplace(told.file(), kPatience);
    return true;
  };
  if (!told.step(open) && !told.step(open)) {
    return;
  }
  for (std::uint64_t number = first; number < first + count; ++number) {
    told.batch(*ledger, number);
  }
  told.end_life();
}

// Files batches, closes the ledger, opens it again, asks for its contents in the middle of a batch, and reads the file.
void live(Told& told) {
  file_batches(told, kBatchesBefore, 4);
  file_batches(told, kBatchesBefore + 4, 2);
  told.step([&] {
    static_cast<void>(SqliteLedger(told.file(), kPatience).contents());
    return true;
  });
}

void read(Told& told) {
  const auto read_all = [&] {
    const platform::LedgerContents contents = platform::read_ledger(told.file(), kPatience);
    if (contents.scalars != filed_by(told.filed).scalars) {
      throw std::runtime_error("the contents are other ones than the file's");
    }
    return true;
  };
  if (!told.step(read_all)) {
    told.step(read_all);
  }
}

struct Scenario {
  const char* name;
  void (*prepare)(const Folder& folder);
  bool has_batches;  // the first kBatchesBefore
  void (*run)(Told& told);
};

constexpr Scenario kScenarios[] = {
    {"new ledger", [](const Folder& folder) { folder.clear(); }, false, live},
    {"ledger half made", make_unfinished_ledger, false, live},
    {"ledger", [](const Folder& folder) { make_closed_ledger(folder, kBatchesBefore); }, true, live},
    {"killed ledger", [](const Folder& folder) { make_killed_ledger(folder, kBatchesBefore); }, true, live},
    {"reading a ledger", [](const Folder& folder) { make_closed_ledger(folder, kBatchesBefore); }, true, read},
    {"reading a killed ledger", [](const Folder& folder) { make_killed_ledger(folder, kBatchesBefore); }, true, read},
};

std::ptrdiff_t open_descriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

// What has to be given back.
struct Held {
  std::ptrdiff_t descriptors = open_descriptors();
  sqlite3_int64 memory_bytes = sqlite3_memory_used();
  int files = open_files();

  bool operator==(const Held&) const = default;
};

class Trial {
 public:
  Trial(const Scenario& scenario, TrustReport& report) : scenario_(scenario), report_(report) {
    scenario.prepare(before_);
  }

  // How many such calls there are when nothing fails.
  std::uint64_t count(FileCall call) {
    return run(std::string(scenario_.name) + ", nothing fails", {.call = call}, true);
  }

  // How many such calls there were.
  std::uint64_t run(const std::string& name, const FilePlan& plan, bool is_single_failure) {
    report_.begin_trial(name);
    folder_.become(before_);
    Told told(folder_.file(), is_single_failure, report_);
    for (std::uint64_t number = 0; scenario_.has_batches && number < kBatchesBefore; ++number) {
      told.filed.insert(number);
    }
    const Held before;
    plan_file_failures(plan);
    scenario_.run(told);
    const std::uint64_t calls = calls_of(plan.call);
    report_.expect(Held() == before, [] { return std::string("something is not given back"); });
    report_.expect(plan.first == 0 || spoiled_calls() != 0, [] { return std::string("nothing failed"); });
    plan_file_failures({});
    expect_truth(told, is_single_failure);
    expect_later_batches_work();
    return calls;
  }

 private:
  // The file holds what the ledger said. Only when the disk goes on failing may the batch of which nothing could be
  // made sure before the ledger was closed be there all the same, whole.
  void expect_truth(const Told& told, bool is_single_failure) {
    found_ = found();
    const std::size_t doubts = is_single_failure ? 0 : told.in_doubt.size();
    bool is_true = false;
    for (std::size_t choice = 0; choice < std::size_t{1} << doubts; ++choice) {
      std::set<std::uint64_t> batches = told.filed;
      for (std::size_t doubt = 0; doubt < doubts; ++doubt) {
        if ((choice >> doubt & 1U) != 0) {
          batches.insert(told.in_doubt[doubt]);
        }
      }
      is_true = is_true || found_ == filed_by(batches);
    }
    report_.expect(is_true, [] { return std::string("the file does not hold what the ledger said"); });
  }

  void expect_later_batches_work() {
    constexpr std::uint64_t kLater = 1000;
    Told told(folder_.file(), true, report_);
    file_batches(told, kLater, 1);
    report_.expect(told.filed.size() == 1, [] { return std::string("a later batch is refused"); });
    apply_batch(kLater, found_);
    report_.expect(found() == found_, [] { return std::string("a later batch is not in the file"); });
  }

  Filed found() {
    try {
      return filed_in(folder_.file());
    } catch (const std::exception& error) {
      report_.expect(false, [&] { return std::string(error.what()); });
      return {};
    }
  }

  const Scenario& scenario_;
  TrustReport& report_;
  Folder before_;
  Folder folder_;
  Filed found_;
};

void try_all(const Scenario& scenario, std::uint64_t every, TrustReport& report) {
  Trial trial(scenario, report);
  for (const Failure& failure : kFailures) {
    const std::uint64_t calls = trial.count(failure.call);
    const std::uint64_t trials_before = report.trials();
    for (std::uint64_t number = 1; number <= calls; number += every) {
      for (const bool and_all_later : {false, true}) {
        const std::string name = std::string(scenario.name) + ", " + failure.name + " " + std::to_string(number) +
                                 (and_all_later ? " and all later" : "");
        trial.run(name, {.call = failure.call, .first = number, .and_all_later = and_all_later, .code = failure.code},
                  !and_all_later);
      }
    }
    std::printf("%-24s  %-28s %6llu calls  %6llu trials\n", scenario.name, failure.name,
                static_cast<unsigned long long>(calls),
                static_cast<unsigned long long>(report.trials() - trials_before));
  }
}

}  // namespace
}  // namespace hub::test

int main(int count, char** arguments) {
  using namespace hub::test;
  const std::uint64_t every = option(count, arguments, "--every", 1);
  install_failing_vfs();
  write_log_back_often();
  TrustReport report;
  for (const Scenario& scenario : kScenarios) {
    try_all(scenario, every, report);
  }
  std::printf("%llu trials, %llu broken promises\n", static_cast<unsigned long long>(report.trials()),
              static_cast<unsigned long long>(report.broken()));
  return report.broken() == 0 && report.trials() != 0 ? 0 : 1;
}
