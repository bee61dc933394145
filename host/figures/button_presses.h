// SPDX-License-Identifier: Apache-2.0
// Presses of the solid-state button, from the checkpoints that the firmware reports on the way from a finger to the
// haptics that answer it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "host/figures/duration_histogram.h"
#include "profile/profile_report.h"

namespace hub::host {

// The checkpoints, by the event id of their records.
enum class Checkpoint : std::uint8_t {
  kFingerOn,
  kFingerOff,
  kButtonDown,
  kButtonUp,
  kAmplifierOn,
  kHapticsStart,
  kAmplifierReady,
  kAssetPlay,
};

inline constexpr std::size_t kCheckpointCount = 8;

struct CheckpointName {
  Checkpoint checkpoint;
  std::string_view key;      // in JSON
  std::string_view heading;  // in text
};

// In the order in which a press comes by them.
inline constexpr CheckpointName kCheckpointNames[kCheckpointCount] = {
    {Checkpoint::kFingerOn, "finger_on", "finger on"},
    {Checkpoint::kButtonDown, "button_down", "button down"},
    {Checkpoint::kAmplifierOn, "arc_turn_on", "ARC turn on"},
    {Checkpoint::kHapticsStart, "start_haptics", "start haptics"},
    {Checkpoint::kAmplifierReady, "arc_ready", "ARC ready"},
    {Checkpoint::kAssetPlay, "play_asset", "play asset"},
    {Checkpoint::kButtonUp, "button_up", "button up"},
    {Checkpoint::kFingerOff, "finger_off", "finger off"},
};

// A time between two checkpoints of a press.
struct Latency {
  std::string_view key;      // in JSON
  std::string_view heading;  // in text
  Checkpoint from;
  Checkpoint to;
};

inline constexpr Latency kLatencies[] = {
    {"finger_to_button", "finger-button", Checkpoint::kFingerOn, Checkpoint::kButtonDown},
    {"finger_to_haptics", "finger-haptics", Checkpoint::kFingerOn, Checkpoint::kHapticsStart},
    {"finger_to_asset", "finger-asset", Checkpoint::kFingerOn, Checkpoint::kAssetPlay},
    {"button_to_asset", "button-asset", Checkpoint::kButtonDown, Checkpoint::kAssetPlay},
};

inline constexpr std::size_t kLatencyCount = std::size(kLatencies);

// How far a press came.
enum class PressOutcome : std::uint8_t {
  kComplete,   // the haptics played
  kNoAsset,    // haptics started and nothing played
  kNoHaptics,  // the button went down and no haptics started
  kNoButton,   // a finger came and the button did not go down
};

struct PressOutcomeName {
  PressOutcome outcome;
  std::string_view key;      // in JSON
  std::string_view heading;  // in text
};

inline constexpr PressOutcomeName kPressOutcomes[] = {
    {PressOutcome::kComplete, "complete", "complete"},
    {PressOutcome::kNoAsset, "no_asset", "no asset"},
    {PressOutcome::kNoHaptics, "no_haptics", "no haptics"},
    {PressOutcome::kNoButton, "no_button", "no button"},
};

inline constexpr std::size_t kPressOutcomeCount = std::size(kPressOutcomes);

// The checkpoints of one press, in microseconds of the co-processor's clock. Of each kind the first one counts.
struct ButtonPress {
  std::uint64_t number = 0;  // in the capture, from 1
  std::array<std::optional<std::uint64_t>, kCheckpointCount> times_us{};

  [[nodiscard]] std::optional<std::uint64_t> time_us(Checkpoint checkpoint) const;

  // Nothing when one of both is missing, or the clock went backwards between them.
  [[nodiscard]] std::optional<std::uint64_t> latency_us(const Latency& latency) const;

  // From its first checkpoint, finger or button, to the haptics; nothing when they did not play.
  [[nodiscard]] std::optional<std::uint64_t> wait_us() const;

  [[nodiscard]] PressOutcome outcome() const;
};

// Follows the records of a capture in their order. A press begins with a finger, or with a button that goes down
// without a finger of its own, and ends with the finger's going or where the next one begins. Memory is bounded: all
// presses are in the figures, and some are kept.
class ButtonPresses {
 public:
  // How many are kept of each kind: the first, the slowest to be answered, the first that are not complete.
  static constexpr std::size_t kKept = 10;

  // Whatever is no checkpoint is left alone. Throws std::bad_alloc.
  void see(const _HubProfileReport& report);

  // Of all presses, one that is not over yet among them.
  [[nodiscard]] std::uint64_t count() const { return count_; }
  [[nodiscard]] std::uint64_t count(PressOutcome outcome) const;

  // By the row of kLatencies. Of all presses that have it.
  [[nodiscard]] const DurationHistogram& latency(std::size_t row) const { return latencies_[row]; }

  // Checkpoints that came outside of a press and belong to none.
  [[nodiscard]] std::uint64_t stray_checkpoints() const { return stray_checkpoints_; }

  // Latencies that are not known because the clock went backwards.
  [[nodiscard]] std::uint64_t backward_latencies() const { return backward_latencies_; }

  // The presses that are kept, each once, by number. Throws std::bad_alloc.
  [[nodiscard]] std::vector<ButtonPress> kept() const;

 private:
  struct Tally {
    std::array<std::uint64_t, kPressOutcomeCount> outcomes{};
    std::vector<ButtonPress> first;
    std::vector<ButtonPress> slowest;
    std::vector<ButtonPress> incomplete;

    void add(const ButtonPress& press);
  };

  [[nodiscard]] bool begins_press(Checkpoint checkpoint) const;
  void end_press();
  void reach(Checkpoint checkpoint, std::uint64_t time_us);
  [[nodiscard]] Tally tally_of_all() const;

  std::uint64_t count_ = 0;
  std::uint64_t stray_checkpoints_ = 0;
  std::uint64_t backward_latencies_ = 0;
  std::array<DurationHistogram, kLatencyCount> latencies_;
  std::optional<ButtonPress> open_;
  Tally ended_;
};

}  // namespace hub::host
