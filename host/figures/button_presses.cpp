// SPDX-License-Identifier: Apache-2.0
#include "host/figures/button_presses.h"

#include <algorithm>

namespace hub::host {
namespace {

// The category and component whose events are checkpoints.
constexpr unsigned kSshbCategory = 7;
constexpr unsigned kLatencyComponent = 3;

bool is_checkpoint(const _HubProfileReport& report) {
  return report.category_id == kSshbCategory && report.component_id == kLatencyComponent &&
         report.event_id < kCheckpointCount;
}

std::size_t index_of(Checkpoint checkpoint) { return static_cast<std::size_t>(checkpoint); }

bool is_slower(const ButtonPress& one, const ButtonPress& other) { return one.wait_us() > other.wait_us(); }

}  // namespace

std::optional<std::uint64_t> ButtonPress::time_us(Checkpoint checkpoint) const {
  return times_us[index_of(checkpoint)];
}

std::optional<std::uint64_t> ButtonPress::latency_us(const Latency& latency) const {
  const auto from = time_us(latency.from);
  const auto to = time_us(latency.to);
  return from && to && *from <= *to ? std::optional(*to - *from) : std::nullopt;
}

std::optional<std::uint64_t> ButtonPress::wait_us() const {
  const Checkpoint begin = time_us(Checkpoint::kFingerOn) ? Checkpoint::kFingerOn : Checkpoint::kButtonDown;
  return latency_us({{}, {}, begin, Checkpoint::kAssetPlay});
}

PressOutcome ButtonPress::outcome() const {
  if (time_us(Checkpoint::kAssetPlay)) {
    return PressOutcome::kComplete;
  }
  if (time_us(Checkpoint::kHapticsStart)) {
    return PressOutcome::kNoAsset;
  }
  return time_us(Checkpoint::kButtonDown) ? PressOutcome::kNoHaptics : PressOutcome::kNoButton;
}

void ButtonPresses::see(const _HubProfileReport& report) {
  if (!is_checkpoint(report)) {
    return;
  }
  const auto checkpoint = static_cast<Checkpoint>(report.event_id);
  if (begins_press(checkpoint)) {
    end_press();
    open_.emplace().number = ++count_;
  }
  if (!open_) {
    ++stray_checkpoints_;
    return;
  }
  reach(checkpoint, report.timestamp);
  if (checkpoint == Checkpoint::kFingerOff) {
    end_press();
  }
}

bool ButtonPresses::begins_press(Checkpoint checkpoint) const {
  return checkpoint == Checkpoint::kFingerOn ||
         (checkpoint == Checkpoint::kButtonDown && (!open_ || open_->time_us(checkpoint)));
}

void ButtonPresses::reach(Checkpoint checkpoint, std::uint64_t time_us) {
  auto& reached = open_->times_us[index_of(checkpoint)];
  if (reached) {
    return;
  }
  reached = time_us;
  for (std::size_t row = 0; row < kLatencyCount; ++row) {
    const Latency& latency = kLatencies[row];
    const bool is_concerned = latency.from == checkpoint || latency.to == checkpoint;
    if (!is_concerned || !open_->time_us(latency.from) || !open_->time_us(latency.to)) {
      continue;
    }
    if (const auto latency_us = open_->latency_us(latency)) {
      latencies_[row].add(*latency_us);
    } else {
      ++backward_latencies_;
    }
  }
}

void ButtonPresses::end_press() {
  if (open_) {
    ended_.add(*open_);
    open_.reset();
  }
}

void ButtonPresses::Tally::add(const ButtonPress& press) {
  ++outcomes[static_cast<std::size_t>(press.outcome())];
  if (first.size() < kKept) {
    first.push_back(press);
  }
  if (press.outcome() != PressOutcome::kComplete && incomplete.size() < kKept) {
    incomplete.push_back(press);
  }
  if (press.wait_us()) {
    slowest.insert(std::upper_bound(slowest.begin(), slowest.end(), press, is_slower), press);
    slowest.resize(std::min(slowest.size(), kKept));
  }
}

ButtonPresses::Tally ButtonPresses::tally_of_all() const {
  Tally tally = ended_;
  if (open_) {
    tally.add(*open_);
  }
  return tally;
}

std::uint64_t ButtonPresses::count(PressOutcome outcome) const {
  return tally_of_all().outcomes[static_cast<std::size_t>(outcome)];
}

std::vector<ButtonPress> ButtonPresses::kept() const {
  const Tally tally = tally_of_all();
  std::vector<ButtonPress> kept;
  for (const std::vector<ButtonPress>* presses : {&tally.first, &tally.slowest, &tally.incomplete}) {
    kept.insert(kept.end(), presses->begin(), presses->end());
  }
  std::sort(kept.begin(), kept.end(),
            [](const ButtonPress& one, const ButtonPress& other) { return one.number < other.number; });
  kept.erase(std::unique(kept.begin(), kept.end(),
                         [](const ButtonPress& one, const ButtonPress& other) { return one.number == other.number; }),
             kept.end());
  return kept;
}

}  // namespace hub::host
