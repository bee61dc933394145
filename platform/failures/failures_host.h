// SPDX-License-Identifier: Apache-2.0
// Every platform function that can fail on the device can be told to fail here, in one way for all: a test counts what
// a scenario calls, and repeats it with one call after the other failing. Nothing of this shows in the public headers.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "platform_abi.h"

namespace hub::platform {

// The functions, by their public names.
enum class Fallible : std::uint8_t {
  kCFAllocatorAllocate,
  kCFAllocatorCreate,
  kCFAllocatorReallocate,
  kCFArrayCreate,
  kCFArrayCreateMutable,
  kCFDataCreate,
  kCFDictionaryCreate,
  kCFDictionaryCreateMutable,
  kCFNumberCreate,
  kCFNumberGetValue,
  kCFPropertyListCreateData,
  kCFStringCreateWithBytes,
  kCFStringCreateWithCString,
  kCFStringGetCString,
  kCFStringGetCStringPtr,
  kCFUUIDCreateFromUUIDBytes,
  kCFUUIDCreateString,
  kdispatch_queue_create,
  kIOConnectCallMethod,
  kIOCreatePlugInInterfaceForService,
  kIOHIDDeviceCreate,
  kIOHIDServiceCopyProperty,
  kIOHIDServiceGetProperty,
  kIOHIDServiceGetRegistryID,
  kIOObjectRelease,
  kIOObjectRetain,
  kIORegistryEntryCreateCFProperty,
  kIORegistryEntryGetChildEntry,
  kIORegistryEntryGetName,
  kIORegistryEntryGetParentEntry,
  kIORegistryEntryIDMatching,
  kIOServiceClose,
  kIOServiceGetMatchingService,
  kIOServiceMatching,
  kIOServiceNameMatching,
  kIOServiceOpen,
  kSLClientAddValueForScalarKey,
  kSLClientClearDistributionKey,
  kSLClientClearScalarKey,
  kSLClientPushValueForDistributionKey,
  kSLClientSetValueForDistributionKey,
  kSLClientSetValueForScalarKey,
  kmach_error_string,
  knotify_cancel,
  knotify_post,
  knotify_register_dispatch,
  kos_log_create,
  kos_state_add_handler,
  ksysctl,
};

struct FallibleFunction {
  Fallible function;
  const char* name;
  bool has_code;      // it returns a code; the others fail by giving NULL, false or 0
  std::int32_t code;  // what it returns when the plan names none: for sysctl, errno
};

// All of them, in the order of the enumeration. [any thread]
PLATFORM_EXPORT std::span<const FallibleFunction> fallible_functions();

// Which of the calls that are made from now on fail, as if the platform had refused them: nothing else happens in them,
// but that what is handed over or given back (a matching dictionary, a handle, a connection) goes all the same.
struct FailurePlan {
  std::uint64_t first = 0;                          // the number of the first call that fails, counted from 1; 0: none
  bool and_all_later = false;                       // from there on every call fails; else that one
  std::optional<Fallible> function = std::nullopt;  // count and fail this function's calls alone; none: those of all
  std::optional<std::int32_t> code = std::nullopt;  // for functions that return one
};

// Puts a plan in force and sets all counts to 0. Without one, as at the start of the process, nothing fails and nothing
// is counted. [any thread, when no other thread calls the platform]
PLATFORM_EXPORT void plan_failures(const FailurePlan& plan);

// Takes the plan out of force; the counts stay. [as above]
PLATFORM_EXPORT void end_failures();

// Since the plan was put in force: how often a function was called, and how often it failed for the plan. [any thread]
PLATFORM_EXPORT std::uint64_t calls_of(Fallible function);
PLATFORM_EXPORT std::uint64_t planned_failures_of(Fallible function);

}  // namespace hub::platform
