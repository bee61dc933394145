// SPDX-License-Identifier: Apache-2.0
// Loads a session-filter plug-in as the HID event system does: the library, its factory, the interface.
#pragma once

#include <stdexcept>
#include <string>

#include "IOKit/hid/IOHIDSessionFilter.h"

namespace hub::host {

// Says which library it is about and in what it is no plug-in of this kind.
class PlugInError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// An object of the plug-in, and its session-filter interface. The library stays loaded to the end of the process, since
// a plug-in may leave its code behind in handlers. [host]
class LoadedPlugIn {
 public:
  // Throws PlugInError.
  explicit LoadedPlugIn(const std::string& library);
  LoadedPlugIn(const LoadedPlugIn&) = delete;
  LoadedPlugIn& operator=(const LoadedPlugIn&) = delete;
  ~LoadedPlugIn();

  // The table's entries; those that the plug-in leaves empty do nothing, and open is a success then.
  bool open();
  void close();
  void register_service(IOHIDServiceRef service);
  void schedule(dispatch_queue_t queue);
  void unschedule(dispatch_queue_t queue);

 private:
  IOHIDSessionFilterPlugInInterface** interface_;
};

// The library that was installed or, if it was not, built with the program at this path. Throws PlugInError when there
// is none. [any thread]
std::string plugin_of_program(const std::string& program);

// The same for the program that runs. [any thread]
std::string default_plugin();

}  // namespace hub::host
