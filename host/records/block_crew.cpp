// SPDX-License-Identifier: Apache-2.0
#include "host/records/block_crew.h"

#include <limits>
#include <utility>

namespace hub::host {
namespace {

// One for each thread, and as many more that wait, so that no thread has to.
constexpr std::size_t kBlocksPerThread = 2;

}  // namespace

BlockCrew::BlockCrew(const RecordOutputOptions& options, OutputFile& output)
    : output_(output), ring_(options.jobs * kBlocksPerThread) {
  for (unsigned index = 0; index < options.jobs; ++index) {
    writers_.emplace_back(options);
  }
  try {
    for (unsigned index = 1; index < options.jobs; ++index) {
      threads_.emplace_back([this, index] { run_thread(writers_[index]); });
    }
  } catch (...) {
    end_threads();
    throw;
  }
}

BlockCrew::~BlockCrew() { end_threads(); }

void BlockCrew::give(std::span<const _HubProfileReport> block) {
  Lock lock(mutex_);
  while (is_full()) {
    help_or_wait(lock);
  }
  throw_failure();
  ring_[given_ % ring_.size()].assign(block.begin(), block.end());
  ++given_;
  block_given_.notify_one();
}

RecordCounts BlockCrew::drain() {
  Lock lock(mutex_);
  while (written_ < given_) {
    help_or_wait(lock);
  }
  throw_failure();
  return std::exchange(counts_, {});
}

void BlockCrew::help_or_wait(Lock& lock) {
  if (has_untaken()) {
    work_on_oldest(lock, writers_.front());
  } else {
    block_written_.wait(lock);
  }
}

// Returns when the block is written, or dropped because something failed.
void BlockCrew::work_on_oldest(Lock& lock, BlockWriter& writer) {
  const std::uint64_t number = taken_++;
  const auto& block = ring_[number % ring_.size()];
  std::exception_ptr failure;
  lock.unlock();
  try {
    writer.write(block, std::numeric_limits<std::uint64_t>::max());
  } catch (...) {
    failure = std::current_exception();
  }
  lock.lock();
  block_written_.wait(lock, [&] { return written_ == number; });
  if (failure_ == nullptr) {
    failure_ = failure;
  }
  put_out(lock, writer);
  ++written_;
  block_written_.notify_all();
}

// In its turn, and so alone.
void BlockCrew::put_out(Lock& lock, const BlockWriter& writer) {
  if (failure_ != nullptr) {
    return;
  }
  lock.unlock();
  std::exception_ptr failure;
  try {
    output_.write(writer.text());
  } catch (...) {
    failure = std::current_exception();
  }
  lock.lock();
  failure_ = failure;
  counts_ += writer.counts();
}

void BlockCrew::throw_failure() {
  if (failure_ != nullptr) {
    std::rethrow_exception(failure_);
  }
}

void BlockCrew::run_thread(BlockWriter& writer) {
  Lock lock(mutex_);
  while (true) {
    block_given_.wait(lock, [this] { return has_untaken() || is_ending_; });
    if (is_ending_) {
      return;
    }
    work_on_oldest(lock, writer);
  }
}

void BlockCrew::end_threads() {
  {
    const Lock lock(mutex_);
    is_ending_ = true;
  }
  block_given_.notify_all();
  for (std::thread& thread : threads_) {
    thread.join();
  }
}

}  // namespace hub::host
