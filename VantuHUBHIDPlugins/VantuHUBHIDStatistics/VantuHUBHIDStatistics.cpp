// SPDX-License-Identifier: Apache-2.0
#include "VantuHUBHIDStatistics.h"

#include <new>
#include <type_traits>

#include "kept.h"
#include "notify.h"
#include "plugin_log.h"

namespace {

constexpr char kFaultNotification[] = "com.vantu.vantuhubhidstatistics.fault";

// 75F07127-BB06-490A-B1B9-81AE65DF0646: the id of the factory whose instances the objects are.
CFUUIDRef factoryID() {
  return CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x75, 0xF0, 0x71, 0x27, 0xBB, 0x06, 0x49, 0x0A, 0xB1,
                                        0xB9, 0x81, 0xAE, 0x65, 0xDF, 0x06, 0x46);
}

bool isAccepted(CFUUIDRef interfaceID) {
  return CFEqual(interfaceID, kIOHIDSessionFilterPlugInInterfaceID) ||
         CFEqual(interfaceID, kIOHIDSessionFilterPlugInInterfaceID2) || CFEqual(interfaceID, IUnknownUUID);
}

VantuHUBHIDStatistics& objectOf(void* self) { return *static_cast<VantuHUBHIDStatistics*>(self); }

}  // namespace

// clang-format off
constinit const IOHIDSessionFilterPlugInInterface VantuHUBHIDStatistics::vtbl = {
    ._reserved = nullptr,                                                                                           //  0
    .QueryInterface = [](void* self, REFIID iid, LPVOID* out) { return objectOf(self).QueryInterface(iid, out); },  //  1
    .AddRef = [](void* self) { return objectOf(self).AddRef(); },                                                   //  2
    .Release = [](void* self) { return objectOf(self).Release(); },                                                 //  3
    .entry4 = nullptr,
    .entry5 = nullptr,
    .entry6 = nullptr,
    .open = [](void* self, IOHIDSessionRef session, IOOptionBits options) {                                         //  7
      objectOf(self).open(session, options);
      return true;
    },
    .close = [](void* self, IOHIDSessionRef session, IOOptionBits options) { objectOf(self).close(session, options); },
    .entry9 = nullptr,
    .entry10 = nullptr,
    .registerService = [](void* self, IOHIDServiceRef service) { objectOf(self).registerService(service); },        // 11
    .entry12 = nullptr,
    .scheduleWithDispatchQueue = [](void* self, dispatch_queue_t queue) {                                           // 13
      objectOf(self).scheduleWithDispatchQueue(queue);
    },
    .unscheduleFromDispatchQueue = [](void* self, dispatch_queue_t queue) {                                         // 14
      objectOf(self).unscheduleFromDispatchQueue(queue);
    },
    .entry15 = nullptr,
    .entry16 = nullptr,
};
// clang-format on

static_assert(std::is_standard_layout_v<VantuHUBHIDStatistics>, "the first field stands at the object's address");

VantuHUBHIDStatistics* VantuHUBHIDStatistics::alloc(CFAllocatorRef allocator) {
  void* memory = CFAllocatorAllocate(allocator, sizeof(VantuHUBHIDStatistics), 0);
  if (memory == nullptr) {
    return nullptr;
  }
  try {
    return ::new (memory) VantuHUBHIDStatistics(allocator);
  } catch (const std::bad_alloc&) {
    CFAllocatorDeallocate(allocator, memory);
    return nullptr;
  }
}

void VantuHUBHIDStatistics::operator delete(VantuHUBHIDStatistics* object, std::destroying_delete_t) {
  const CFAllocatorRef allocator = object->allocator_;
  object->~VantuHUBHIDStatistics();
  CFAllocatorDeallocate(allocator, object);
}

VantuHUBHIDStatistics::VantuHUBHIDStatistics(CFAllocatorRef allocator) : allocator_(allocator) {
  CFPlugInAddInstanceForFactory(factoryID());  // first: when it fails there is nothing to give back
  contexts_ = CFArrayCreateMutable(allocator, 0, nullptr);
  keepToTheEnd(contexts_);
}

// Kept: the contexts, their array and the keys stay. Handlers and callbacks that use them are never unregistered.
VantuHUBHIDStatistics::~VantuHUBHIDStatistics() {
  CFPlugInRemoveInstanceForFactory(factoryID());
  releasePluginLog();
}

HRESULT VantuHUBHIDStatistics::QueryInterface(CFUUIDBytes iid, void** ppv) {
  const CFUUIDRef interfaceID = CFUUIDCreateFromUUIDBytes(kCFAllocatorDefault, iid);
  const bool accepted = interfaceID != nullptr && isAccepted(interfaceID);
  if (interfaceID != nullptr) {
    CFRelease(interfaceID);
  }
  if (accepted) {
    AddRef();
  }
  *ppv = accepted ? this : nullptr;
  return accepted ? S_OK : E_NOINTERFACE;
}

ULONG VantuHUBHIDStatistics::AddRef() { return ++referenceCount_; }

ULONG VantuHUBHIDStatistics::Release() {
  const ULONG remaining = --referenceCount_;
  if (remaining == 0) {
    delete this;
  }
  return remaining;
}

void VantuHUBHIDStatistics::open(IOHIDSessionRef, IOOptionBits) {
  createPluginLog();
  for (const StatLedgerKeyName& name : kStatLedgerKeyNames) {
    const CFStringRef key = CFStringCreateWithCString(kCFAllocatorDefault, name.text, kCFStringEncodingMacRoman);
    keepToTheEnd(key);
    keys_[name.index] = key;
  }
}

void VantuHUBHIDStatistics::close(IOHIDSessionRef, IOOptionBits) {}

void VantuHUBHIDStatistics::scheduleWithDispatchQueue(dispatch_queue_t queue) {
  queue_ = queue;
  int token = 0;
  notify_register_dispatch(kFaultNotification, &token, queue, [](int) {
    if (os_log_type_enabled(pluginLog(), OS_LOG_TYPE_FAULT)) {
      os_log_fault(pluginLog(), "fault!");
    }
  });
}

void VantuHUBHIDStatistics::unscheduleFromDispatchQueue(dispatch_queue_t) { queue_ = nullptr; }

void* VantuHUBHIDStatisticsFactory(CFAllocatorRef allocator, CFUUIDRef typeID) {
  return typeID != nullptr && CFEqual(typeID, kIOHIDSessionFilterPlugInTypeID) ? VantuHUBHIDStatistics::alloc(allocator)
                                                                               : nullptr;
}
