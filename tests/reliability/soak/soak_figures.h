// SPDX-License-Identifier: Apache-2.0
// What must not grow: the memory of this process, and everything that the platform counts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace hub::test {

struct MemoryUse {
  std::int64_t resident_bytes = 0;
  std::int64_t heap_bytes = 0;  // given out by the allocator, or kept by a thread for its next use
};

MemoryUse memory_use();

struct LiveCount {
  std::string what;
  std::int64_t count;
  bool operator==(const LiveCount&) const = default;
};

// Objects of each type, queues, references, connections, handlers and registrations.
std::vector<LiveCount> live_counts();

// Compares samples with the one at the end of the warm-up.
class SoakFigures {
 public:
  void end_warm_up();
  void sample();

  // At the end of the warm-up, at the highest sample (each of its own), and at the last one.
  [[nodiscard]] const MemoryUse& first() const { return first_; }
  [[nodiscard]] const MemoryUse& highest() const { return highest_; }
  [[nodiscard]] const MemoryUse& last() const { return last_; }
  [[nodiscard]] std::size_t samples() const { return samples_; }
  [[nodiscard]] std::size_t kinds() const { return counts_.size(); }
  [[nodiscard]] const std::vector<std::string>& drifts() const { return drifts_; }  // "strings: 70, were 69"

 private:
  MemoryUse first_;
  MemoryUse highest_;
  MemoryUse last_;
  std::vector<LiveCount> counts_;
  std::vector<std::string> drifts_;
  std::size_t samples_ = 0;
};

}  // namespace hub::test
