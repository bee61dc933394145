// SPDX-License-Identifier: Apache-2.0
// Any bytes are a property list or an error. One that was read can be written, and then read and written to the same
// bytes.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "tests/support/property_list_objects.h"

namespace {

using namespace hub;
using platform::PropertyListError;
using platform::PropertyListValue;

void require(bool holds, const char* promise) {
  if (!holds) {
    std::fprintf(stderr, "%s\n", promise);
    std::abort();
  }
}

std::optional<PropertyListValue> read(std::span<const std::byte> bytes) try {
  return platform::read_property_list(bytes);
} catch (const PropertyListError& error) {
  require(std::string_view(error.what()).starts_with("offset "), "an error begins with its offset");
  return std::nullopt;
}

std::size_t values_in(const PropertyListValue& value) {
  std::size_t count = 1;
  if (const auto* values = std::get_if<platform::PropertyListArray>(&value.value)) {
    for (const PropertyListValue& member : *values) {
      count += values_in(member);
    }
  } else if (const auto* members = std::get_if<platform::PropertyListDictionary>(&value.value)) {
    for (const platform::PropertyListMember& member : *members) {
      count += values_in(member.value);
    }
  }
  return count;
}

// What few bytes with many shared values stand for takes long and shows nothing new.
constexpr std::size_t kMostRewritten = 10000;

void check(const PropertyListValue& value) {
  if (values_in(value) > kMostRewritten) {
    return;
  }
  const std::string written = test::written(value);
  const std::optional<PropertyListValue> again = read(std::as_bytes(std::span(written)));
  require(again.has_value(), "what was written can be read");
  require(test::written(*again) == written, "what was read back is the same");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*words*/) { return 0; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (const std::optional<PropertyListValue> value = read(std::as_bytes(std::span(data, size)))) {
    check(*value);
  }
  return 0;
}
