// SPDX-License-Identifier: Apache-2.0
#include "host/plugin_loader.h"

#include <dlfcn.h>

#include <filesystem>

namespace hub::host {
namespace {

namespace fs = std::filesystem;

constexpr char kFactory[] = "VantuHUBHIDStatisticsFactory";

// Where the library stands in the build tree, seen from the program's folder.
constexpr char kBuiltPlugIn[] = "../VantuHUBHIDPlugins/VantuHUBHIDStatistics/libVantuHUBHIDStatistics.so";

[[noreturn]] void refuse(const std::string& library, const std::string& reason) {
  throw PlugInError(library + ": " + reason);
}

CFPlugInFactoryFunction factory_of(const std::string& library) {
  // With a slash in it: a name without one would be looked for in the system's folders.
  void* handle = dlopen(fs::absolute(library).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    refuse(library, std::string("cannot be loaded: ") + dlerror());
  }
  void* factory = dlsym(handle, kFactory);
  if (factory == nullptr) {
    refuse(library, std::string("is no plug-in of this kind: it exports no ") + kFactory);
  }
  return reinterpret_cast<CFPlugInFactoryFunction>(factory);
}

}  // namespace

LoadedPlugIn::LoadedPlugIn(const std::string& library) {
  void* object = factory_of(library)(kCFAllocatorDefault, kIOHIDSessionFilterPlugInTypeID);
  if (object == nullptr) {
    refuse(library, "is no plug-in of this kind: its factory makes no session filter");
  }
  auto* unknown = static_cast<IUnknownVTbl**>(object);
  void* interface = nullptr;
  (*unknown)->QueryInterface(unknown, CFUUIDGetUUIDBytes(kIOHIDSessionFilterPlugInInterfaceID), &interface);
  (*unknown)->Release(unknown);
  if (interface == nullptr) {
    refuse(library, "is no plug-in of this kind: its object has no session-filter interface");
  }
  interface_ = static_cast<IOHIDSessionFilterPlugInInterface**>(interface);
}

LoadedPlugIn::~LoadedPlugIn() { (*interface_)->Release(interface_); }

bool LoadedPlugIn::open() {
  const auto entry = (*interface_)->open;
  return entry == nullptr || entry(interface_, nullptr, 0);
}

void LoadedPlugIn::close() {
  if (const auto entry = (*interface_)->close) {
    entry(interface_, nullptr, 0);
  }
}

void LoadedPlugIn::register_service(IOHIDServiceRef service) {
  if (const auto entry = (*interface_)->registerService) {
    entry(interface_, service);
  }
}

void LoadedPlugIn::schedule(dispatch_queue_t queue) {
  if (const auto entry = (*interface_)->scheduleWithDispatchQueue) {
    entry(interface_, queue);
  }
}

void LoadedPlugIn::unschedule(dispatch_queue_t queue) {
  if (const auto entry = (*interface_)->unscheduleFromDispatchQueue) {
    entry(interface_, queue);
  }
}

std::string default_plugin() {
  const fs::path library = (fs::read_symlink("/proc/self/exe").parent_path() / kBuiltPlugIn).lexically_normal();
  if (!fs::exists(library)) {
    throw PlugInError(library.string() + ": no plug-in stands there; name one with --plugin");
  }
  return library.string();
}

}  // namespace hub::host
