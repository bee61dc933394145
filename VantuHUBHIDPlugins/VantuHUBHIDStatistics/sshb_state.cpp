// SPDX-License-Identifier: Apache-2.0
#include "sshb_state.h"

#include <cstdint>
#include <cstring>
#include <span>

#include "VantuHUBHIDStatistics.h"
#include "little_endian.h"
#include "plugin_log.h"
#include "state_frame.h"

namespace {

using Bytes = std::span<const std::byte>;

// A field of the statistics that is reported: 64-bit, except where it is named otherwise below.
struct Row {
  std::size_t at;
  const char* key;
};

constexpr Row kPressRows[] = {
    {0x00, "finger on ts"},
    {0x10, "start haptic ts"},
    {0x18, "finger detect to button down"},
};

// Those of the first click; the next click's stand 16 bytes further.
// Kept: "play asset ts" is written for the down edge and then for the up edge, which stays.
constexpr std::size_t kClicks = 3;
constexpr std::size_t kClickStride = 16;
constexpr Row kClickRows[] = {
    {0xB8, "button down to play asset"}, {0x58, "button down ts"}, {0x88, "play asset ts"},
    {0xC0, "button up to play asset"},   {0x60, "button up ts"},   {0x90, "play asset ts"},
};

constexpr Row kLatencyRows[] = {
    {0x11A, "min_nz_latency_FD_to_BD"},     {0x122, "max_latency_FD_to_BD"}, {0x12A, "min_nz_latency_BC_to_PlayAsset"},
    {0x132, "max_latency_BC_to_PlayAsset"}, {0x13A, "min_latency_Total"},    {0x142, "max_latency_Total"},
};

constexpr std::size_t kClickCountAt = 0xE9;  // 32 bits: the count, above a bit that is not reported
constexpr std::size_t kSecondScanAt = 0x10A;
constexpr std::size_t kTurtleScansAt = 0x112;  // 32 bits
constexpr std::size_t kFingerOffAt = 0x08;

void addField(CFMutableDictionaryRef dictionary, Bytes statistics, const Row& row) {
  addNumber64(dictionary, row.key, static_cast<std::int64_t>(load_le<std::uint64_t>(statistics, row.at)));
}

void addFields(CFMutableDictionaryRef dictionary, Bytes statistics, std::span<const Row> rows) {
  for (const Row& row : rows) {
    addField(dictionary, statistics, row);
  }
}

// Stores a dictionary in another; nothing when there is no memory for its key.
void addDictionary(CFMutableDictionaryRef dictionary, const char* key, CFDictionaryRef value) {
  const OwnedObject name(CFStringCreateWithCString(kCFAllocatorDefault, key, kCFStringEncodingUTF8));
  if (name.get() != nullptr) {
    CFDictionarySetValue(dictionary, name.get(), value);
  }
}

void addClick(CFMutableDictionaryRef press, Bytes statistics, std::size_t click) {
  const auto dictionary = createStateDictionary();
  if (dictionary.get() == nullptr) {
    return;
  }
  addFields(dictionary.get(), statistics.subspan(click * kClickStride), kClickRows);
  addDictionary(press, FormattedText<16>("click %u", static_cast<unsigned>(click + 1)).get(), dictionary.get());
}

void addLastPress(CFMutableDictionaryRef state, Bytes statistics) {
  const auto press = createStateDictionary();
  if (press.get() == nullptr) {
    return;
  }
  addNumber32(press.get(), "click count",
              static_cast<std::int32_t>(load_le<std::uint32_t>(statistics, kClickCountAt) >> 1U));
  addFields(press.get(), statistics, kPressRows);
  for (std::size_t click = 0; click < kClicks; ++click) {
    addClick(press.get(), statistics, click);
  }
  addField(press.get(), statistics, {kSecondScanAt, "second scan ts"});
  addNumber32(press.get(), "turtle scans",
              static_cast<std::int32_t>(load_le<std::uint32_t>(statistics, kTurtleScansAt)));
  addField(press.get(), statistics, {kFingerOffAt, "finger off ts"});
  addDictionary(state, "last button press", press.get());
}

void addLatency(CFMutableDictionaryRef state, Bytes statistics) {
  const auto latency = createStateDictionary();
  if (latency.get() == nullptr) {
    return;
  }
  addFields(latency.get(), statistics, kLatencyRows);
  addDictionary(state, "latency", latency.get());
}

// The assets: for each speed one entry a click state, packed.
//   0  1  enable
//   1  4  gain, signed 16.16
//   5  8  min, signed
//  13  8  max, signed
//  21  4  slot, signed
//  25  4  not reported
constexpr std::size_t kAssetLength = 29;
constexpr const char* kSpeeds[] = {"Slow", "Medium", "Fast"};

// Kept: the firmware has one state more than there are names, and its entry is reported under "(null)".
constexpr const char* kClickStates[] = {
    "SingleDown",  "SingleUp",     "DoubleDown",  "DoubleUp",     "TripleDown",  "TripleUp",
    "SingleTapOn", "SingleTapOff", "DoubleTapOn", "DoubleTapOff", "TripleTapOn", "TripleTapOff",
    "DeepDown",    "DeepUp",       "LongPress",   "LongPressUp",  "(null)",
};
constexpr std::size_t kAssetsLength = std::size(kSpeeds) * std::size(kClickStates) * kAssetLength;
static_assert(kAssetsLength == 1479 && kAssetsLength <= kSSHBAssets.length);

void addAsset(CFMutableDictionaryRef state, const char* speed, const char* clickState, Bytes asset) {
  const auto gain = static_cast<std::int32_t>(load_le<std::uint32_t>(asset, 1));
  const FormattedText<128> value(
      "enable=%d slot=%d gain=%f min=%lld max=%lld", static_cast<int>(load_le<std::uint8_t>(asset, 0)),
      static_cast<int>(load_le<std::uint32_t>(asset, 21)), static_cast<double>(gain) * 0x1p-16,
      static_cast<long long>(load_le<std::uint64_t>(asset, 5)),
      static_cast<long long>(load_le<std::uint64_t>(asset, 13)));
  addString(state, FormattedText<64>("%s-%s", speed, clickState).get(), value.get());
}

}  // namespace

