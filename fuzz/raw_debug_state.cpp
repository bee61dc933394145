// SPDX-License-Identifier: Apache-2.0
// Raw debug data: whatever the firmware and its driver answer, there is no snapshot or one with the line of each report
// that came and has one. The first byte of the input says which handler is asked, the others are the replies.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "fuzz/plugin_world.h"
#include "profile/profile_exports.h"
#include "system/system_host.h"

namespace {

using namespace hub;
using fuzz::require;

// The handlers by what they ask, in the order of their registration.
struct Source {
  std::size_t handlers;
  const char* name;
};
constexpr Source kSources[] = {{48, "fw"}, {8, "kext"}, {48, "err"}};

fuzz::World* world = nullptr;

std::string title_of(std::size_t handler, std::size_t reports) {
  const Source* source = kSources;
  for (; handler >= source->handlers; ++source) {
    handler -= source->handlers;
  }
  char title[128];
  std::snprintf(title, sizeof title, "NEB Profile %zu ;count=%zu ;type=%s", handler, reports, source->name);
  return title;
}

// The reports that came are those of the last answer.
void check(std::size_t handler, const os_state_data_s* record) {
  const fuzz::Replies::Answered& answered = world->replies.last();
  const std::size_t count = std::min(answered.length, answered.bytes.size()) / sizeof(_HubProfileReport);
  const bool is_due = answered.status == kIOReturnSuccess && count > 0;
  require((record != nullptr) == is_due, "there is a snapshot when reports came");
  if (record == nullptr) {
    return;
  }
  const fuzz::Snapshot snapshot = fuzz::read_back(*record);
  require(snapshot.title == title_of(handler, count), "the title has number, count and source", snapshot.title);
  const auto& lines = std::get<platform::PropertyListArray>(snapshot.contents.value);
  auto line = lines.begin();
  for (std::size_t index = 0; index < count; ++index) {
    _HubProfileReport report;
    std::memcpy(&report, answered.bytes.data() + index * sizeof report, sizeof report);
    if (const platform::Owned<CFStringRef> text(CopyProfileDescription(&report)); text.get() != nullptr) {
      require(line != lines.end(), "each report that has a line is there");
      require(std::get<std::string>(line->value) == CFStringGetCStringPtr(text.get(), kCFStringEncodingUTF8),
              "a line is the report's", std::get<std::string>(line->value));
      ++line;
    }
  }
  require(line == lines.end(), "there are no other lines");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*words*/) {
  platform::fail_boot_time(ENOENT);
  world = new fuzz::World;  // never destroyed, as what the plug-in keeps of it
  world->offer_clients("NEB_profile");
  world->offer_clients("VantuHUBProfileDriver");
  world->offer({{0xFF00, 0x29}});
  const _HubProfileReport report{};
  CFRelease(CopyProfileDescription(&report));  // what a thread keeps from its first line on
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const std::size_t handler = input.number<std::uint8_t>() % platform::state_handlers();
  world->replies.begin(input.rest());
  fuzz::ask_handler(handler, [&](const os_state_data_s* record) { check(handler, record); });
  return 0;
}
