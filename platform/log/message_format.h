// SPDX-License-Identifier: Apache-2.0
// The text of a log message: a printf format and its arguments.
#pragma once

#include <cstdarg>
#include <string>

namespace hub::platform {

// The message. Conversions d i u o x X c p f F e E g G a A s @ %, with the flags - + space # 0, a width and a precision
// (also *), and for numbers the lengths hh h l ll j z t L.
//
// %@ stands for the text that describe() gives an object; it and %s print "(null)" for NULL. A conversion that the C
// library cannot print, as one of a width above INT_MAX, stands as it is written. From one that is none of these (wide
// characters, %n, numbered arguments) all the rest of the format does: what its arguments are cannot be known.
// [any thread]
std::string format_message(const char* format, va_list arguments);

}  // namespace hub::platform
