// SPDX-License-Identifier: Apache-2.0
#include "host/session/plugin_loader.h"

#include <dlfcn.h>

#include <filesystem>

namespace hub::host {
namespace {

namespace fs = std::filesystem;

constexpr char kFactory[] = "VantuHUBHIDStatisticsFactory";

// Where the library stands, seen from the program's folder: installed, whatever the prefix; and in the build tree.
constexpr const char* kPlacesOfPlugIn[] = {
    HUB_LIBRARIES "/" HUB_PLUGIN_FILE,
    "../VantuHUBHIDPlugins/VantuHUBHIDStatistics/" HUB_PLUGIN_FILE,
};

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

std::string plugin_of_program(const std::string& program) {
  const fs::path folder = fs::path(program).parent_path();
  for (const char* place : kPlacesOfPlugIn) {
    const fs::path library = (folder / place).lexically_normal();
    if (fs::exists(library)) {
      return library.string();
    }
  }
  const fs::path installed = (folder / kPlacesOfPlugIn[0]).lexically_normal();
  refuse(installed.string(), "no plug-in stands there; name one with --plugin");
}

std::string default_plugin() { return plugin_of_program(fs::read_symlink("/proc/self/exe").string()); }

}  // namespace hub::host
