// SPDX-License-Identifier: Apache-2.0
#include "host/device/replies.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <utility>

namespace hub::host {

// As GoogleTest compares them.
bool operator==(const Answer& left, const Answer& right) {
  return left.status == right.status && left.bytes == right.bytes;
}

}  // namespace hub::host

namespace hub::test {
namespace {

using host::Answer;
using host::AnswerSequence;
using host::Bytes;
using host::Drain;
using host::Reply;
using host::Status;

constexpr std::int32_t kFailed = -536870206;
constexpr std::size_t kPlenty = 4096;

Bytes bytes(std::initializer_list<int> numbers) {
  Bytes result;
  for (const int number : numbers) {
    result.push_back(static_cast<std::byte>(number));
  }
  return result;
}

TEST(Reply, answer_is_the_same_at_each_call) {
  Reply reply(Answer{0, bytes({1, 2, 3})});
  EXPECT_EQ(reply.next(kPlenty), (Answer{0, bytes({1, 2, 3})}));
  EXPECT_EQ(reply.next(kPlenty), (Answer{0, bytes({1, 2, 3})}));
}

TEST(Reply, status_comes_without_bytes) {
  Reply reply(Answer{kFailed, {}});
  EXPECT_EQ(reply.next(kPlenty), (Answer{kFailed, {}}));
}

TEST(Reply, bytes_that_do_not_fit_are_cut_off) {
  Reply reply(Answer{0, bytes({1, 2, 3})});
  EXPECT_EQ(reply.next(4).bytes, bytes({1, 2, 3}));
  EXPECT_EQ(reply.next(3).bytes, bytes({1, 2, 3}));
  EXPECT_EQ(reply.next(2).bytes, bytes({1, 2}));
  EXPECT_EQ(reply.next(0).bytes, bytes({}));
}

TEST(Reply, sequence_gives_each_answer_once_and_repeats_the_last) {
  Reply reply(AnswerSequence{{{0, bytes({1})}, {kFailed, {}}, {0, bytes({2})}}});
  EXPECT_EQ(reply.next(kPlenty), (Answer{0, bytes({1})}));
  EXPECT_EQ(reply.next(kPlenty), (Answer{kFailed, {}}));
  EXPECT_EQ(reply.next(kPlenty), (Answer{0, bytes({2})}));
  EXPECT_EQ(reply.next(kPlenty), (Answer{0, bytes({2})}));
  EXPECT_EQ(reply.next(kPlenty), (Answer{0, bytes({2})}));
}

TEST(Reply, sequence_of_one_repeats_it) {
  Reply reply(AnswerSequence{{{kFailed, {}}}});
  EXPECT_EQ(reply.next(kPlenty), (Answer{kFailed, {}}));
  EXPECT_EQ(reply.next(kPlenty), (Answer{kFailed, {}}));
}

TEST(Reply, sequence_goes_on_when_an_answer_was_cut_off) {
  Reply reply(AnswerSequence{{{0, bytes({1, 2})}, {0, bytes({3, 4})}}});
  EXPECT_EQ(reply.next(1).bytes, bytes({1}));
  EXPECT_EQ(reply.next(1).bytes, bytes({3}));
}

TEST(Reply, drain_gives_as_many_whole_units_as_fit_until_nothing_is_left) {
  Reply reply(Drain{bytes({1, 2, 3, 4, 5, 6, 7, 8, 9, 10}), 2});
  EXPECT_EQ(reply.next(5), (Answer{0, bytes({1, 2, 3, 4})}));
  EXPECT_EQ(reply.next(4), (Answer{0, bytes({5, 6, 7, 8})}));
  EXPECT_EQ(reply.next(kPlenty), (Answer{0, bytes({9, 10})}));
  EXPECT_EQ(reply.next(kPlenty), (Answer{0, {}}));
  EXPECT_EQ(reply.next(kPlenty), (Answer{0, {}}));
}

TEST(Reply, drain_keeps_a_unit_that_does_not_fit) {
  Reply reply(Drain{bytes({1, 2, 3, 4}), 4});
  EXPECT_EQ(reply.next(3), (Answer{0, {}}));
  EXPECT_EQ(reply.next(0), (Answer{0, {}}));
  EXPECT_EQ(reply.next(4), (Answer{0, bytes({1, 2, 3, 4})}));
}

TEST(Reply, drain_of_no_bytes_is_success_without_bytes) {
  Reply reply(Drain{{}, 48});
  EXPECT_EQ(reply.next(kPlenty), (Answer{0, {}}));
}

TEST(Status, codes_come_in_turn_and_the_last_repeats) {
  Status status({kFailed, 0, 1});
  EXPECT_EQ(status.next(), kFailed);
  EXPECT_EQ(status.next(), 0);
  EXPECT_EQ(status.next(), 1);
  EXPECT_EQ(status.next(), 1);
}

}  // namespace
}  // namespace hub::test
