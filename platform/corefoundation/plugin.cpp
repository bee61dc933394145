// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <map>
#include <mutex>
#include <string>

#include "CoreFoundation/CFPlugIn.h"
#include "corefoundation/corefoundation_host.h"
#include "corefoundation/misuse.h"

namespace hub::platform {
namespace {

class PlugInInstances {
 public:
  void add(CFUUIDRef factory) {
    const std::lock_guard lock(mutex_);
    ++counts_[key_of(factory)];
  }

  void remove(CFUUIDRef factory) {
    const std::lock_guard lock(mutex_);
    std::int64_t& count = counts_[key_of(factory)];
    if (count == 0) {
      misuse("CFPlugInRemoveInstanceForFactory", "more instances than were added");
    }
    --count;
  }

  std::int64_t count(CFUUIDRef factory) {
    const std::lock_guard lock(mutex_);
    const auto found = counts_.find(key_of(factory));
    return found != counts_.end() ? found->second : 0;
  }

 private:
  static std::string key_of(CFUUIDRef factory) {
    const CFUUIDBytes bytes = CFUUIDGetUUIDBytes(factory);
    std::string key(sizeof bytes, '\0');
    std::memcpy(key.data(), &bytes, sizeof bytes);
    return key;
  }

  std::mutex mutex_;
  std::map<std::string, std::int64_t> counts_;
};

PlugInInstances& instances() {
  static auto& table = *new PlugInInstances;  // never destroyed: objects may go while the process ends
  return table;
}

}  // namespace

std::int64_t live_plugin_instances(CFUUIDRef factory_id) { return instances().count(factory_id); }

}  // namespace hub::platform

void CFPlugInAddInstanceForFactory(CFUUIDRef factory_id) { hub::platform::instances().add(factory_id); }

void CFPlugInRemoveInstanceForFactory(CFUUIDRef factory_id) { hub::platform::instances().remove(factory_id); }
