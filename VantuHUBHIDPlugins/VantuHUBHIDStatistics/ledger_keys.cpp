// SPDX-License-Identifier: Apache-2.0
#include "ledger_keys.h"

// The aggregated data of all devices is filed under exactly these texts.
// Kept: the doubled "com." of 25 and the spelling of "approched" in 30 and 31.
// clang-format off
constexpr StatLedgerKeyName kStatLedgerKeyNames[] = {
    { 0, "com.vantu.neb.button.click.count"},
    { 1, "com.vantu.neb.button.single_click.count"},
    { 2, "com.vantu.neb.button.double_click.count"},
    { 3, "com.vantu.neb.button.triple_click.count"},
    { 4, "com.vantu.neb.button.long_press.count"},
    { 5, "com.vantu.neb.button.touch_with_click.count"},
    { 6, "com.vantu.neb.button.touch_no_click.count"},
    { 7, "com.vantu.neb.button.click.pico"},
    { 8, "com.vantu.neb.button.touch.pico"},
    { 9, "com.vantu.neb.button.click_to_pico.time"},
    {10, "com.vantu.neb.button.touch_to_pico.time"},
    {11, "com.vantu.neb.button.click.duration"},
    {12, "com.vantu.neb.button.touch.duration"},
    {13, "com.vantu.neb.button.touch_to_first_click.time"},
    {14, "com.vantu.neb.button.touch_to_last_unclick.time"},
    {15, "com.vantu.neb.button.first_click_to_last_unclick.time"},
    {16, "com.vantu.neb.button.first_click_to_untouch.time"},
    {17, "com.vantu.neb.button.last_unclick_to_untouch.time"},
    {18, "com.vantu.neb.button.critical_error.count"},
    {19, "com.vantu.neb.button.timeout.count"},

    {20, "com.vantu.neb.prox.event.ext_bl_capture.count"},
    {21, "com.vantu.neb.prox.event.smudge_timeout.bh.count"},
    {22, "com.vantu.neb.prox.event.smudge_timeout.nonbh.count"},
    {23, "com.vantu.neb.prox.event.high_amb.count"},

    {24, "com.vantu.neb.prox.first_pocket_signal_sample.kcpss"},
    {25, "com.vantu.com.neb.prox.baseline_to_trigger.time.dist"},
    {26, "com.vantu.neb.prox.ext_bl_capture.signal_delta.dist"},
    {27, "com.vantu.neb.prox.ref_rate_increase.percent.dist"},
    {28, "com.vantu.neb.prox.num_frames_for_high_ambient_baseline_capture.dist"},
    {29, "com.vantu.neb.prox.num_bias_corrected_frames_for_high_ambient_baseline_capture.dist"},
    {30, "com.vantu.neb.prox.num_frames_for_high_ambient_baseline_capture_target_approched.dist"},
    {31, "com.vantu.neb.prox.num_bias_corrected_frames_for_high_ambient_baseline_capture_target_approched.dist"},

    {32, "com.vantu.neb.button.touch_with_click.ap_on.duration"},
    {33, "com.vantu.neb.button.touch_with_no_click.ap_on.duration"},
    {34, "com.vantu.neb.button.touch_with_click.ap_off.duration"},
    {35, "com.vantu.neb.button.touch_with_no_click.ap_off.duration"},
    {36, "com.vantu.neb.button.touch.ap_on.duration"},
    {37, "com.vantu.neb.button.touch.ap_off.duration"},

    {38, "com.vantu.neb.quarl.reset_hb_count"},
    {39, "com.vantu.neb.quarl.reset_count"},
    {40, "com.vantu.neb.quarl.ibfd_timeout_count"},
    {41, "com.vantu.neb.biosense.reset_timeout_count"},
    {42, "com.vantu.neb.button.vossa.cl_timeout.count"},
    {43, "com.vantu.neb.button.vossa.cl_fault.count"},
    {44, "com.vantu.neb.button.quarl_probe_failure_quarl_count"},
    {45, "com.vantu.neb.button.force_sensor_probe_failure_count"},
    {46, "com.vantu.neb.button.arc_probe_failure_count"},
    {47, "com.vantu.neb.button.btmspk_probe_failure_count"},

    {48, "com.vantu.neb.zenth.doppler.subscribe_count"},
    {49, "com.vantu.neb.zenth.doppler.unsubscribe_count"},

    {50, "com.vantu.neb.audio.arc.on.duration"},
    {51, "com.vantu.neb.audio.arc.off.duration"},
    {52, "com.vantu.neb.audio.arc.prewarm.duration"},
    {53, "com.vantu.neb.audio.btmspk.on.duration"},
    {54, "com.vantu.neb.audio.btmspk.off.duration"},
    {55, "com.vantu.neb.audio.btmspk.prewarm.duration"},

    {56, "com.vantu.neb.ttw.ttw_by_cell_distribution"},

    {57, "com.vantu.neb.haptics.play_request.clientAP"},
    {58, "com.vantu.neb.haptics.play_request.clientRTP"},
    {59, "com.vantu.neb.haptics.request_dropped_queue.clientAP"},
    {60, "com.vantu.neb.haptics.request_dropped_queue.clientRTP"},
    {61, "com.vantu.neb.haptics.request_dropped_error.clientAP"},
    {62, "com.vantu.neb.haptics.request_dropped_error.clientRTP"},
    {63, "com.vantu.neb.haptics.request_dropped_policy.clientAP"},
    {64, "com.vantu.neb.haptics.request_dropped_policy.clientRTP"},

    {65, "com.vantu.neb.haptics.leap_load_failure"},

    {66, "com.vantu.neb.test"},
};
// clang-format on

namespace {

consteval bool rowsStandInOrder() {
  for (std::int32_t row = 0; row < kStatLedgerKeyCount; ++row) {
    if (kStatLedgerKeyNames[row].index != row) {
      return false;
    }
  }
  return true;
}

static_assert(sizeof kStatLedgerKeyNames == kStatLedgerKeyCount * sizeof(StatLedgerKeyName));
static_assert(rowsStandInOrder());

}  // namespace
