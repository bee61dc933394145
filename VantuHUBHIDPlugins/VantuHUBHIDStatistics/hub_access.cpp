// SPDX-License-Identifier: Apache-2.0
// The co-processor's properties and commands: through a service's driver, or through a user client found by name. A
// property read is a command too.
#include "VantuHUBHIDStatistics.h"
#include "held_service.h"
#include "mach/mach_error.h"
#include "plugin_log.h"

namespace {

// The driver's command, and the user clients' methods.
constexpr std::uint32_t kReadPropertyCommand = 10;
constexpr std::uint32_t kReadPropertyMethod = 2;
constexpr std::uint32_t kHubCommandMethod = 3;

constexpr int kNoDriverInterfaceLine = 1152;

// The lines at which a call by name tells what failed.
struct FailureLines {
  int service;
  int open;
  int call;
};
constexpr FailureLines kPerformCommandLines = {1190, 1193, 1197};
constexpr FailureLines kPerformHubCommandLines = {1215, 1218, 1222};
constexpr FailureLines kGetHubPropertyLines = {1241, 1244, 1248};

// What goes to a user client and comes back. No method has scalar outputs.
struct ClientCall {
  std::uint32_t selector;
  const std::uint64_t* scalar;  // one, or NULL
  const void* input;
  std::size_t inputLength;
  void* output;
  std::size_t* outputLength;
};

// The result of a step, told when it is a failure.
IOReturn told(IOReturn result, int line) {
  if (result != kIOReturnSuccess) {
    logAssertion({.expression = "kr == 0 ",
                  .text = mach_error_string(result),
                  .line = line,
                  .value = static_cast<std::uint32_t>(result)});
  }
  return result;
}

IOReturn callClient(io_connect_t connection, const ClientCall& call) {
  return IOConnectCallMethod(connection, call.selector, call.scalar, call.scalar != nullptr ? 1 : 0, call.input,
                             call.inputLength, nullptr, nullptr, call.output, call.outputLength);
}

IOReturn openAndCall(const char* name, const ClientCall& call, const FailureLines& lines) {
  const HeldService service(IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceNameMatching(name)));
  if (service.get() == IO_OBJECT_NULL) {
    logAssertion({.expression = "service", .line = lines.service});
    return kIOReturnError;
  }
  io_connect_t connection = IO_OBJECT_NULL;
  const IOReturn opened = told(IOServiceOpen(service.get(), mach_task_self(), 0, &connection), lines.open);
  if (opened != kIOReturnSuccess) {
    return opened;
  }
  const IOReturn result = told(callClient(connection, call), lines.call);
  IOServiceClose(connection);
  return result;
}

}  // namespace

IOReturn VantuHUBHIDStatistics::getHubProperty(ServiceContext* context, std::uint32_t property, void* buffer,
                                               std::size_t length, std::size_t* outLength) {
  if (context->_driver._interface == nullptr) {
    logAssertion({.expression = "context->_driver._interface", .line = kNoDriverInterfaceLine});
    return kIOReturnNotReady;
  }
  const IOReturn result = performCommand(context, kReadPropertyCommand, &property, sizeof property, buffer, &length);
  if (result == kIOReturnSuccess && outLength != nullptr) {
    *outLength = length;
  }
  return result;
}

IOReturn VantuHUBHIDStatistics::getHubPropertyU32(ServiceContext* context, std::uint32_t property, std::uint32_t* value,
                                                  std::uint32_t defaultValue) {
  std::size_t length = 0;
  const IOReturn result = getHubProperty(context, property, value, sizeof *value, &length);
  if (result != kIOReturnSuccess || length != sizeof *value) {
    *value = defaultValue;
  }
  return result;
}

IOReturn VantuHUBHIDStatistics::performCommand(ServiceContext* context, std::uint32_t command, void* input,
                                               std::size_t inputLength, void* output, std::size_t* outputLength) {
  IOHIDHubDriverInterface** driver = context->_driver._interface;
  return (*driver)->command(driver, command, input, inputLength, output, outputLength);
}

IOReturn VantuHUBHIDStatistics::getHubProperty(const char* service, std::uint32_t property, void* buffer,
                                               std::size_t length, std::size_t* outLength) {
  const std::uint64_t scalar = property;
  const IOReturn result =
      openAndCall(service, {kReadPropertyMethod, &scalar, nullptr, 0, buffer, &length}, kGetHubPropertyLines);
  if (result != kIOReturnSuccess) {
    return kIOReturnError;
  }
  *outLength = length;
  return kIOReturnSuccess;
}

IOReturn VantuHUBHIDStatistics::performHubCommand(const char* service, std::uint32_t command, void* input,
                                                  std::size_t inputLength, void* output, std::size_t* outputLength) {
  const std::uint64_t scalar = command;
  return openAndCall(service, {kHubCommandMethod, &scalar, input, inputLength, output, outputLength},
                     kPerformHubCommandLines);
}

IOReturn VantuHUBHIDStatistics::performCommand(const char* service, std::uint32_t command, void* input,
                                               std::size_t inputLength, void* output, std::size_t* outputLength) {
  return openAndCall(service, {command, nullptr, input, inputLength, output, outputLength}, kPerformCommandLines);
}
