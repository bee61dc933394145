// SPDX-License-Identifier: Apache-2.0
// Scenarios of snapshots, each handler's with everything there, and of lines of all kinds of reports.
#include <unistd.h>

#include <array>
#include <cstdio>
#include <thread>

#include "profile/profile_exports.h"
#include "tests/reliability/calls/failing_calls_consequences.h"
#include "tests/reliability/calls/failing_calls_world.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using platform::Fallible;

constexpr unsigned kCategories = 14;  // one more than there are
constexpr unsigned kTypes = 21;

std::string failed_check(const std::string& expression, int line, const std::string& prefix = "",
                         const std::string& text = "", const std::string& value = "0") {
  return "default: " + prefix + ": AssertMacros: " + expression + ", " + text +
         " file: VantuHUBHIDPlugins/VantuHUBHIDStatistics/VantuHUBHIDStatistics, line: " + std::to_string(line) +
         " value:" + value + "\n";
}

// Of a kernel call; the failure's code and text are filled in.
std::string failed_call(int line) { return failed_check("kr == 0 ", line, "", "{text}", "{code}"); }

Consequence no_snapshot(const std::string& log) {
  return changes({{"snapshot", "none"}, {"entry *", kGone}, {"line *", kGone}, {"log", log}});
}

std::string line_key(const std::string& line) {
  const std::string item = "'sequence_num':";
  const std::size_t begin = line.find_first_not_of(' ', line.find(item) + item.size());
  return "line " + line.substr(begin, line.find(',', begin) - begin);
}

void ask_handler(World& world) {
  platform::OwnedStateData answer = platform::ask_state_handler(world.handler, OS_STATE_API_REQUEST);
  world.record = answer.release();
}

void observe_snapshot(World& world, Outcome& seen) {
  seen["snapshot"] = world.record != nullptr ? world.record->title : "none";
  if (world.record == nullptr) {
    return;
  }
  const Snapshot snapshot(0, *world.record);
  if (std::holds_alternative<platform::PropertyListArray>(snapshot.contents.value)) {
    for (const std::string& line : snapshot.lines()) {
      seen[line_key(line)] = line;
    }
    return;
  }
  for (const auto& [path, value] : snapshot.entries()) {
    seen["entry " + path] = value;
  }
}

Scenario capture_of(std::string name, std::set<Usage> usages, std::size_t handler) {
  Scenario scenario{
      .name = "capture." + std::move(name), .act = ask_handler, .observe = observe_snapshot, .services = 1};
  scenario.consumer_buttons = usages.contains(kConsumerButton) ? 1 : 0;
  scenario.prepare = [usages = std::move(usages), handler](World& world) {
    world.start();
    world.instance->register_service(world.add(usages, false));
    world.handler = handler;
  };
  scenario.when_all_fail = {{"snapshot", {"none"}}};
  return scenario;
}

// --- buttons

Scenario statistics_capture() {
  Scenario scenario = capture_of("sshb_statistics", {kConsumerButton}, 0);
  scenario.promises =
      each({Fallible::kCFNumberCreate, Fallible::kCFStringCreateWithCString}, "an entry is missing",
           one_is_lost("entry ")) +
      std::vector<Promise>{
          {Fallible::kCFDictionaryCreateMutable, "no snapshot, which is told", no_snapshot(failed_check("state", 527))},
          {Fallible::kCFPropertyListCreateData, "no snapshot", no_snapshot("")},
          {Fallible::kCFAllocatorAllocate, "no snapshot", no_snapshot("")},
      };
  for (const Fallible function : {Fallible::kCFDictionaryCreateMutable, Fallible::kCFStringCreateWithCString}) {
    for (const char* part : {"last button press", "last button press/click 1", "last button press/click 2",
                             "last button press/click 3", "latency"}) {
      scenario.promises.push_back(
          {function, std::string(part) + " is missing", changes({{"entry " + std::string(part) + "/*", kGone}})});
    }
  }
  // Of the value that is set twice the first one is there when the second one is not, and the other way round.
  for (const Fallible function : {Fallible::kCFNumberCreate, Fallible::kCFStringCreateWithCString}) {
    scenario.promises.push_back({function, "the earlier of two values of a key is missing", nothing()});
    scenario.promises.push_back(
        {function, "the later of two values of a key is missing", [](const Known& known, const Failure&) {
           std::vector<Outcome> outcomes;
           for (int click = 0; click < 3; ++click) {
             std::int64_t down = 0;
             for (std::size_t at = 8; at-- > 0;) {  // of a reply that counts up
               down =
                   down << 8 | static_cast<std::int64_t>((0x88U + 16U * static_cast<unsigned>(click) + at) % 127 + 1);
             }
             Outcome outcome = known.undisturbed;
             outcome["entry last button press/click " + std::to_string(click + 1) + "/play asset ts"] =
                 std::to_string(down);
             outcomes.push_back(std::move(outcome));
           }
           return outcomes;
         }});
  }
  scenario.when_all_fail.push_back({"entry ", {kAny}});
  scenario.lines_when_all_fail = {failed_check("state", 527)};
  return scenario;
}

