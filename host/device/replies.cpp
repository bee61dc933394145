// SPDX-License-Identifier: Apache-2.0
#include "host/device/replies.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace hub::host {
namespace {

// So many bytes of a reply, from an offset on.
Bytes part_of(const Bytes& bytes, std::size_t offset, std::size_t length) {
  const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(offset);
  return {begin, begin + static_cast<std::ptrdiff_t>(length)};
}

Answer cut(const Answer& answer, std::size_t capacity_bytes) {
  return {answer.status, part_of(answer.bytes, 0, std::min(answer.bytes.size(), capacity_bytes))};
}

// What the next call gets of each plan; moves the position on.
struct NextAnswer {
  std::size_t capacity_bytes;
  std::size_t& position;

  Answer operator()(const Answer& answer) const { return cut(answer, capacity_bytes); }

  Answer operator()(const AnswerSequence& sequence) const {
    const std::size_t last = sequence.answers.size() - 1;
    const Answer& answer = sequence.answers[position];
    position = std::min(position + 1, last);
    return cut(answer, capacity_bytes);
  }

  Answer operator()(const Drain& drain) const {
    const std::size_t fitting = capacity_bytes - capacity_bytes % drain.unit_bytes;
    const std::size_t length = std::min(fitting, drain.bytes.size() - position);
    const std::size_t offset = std::exchange(position, position + length);
    return {0, part_of(drain.bytes, offset, length)};
  }
};

}  // namespace

Reply::Reply(ReplyPlan plan) : plan_(std::move(plan)) {}

Answer Reply::next(std::size_t capacity_bytes) { return std::visit(NextAnswer{capacity_bytes, position_}, plan_); }

Status::Status(StatusPlan plan) : plan_(std::move(plan)) { assert(!plan_.empty()); }

std::int32_t Status::next() {
  const std::int32_t status = plan_[position_];
  position_ = std::min(position_ + 1, plan_.size() - 1);
  return status;
}

}  // namespace hub::host
