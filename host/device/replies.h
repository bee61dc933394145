// SPDX-License-Identifier: Apache-2.0
// What the far side of a modelled driver answers: bytes and status codes, some of which change from call to call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <variant>
#include <vector>

namespace hub::host {

using Bytes = std::vector<std::byte>;

// What one call gets. A kernel code as it stands, 32 bits.
struct Answer {
  std::int32_t status = 0;
  Bytes bytes;
};

// Each call gets the next answer; the last one repeats. Never empty.
struct AnswerSequence {
  std::vector<Answer> answers;
};

// Each call takes as many whole units as fit its buffer, until nothing is left: then success without bytes. The bytes
// are a whole number of units, and a unit is at least one byte.
struct Drain {
  Bytes bytes;
  std::size_t unit_bytes;
};

// A reply as a device file states it.
using ReplyPlan = std::variant<Answer, AnswerSequence, Drain>;

// Codes of successive calls; the last one repeats. Never empty.
using StatusPlan = std::vector<std::int32_t>;

// A reply at work: remembers where its sequence or drain stands. One thread at a time.
class Reply {
 public:
  explicit Reply(ReplyPlan plan);

  // What a call with room for `capacity_bytes` gets; bytes that do not fit are cut off.
  [[nodiscard]] Answer next(std::size_t capacity_bytes);

 private:
  ReplyPlan plan_;
  std::size_t position_ = 0;  // of the next answer, or of the bytes not drained yet
};

// A status at work.
class Status {
 public:
  explicit Status(StatusPlan plan);
  [[nodiscard]] std::int32_t next();

 private:
  StatusPlan plan_;
  std::size_t position_ = 0;
};

}  // namespace hub::host
