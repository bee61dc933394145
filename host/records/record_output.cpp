// SPDX-License-Identifier: Apache-2.0
#include "host/records/record_output.h"

#include <utility>

#define ASIO_STANDALONE
#define ASIO_DISABLE_VISIBILITY    // the platform has an Asio of its own
#define ASIO_DISABLE_FENCED_BLOCK  // the pool's own lock orders what threads do, and the thread sanitizer knows no
                                   // fences
#include <asio/post.hpp>
#include <asio/thread_pool.hpp>

namespace hub::host {
namespace {

// One slot more than threads keeps them busy while the reader fills one and writes another.
constexpr std::size_t kSlotsBesideThreads = 2;

}  // namespace

// A block of records on its way to the output.
struct RecordOutput::Slot {
  std::unique_ptr<RecordFormat> format;
  std::vector<_HubProfileReport> records;  // only when another thread works on them
  TextBuffer text;
  std::uint64_t written_records = 0;
  std::uint64_t records_without_form = 0;
  std::future<void> done;

  // Appends the form of each selected record, at most `most` of them. Gives how many records of the block it looked at.
  std::size_t write_forms(std::span<const _HubProfileReport> block, const RecordOutputOptions& options,
                          std::uint64_t most) {
    text.clear();
    written_records = 0;
    records_without_form = 0;
    std::size_t seen = 0;
    while (seen < block.size() && written_records < most) {
      const _HubProfileReport& record = block[seen++];
      if (options.selects && !options.selects(record)) {
        format->pass_over(record);
        continue;
      }
      const bool has_form = format->append(record, text);
      ++(has_form ? written_records : records_without_form);
    }
    return seen;
  }
};

class RecordOutput::Workers {
 public:
  explicit Workers(unsigned count) : pool_(count) {}

  std::future<void> start(std::function<void()> work) {
    std::packaged_task<void()> task(std::move(work));
    std::future<void> done = task.get_future();
    asio::post(pool_, std::move(task));
    return done;
  }

 private:
  asio::thread_pool pool_;  // its destructor waits for the threads
};

RecordOutput::RecordOutput(RecordOutputOptions options, OutputFile& output)
    : options_(std::move(options)), output_(output) {
  const bool is_parallel = options_.jobs > 1;
  const std::size_t slots = is_parallel ? options_.jobs + kSlotsBesideThreads : 1;
  for (std::size_t index = 0; index < slots; ++index) {
    ring_.push_back(std::make_unique<Slot>());
    ring_.back()->format = options_.make_format();
  }
  if (is_parallel) {
    workers_ = std::make_unique<Workers>(options_.jobs);
  }
  TextBuffer beginning;
  ring_.front()->format->begin(beginning);
  output_.write(beginning.view());
}

RecordOutput::~RecordOutput() = default;

std::size_t RecordOutput::take(std::span<const _HubProfileReport> records) {
  if (in_work_ == ring_.size()) {
    write_oldest();
  }
  Slot& slot = *ring_[(oldest_ + in_work_) % ring_.size()];
  ++in_work_;
  if (workers_ == nullptr) {
    const std::size_t seen = slot.write_forms(records, options_, options_.most_records - written_records_);
    write_oldest();
    return seen;
  }
  slot.records.assign(records.begin(), records.end());
  slot.done = workers_->start([this, &slot] { slot.write_forms(slot.records, options_, options_.most_records); });
  return records.size();
}

void RecordOutput::drain() {
  while (in_work_ > 0) {
    write_oldest();
  }
}

void RecordOutput::finish() {
  drain();
  TextBuffer end;
  ring_.front()->format->end(end);
  output_.write(end.view());
}

void RecordOutput::write_oldest() {
  Slot& slot = *ring_[oldest_];
  oldest_ = (oldest_ + 1) % ring_.size();
  --in_work_;
  if (slot.done.valid()) {
    slot.done.get();
  }
  output_.write(slot.text.view());
  written_records_ += slot.written_records;
  records_without_form_ += slot.records_without_form;
}

}  // namespace hub::host
