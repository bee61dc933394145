// SPDX-License-Identifier: Apache-2.0
// The firmware's free-form diagnostics of a sensor: bytes that spell out texts, entry by entry.
//
// A tag of one byte says what follows it:
//   0  a 32-bit number      appended to the entry's text, decimal or hexadecimal
//   1  a 64-bit number      the same
//   2  a text up to its zero, which is appended
//   3  nothing              the entry is complete: it is stored before the next tag's work is done
//   4  nothing              numbers are hexadecimal from here on
//   5  nothing              numbers are decimal again
//   6 to 255                nothing at all
#pragma once

#include <cstddef>
#include <functional>
#include <span>

// Reads one stream, which begins in decimal, and calls `store` with each entry's text, of at most 1023 bytes; what goes
// beyond that is cut off. Text that is left at the end is an entry too unless it is empty. A number that the stream
// cuts off ends it; a text that has no zero goes to the end. [any thread]
void readDiagnosticStream(std::span<const std::byte> stream, const std::function<void(const char* text)>& store);
