// SPDX-License-Identifier: Apache-2.0
#include "profile/sshb_decoder.h"

#include <algorithm>

#include "tests/support/decoding.h"
#include "tests/support/report_builder.h"

namespace hub::test {
namespace {

using Sshb = DecodeTest;

const Names kLatencyNames = {{0, "ckp_SSHBFingerON"}, {1, "ckp_SSHBFingerOFF"}, {2, "ckp_SSHBButtonDown"},
                             {3, "ckp_SSHBButtonUp"}, {4, "ckp_ARCTurnOn"},     {5, "ckp_VossaStartHaptics"},
                             {6, "ckp_ARCReady"},     {7, "ckp_VossaPlayAsset"}};

const Names kSubtypeNames = {{0, "Notification"},
                             {1, "Command"},
                             {2, "SetProperty"},
                             {3, "GetProperty"},
                             {4, "SendAmpRequest"},
                             {5, "AmpWorkerRequestComplete"},
                             {6, "AmpRequestComplete"},
                             {7, "EnableSshb"},
                             {8, "OnCumulusData"},
                             {9, "SimulateEvent"},
                             {10, "AmpTurnOn"},
                             {11, "NotifyVossa"},
                             {12, "AmpTurnOff"},
                             {13, "EnableMclk"},
                             {14, "EnableVossa"},
                             {15, "QuarlData"},
                             {16, "DispatchReport"},
                             {17, "HandleFingerDownChanged"},
                             {18, "HandleButtonStateChanged"},
                             {19, "HandleClickStatus"},
                             {20, "ChangeOpMode"},
                             {21, "ScanESAction"},
                             {22, "TurtleTESAction"},
                             {23, "NotifyVossaRunState"},
                             {24, "SimulateButtonPress"},
                             {25, "AmpRequestCompleteStep2"},
                             {26, "AmpRequestCompleteStep3"},
                             {27, "AmpRequestCompleteStep4"},
                             {28, "AmpRequestCompleteStep5"},
                             {29, "AmpRequestCompleteStep6"},
                             {30, "AmpPrewarmComplete"},
                             {31, "AmpEnableComplete"},
                             {32, "AmpDisableComplete"},
                             {33, "StartVossa"},
                             {34, "StopVossa"},
                             {35, "AssetTimerComplete"},
                             {36, "VossaCLTimeOut"},
                             {37, "VossaCLFault"},
                             {38, "SetTestMode"},
                             {39, "SimulateFingerdetect"},
                             {40, "SimulateClick"},
                             {41, "StartVossaSSHBComplete"},
                             {42, "StartVossaAPComplete"},
                             {43, "StopVossaSSHBComplete"},
                             {44, "StopVossaAPComplete"},
                             {45, "ApSpkAmpRequest"},
                             {46, "ApSpkAmpRequestProcess"},
                             {47, "ApSpkAmpRequestComplete"},
                             {48, "ApARCRequestComplete"},
                             {49, "EnableBrenn"},
                             {50, "PlayAssetBegin"},
                             {51, "PlayAssetComplete"},
                             {100, "ResetBegin"},
                             {101, "ResetEnd"},
                             {102, "ResetComplete"},
                             {103, "ResetRequest"},
                             {104, "Fingerdetect"},
                             {105, "EnableStuckFDTimer"},
                             {106, "SystemStatus"},
                             {107, "APForceWake"},
                             {108, "IBFDTimeout"},
                             {200, "SetState"},
                             {201, "ConfigureSpeaker"},
                             {202, "DisabledToPreWarm"},
                             {203, "DisabledToEnabled"},
                             {204, "PreWarmToEnabled"},
                             {205, "PreWarmToDisabled"},
                             {206, "EnabledToPreWarm"},
                             {207, "EnabledToDisabled"},
                             {208, "DisabledToIVEnabled"},
                             {209, "PreWarmToIVEnabled"},
                             {210, "EnabledToIVEnabled"},
                             {211, "IVEnabledToEnabled"},
                             {212, "AmpPowerDown"},
                             {213, "AmpClearInterrupts"},
                             {214, "SoftReset"},
                             {215, "AmpPowerUpPhase1"},
                             {216, "AmpPowerUpPhase2"},
                             {217, "AmpPowerUpPhase3"},
                             {218, "SetVolume"},
                             {219, "ConfigureTDMControls"},
                             {220, "SetChannelEnable"},
                             {221, "WaitForAmpPowerdown"},
                             {222, "EnableAmpReset"},
                             {223, "EnableGNDSwitches"},
                             {224, "AmpPowerUpPhase1"},
                             {225, "AmpPowerUpPhase2"},
                             {226, "AmpPowerUpPhase3"},
                             {227, "DisabledToPreWarm"},
                             {228, "DisabledToEnabled"},
                             {229, "PreWarmToEnabled"},
                             {230, "EnabledToPreWarm"},
                             {231, "DisabledToIVEnabled"},
                             {232, "PreWarmToIVEnabled"},
                             {300, "kPlayAssetRequestBegin"},
                             {301, "kPlayAssetRequestReturn"},
                             {302, "kClickStateConfig"},
                             {303, "kClickStateConfigReturn"},
                             {304, "kSetHapticAudioAssertion"},
                             {305, "kSetHapticAudioAssertionReturn"},
                             {306, "ProcessCommandPlayAsset"},
                             {308, "HapticsAmpTurnOn"},
                             {309, "AudioAmpTurnOn"},
                             {400, "LTWGatedRequest"},
                             {401, "AttachHES"},
                             {402, "CoverHES"},
                             {404, "DopplerTimeout"},
                             {405, "CoverStateUpdate"},
                             {406, "CoverReport"},
                             {407, "AttachReport"},
                             {408, "SubscribeDoppler"},
                             {409, "DopplerUpdate"},
                             {410, "SimulatedEvent"}};

std::string base_items(unsigned type) { return payload_items(report(8, 0, 0, type).count_up()); }

std::size_t item_count(const std::string& items) {
  return static_cast<std::size_t>(std::count(items.begin(), items.end(), ','));
}

TEST_F(Sshb, components_have_their_names) {
  expect_components(
      NEBLogDecoder::_sshb,
      {{0, "sshb"}, {1, "vossa"}, {2, "amp"}, {3, "latency"}, {4, "quarl"}, {5, "nebaudio"}, {6, "nebvoicetrigger"}});
}

TEST_F(Sshb, events_of_the_latency_component_are_check_points) {
  expect_exactly(kLatencyNames, [](unsigned event) { return NEBLogDecoder::_sshb.event_name(3, event); });
}

TEST_F(Sshb, events_of_every_other_component_share_a_table) {
  for (unsigned component : {0U, 1U, 2U, 4U, 5U, 6U, 7U, 9U, 255U}) {
    expect_exactly({{0, "trace"},
                    {1, "context"},
                    {2, "input-packet"},
                    {3, "status-event"},
                    {16, "trigger-fingeron"},
                    {17, "trigger-fingeroff"},
                    {18, "trigger-clickon"},
                    {19, "trigger-clickoff"}},
                   [&](unsigned event) { return NEBLogDecoder::_sshb.event_name(component, event); });
  }
}

TEST_F(Sshb, subtypes_of_components_0_1_2_and_4_have_113_names) {
  EXPECT_EQ(kSubtypeNames.size(), 113U);
  for (unsigned component : {0U, 1U, 2U, 4U}) {
    expect_exactly(kSubtypeNames,
                   [&](unsigned subtype) { return NEBLogDecoder::_sshb.subtype_name(component, subtype); });
  }
}

TEST_F(Sshb, subtypes_of_the_latency_component_are_check_points) {
  expect_exactly(kLatencyNames, [](unsigned subtype) { return NEBLogDecoder::_sshb.subtype_name(3, subtype); });
}

TEST_F(Sshb, subtypes_of_other_components_are_numbers) {
  for (unsigned component : {5U, 6U, 7U, 255U}) {
    expect_exactly({}, [&](unsigned subtype) { return NEBLogDecoder::_sshb.subtype_name(component, subtype); });
  }
}

class RenamedEvents : public sshb_decoder {
 public:
  std::string event_name(unsigned int component, unsigned int event) override {
    return "event " + std::to_string(component) + "." + std::to_string(event);
  }
};

TEST_F(Sshb, latency_subtype_is_asked_of_slot_3) {
  RenamedEvents decoder;
  EXPECT_EQ(decoder.subtype_name(3, 9), "event 3.9");
  EXPECT_NE(decoder.to_string(report(7, 3, 0, 3).u32(0, 6)).find(" 'trace':              'event 3.6',"),
            std::string::npos);
}

TEST_F(Sshb, trace_prints_its_name_and_five_numbers_then_the_shared_items) {
  EXPECT_EQ(
      payload_items(report(7, 3, 0, 3).u32(0, 2).u32(4, 1).u32(8, 22).u32(12, 333).u32(16, 4444).u32(20, 4294967295)),
      " 'trace':     'ckp_SSHBButtonDown', 'thread':         1, 'arg1':        22, 'arg2':       333,"
      " 'arg3':      4444, 'arg4':4294967295,"
      " 'arg1':         2, 'arg2':         1, 'arg3':        22, 'arg4':       333, 'arg5':      4444,"
      " 'arg6':4294967295, 'xarg1':         '2', 'xarg2':         '1', 'xarg3':         '16',"
      " 'xarg4':         '14d', 'xarg5':         '115c', 'xarg6':         'ffffffff',");
}

TEST_F(Sshb, trace_of_a_component_without_subtypes_prints_the_number) {
  EXPECT_TRUE(
      payload_items(report(7, 5, 0, 3).u32(0, 49)).starts_with(" 'trace':                     '49', 'thread':"));
}

TEST_F(Sshb, trace_is_printed_whatever_the_event) {
  for (unsigned event : {1U, 2U, 3U, 16U, 255U}) {
    EXPECT_TRUE(payload_items(report(7, 0, event, 3).u32(0, 49)).starts_with(" 'trace':            'EnableBrenn',"));
  }
}

TEST_F(Sshb, kept_repeated_subtype_names_print_alike) {
  const auto trace_of = [](unsigned subtype) {
    const std::string items = payload_items(report(7, 0, 0, 3).u32(0, subtype));
    return items.substr(0, items.find(','));
  };
  EXPECT_EQ(trace_of(224), " 'trace':       'AmpPowerUpPhase1'");
  EXPECT_EQ(trace_of(224), trace_of(215));
  EXPECT_EQ(trace_of(232), trace_of(209));
}

TEST_F(Sshb, status_event_prints_its_fields_then_the_shared_items) {
  EXPECT_EQ(payload_items(report(7, 0, 3, 2).count_up()),
            " 'status-timestamp':  84148994, 'fingerState':        10, 'buttonState':        11,"
            " 'buttonProgress': 252579084, 'clickCount':        17, 'clickCountIsTerminal':        18,"
            " 'clickIsLong':        19, 'clickSpeed':        20," +
                base_items(2));
}

TEST_F(Sshb, status_event_bytes_are_unsigned) {
  EXPECT_TRUE(payload_items(report(7, 0, 3, 2).fill(255))
                  .starts_with(" 'status-timestamp':4294967295, 'fingerState':       255, 'buttonState':       255,"
                               " 'buttonProgress':4294967295,"));
}

TEST_F(Sshb, input_packet_prints_the_shared_items_once) {
  EXPECT_EQ(payload_items(report(7, 0, 2, 2).count_up()), base_items(2));
}

TEST_F(Sshb, kept_short_data_of_other_events_prints_the_shared_items_twice) {
  for (unsigned event : {0U, 1U, 4U, 7U, 16U, 255U}) {
    EXPECT_EQ(payload_items(report(7, 0, event, 2).count_up()), base_items(2) + base_items(2)) << event;
  }
}

TEST_F(Sshb, context_version_3_prints_scan_and_button_state) {
  EXPECT_EQ(payload_items(report(7, 0, 1, 10).count_up().u16(0, 3)),
            " 'context-version':3, 'currentContext0':2, 'currentContext1':3, 'ampsEnabled':4, 'enabled':5,"
            " 'mode':151521030, 'scan_time':218893066, 'active_scan_interval':286265102,"
            " 'background_scan_interval':353637138, 'fingerDetect':22, 'buttonState':23, 'pressCount':24,"
            " 'longPress':25, 'terminalEvent':26, 'speed':27, 'stage':28,");
}

TEST_F(Sshb, context_version_5_prints_14_fields) {
  const std::string items = payload_items(report(7, 0, 1, 10).count_up().u16(0, 5));
  EXPECT_EQ(items,
            " 'context-version':5, 'currentContext0':2, 'currentContext1':3, 'ampsEnabled':4, 'enabled':5,"
            " 'scan_period':151521030, 'scan_time':218893066, 'fingerDetect':14, 'buttonState':15, 'pressCount':16,"
            " 'longPress':17, 'terminalEvent':18, 'speed':19, 'stage':20,");
  EXPECT_EQ(item_count(items), 14U);
}

TEST_F(Sshb, context_version_4_prints_amplifier_and_clock_state) {
  EXPECT_EQ(payload_items(report(7, 0, 1, 10).count_up().u16(0, 4).u8(12, 255)),
            " 'context-version':4, 'mclk_neb_enabled':2, 'mclk_ap_enabled':3, 'vossa_neb_enabled':4,"
            " 'vossa_ap_enabled':5, 'vossaBusy':6, 'enableARC':7, 'enableSpkr':8, 'mclk_on':9, 'vossa_on':10,"
            " 'vossaPending':11, 'ampsEnabling':255, 'quarl_ready':13, 'ampsPrewarming':14, 'ampsDisabling':15,"
            " 'ampsPending':16, 'clickState':17, 'clickSpeed':18, 'test_mode':19, 'cl_enable':20, 'cl_neb_enable':21,"
            " 'cl_ap_enable':22, 'vossa_ready':23, 'apState0':24, 'apState1':25, 'nebState0':26, 'nebState1':27,"
            " 'state0':28, 'state1':29,");
}

TEST_F(Sshb, context_version_7_prints_26_fields) {
  const std::string items = payload_items(report(7, 0, 1, 10).count_up().u16(0, 7));
  EXPECT_EQ(items,
            " 'context-version':7, 'mclk_neb_enabled':2, 'mclk_ap_enabled':3, 'vossa_neb_enabled':4,"
            " 'vossa_ap_enabled':5, 'vossaBusy':6, 'enableARC':7, 'enableSpkr':8, 'mclk_on':9, 'vossa_on':10,"
            " 'vossaPending':11, 'quarl_ready':12, 'ampsState':13, 'clickState':14, 'clickSpeed':15, 'test_mode':16,"
            " 'cl_enable':17, 'cl_neb_enable':18, 'cl_ap_enable':19, 'vossa_ready':20, 'apState0':21, 'apState1':22,"
            " 'nebState0':23, 'nebState1':24, 'state0':25, 'state1':26,");
  EXPECT_EQ(item_count(items), 26U);
}

TEST_F(Sshb, context_version_is_16_bits) {
  for (unsigned version : {0U, 1U, 2U, 6U, 8U, 0x0103U, 0x0704U, 0x0500U, 0xFFFFU}) {
    EXPECT_EQ(payload_items(report(7, 0, 1, 10).count_up().u16(0, version)), "") << version;
  }
}

TEST_F(Sshb, context_is_printed_whatever_component_and_event) {
  EXPECT_EQ(payload_items(report(7, 6, 200, 10).count_up().u16(0, 5)),
            payload_items(report(7, 0, 1, 10).count_up().u16(0, 5)));
}

TEST_F(Sshb, other_types_print_the_shared_items) {
  for (unsigned type : {0U, 1U, 4U, 5U, 6U, 7U, 8U, 9U, 11U, 12U, 13U, 255U}) {
    EXPECT_EQ(payload_items(report(7, 0, 3, type).count_up()), base_items(type)) << type;
  }
}

}  // namespace
}  // namespace hub::test
