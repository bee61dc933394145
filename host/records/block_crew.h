// SPDX-License-Identifier: Apache-2.0
// Blocks of records written by several threads, to one output, in the order in which they came.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

#include "host/io/output_file.h"
#include "host/records/block_writer.h"

namespace hub::host {

// Blocks wait in a ring. A thread takes the oldest that nobody works on, writes its forms into a text of its own, waits
// for its turn and puts that text out itself: so no text goes from one core to another, and while one thread is in the
// output another makes the next text. The thread that gives the blocks is one of them: it works whenever the ring is
// full. Memory is bounded by the ring, and the order needs no sorting.
//
// What a thread throws ends the output before its block; later blocks are dropped. The next give or drain throws it.
class BlockCrew {
 public:
  // At least two jobs. The options and the output live as long as the crew. Throws std::system_error when a thread
  // cannot be started.
  BlockCrew(const RecordOutputOptions& options, OutputFile& output);
  BlockCrew(const BlockCrew&) = delete;
  BlockCrew& operator=(const BlockCrew&) = delete;
  ~BlockCrew();  // what has not been drained may be written or not

  // Takes a copy of the block. Called, as drain is, by one thread alone.
  void give(std::span<const _HubProfileReport> block);

  // Returns when all blocks are written. Gives what has been counted since it was called last.
  RecordCounts drain();

 private:
  using Lock = std::unique_lock<std::mutex>;

  [[nodiscard]] bool is_full() const { return given_ - written_ == ring_.size(); }
  [[nodiscard]] bool has_untaken() const { return taken_ < given_; }

  void help_or_wait(Lock& lock);
  void work_on_oldest(Lock& lock, BlockWriter& writer);
  void put_out(Lock& lock, const BlockWriter& writer);
  void throw_failure();
  void run_thread(BlockWriter& writer);
  void end_threads();

  OutputFile& output_;
  std::deque<BlockWriter> writers_;  // of each thread, the first of the one that gives the blocks

  std::mutex mutex_;                       // guards all below, but not what is in a block while it is worked on
  std::condition_variable block_given_;    // or the end
  std::condition_variable block_written_;  // the turn goes to the next
  std::vector<std::vector<_HubProfileReport>> ring_;
  // Blocks have numbers from 0 on; each of these is that of the next one. written_ <= taken_ <= given_.
  std::uint64_t given_ = 0;
  std::uint64_t taken_ = 0;
  std::uint64_t written_ = 0;
  RecordCounts counts_;
  std::exception_ptr failure_;  // the first
  bool is_ending_ = false;

  std::vector<std::thread> threads_;
};

}  // namespace hub::host
