// SPDX-License-Identifier: Apache-2.0
// What the tests of the platform share: owners of references, an allocator that runs out, queues, and a fixture that
// lets nothing be left over.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <latch>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "CoreFoundation/CoreFoundation.h"
#include "IOKit/hid/IOHIDDevice.h"
#include "IOKit/hid/IOHIDService.h"
#include "corefoundation/corefoundation_host.h"
#include "dispatch/dispatch_host.h"
#include "notify/notify_host.h"
#include "registry/service_backend.h"
#include "state/state_host.h"
#include "tests/support/live_counts.h"

namespace hub::test {

// Owns one reference to an object, or none.
template <typename Ref>
class Owned {
 public:
  explicit Owned(Ref object) : object_(object) {}
  Owned(Owned&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  Owned& operator=(Owned&&) = delete;
  ~Owned() { give_back(); }

  operator Ref() const { return object_; }

  void give_back() {
    if (object_ != nullptr) {
      CFRelease(std::exchange(object_, nullptr));
    }
  }

 private:
  Ref object_;
};

inline Owned<CFNumberRef> number(std::int64_t value, CFAllocatorRef allocator = kCFAllocatorDefault) {
  return Owned(CFNumberCreate(allocator, kCFNumberSInt64Type, &value));
}

inline Owned<CFStringRef> string(const char* text, CFAllocatorRef allocator = kCFAllocatorDefault) {
  return Owned(CFStringCreateWithCString(allocator, text, kCFStringEncodingUTF8));
}

// An empty dictionary of objects.
inline Owned<CFMutableDictionaryRef> dictionary(CFAllocatorRef allocator = kCFAllocatorDefault) {
  return Owned(
      CFDictionaryCreateMutable(allocator, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

// The heap behind a limit, with a count of the blocks that are out. Lives longer than what is created with it.
class LimitedAllocator {
 public:
  LimitedAllocator() {
    CFAllocatorContext context{};
    context.info = this;
    context.allocate = [](CFIndex length_bytes, CFOptionFlags, void* info) {
      return static_cast<LimitedAllocator*>(info)->allocate(length_bytes);
    };
    context.deallocate = [](void* block, void* info) { static_cast<LimitedAllocator*>(info)->deallocate(block); };
    allocator_ = CFAllocatorCreate(kCFAllocatorDefault, &context);
  }
  LimitedAllocator(const LimitedAllocator&) = delete;
  LimitedAllocator& operator=(const LimitedAllocator&) = delete;
  ~LimitedAllocator() {
    EXPECT_EQ(blocks_, 0) << "blocks were not given back";
    CFRelease(allocator_);
  }

  operator CFAllocatorRef() const { return allocator_; }

  // From now on so many allocations succeed and the next ones fail.
  void allow(int allocations) { allowed_ = allocations; }
  void allow_all() { allow(INT32_MAX); }
  [[nodiscard]] int blocks() const { return blocks_; }

 private:
  void* allocate(CFIndex length_bytes) {
    if (allowed_ == 0) {
      return nullptr;
    }
    --allowed_;
    ++blocks_;
    return std::malloc(static_cast<std::size_t>(length_bytes));
  }

  void deallocate(void* block) {
    --blocks_;
    std::free(block);
  }

  CFAllocatorRef allocator_;
  int allowed_ = INT32_MAX;
  int blocks_ = 0;
};

// A serial queue, released at the latest when its owner goes.
class Queue {
 public:
  explicit Queue(const char* label = "queue") : queue_(dispatch_queue_create(label, nullptr)) {}
  Queue(const Queue&) = delete;
  Queue& operator=(const Queue&) = delete;
  ~Queue() { give_back(); }

  operator dispatch_queue_t() const { return queue_; }

  void give_back() {
    if (queue_ != nullptr) {
      dispatch_release(forget());
    }
  }

  // Leaves the release to somebody else.
  dispatch_queue_t forget() { return std::exchange(queue_, nullptr); }

 private:
  dispatch_queue_t queue_;
};

// Does something in several threads that start it together, each with its number from 0 on; back when all are done.
template <typename Action>
void in_threads(std::size_t count, const Action& action) {
  std::latch all_there(static_cast<std::ptrdiff_t>(count));
  std::vector<std::thread> threads(count);
  for (std::size_t index = 0; index < count; ++index) {
    threads[index] = std::thread([&all_there, &action, index] {
      all_there.arrive_and_wait();
      action(index);
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

// After each test there are as many objects, held handles and queues as before it.
class PlatformTest : public ::testing::Test {
 protected:
  // A death test starts the process anew: forking one with threads is not safe.
  PlatformTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
  ~PlatformTest() override { EXPECT_EQ(live_counts(), counts_before_); }

 private:
  const Counts counts_before_ = live_counts();
};

}  // namespace hub::test
