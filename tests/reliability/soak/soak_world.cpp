// SPDX-License-Identifier: Apache-2.0
#include "tests/reliability/soak/soak_world.h"

#include <algorithm>
#include <string>
#include <utility>

#include "VantuHUBHIDStatistics.h"
#include "corefoundation/owned.h"
#include "failures/failures_host.h"
#include "log/log_host.h"
#include "notify.h"
#include "notify/notify_host.h"
#include "state/state_host.h"

namespace hub::test {
namespace {

constexpr Usage kConsumerButton = {0x0C, 0x01};
constexpr Usage kSensor = {0xFF00, 0x03};
constexpr Usage kDebugService = {0xFF00, 0x29};
constexpr std::size_t kReportBytes = 48;
constexpr int kFailingRegistrations = 16;

// A user client of a service by name: open as long as its connection is.
class SoakClientService final : public platform::ServiceBackend {
 public:
  explicit SoakClientService(CoProcessor& co_processor) : co_processor_(co_processor) {}

  kern_return_t open_user_client(std::uint32_t, std::unique_ptr<platform::UserClient>& client) override {
    const IOReturn status = co_processor_.open();
    if (status == kIOReturnSuccess) {
      client = std::make_unique<Client>(co_processor_);
    }
    return status;
  }

 private:
  struct Client final : platform::UserClient {
    explicit Client(CoProcessor& its_co_processor) : co_processor(its_co_processor) {}
    platform::MethodResult call(const platform::MethodCall& call) override {
      platform::MethodResult result{.status = kIOReturnSuccess};
      result.status = co_processor.answer_client(call.output, result.output_bytes);
      result.output_bytes = std::min(result.output_bytes, call.output.size());  // the kernel passes on no more
      return result;
    }
    CoProcessor& co_processor;
  };

  CoProcessor& co_processor_;
};

// One reading of both clocks, as the time-sync service has it.
platform::Owned<CFMutableDictionaryRef> clock_readings() {
  platform::Owned pair(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                 &kCFTypeDictionaryValueCallBacks));
  for (const auto& [key, nanoseconds] : {std::pair{CFSTR("hub"), std::int64_t{5'000'000'000}},
                                         std::pair{CFSTR("calendar"), std::int64_t{1'700'000'000'000'000'000}}}) {
    const platform::Owned number(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &nanoseconds));
    CFDictionarySetValue(pair.get(), key, number.get());
  }
  platform::Owned properties(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                       &kCFTypeDictionaryValueCallBacks));
  CFDictionarySetValue(properties.get(), CFSTR("timesync"), pair.get());
  return properties;
}

}  // namespace

IOReturn CoProcessor::mistaken(std::span<std::byte> output, std::size_t& length) {
  constexpr IOReturn kRefusals[] = {kIOReturnUnsupported, kIOReturnNotPrivileged, kIOReturnAborted, kIOReturnNoDevice};
  ++faults_.replies;
  switch (chance_.below(4)) {
    case 0:
      length = output.size();
      return kRefusals[chance_.below(std::size(kRefusals))];
    case 1:
      length = 0;
      return kIOReturnSuccess;
    case 2:
      length = chance_.below(output.size() + 1);
      chance_.fill(output.first(length));
      return kIOReturnSuccess;
    default:
      chance_.fill(output);
      length = output.size() + chance_.below(1000);
      return kIOReturnSuccess;
  }
}

IOReturn CoProcessor::answer(std::span<std::byte> output, std::size_t& length) {
  if (makes_mistakes && chance_.one_in(8)) {
    return mistaken(output, length);
  }
  chance_.fill(output);
  length = output.size();
  return kIOReturnSuccess;
}

IOReturn CoProcessor::answer_client(std::span<std::byte> output, std::size_t& length) {
  if (makes_mistakes && chance_.one_in(8)) {
    return mistaken(output, length);
  }
  const std::size_t reports = makes_mistakes ? chance_.below(4) : 4;
  length = std::min(output.size(), reports * kReportBytes);
  chance_.fill(output.first(length));
  return kIOReturnSuccess;
}

IOReturn CoProcessor::open() {
  if (is_away || (makes_mistakes && chance_.one_in(32))) {
    ++faults_.absences;
    return is_away ? kIOReturnNoDevice : kIOReturnNotPrivileged;
  }
  return kIOReturnSuccess;
}

