// SPDX-License-Identifier: Apache-2.0
#include "host/records/block_writer.h"

namespace hub::host {

BlockWriter::BlockWriter(const RecordOutputOptions& options) : options_(options), format_(options.make_format()) {}

std::size_t BlockWriter::write(std::span<const _HubProfileReport> block, std::uint64_t most) {
  text_.clear();
  counts_ = {};
  std::size_t seen = 0;
  while (seen < block.size() && counts_.written < most) {
    const _HubProfileReport& record = block[seen++];
    if (options_.selects && !options_.selects(record)) {
      format_->pass_over(record);
      continue;
    }
    const bool has_form = format_->append(record, text_);
    ++(has_form ? counts_.written : counts_.without_form);
  }
  return seen;
}

}  // namespace hub::host
