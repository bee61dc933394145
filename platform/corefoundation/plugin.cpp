// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstring>
#include <map>
#include <mutex>

#include "CoreFoundation/CFPlugIn.h"
#include "corefoundation/corefoundation_host.h"
#include "corefoundation/misuse.h"
#include "corefoundation/never_destroyed.h"

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
  using Key = std::array<char, sizeof(CFUUIDBytes)>;

  static Key key_of(CFUUIDRef factory) {
    const CFUUIDBytes bytes = CFUUIDGetUUIDBytes(factory);
    Key key{};
    std::memcpy(key.data(), &bytes, sizeof bytes);
    return key;
  }

  std::mutex mutex_;
  std::map<Key, std::int64_t> counts_;
};

PlugInInstances& instances() {
  static NeverDestroyed<PlugInInstances> table;  // objects may go while the process ends
  return table.get();
}

}  // namespace

std::int64_t live_plugin_instances(CFUUIDRef factory_id) { return instances().count(factory_id); }

}  // namespace hub::platform

void CFPlugInAddInstanceForFactory(CFUUIDRef factory_id) { hub::platform::instances().add(factory_id); }

void CFPlugInRemoveInstanceForFactory(CFUUIDRef factory_id) { hub::platform::instances().remove(factory_id); }