SoakWorld::SoakWorld(std::uint64_t seed)
    : chance(seed),
      queue_(dispatch_queue_create("plug-in", nullptr)),
      plugin_(static_cast<IOHIDSessionFilterPlugInInterface**>(
          VantuHUBHIDStatisticsFactory(kCFAllocatorDefault, kIOHIDSessionFilterPlugInTypeID))) {
  platform::use_ledger(&ledger);
  platform::set_log_recorder([this](const platform::LogMessage& message) {
    ++log_messages;
    log_bytes += message.text.size();
  });
  (*plugin_)->open(plugin_, nullptr, 0);
  (*plugin_)->scheduleWithDispatchQueue(plugin_, queue_);
  statistics_ = &register_service("statistics", {}, true);
  register_service("button", {kConsumerButton}, false);
  register_service("sensor", {kSensor}, false);
  register_service("debug", {kDebugService}, false);
  register_failing_services();
  add_named_services();  // late: the plug-in has registered everything that asks for them
}

SoakWorld::~SoakWorld() {
  settle();
  (*plugin_)->unscheduleFromDispatchQueue(plugin_, queue_);
  platform::clear_notifications();
  platform::clear_state_handlers();
  (*plugin_)->Release(plugin_);
  platform::use_ledger(nullptr);
  platform::set_log_recorder(nullptr);
  platform::clear_registry();
  dispatch_release(queue_);
}

RecordedService& SoakWorld::register_service(const char* name, std::set<Usage> usages, bool with_statistics) {
  ServiceScript script;
  script.name = name;
  script.usages = std::move(usages);
  script.levels_above = 3;
  script.answer = [this](std::uint32_t, std::span<const std::byte>, std::span<std::byte> output, std::size_t& length) {
    return co_processor.answer(output, length);
  };
  if (with_statistics) {
    script.supports_statistics = platform::Owned<CFTypeRef>(CFRetain(kCFBooleanTrue));
  }
  services_.push_back(std::make_unique<RecordedService>(std::move(script), questions_, kernel_));
  (*plugin_)->registerService(plugin_, services_.back()->service.get());
  return *services_.back();
}

// What is obtained for a service that is dropped is kept by promise: so this is done before anything is counted.
void SoakWorld::register_failing_services() {
  for (int number = 0; number < kFailingRegistrations; ++number) {
    auto script = ServiceScript{};
    script.usages = {kConsumerButton};
    script.levels_above = number % 4;
    script.driver.exists = number % 3 != 0;
    script.device.gives_interface = number % 5 != 0;
    services_.push_back(std::make_unique<RecordedService>(std::move(script), questions_, kernel_));
    platform::plan_failures({.first = 1 + chance.below(24)});
    (*plugin_)->registerService(plugin_, services_.back()->service.get());
    platform::end_failures();
  }
}

void SoakWorld::add_named_services() {
  for (const char* name : {"NEB_profile", "VantuHUBProfileDriver"}) {
    const auto entry = platform::add_registry_entry(platform::kNoParent, name, "Client", nullptr);
    platform::set_service_backend(entry, std::make_shared<SoakClientService>(co_processor));
  }
  platform::add_registry_entry(platform::kNoParent, "timesync", "VantuHUBTimesync", clock_readings().get());
}

void SoakWorld::deliver(std::span<std::byte> records, std::uint64_t count) {
  dispatch_sync(queue_, [&] { statistics_->device->callback(statistics_->device->refcon, records.data(), count); });
}

void SoakWorld::take_services_away(bool entirely) {
  if (entirely) {
    platform::clear_registry();
    registry_is_cleared_ = true;
    ++faults.absences;
  }
  co_processor.is_away = true;
}

void SoakWorld::bring_services_back() {
  if (registry_is_cleared_) {
    add_named_services();
    registry_is_cleared_ = false;
  }
  co_processor.is_away = false;
}

void SoakWorld::post_fault() {
  notify_post("com.vantu.vantuhubhidstatistics.fault");
  settle();
}

void SoakWorld::settle() {
  dispatch_sync(queue_, [] {});
  questions_.clear();
  kernel_.clear();
}

}  // namespace hub::test