CFMutableDictionaryRef copySSHBStatistics(const _SSHBLatencyStatsV2& statistics) {
  auto state = createStateDictionary();
  if (state.get() == nullptr) {
    logAssertion({.expression = "state", .line = 527});
    return nullptr;
  }
  addLastPress(state.get(), statistics.bytes);
  addLatency(state.get(), statistics.bytes);
  return state.release();
}

CFMutableDictionaryRef copySSHBAssets(const void* reply, std::size_t length) {
  if (length < kAssetsLength) {
    logAssertion({.expression = "propertyLength >= sizeof(assets)", .line = 632});
    return nullptr;
  }
  auto state = createStateDictionary(std::size(kSpeeds) * std::size(kClickStates));
  if (state.get() == nullptr) {
    logAssertion({.expression = "stateDict", .line = 636});
    return nullptr;
  }
  Bytes assets(static_cast<const std::byte*>(reply), kAssetsLength);
  for (const char* speed : kSpeeds) {
    for (const char* clickState : kClickStates) {
      addAsset(state.get(), speed, clickState, assets.first<kAssetLength>());
      assets = assets.subspan(kAssetLength);
    }
  }
  return state.release();
}

os_state_data_t VantuHUBHIDStatistics::stateHandler_SSHBStats(os_state_hints_t, ServiceContext* context) {
  _SSHBLatencyStatsV2 statistics{};
  if (getHubProperty(context, kSSHBLatencyStats.id, statistics.bytes.data(), statistics.bytes.size(), nullptr) !=
      kIOReturnSuccess) {
    return nullptr;
  }
  const OwnedObject state(copySSHBStatistics(statistics));
  return state.get() != nullptr ? copyStateData(state.get(), "SSHB Statistics") : nullptr;
}

os_state_data_t VantuHUBHIDStatistics::stateHandler_SSHBAssets(os_state_hints_t, ServiceContext* context) {
  std::array<std::byte, kSSHBAssets.length> reply{};
  std::size_t length = 0;
  if (getHubProperty(context, kSSHBAssets.id, reply.data(), reply.size(), &length) != kIOReturnSuccess) {
    return nullptr;
  }
  const OwnedObject state(copySSHBAssets(reply.data(), std::min(length, reply.size())));
  return state.get() != nullptr ? copyStateData(state.get(), "SSHB assets") : nullptr;
}
