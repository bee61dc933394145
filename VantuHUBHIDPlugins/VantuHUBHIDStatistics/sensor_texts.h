// SPDX-License-Identifier: Apache-2.0
// A sensor's replies as the texts that its snapshot shows. Each takes the whole reply, of the length in hub_ids.h, in
// which bytes that did not come are zero.
#pragma once

#include <array>
#include <cstddef>
#include <span>

using SensorText = std::array<char, 256>;
using SensorReply = std::span<const std::byte>;

SensorText plainText(SensorReply reply);        // up to its zero, or its end
SensorText locationText(SensorReply reply);     // a letter and a number, or "N/A" without a letter
SensorText fixedMatrixText(SensorReply reply);  // nine numbers of 16.16, three rows
SensorText offsetText(SensorReply reply);       // three numbers
SensorText orientationText(SensorReply reply);  // nine numbers of a byte, three rows
SensorText registersText(SensorReply reply);    // registers and values in hexadecimal
SensorText clientText(SensorReply client);      // one record of the client table
