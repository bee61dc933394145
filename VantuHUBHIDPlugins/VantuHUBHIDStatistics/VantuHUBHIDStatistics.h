// SPDX-License-Identifier: Apache-2.0
// The plug-in object: what the HID event system holds, and through which it offers the system's HID services.
//
// Threads. The event system calls the interface entries on one thread at a time [event system's thread]. The statistics
// callback, the state handlers and the fault notification run on the queue that it schedules [plug-in queue]. Nothing
// is locked: what the queue reads is written before it is handed there. The count of references is a plain number.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

#include "CoreFoundation/CoreFoundation.h"
#include "IOKit/hid/IOHIDSessionFilter.h"
#include "ServiceContext.h"
#include "dispatch/dispatch.h"
#include "ledger_keys.h"
#include "os/state.h"

struct LedgerOp;     // publishing.h
struct ServiceKind;  // registration.cpp

class VantuHUBHIDStatistics {
 public:
  // An object in memory of this allocator, with one reference for the caller; NULL when there is no memory. The
  // allocator is not retained and must outlive the object. [event system's thread]
  static VantuHUBHIDStatistics* alloc(CFAllocatorRef allocator);

  // Gives the memory back to the allocator that it came from. The allocator is read before the object ends, so that it
  // is still there to be read.
  static void operator delete(VantuHUBHIDStatistics* object, std::destroying_delete_t);

  VantuHUBHIDStatistics(const VantuHUBHIDStatistics&) = delete;
  VantuHUBHIDStatistics& operator=(const VantuHUBHIDStatistics&) = delete;

  // The entries of the interface table. [event system's thread]

  // Stores the object, with a reference for the caller, in *ppv and returns 0 for the session filter's two interfaces
  // and IUnknown; stores NULL and returns 0x80000004 for any other.
  HRESULT QueryInterface(CFUUIDBytes iid, void** ppv);
  ULONG AddRef();   // the new count
  ULONG Release();  // the new count; at 0 the object is gone

  // Makes the process's log and this object's keys. Both arguments mean nothing here.
  // Kept: opening again makes the keys anew, and the earlier ones stay.
  void open(IOHIDSessionRef session, IOOptionBits options);
  void close(IOHIDSessionRef session, IOOptionBits options);  // nothing

  // Wires the services of the sensor co-processor to statistics and state capture; leaves all others alone.
  void registerService(IOHIDServiceRef service);

  // Takes the queue, without a reference, for all that is registered from now on, and listens on it for the fault
  // notification. Kept: the registration is never cancelled; each call adds one.
  void scheduleWithDispatchQueue(dispatch_queue_t queue);
  void unscheduleFromDispatchQueue(dispatch_queue_t queue);  // forgets the queue, and nothing else

  // The co-processor's properties and commands. Each returns 0, or a code that says what failed. [any thread]

  // Reads a property through the service's driver into `buffer`; the length that came goes to *outLength (which may be
  // NULL) on success. 0xE00002D8 when the service has no driver interface, else the driver's own code.
  IOReturn getHubProperty(ServiceContext* context, std::uint32_t property, void* buffer, std::size_t length,
                          std::size_t* outLength);

  // The same of one 32-bit number as it stands in memory. `*value` is the default when the read failed or did not give
  // 4 bytes; the read's code is returned in any case.
  IOReturn getHubPropertyU32(ServiceContext* context, std::uint32_t property, std::uint32_t* value,
                             std::uint32_t defaultValue);

  // Sends a command through the service's driver, which the context must have. `*outputLength`: the room, then what
  // came.
  IOReturn performCommand(ServiceContext* context, std::uint32_t command, void* input, std::size_t inputLength,
                          void* output, std::size_t* outputLength);

  // The same three through the user client of the service of this name, which is opened for the call alone. When there
  // is no such service: 0xE00002BC.
  // A property: 0xE00002BC whatever failed; `outLength` must not be NULL.
  IOReturn getHubProperty(const char* service, std::uint32_t property, void* buffer, std::size_t length,
                          std::size_t* outLength);
  // A command of the co-processor: the failing step's code. Output and its length may both be NULL.
  IOReturn performHubCommand(const char* service, std::uint32_t command, void* input, std::size_t inputLength,
                             void* output, std::size_t* outputLength);
  // A command of the driver itself: as above.
  IOReturn performCommand(const char* service, std::uint32_t command, void* input, std::size_t inputLength,
                          void* output, std::size_t* outputLength);

  // Statistics. [plug-in queue]

  // The key of an index, lent; one text for every index beyond the table. Not below 0.
  CFStringRef keyForIndex(StatLedgerKey index);

  // Publishes `count` operation records, one after the other.
  void publishSLData(const LedgerOp* records, std::uint64_t count);

  // The same as the co-processor calls it back: `context` is the object, `buffer` the records.
  static void publishSLData(void* context, void* buffer, std::uint64_t count);

 private:
  using StateHandler = os_state_data_t (VantuHUBHIDStatistics::*)(os_state_hints_t, ServiceContext*);

  static const IOHIDSessionFilterPlugInInterface vtbl;

  explicit VantuHUBHIDStatistics(CFAllocatorRef allocator);
  ~VantuHUBHIDStatistics();

  // Steps of a registration.
  void openDevice(ServiceContext& context, bool publishes);
  void addStateHandlers(ServiceContext& context, const ServiceKind& kind);
  void addStateHandler(ServiceContext& context, StateHandler handler);
  void addRawDebugHandlers(ServiceContext& context);

  // What a capture gets; NULL: nothing to say. The platform frees the record. [plug-in queue]
  os_state_data_t stateHandler_SSHBStats(os_state_hints_t hints, ServiceContext* context);
  os_state_data_t stateHandler_SSHBAssets(os_state_hints_t hints, ServiceContext* context);
  os_state_data_t stateHandler_SensorInfo(os_state_hints_t hints, ServiceContext* context);
  // `index` numbers the title, `batchSize` is the most reports that one read may give, `kind` says where they come from
  // (1 firmware, 2 its driver, 3 the driver's errors), `parameter` goes to the firmware.
  os_state_data_t stateHandler_RawDebugData(os_state_hints_t hints, ServiceContext* context, std::uint32_t index,
                                            std::uint32_t batchSize, std::uint32_t kind, std::uint32_t parameter);
  IOReturn readFirmwareReports(std::uint32_t parameter, void* buffer, std::size_t* length);

  // The table pointer comes first: a pointer to the object is an interface, a pointer to a pointer to a table.
  const IOHIDSessionFilterPlugInInterface* interface_ = &vtbl;
  CFAllocatorRef allocator_;
  std::uint32_t referenceCount_ = 1;
  bool rawDebugRegistered_ = false;
  CFMutableArrayRef contexts_ = nullptr;  // ServiceContext*, never taken out; NULL when there was no memory for it
  CFStringRef keys_[kStatLedgerKeyCount] = {};
  dispatch_queue_t queue_ = nullptr;
};

PLATFORM_BEGIN_C

// The bundle's factory: an object of the session-filter type, as an interface with one reference for the caller. NULL
// for any other type, and when there is no memory. [event system's thread]
PLATFORM_EXPORT void* VantuHUBHIDStatisticsFactory(CFAllocatorRef allocator, CFUUIDRef typeID);

PLATFORM_END_C
