// SPDX-License-Identifier: Apache-2.0
// The heap of a program that is tested without memory: malloc and all that stands on it, operator new included, count
// their calls and fail when they are told to.
#pragma once

#include <cstddef>
#include <cstdint>

namespace hub::test {

// Which of the allocations from now on find no memory.
struct AllocationPlan {
  std::uint64_t first = 0;     // the number of the first one that fails, counted from 1; 0: none
  bool and_all_later = false;  // from there on every one fails; else that one
};

// Puts a plan in force and counts from 1 again. [when no other thread allocates]
void fail_allocations(const AllocationPlan& plan);

// Takes it out of force; how many allocations there have been under it. [as above]
std::uint64_t end_failing_allocations();

// From now on blocks are remembered, until they are freed. [as above]
void remember_blocks();

// Calls `look` with each remembered block that has not been freed, and its length. [as above]
void look_at_blocks(void (*look)(const void* block, std::size_t length_bytes, void* context), void* context);

// What is called in an allocation that fails for the plan, before it returns; NULL: nothing. [as above]
void tell_failures_to(void (*told)());

}  // namespace hub::test