Scenario assets_capture() {
  Scenario scenario = capture_of("sshb_assets", {kConsumerButton}, 1);
  scenario.promises = {
      {Fallible::kCFStringCreateWithCString, "an entry is missing", one_is_lost("entry ")},
      {Fallible::kCFDictionaryCreateMutable, "no snapshot, which is told", no_snapshot(failed_check("stateDict", 636))},
      {Fallible::kCFPropertyListCreateData, "no snapshot", no_snapshot("")},
  };
  scenario.lines_when_all_fail = {failed_check("stateDict", 636)};
  return scenario;
}

// --- sensors

Scenario sensor_capture() {
  Scenario scenario = capture_of("sensor_info", {kSensor}, 0);
  const auto counters_of = [](int events, int enqueued, int dropped, const std::string& times) {
    return "'" + std::to_string(events) + " [enqueued=" + std::to_string(enqueued) +
           " dropped=" + std::to_string(dropped) + "; " + times + "]\n'";
  };
  const std::string times = "event_delta=1.500000 dropped_delta=0.000250";
  const std::string no_times = "event_delta=0.000000 dropped_delta=0.000000";
  scenario.promises =
      each({Fallible::kCFNumberCreate, Fallible::kCFStringCreateWithCString}, "an entry is missing",
           one_is_lost("entry ")) +
      std::vector<Promise>{
          {Fallible::kCFDictionaryCreateMutable, "no snapshot, which is told", no_snapshot(failed_check("state", 914))},
          {Fallible::kCFPropertyListCreateData, "no snapshot", no_snapshot("")},
          {Fallible::kIORegistryEntryGetParentEntry, "no snapshot, which is told",
           no_snapshot(failed_check("kr == 0 ", 921, "{text}"))},
          {Fallible::kIORegistryEntryGetName, "an empty name", changes({{"entry sensorType", "''"}})},
          {Fallible::kIORegistryEntryGetChildEntry, "no counters", changes({{"entry APEvents", kGone}})},
          {Fallible::kIORegistryEntryCreateCFProperty, "no count of events",
           changes({{"entry APEvents", counters_of(-1, 6, 7, times)}})},
          {Fallible::kIORegistryEntryCreateCFProperty, "no counters of the queue",
           changes({{"entry APEvents", counters_of(5, -1, -1, no_times)}})},
          {Fallible::kIOObjectRelease, "nothing", nothing()},
      };
  scenario.numbers_of_the_kernel = {"_num_events", "EnqueueEventCount", "DroppedEventCount", "LastEventTime",
                                    "LastDroppedEventTime"};
  for (const std::string& number : scenario.numbers_of_the_kernel) {
    scenario.promises.push_back(
        {Fallible::kCFNumberGetValue, number + " is as if it were not there", one_lacks("entry APEvents", number)});
  }
  scenario.when_all_fail.push_back({"entry sensorType", {"''"}});
  scenario.when_all_fail.push_back({"entry APEvents", {kAny}});
  scenario.lines_when_all_fail = {failed_check("state", 914), failed_check("kr == 0 ", 921)};
  return scenario;
}

// --- raw debug data and lines

// What fails while a line's times are looked up.
std::vector<Promise> line_promises() {
  const Consequence no_calendar_time = one_becomes("line ", without_calendar_time);
  std::vector<Promise> promises =
      each({Fallible::kIOServiceMatching, Fallible::kIOServiceGetMatchingService,
            Fallible::kIORegistryEntryCreateCFProperty, Fallible::kCFDictionaryCreateMutable,
            Fallible::kCFStringCreateWithCString},
           "a line has no calendar time", no_calendar_time) +
      std::vector<Promise>{
          {Fallible::ksysctl, "a line has no boot time", one_becomes("line ", without_boot_time)},
          {Fallible::kCFStringCreateWithCString, "a line is missing", one_is_lost("line ")},
          {Fallible::kIOObjectRelease, "nothing", nothing()},
      };
  for (const char* number : {"hub", "calendar"}) {
    promises.push_back({Fallible::kCFNumberGetValue, std::string("a line's time is made as if there were no ") + number,
                        one_lacks("line ", number)});
  }
  return promises;
}

std::string bytes_of_reports(unsigned count) {
  std::string bytes;
  for (unsigned number = 1; number <= count; ++number) {
    const _HubProfileReport one =
        report(number, 1, 1, 0).sequence(number).time_us(std::uint64_t{1'000'000} * number).count_up();
    bytes.append(reinterpret_cast<const char*>(&one), sizeof one);
  }
  return bytes;
}

struct SourceLines {
  const char* name;
  std::size_t handler;
  std::vector<std::array<int, 3>> lines;  // without a service, not opened, call failed
};
const SourceLines kSources[] = {
    {"raw_debug_firmware", 0, {{1215, 1218, 1222}, {1241, 1244, 1248}}},
    {"raw_debug_driver", 48, {{1190, 1193, 1197}}},
    {"raw_debug_errors", 56, {{1190, 1193, 1197}}},
};

