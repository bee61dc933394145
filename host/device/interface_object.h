// SPDX-License-Identifier: Apache-2.0
// Objects behind interface pointers: what the modelled kernel side hands to a plug-in.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "CoreFoundation/CFPlugInCOM.h"
#include "IOKit/IOCFPlugIn.h"
#include "host/device/device_file.h"
#include "host/device/observations.h"

namespace hub::host {

// One object, with one reference when it is made. A pointer to it is the interface: a pointer to a pointer to the
// table. Its maker owns the memory, so that a release too many is seen and does no harm.
template <typename Table, typename Model>
struct InterfaceObject {
  static InterfaceObject& of(void* self) { return *static_cast<InterfaceObject*>(self); }

  static ULONG add_reference(void* self) { return ++of(self).references; }

  static ULONG release(void* self) {
    InterfaceObject& object = of(self);
    if (object.references == 0) {
      object.observations->complain(std::string("a ") + object.name + " was released more often than it was retained");
      return 0;
    }
    return --object.references;
  }

  const Table* table;  // stands at the object's address
  Model* model;
  const char* name;  // what it is, for complaints
  Observations* observations;
  std::atomic<std::uint32_t> references{1};
};

// Makes the plug-in objects of one entry and the interfaces that they give, as a device file plans them, and keeps them
// all. `Table` is the interface's; `Model` is what its functions work on. [any thread]
template <typename Table, typename Model>
class PlugInMaker {
 public:
  struct Names {
    const char* plugin;
    const char* interface;
  };

  PlugInMaker(const PlugInPlan& plan, const CFUUIDBytes& interface_id, const Table& table, Model& model, Names names,
              Observations& observations)
      : plan_(plan),
        interface_id_(interface_id),
        table_(table),
        model_(model),
        names_(names),
        observations_(observations) {}

  kern_return_t create(IOCFPlugInInterface*** plugin) {
    if (!plan_.has_plugin) {
      return kIOReturnUnsupported;
    }
    *plugin = reinterpret_cast<IOCFPlugInInterface**>(keep(plugins_, kPlugInTable, *this, names_.plugin));
    return kIOReturnSuccess;
  }

 private:
  using PlugInObject = InterfaceObject<IOCFPlugInInterface, PlugInMaker>;
  using Interface = InterfaceObject<Table, Model>;
  static_assert(std::is_standard_layout_v<PlugInObject> && std::is_standard_layout_v<Interface>);

  static HRESULT query_interface(void* self, REFIID iid, LPVOID* out) {
    return PlugInObject::of(self).model->query(iid, out);
  }

  static constexpr IOCFPlugInInterface kPlugInTable = {nullptr, query_interface, PlugInObject::add_reference,
                                                       PlugInObject::release};

  HRESULT query(const CFUUIDBytes& iid, LPVOID* out) try {
    *out = nullptr;
    if (std::memcmp(&iid, &interface_id_, sizeof iid) != 0) {
      return E_NOINTERFACE;
    }
    if (plan_.has_interface) {
      *out = keep(interfaces_, table_, model_, names_.interface);
    }
    return plan_.query_status;
  } catch (const std::bad_alloc&) {
    return E_NOINTERFACE;
  }

  template <typename Object, typename ItsTable, typename ItsModel>
  Object* keep(std::vector<std::unique_ptr<Object>>& objects, const ItsTable& table, ItsModel& model,
               const char* name) {
    const std::lock_guard lock(mutex_);
    objects.push_back(std::unique_ptr<Object>(new Object{&table, &model, name, &observations_}));
    return objects.back().get();
  }

  const PlugInPlan plan_;
  const CFUUIDBytes interface_id_;
  const Table& table_;
  Model& model_;
  const Names names_;
  Observations& observations_;
  std::mutex mutex_;
  std::vector<std::unique_ptr<PlugInObject>> plugins_;
  std::vector<std::unique_ptr<Interface>> interfaces_;
};

// The QueryInterface of an interface that gives no other.
inline HRESULT query_no_interface(void*, REFIID, LPVOID* out) {
  *out = nullptr;
  return E_NOINTERFACE;
}

}  // namespace hub::host
