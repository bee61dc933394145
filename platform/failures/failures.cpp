// SPDX-License-Identifier: Apache-2.0
#include "failures/failures.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <iterator>
#include <mutex>

#include "IOKit/IOReturn.h"
#include "notify.h"

namespace hub::platform {

constinit std::atomic<bool> failures_are_planned = false;

namespace {

// clang-format off
constexpr FallibleFunction kFunctions[] = {
    {Fallible::kCFAllocatorAllocate,                 "CFAllocatorAllocate",                 false, 0},
    {Fallible::kCFAllocatorCreate,                   "CFAllocatorCreate",                   false, 0},
    {Fallible::kCFAllocatorReallocate,                    "CFAllocatorReallocate",                 false, 0},
    {Fallible::kCFArrayCreate,                       "CFArrayCreate",                       false, 0},
    {Fallible::kCFArrayCreateMutable,                "CFArrayCreateMutable",                false, 0},
    {Fallible::kCFDataCreate,                        "CFDataCreate",                        false, 0},
    {Fallible::kCFDictionaryCreate,                  "CFDictionaryCreate",                  false, 0},
    {Fallible::kCFDictionaryCreateMutable,           "CFDictionaryCreateMutable",           false, 0},
    {Fallible::kCFNumberCreate,                      "CFNumberCreate",                      false, 0},
    {Fallible::kCFNumberGetValue,                    "CFNumberGetValue",                    false, 0},
    {Fallible::kCFPropertyListCreateData,           "CFPropertyListCreateData",           false, 0},
    {Fallible::kCFStringCreateWithBytes,             "CFStringCreateWithBytes",             false, 0},
    {Fallible::kCFStringCreateWithCString,           "CFStringCreateWithCString",           false, 0},
    {Fallible::kCFStringGetCString,                  "CFStringGetCString",                  false, 0},
    {Fallible::kCFStringGetCStringPtr,               "CFStringGetCStringPtr",               false, 0},
    {Fallible::kCFUUIDCreateFromUUIDBytes,           "CFUUIDCreateFromUUIDBytes",           false, 0},
    {Fallible::kCFUUIDCreateString,                  "CFUUIDCreateString",                  false, 0},
    {Fallible::kdispatch_queue_create,                    "dispatch_queue_create",                 false, 0},
    {Fallible::kIOConnectCallMethod,                 "IOConnectCallMethod",                 true,  kIOReturnAborted},
    {Fallible::kIOCreatePlugInInterfaceForService,   "IOCreatePlugInInterfaceForService",   true,  kIOReturnNoResources},
    {Fallible::kIOHIDDeviceCreate,                   "IOHIDDeviceCreate",                   false, 0},
    {Fallible::kIOHIDServiceCopyProperty,            "IOHIDServiceCopyProperty",            false, 0},
    {Fallible::kIOHIDServiceGetProperty,             "IOHIDServiceGetProperty",             false, 0},
    {Fallible::kIOHIDServiceGetRegistryID,           "IOHIDServiceGetRegistryID",           false, 0},
    {Fallible::kIOObjectRelease,                     "IOObjectRelease",                     true,  kIOReturnBadArgument},
    {Fallible::kIOObjectRetain,                      "IOObjectRetain",                      true,  kIOReturnBadArgument},
    {Fallible::kIORegistryEntryCreateCFProperty,     "IORegistryEntryCreateCFProperty",     false, 0},
    {Fallible::kIORegistryEntryGetChildEntry,        "IORegistryEntryGetChildEntry",        true,  kIOReturnNoDevice},
    {Fallible::kIORegistryEntryGetName,              "IORegistryEntryGetName",              true,  kIOReturnBadArgument},
    {Fallible::kIORegistryEntryGetParentEntry,       "IORegistryEntryGetParentEntry",       true,  kIOReturnNoDevice},
    {Fallible::kIORegistryEntryIDMatching,           "IORegistryEntryIDMatching",           false, 0},
    {Fallible::kIOServiceClose,                      "IOServiceClose",                      true,  kIOReturnNotOpen},
    {Fallible::kIOServiceGetMatchingService,         "IOServiceGetMatchingService",         false, 0},
    {Fallible::kIOServiceMatching,                   "IOServiceMatching",                   false, 0},
    {Fallible::kIOServiceNameMatching,               "IOServiceNameMatching",               false, 0},
    {Fallible::kIOServiceOpen,                       "IOServiceOpen",                       true,  kIOReturnNotPrivileged},
    {Fallible::kSLClientAddValueForScalarKey,        "SLClientAddValueForScalarKey",        false, 0},
    {Fallible::kSLClientClearDistributionKey,        "SLClientClearDistributionKey",        false, 0},
    {Fallible::kSLClientClearScalarKey,              "SLClientClearScalarKey",              false, 0},
    {Fallible::kSLClientPushValueForDistributionKey, "SLClientPushValueForDistributionKey", false, 0},
    {Fallible::kSLClientSetValueForDistributionKey,  "SLClientSetValueForDistributionKey",  false, 0},
    {Fallible::kSLClientSetValueForScalarKey,        "SLClientSetValueForScalarKey",        false, 0},
    {Fallible::kmach_error_string,                   "mach_error_string",                   false, 0},
    {Fallible::knotify_cancel,                            "notify_cancel",                         true,  NOTIFY_STATUS_INVALID_TOKEN},
    {Fallible::knotify_post,                              "notify_post",                           true,  NOTIFY_STATUS_FAILED},
    {Fallible::knotify_register_dispatch,            "notify_register_dispatch",            true,  NOTIFY_STATUS_FAILED},
    {Fallible::kos_log_create,                       "os_log_create",                       false, 0},
    {Fallible::kos_state_add_handler,                "os_state_add_handler",                false, 0},
    {Fallible::ksysctl,                              "sysctl",                              true,  ENOMEM},
};
// clang-format on

constexpr std::size_t kFunctionCount = std::size(kFunctions);

consteval bool rows_stand_in_order() {
  for (std::size_t row = 0; row < kFunctionCount; ++row) {
    if (static_cast<std::size_t>(kFunctions[row].function) != row) {
      return false;
    }
  }
  return true;
}
static_assert(rows_stand_in_order());

struct Counts {
  std::uint64_t calls = 0;
  std::uint64_t failures = 0;
};

// The plan in force and what has happened under it.
struct Record {
  std::mutex mutex;
  FailurePlan plan;
  std::uint64_t counted_calls = 0;  // those that the plan is about
  std::array<Counts, kFunctionCount> by_function;
};

constinit Record record;

Counts& counts_of(Fallible function) { return record.by_function[static_cast<std::size_t>(function)]; }

}  // namespace

bool is_planned_to_fail(Fallible function) {
  const std::lock_guard lock(record.mutex);
  Counts& counts = counts_of(function);
  ++counts.calls;
  const FailurePlan& plan = record.plan;
  if (plan.function && *plan.function != function) {
    return false;
  }
  const std::uint64_t call = ++record.counted_calls;
  const bool failing = plan.first != 0 && (call == plan.first || (plan.and_all_later && call > plan.first));
  counts.failures += failing ? 1 : 0;
  return failing;
}

std::optional<std::int32_t> planned_code(Fallible function) {
  if (!is_planned_to_fail(function)) {
    return std::nullopt;
  }
  const std::lock_guard lock(record.mutex);
  return record.plan.code.value_or(kFunctions[static_cast<std::size_t>(function)].code);
}

std::span<const FallibleFunction> fallible_functions() { return kFunctions; }

void plan_failures(const FailurePlan& plan) {
  const std::lock_guard lock(record.mutex);
  record.plan = plan;
  record.counted_calls = 0;
  record.by_function = {};
  failures_are_planned.store(true, std::memory_order_relaxed);
}

void end_failures() { failures_are_planned.store(false, std::memory_order_relaxed); }

std::uint64_t calls_of(Fallible function) {
  const std::lock_guard lock(record.mutex);
  return counts_of(function).calls;
}

std::uint64_t planned_failures_of(Fallible function) {
  const std::lock_guard lock(record.mutex);
  return counts_of(function).failures;
}

}  // namespace hub::platform
