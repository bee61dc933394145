// SPDX-License-Identifier: Apache-2.0
#include "ledger_keys.h"

#include <string>

#include "tests/plugin/plugin_fixture.h"

namespace hub::test {
namespace {

class LedgerKeys : public RunningPlugInTest {
 protected:
  std::string key(std::int32_t index) {
    return CFStringGetCStringPtr(instance.object().keyForIndex(StatLedgerKey{index}), kCFStringEncodingUTF8);
  }
};

// clang-format off
constexpr const char* kExpected[] = {
    "neb.button.click.count",
    "neb.button.single_click.count",
    "neb.button.double_click.count",
    "neb.button.triple_click.count",
    "neb.button.long_press.count",
    "neb.button.touch_with_click.count",
    "neb.button.touch_no_click.count",
    "neb.button.click.pico",
    "neb.button.touch.pico",
    "neb.button.click_to_pico.time",
    "neb.button.touch_to_pico.time",
    "neb.button.click.duration",
    "neb.button.touch.duration",
    "neb.button.touch_to_first_click.time",
    "neb.button.touch_to_last_unclick.time",
    "neb.button.first_click_to_last_unclick.time",
    "neb.button.first_click_to_untouch.time",
    "neb.button.last_unclick_to_untouch.time",
    "neb.button.critical_error.count",
    "neb.button.timeout.count",
    "neb.prox.event.ext_bl_capture.count",
    "neb.prox.event.smudge_timeout.bh.count",
    "neb.prox.event.smudge_timeout.nonbh.count",
    "neb.prox.event.high_amb.count",
    "neb.prox.first_pocket_signal_sample.kcpss",
    "com.neb.prox.baseline_to_trigger.time.dist",
    "neb.prox.ext_bl_capture.signal_delta.dist",
    "neb.prox.ref_rate_increase.percent.dist",
    "neb.prox.num_frames_for_high_ambient_baseline_capture.dist",
    "neb.prox.num_bias_corrected_frames_for_high_ambient_baseline_capture.dist",
    "neb.prox.num_frames_for_high_ambient_baseline_capture_target_approched.dist",
    "neb.prox.num_bias_corrected_frames_for_high_ambient_baseline_capture_target_approched.dist",
    "neb.button.touch_with_click.ap_on.duration",
    "neb.button.touch_with_no_click.ap_on.duration",
    "neb.button.touch_with_click.ap_off.duration",
    "neb.button.touch_with_no_click.ap_off.duration",
    "neb.button.touch.ap_on.duration",
    "neb.button.touch.ap_off.duration",
    "neb.quarl.reset_hb_count",
    "neb.quarl.reset_count",
    "neb.quarl.ibfd_timeout_count",
    "neb.biosense.reset_timeout_count",
    "neb.button.vossa.cl_timeout.count",
    "neb.button.vossa.cl_fault.count",
    "neb.button.quarl_probe_failure_quarl_count",
    "neb.button.force_sensor_probe_failure_count",
    "neb.button.arc_probe_failure_count",
    "neb.button.btmspk_probe_failure_count",
    "neb.zenth.doppler.subscribe_count",
    "neb.zenth.doppler.unsubscribe_count",
    "neb.audio.arc.on.duration",
    "neb.audio.arc.off.duration",
    "neb.audio.arc.prewarm.duration",
    "neb.audio.btmspk.on.duration",
    "neb.audio.btmspk.off.duration",
    "neb.audio.btmspk.prewarm.duration",
    "neb.ttw.ttw_by_cell_distribution",
    "neb.haptics.play_request.clientAP",
    "neb.haptics.play_request.clientRTP",
    "neb.haptics.request_dropped_queue.clientAP",
    "neb.haptics.request_dropped_queue.clientRTP",
    "neb.haptics.request_dropped_error.clientAP",
    "neb.haptics.request_dropped_error.clientRTP",
    "neb.haptics.request_dropped_policy.clientAP",
    "neb.haptics.request_dropped_policy.clientRTP",
    "neb.haptics.leap_load_failure",
    "neb.test",
};
// clang-format on
static_assert(std::size(kExpected) == 67);

TEST_F(LedgerKeys, of_all_indices_in_the_table_are_the_listed_ones) {
  for (std::int32_t index = 0; index < 67; ++index) {
    EXPECT_EQ(key(index), std::string("com.vantu.") + kExpected[index]) << index;
  }
}

TEST_F(LedgerKeys, of_index_66_is_for_tests_and_every_larger_one_is_unknown) {
  EXPECT_EQ(key(66), "com.vantu.neb.test");
  for (const std::int32_t index : {67, 68, 255, 256, INT32_MAX}) {
    EXPECT_EQ(key(index), "com.vantu.neb.unknown") << index;
  }
}

TEST_F(LedgerKeys, keep_their_odd_spellings) {
  EXPECT_EQ(key(25), "com.vantu.com.neb.prox.baseline_to_trigger.time.dist");
  EXPECT_TRUE(key(30).ends_with("_target_approched.dist"));
  EXPECT_TRUE(key(31).ends_with("_target_approched.dist"));
}

}  // namespace
}  // namespace hub::test
