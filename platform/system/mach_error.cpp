// SPDX-License-Identifier: Apache-2.0
#include "mach/mach_error.h"
#include "failures/failures.h"

#include <algorithm>
#include <iterator>

namespace {

struct ErrorText {
  kern_return_t code;
  const char* text;
};

constexpr ErrorText kErrorTexts[] = {
    {kIOReturnError, "general error"},
    {kIOReturnNoMemory, "out of memory"},
    {kIOReturnNoResources, "no resources"},
    {kIOReturnNoDevice, "no such device"},
    {kIOReturnNotPrivileged, "not privileged"},
    {kIOReturnBadArgument, "invalid argument"},
    {kIOReturnUnsupported, "unsupported function"},
    {kIOReturnNotOpen, "device not open"},
    {kIOReturnTimeout, "timed out"},
    {kIOReturnNotReady, "device not ready"},
    {kIOReturnAborted, "aborted"},
    {kIOReturnNotFound, "not found"},
};

}  // namespace

using namespace hub::platform;

const char* mach_error_string(kern_return_t code) {
  if (fails(Fallible::kmach_error_string)) {
    return nullptr;
  }
  const auto* row = std::find_if(std::begin(kErrorTexts), std::end(kErrorTexts),
                                 [code](const ErrorText& candidate) { return candidate.code == code; });
  return row != std::end(kErrorTexts) ? row->text : nullptr;
}
