// SPDX-License-Identifier: Apache-2.0
#include "host/captures/byte_source.h"

#include <poll.h>

#include "host/io/descriptor.h"

namespace hub::host {

ReadBytes DescriptorSource::read_some(std::span<std::byte> room) {
  return {host::read_some(descriptor_, room), ByteOrigin::kSame};
}

bool DescriptorSource::would_wait() {
  pollfd wanted{descriptor_, POLLIN, 0};
  return poll(&wanted, 1, 0) <= 0;
}

}  // namespace hub::host
