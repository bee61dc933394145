// SPDX-License-Identifier: Apache-2.0
// What the programs that try a ledger share: numbers from the command line, and a tally of promises that were broken.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

namespace hub::test {

// The number behind an option, or its default.
inline std::uint64_t option(int count, char** arguments, const std::string& name, std::uint64_t otherwise) {
  for (int at = 1; at + 1 < count; at += 2) {
    if (arguments[at] == name) {
      return std::strtoull(arguments[at + 1], nullptr, 10);
    }
  }
  return otherwise;
}

// Counts trials, and tells each one that breaks a promise.
class TrustReport {
 public:
  // `what` is asked for only when it is told.
  void expect(bool is_kept, const std::function<std::string()>& what) {
    if (!is_kept) {
      ++broken_;
      constexpr std::uint64_t kMostTold = 50;
      if (broken_ <= kMostTold) {
        std::fprintf(stderr, "broken: %s: %s\n", trial_.c_str(), what().c_str());
      }
    }
  }

  void begin_trial(const std::string& name) {
    trial_ = name;
    ++trials_;
  }

  [[nodiscard]] std::uint64_t trials() const { return trials_; }
  [[nodiscard]] std::uint64_t broken() const { return broken_; }

 private:
  std::string trial_;
  std::uint64_t trials_ = 0;
  std::uint64_t broken_ = 0;
};

}  // namespace hub::test