Scenario raw_debug_capture(const SourceLines& source) {
  Scenario scenario = capture_of(source.name, {kDebugService}, source.handler);
  scenario.prepare = [prepare = scenario.prepare](World& world) {
    prepare(world);
    world.add_clocks();
    world.add_raw_debug_sources(bytes_of_reports(4));
  };
  scenario.promises =
      line_promises() +
      each({Fallible::kCFArrayCreateMutable, Fallible::kCFPropertyListCreateData}, "no snapshot", no_snapshot("")) +
      std::vector<Promise>{{Fallible::kIOServiceClose, "nothing", nothing()},
                           {Fallible::kCFAllocatorAllocate, "a line is not added", one_is_lost("line ")}};
  for (const auto& [no_service, not_opened, not_called] : source.lines) {
    for (const Fallible function : {Fallible::kIOServiceNameMatching, Fallible::kIOServiceGetMatchingService,
                                    Fallible::kCFDictionaryCreateMutable, Fallible::kCFStringCreateWithCString}) {
      scenario.promises.push_back(
          {function, "no service, which is told", no_snapshot(failed_check("service", no_service))});
    }
    scenario.promises.push_back(
        {Fallible::kIOServiceOpen, "no snapshot, which is told", no_snapshot(failed_call(not_opened))});
    scenario.promises.push_back(
        {Fallible::kIOConnectCallMethod, "no snapshot, which is told", no_snapshot(failed_call(not_called))});
    for (const int line : {no_service, not_opened, not_called}) {
      scenario.lines_when_all_fail.push_back(failed_check("service", line));
      // No text, for the call that gives it fails, too.
      scenario.lines_when_all_fail.push_back(
          replaced(replaced(failed_call(line), "{text}", ""), "{code}", line == not_opened ? "e00002c1" : "e00002eb"));
    }
  }
  scenario.when_all_fail.push_back({"line ", {kAny}});
  scenario.numbers_of_the_kernel = {"hub", "calendar"};
  return scenario;
}

// Every type of a category, at a payload that counts up.
void describe_all_types(World& world, unsigned category) {
  std::thread([&] {
    for (unsigned type = 0; type < kTypes; ++type) {
      const _HubProfileReport one = report(category, 1, 1, type).sequence(type).time_us(1'000'000).count_up();
      if (const CFStringRef description = CopyProfileDescription(&one)) {
        world.descriptions.push_back(description);
      }
    }
  }).join();
}

void observe_lines(World& world, Outcome& seen) {
  for (const CFStringRef description : world.descriptions) {
    const std::string line = CFStringGetCStringPtr(description, kCFStringEncodingUTF8);
    seen[line_key(line)] = line;
  }
}

Scenario decoding_of(unsigned category) {
  Scenario scenario{.name = std::string("decode.category_") + (category < 10 ? "0" : "") + std::to_string(category)};
  scenario.prepare = [](World& world) { world.add_clocks(); };
  scenario.act = [category](World& world) { describe_all_types(world, category); };
  scenario.observe = observe_lines;
  scenario.promises = line_promises();
  scenario.when_all_fail = {{"line ", {kAny}}};
  scenario.numbers_of_the_kernel = {"hub", "calendar"};
  scenario.instances = 0;
  return scenario;
}

// Standard output goes elsewhere while lines are printed, one of them beyond ASCII.
void print_lines(World& world) {
  std::FILE* file = std::tmpfile();
  const int output = dup(STDOUT_FILENO);
  std::fflush(stdout);
  dup2(fileno(file), STDOUT_FILENO);
  std::thread([] {
    for (const auto& [type, text] : {std::pair{0U, "plain"}, {9U, "gr\u00F6\u00DFe"}}) {
      const _HubProfileReport one = report(2, 0, type, 8).sequence(type).text(19, text);
      hub_profile_print(&one);
    }
  }).join();
  std::fflush(stdout);
  dup2(output, STDOUT_FILENO);
  close(output);
  std::rewind(file);
  std::array<char, 4096> line;
  while (std::fgets(line.data(), line.size(), file) != nullptr) {
    world.questions.emplace_back(line.data());
  }
  std::fclose(file);
}

Scenario printing() {
  Scenario scenario = decoding_of(2);
  scenario.name = "print";
  scenario.act = print_lines;
  scenario.observe = [](World& world, Outcome& seen) {
    for (const std::string& line : world.questions) {
      seen[line_key(line)] = line;
    }
  };
  scenario.promises = line_promises() + std::vector<Promise>{
                                            {Fallible::kCFStringGetCStringPtr, "the text is converted", nothing()},
                                            {Fallible::kCFStringGetCString, "a line is missing", one_is_lost("line ")},
                                        };
  return scenario;
}

}  // namespace

std::vector<Scenario> capture_scenarios() {
  std::vector<Scenario> scenarios = {statistics_capture(), assets_capture(), sensor_capture()};
  for (const SourceLines& source : kSources) {
    scenarios.push_back(raw_debug_capture(source));
  }
  return scenarios;
}

std::vector<Scenario> decoding_scenarios() {
  std::vector<Scenario> scenarios = {printing()};
  for (unsigned category = 0; category < kCategories; ++category) {
    scenarios.push_back(decoding_of(category));
  }
  return scenarios;
}

}  // namespace hub::test
