// SPDX-License-Identifier: Apache-2.0
// What a thread keeps for its next line, also when it ends or has no memory.
#include "profile/thread_spare.h"

#include <gtest/gtest.h>
#include <threads.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/failing_memory.h"

namespace hub::test {
namespace {

// Counts the living.
struct Dear {
  Dear() { ++living; }
  Dear(const Dear&) = delete;
  Dear& operator=(const Dear&) = delete;
  ~Dear() { --living; }

  static inline int living = 0;
};

using Spare = profile::ThreadSpare<Dear>;

void give_new() { Spare::give_back(std::make_unique<Dear>()); }

// On a thread that has kept nothing yet, which has ended afterwards.
template <typename Steps>
void on_a_new_thread(Steps steps) {
  std::thread(steps).join();
}

// Every key for values of threads that the process can still have.
class AllKeys {
 public:
  AllKeys() {
    for (tss_t key{}; tss_create(&key, nullptr) == thrd_success;) {
      keys_.push_back(key);
    }
  }
  AllKeys(const AllKeys&) = delete;
  AllKeys& operator=(const AllKeys&) = delete;
  ~AllKeys() {
    for (const tss_t key : keys_) {
      tss_delete(key);
    }
  }

 private:
  std::vector<tss_t> keys_;
};

TEST(ThreadSpare, what_is_given_back_is_taken_once) {
  on_a_new_thread([] {
    auto object = std::make_unique<Dear>();
    const Dear* given = object.get();
    Spare::give_back(std::move(object));
    EXPECT_EQ(Spare::take().get(), given);
    EXPECT_EQ(Spare::take(), nullptr);
    EXPECT_EQ(Dear::living, 0);
  });
}

TEST(ThreadSpare, of_all_that_are_given_back_one_is_kept) {
  on_a_new_thread([] {
    give_new();
    give_new();
    EXPECT_EQ(Dear::living, 1);
  });
}

TEST(ThreadSpare, is_deleted_when_its_thread_ends) {
  on_a_new_thread(give_new);
  EXPECT_EQ(Dear::living, 0);
}

TEST(ThreadSpare, given_back_after_that_is_not_kept) {
  static int living_at_the_end = -1;
  tss_t later{};  // ends after the spare, whose key is older
  on_a_new_thread([&later] {
    give_new();
    const auto give_at_the_end = [](void*) {
      give_new();
      living_at_the_end = Dear::living;
    };
    ASSERT_EQ(tss_create(&later, give_at_the_end), thrd_success);
    ASSERT_EQ(tss_set(later, &later), thrd_success);
  });
  tss_delete(later);
  EXPECT_EQ(living_at_the_end, 0);
}

// In a process of its own, in which nobody has kept anything yet.
TEST(ThreadSpare, without_a_key_nothing_is_kept) {
  const auto give = [] {
    const AllKeys all_keys;
    give_new();
    std::exit(Dear::living);
  };
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(give(), testing::ExitedWithCode(0), "");
}

TEST(ThreadSpare, without_memory_nothing_is_kept_until_there_is_some) {
  on_a_new_thread([] {
    auto object = std::make_unique<Dear>();
    std::optional<NoMemory> no_memory(std::in_place);
    Spare::give_back(std::move(object));
    no_memory.reset();
    EXPECT_EQ(Dear::living, 0);
    give_new();
    EXPECT_EQ(Dear::living, 1);
  });
}

}  // namespace
}  // namespace hub::test
