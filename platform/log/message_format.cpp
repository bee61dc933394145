// SPDX-License-Identifier: Apache-2.0
#include "log/message_format.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>
#include <type_traits>

#include "CoreFoundation/CFBase.h"
#include "log/object_text.h"

namespace hub::platform {
namespace {

constexpr std::string_view kFlags = "-+ #0";
constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kLengths = "hlqjztL";

class Arguments {
 public:
  explicit Arguments(va_list list) { va_copy(list_, list); }
  Arguments(const Arguments&) = delete;
  Arguments& operator=(const Arguments&) = delete;
  ~Arguments() { va_end(list_); }

  template <typename Value>
  Value next() {
    // The analyser loses sight of a list that is a member: NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    return va_arg(list_, Value);
  }

 private:
  va_list list_;
};

// One conversion of a format.
struct Directive {
  std::string_view written;   // all of it, from its percent sign to its letter
  std::string specification;  // for the C library: up to the length, each * replaced by its argument
  std::string_view length;
  char letter = '\0';
};

// Prints the value through the C library.
template <typename Value>
std::string printed(const std::string& specification, std::string_view written, Value value) {
  const int length = std::snprintf(nullptr, 0, specification.c_str(), value);
  if (length < 0) {
    return std::string(written);
  }
  std::string text(static_cast<std::size_t>(length) + 1, '\0');
  std::snprintf(text.data(), text.size(), specification.c_str(), value);
  text.pop_back();
  return text;
}

template <typename Value>
std::string print_next(const Directive& directive, Arguments& arguments) {
  return printed(directive.specification + directive.letter, directive.written, arguments.next<Value>());
}

std::string print_text(const Directive& directive, Arguments& arguments) {
  const char* text = arguments.next<const char*>();
  return printed(directive.specification + 's', directive.written, text != nullptr ? text : "(null)");
}

std::string print_object(const Directive& directive, Arguments& arguments) {
  const std::string text = describe(arguments.next<CFTypeRef>());
  return printed(directive.specification + 's', directive.written, text.c_str());
}

std::string print_percent_sign(const Directive&, Arguments&) { return "%"; }

using SignedSize = std::make_signed_t<std::size_t>;
using UnsignedDifference = std::make_unsigned_t<std::ptrdiff_t>;

// What letters mean behind a length, and how their argument is taken: those shorter than int come as int.
struct Conversion {
  std::string_view letters;
  std::string_view length;
  std::string (*print)(const Directive& directive, Arguments& arguments);
};

// clang-format off
constexpr Conversion kConversions[] = {
    {"di",       "",   print_next<int>},
    {"di",       "hh", print_next<int>},
    {"di",       "h",  print_next<int>},
    {"di",       "l",  print_next<long>},
    {"di",       "ll", print_next<long long>},
    {"di",       "j",  print_next<std::intmax_t>},
    {"di",       "z",  print_next<SignedSize>},
    {"di",       "t",  print_next<std::ptrdiff_t>},

    {"uoxX",     "",   print_next<unsigned>},
    {"uoxX",     "hh", print_next<unsigned>},
    {"uoxX",     "h",  print_next<unsigned>},
    {"uoxX",     "l",  print_next<unsigned long>},
    {"uoxX",     "ll", print_next<unsigned long long>},
    {"uoxX",     "j",  print_next<std::uintmax_t>},
    {"uoxX",     "z",  print_next<std::size_t>},
    {"uoxX",     "t",  print_next<UnsignedDifference>},

    {"fFeEgGaA", "",   print_next<double>},
    {"fFeEgGaA", "l",  print_next<double>},
    {"fFeEgGaA", "L",  print_next<long double>},

    {"c",        "",   print_next<int>},
    {"s",        "",   print_text},
    {"@",        "",   print_object},
    {"p",        "",   print_next<const void*>},
    {"%",        "",   print_percent_sign},
};
// clang-format on

// Null when there is none such.
const Conversion* conversion_of(const Directive& directive) {
  const auto* found = std::find_if(std::begin(kConversions), std::end(kConversions), [&](const Conversion& row) {
    return row.length == directive.length && row.letters.find(directive.letter) != std::string_view::npos;
  });
  return found != std::end(kConversions) ? found : nullptr;
}

// Reads a format from its beginning to its end.
class FormatReader {
 public:
  explicit FormatReader(std::string_view format) : rest_(format) {}

  // The text before the next percent sign, or before the end.
  std::string_view literal() { return take(std::min(rest_.find('%'), rest_.size())); }

  // What stands behind the last reading.
  [[nodiscard]] std::string_view rest() const { return rest_; }

  // The conversion that begins at a percent sign.
  Directive directive(Arguments& arguments) {
    const std::string_view from = rest_;
    Directive directive;
    directive.specification += take(1);
    directive.specification += take_any_of(kFlags);
    directive.specification += number(arguments);
    if (rest_.starts_with('.')) {
      directive.specification += precision(arguments);
    }
    directive.length = take_any_of(kLengths);
    directive.specification += directive.length;
    directive.letter = rest_.empty() ? '\0' : take(1).front();
    directive.written = from.substr(0, from.size() - rest_.size());
    return directive;
  }

 private:
  // Digits, or the argument in place of a star: a negative width is a flag and a width.
  std::string number(Arguments& arguments) {
    if (rest_.starts_with('*')) {
      take(1);
      return std::to_string(arguments.next<int>());
    }
    return std::string(take_any_of(kDigits));
  }

  // With its point. A negative one is none.
  std::string precision(Arguments& arguments) {
    take(1);
    const std::string digits = number(arguments);
    return digits.starts_with('-') ? std::string() : '.' + digits;
  }

  std::string_view take_any_of(std::string_view characters) {
    return take(std::min(rest_.find_first_not_of(characters), rest_.size()));
  }

  std::string_view take(std::size_t length) {
    const std::string_view taken = rest_.substr(0, length);
    rest_.remove_prefix(length);
    return taken;
  }

  std::string_view rest_;
};

}  // namespace

std::string format_message(const char* format, va_list list) {
  Arguments arguments(list);
  FormatReader reader(format);
  std::string text(reader.literal());
  while (!reader.rest().empty()) {
    const std::string_view rest = reader.rest();
    const Directive directive = reader.directive(arguments);
    const Conversion* conversion = conversion_of(directive);
    if (conversion == nullptr) {
      return text.append(rest);
    }
    text += conversion->print(directive, arguments);
    text += reader.literal();
  }
  return text;
}

}  // namespace hub::platform
