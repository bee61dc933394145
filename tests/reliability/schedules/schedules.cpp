// SPDX-License-Identifier: Apache-2.0
// schedules --plugin LIBRARY [--seeds N] [--seed N] [--threads]: sessions of the plug-in in the orders of N seeds
// (300), or in that of one seed, which is printed; with --threads in threads, with pauses by seeds. Fails when a
// session breaks a promise.
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <set>
#include <stdexcept>
#include <string>

#include "tests/reliability/schedules/session_orders.h"

namespace hub::test {
namespace {

constexpr unsigned kPatienceSeconds = 60;     // with one session
constexpr std::uint64_t kRepeatedTurns = 50;  // one session in so many is repeated

struct Options {
  std::string plugin;
  std::uint64_t seeds = 300;
  std::optional<std::uint64_t> seed;
  bool in_threads = false;
};

Options options_of(int count, char** arguments) {
  Options options;
  for (int at = 1; at < count; ++at) {
    const std::string name = arguments[at];
    const bool has_value = at + 1 < count;
    if (name == "--threads") {
      options.in_threads = true;
    } else if (name == "--plugin" && has_value) {
      options.plugin = arguments[++at];
    } else if (name == "--seeds" && has_value) {
      options.seeds = std::stoull(arguments[++at]);
    } else if (name == "--seed" && has_value) {
      options.seed = std::stoull(arguments[++at]);
    } else {
      throw std::invalid_argument(name + ": expected --plugin LIBRARY, --seeds N, --seed N or --threads");
    }
  }
  return options;
}

// The sentence for a session that takes the process with it.
char last_words[64];
std::size_t last_words_length = 0;

void say_last_words(int signal_number) {
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, last_words, last_words_length);
  signal(signal_number, SIG_DFL);
  raise(signal_number);
}

void begin_seed(std::uint64_t seed) {
  last_words_length = static_cast<std::size_t>(std::snprintf(last_words, sizeof last_words,
                                                             "schedules: the session of seed %llu ended here\n",
                                                             static_cast<unsigned long long>(seed)));
  alarm(kPatienceSeconds);
}

class Schedules {
 public:
  // The first session is not looked at: a thread that writes lines keeps what it asks for the clocks with.
  explicit Schedules(const Options& options) : options_(options) {
    play_in_sequence(options.plugin, reference_);
    tell_complaints("the session in sequence", play_in_sequence(options.plugin, reference_));
  }

  // True when nothing was wrong.
  bool run() {
    if (options_.seed) {
      play_and_print(*options_.seed);
      return failures_ == 0;
    }
    for (std::uint64_t seed = 0; seed < options_.seeds; ++seed) {
      options_.in_threads ? play_threads(seed) : play(seed);
    }
    std::cout << options_.seeds << " sessions" << (options_.in_threads ? " in threads" : "");
    if (!options_.in_threads) {
      std::cout << ", " << steps_ << " steps, " << orders_.size() << " different orders, " << repeated_
                << " repeated alike";
    }
    std::cout << ": " << failures_ << " failures\n";
    return failures_ == 0;
  }

 private:
  void play(std::uint64_t seed) {
    begin_seed(seed);
    const Played played = play_by_seed(seed, options_.plugin, reference_);
    tell_complaints("seed " + std::to_string(seed), played);
    steps_ += played.order.size();
    orders_.insert(std::hash<std::string>()(joined(played.order)));
    if (seed % kRepeatedTurns == 0) {
      const bool is_alike = play_by_seed(seed, options_.plugin, reference_).order == played.order;
      is_alike ? void(++repeated_) : fail("seed " + std::to_string(seed), "another order when it is repeated");
    }
  }

  void play_threads(std::uint64_t seed) {
    begin_seed(seed);
    tell_complaints("seed " + std::to_string(seed), play_in_threads(seed, options_.plugin, reference_));
  }

  void play_and_print(std::uint64_t seed) {
    if (options_.in_threads) {
      play_threads(seed);
      return;
    }
    begin_seed(seed);
    const Played played = play_by_seed(seed, options_.plugin, reference_);
    std::cout << joined(played.order);
    tell_complaints("seed " + std::to_string(seed), played);
  }

  static std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
      text += line + "\n";
    }
    return text;
  }

  void tell_complaints(const std::string& session, const Played& played) {
    for (const std::string& complaint : played.complaints) {
      std::cout << session << ": " << complaint << "\n";
    }
    failures_ += played.complaints.empty() ? 0 : 1;
  }

  void fail(const std::string& session, const std::string& complaint) {
    std::cout << session << ": " << complaint << "\n";
    ++failures_;
  }

  const Options options_;
  ReferenceSnapshots reference_;
  std::set<std::size_t> orders_;
  std::uint64_t steps_ = 0;
  std::uint64_t repeated_ = 0;
  std::uint64_t failures_ = 0;
};

}  // namespace
}  // namespace hub::test

int main(int count, char** arguments) {
  using namespace hub::test;
  for (const int signal_number : {SIGABRT, SIGSEGV, SIGALRM}) {
    signal(signal_number, say_last_words);
  }
  try {
    return Schedules(options_of(count, arguments)).run() ? EXIT_SUCCESS : EXIT_FAILURE;
  } catch (const std::exception& error) {
    std::cerr << "schedules: " << error.what() << "\n";
    return EXIT_FAILURE;
  }
}
