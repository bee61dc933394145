#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of the reference decoder against lines written by hand."""

import contextlib
import io
import os
import pathlib
import struct
import subprocess
import sys
import time
import unittest

import compare
import make_records
import profile_reference

FOLDER = pathlib.Path(__file__).parent
ZERO_BYTES = ",0" * 32

CONTROL_LINE = (
    "{  'category':'control', 'component':     '3', 'event':         '5',"
    " 'type':      'stop', 'timestamp':      1000, 'sequence_num':         7,"
    " 'type-id':0, 'category-id':8, 'component-id':3, 'event-id':5,"
    " 'binary-data':[0,5,3,8,7,0,0,0,232,3,0,0,0,0,0,0" + ZERO_BYTES + "]")


def record(category, component, event, type_id, payload=b"", sequence=7,
           timestamp_us=1000):
    return struct.pack("<4BIQ32s", type_id, event, component, category, sequence,
                       timestamp_us, payload)


def words(*values):
    return struct.pack(f"<{len(values)}I", *values)


def line(*ids, **fields):
    return profile_reference.decode(record(*ids, **fields)).decode()


def payload_items(*ids, **fields):
    """Items between the sequence number and the ids."""
    text = line(*ids, **fields)
    after = text.index(",", text.index("'sequence_num':")) + 1
    return text[after:text.index(" 'type-id':")]


def keys(items):
    return [part.split("'")[1] for part in items.split(",") if part]


def named(text, key):
    """Value of a quoted item, with its padding."""
    start = text.index(f" '{key}':") + len(key) + 4
    return text[start:text.index(",", start)]


@contextlib.contextmanager
def zone(name):
    before = os.environ.get("TZ")
    try:
        os.environ["TZ"] = name
        time.tzset()
        profile_reference.local_time_text.cache_clear()
        yield
    finally:
        if before is None:
            del os.environ["TZ"]
        else:
            os.environ["TZ"] = before
        time.tzset()
        profile_reference.local_time_text.cache_clear()


EVENT_ITEMS = (
    " 'arg1':       255, 'arg2':         2, 'arg3':         3,"
    " 'arg4':         4, 'arg5':         5, 'arg6':4294967295,"
    " 'xarg1':         'ff', 'xarg2':         '2', 'xarg3':         '3',"
    " 'xarg4':         '4', 'xarg5':         '5', 'xarg6':         'ffffffff',")
EVENT_PAYLOAD = words(255, 2, 3, 4, 5, 2**32 - 1)


class FrameTest(unittest.TestCase):
    def test_line_without_times(self):
        self.assertEqual(line(8, 3, 5, 0), CONTROL_LINE + "}")

    def test_line_with_both_times(self):
        clock_pair = (1_000_000, 1_700_000_000_123_456_000)
        with zone("UTC0"):
            text = profile_reference.decode(record(8, 3, 5, 0), clock_pair,
                                            1_699_999_000_000_001)
        self.assertEqual(
            text.decode(),
            CONTROL_LINE + ", 'calendar-time':'Nov 14 22:13:20.123456',"
            " 'boot-timestamp':1699999000000001}")

    def test_line_with_boot_time_alone(self):
        text = profile_reference.decode(record(8, 3, 5, 0), None, 0)
        self.assertEqual(text.decode(), CONTROL_LINE + ", 'boot-timestamp':0}")

    def test_long_numbers_and_names_are_whole(self):
        text = line(0, 0, 0, 8, timestamp_us=2**64 - 1, sequence=2**32 - 1)
        self.assertTrue(text.startswith(
            "{  'category':  'exec', 'component':'scheduler',"
            " 'event':'context-switch', 'type':'sensorinfo',"
            " 'timestamp':18446744073709551615, 'sequence_num':4294967295,"))

    def test_unknown_ids_are_decimal(self):
        self.assertTrue(line(200, 255, 254, 13).startswith(
            "{  'category':   '200', 'component':   '255', 'event':       '254',"
            " 'type':        '13',"))
        self.assertIn("'category':    '13',", line(13, 0, 0, 0))

    def test_binary_data_holds_the_header(self):
        text = line(1, 2, 3, 4, payload=bytes(range(224, 256)))
        self.assertTrue(text.endswith(
            "'binary-data':[4,3,2,1,7,0,0,0,232,3,0,0,0,0,0,0,"
            + ",".join(map(str, range(224, 256))) + "]}"))

    def test_categories_without_decoder(self):
        for category, name in ((8, "'control'"), (12, "    'cm'"), (13, "    '13'")):
            text = line(category, 3, 1, 0)
            self.assertEqual(named(text, "category"), name)
            self.assertEqual(named(text, "component"), "     '3'")
            self.assertEqual(named(text, "event"), "         '1'")


class CalendarTest(unittest.TestCase):
    def test_remainder_has_six_digits(self):
        with zone("UTC0"):
            self.assertEqual(profile_reference.calendar_text(7, (0, 0)),
                             "Jan 01 00:00:00.000007")

    def test_nanoseconds_are_truncated(self):
        with zone("UTC0"):
            self.assertEqual(profile_reference.calendar_text(1, (1, 0)),
                             "Jan 01 00:00:00.000000")

    def test_time_before_the_epoch_wraps(self):
        # 2^64 - 4000 nanoseconds are 18446744073 whole seconds.
        with zone("UTC0"):
            expected = time.strftime("%b %d %T", time.gmtime(18446744073))
            self.assertEqual(profile_reference.calendar_text(0, (5000, 1000)),
                             expected + ".709547")

    def test_timestamp_wraps(self):
        with zone("UTC0"):
            self.assertEqual(profile_reference.calendar_text(2**61, (0, 3000)),
                             "Jan 01 00:00:00.000003")

    def test_local_zone_and_summer_time(self):
        with zone("CET-1CEST,M3.5.0,M10.5.0/3"):
            winter_ns, summer_ns = 1_700_000_000 * 10**9, 1_688_000_000 * 10**9
            self.assertEqual(profile_reference.calendar_text(0, (0, winter_ns)),
                             "Nov 14 23:13:20.000000")
            self.assertEqual(profile_reference.calendar_text(0, (0, summer_ns)),
                             "Jun 29 02:53:20.000000")


class NameTest(unittest.TestCase):
    def assert_event(self, category, component, event, name):
        self.assertEqual(named(line(category, component, event, 0), "event").strip(),
                         f"'{name}'")

    def assert_component(self, category, component, name):
        text = line(category, component, 0, 0)
        self.assertEqual(named(text, "component").strip(), f"'{name}'")

    def test_sensor_events(self):
        self.assert_event(2, 0, 10, "annotation")
        self.assert_event(2, 0, 11, "11")
        self.assert_event(2, 0, 16, "trigger-magnitude")
        self.assert_event(2, 99, 17, "trigger-latency")

    def test_execution_events_depend_on_the_component(self):
        self.assert_event(0, 5, 2, "2")
        self.assert_event(0, 3, 2, "new-packet")
        self.assert_event(0, 6, 0, "0")
        self.assert_event(0, 4, 0, "extfunction")

    def test_sshb_events_depend_on_the_component(self):
        self.assert_event(7, 3, 5, "ckp_VossaStartHaptics")
        self.assert_event(7, 3, 16, "16")
        self.assert_event(7, 0, 5, "5")
        self.assert_event(7, 9, 16, "trigger-fingeron")

    def test_events_without_names(self):
        self.assert_event(1, 2, 7, "7")
        self.assert_event(9, 0, 7, "7")

    def test_events_of_every_component(self):
        self.assert_event(3, 4, 17, "trigger-latency")
        self.assert_event(3, 4, 2, "2")
        self.assert_event(4, 9, 1, "data-out")
        self.assert_event(5, 9, 0, "latency")
        self.assert_event(6, 9, 7, "neb-test")
        self.assert_event(10, 9, 2, "wake-event-info")
        self.assert_event(11, 9, 2, "play-request-data")

    def test_components(self):
        self.assert_component(11, 6, "6")
        self.assert_component(11, 5, "nebaudio")
        self.assert_component(11, 9, "rtp-detent")
        self.assert_component(9, 5, "i2c_ctrl1")
        self.assert_component(0, 12, "12")
        self.assert_component(40, 7, "7")

    def test_table_sizes(self):
        self.assertEqual(len(profile_reference.SSHB_SUBTYPES), 113)
        self.assertEqual(len(profile_reference.HAPTICS_SUBTYPES), 24)
        self.assertEqual(len(profile_reference.CATEGORY_NAMES), 13)
        self.assertEqual(len(profile_reference.TYPE_NAMES), 13)


class BaseLayoutTest(unittest.TestCase):
    def test_long_data(self):
        payload = struct.pack("<4H24s", 1, 2, 0, 65535, b"\xff" * 24)
        self.assertEqual(
            payload_items(8, 0, 0, 1, payload=payload),
            " 'subtype':         1, 'packet-size':         2,"
            " 'data-length':         0, 'data-offset':     65535,"
            " 'raw-data':        [],")

    def test_long_data_of_three_bytes_fills_part_of_the_width(self):
        payload = struct.pack("<4H24s", 1, 2, 3, 4, bytes((1, 20, 3, 4)))
        self.assertTrue(payload_items(8, 0, 0, 1, payload=payload).endswith(
            " 'raw-data':  [1,20,3],"))

    def test_long_data_is_capped(self):
        for length in (24, 25, 100, 65535):
            payload = struct.pack("<4H24s", 1, 2, length, 0, bytes(range(24)))
            self.assertTrue(payload_items(8, 0, 0, 1, payload=payload).endswith(
                " 'raw-data':[" + ",".join(map(str, range(24))) + "],"))

    def test_short_data_has_fixed_sizes(self):
        self.assertEqual(
            payload_items(8, 0, 0, 2, payload=b"\xff" * 32),
            " 'subtype':     65535, 'packet-size':        30,"
            " 'data-length':        30, 'data-offset':         0,"
            " 'raw-data':[" + ",".join(["255"] * 30) + "],")

    def test_event_is_followed_by_decimal_numbers(self):
        text = line(12, 15, 16, 3, payload=EVENT_PAYLOAD)
        self.assertIn(EVENT_ITEMS + " 'type-id':3, 'category-id':12,"
                      " 'component-id':15, 'event-id':16,", text)

    def test_trigger_prints_one_number_twice(self):
        self.assertEqual(
            payload_items(8, 0, 0, 4, payload=words(9, 5, 8)),
            " 'trigger':1, 'thread-id':         5, 'arg':         5,")

    def test_function(self):
        self.assertEqual(
            payload_items(8, 0, 0, 5, payload=words(1, 2, 3, 4, 5, 6)),
            " 'function-id':         1, 'extra-id':         2,"
            " 'thread-id':         3, 'duration':         4,"
            " 'depth':         5, 'thread_duration':         6,")

    def test_sensorinfo(self):
        payload = words(1, 2, 3, 4) + bytes((255, 6, 7)) + b"acc"
        self.assertEqual(
            payload_items(8, 0, 0, 8, payload=payload),
            " 'name':           'acc', 'report-interval':         1,"
            " 'batch-interval':         2, 'threshold':         3,"
            " 'time-limit':         4, 'connected':       255,"
            " 'decimation':         6, 'gyroPowerMode':         7,")

    def test_sensorinfo_name_without_zero_byte(self):
        payload = bytes(19) + b"abcdefghijklm"
        self.assertIn(" 'name':  'abcdefghijkl',",
                      payload_items(8, 0, 0, 8, payload=payload))

    def test_extfunction(self):
        payload = words(1, 2, 3, 4) + b"sixteen letters!"
        self.assertEqual(
            payload_items(8, 0, 0, 9, payload=payload),
            " 'function':'sixteen letters!', 'arg':         4,"
            " 'task':         1, 'thread':         2, 'duration':         3,")

    def test_annotation_prints_the_entry_twice(self):
        payload = struct.pack("<Q8sII", 2**64 - 1, b"A", 3, 4)
        self.assertEqual(
            payload_items(8, 0, 0, 11, payload=payload),
            " 'global-id':18446744073709551615, 'entry-id':        65,"
            " 'entry':       'A', 'arg1':         3, 'arg2':         4,")

    def test_decimationinfo(self):
        payload = struct.pack("<QIII12s", 2**32, 1, 2, 3, b"twelve bytes")
        self.assertEqual(
            payload_items(8, 0, 0, 12, payload=payload),
            " 'name':  'twelve bytes', 'sample-interval':         1,"
            " 'report-interval':         2, 'batch-interval':         3,"
            " 'next-dispatch':4294967296,")

    def test_types_without_items(self):
        for type_id in (0, 6, 7, 10, 13, 200, 255):
            self.assertEqual(payload_items(8, 0, 0, type_id, payload=b"\1" * 32), "")


class TextFieldTest(unittest.TestCase):
    def decode_name(self, name):
        return profile_reference.decode(record(8, 0, 0, 9, bytes(16) + name))

    def test_bytes_are_copied_and_counted(self):
        for name in (b"'", b"a\nb", b"\r\x01\x7f", "\u00e9".encode(),
                     "\u20ac".encode(), "\U0001f600".encode(), b"\xef\xbf\xbf"):
            expected = b" 'function':" + (b"'" + name + b"'").rjust(10) + b", 'arg':"
            self.assertIn(expected, self.decode_name(name))

    def test_invalid_text_has_no_line(self):
        for name in (b"\x80", b"\xc0\x80", b"\xe0\x80\x80", b"\xed\xa0\x80",
                     b"\xf0\x80\x80\x80", b"\xf4\x90\x80\x80", b"\xc2", b"\xc2A",
                     b"\xe2\x82", b"\xf0\x9f\x98", b"\xff",
                     b"fifteen letters\xc3\xa9"):
            self.assertIsNone(self.decode_name(name), name)

    def test_bytes_after_the_zero_byte_do_not_count(self):
        self.assertIn(b" 'function':      'ab',", self.decode_name(b"ab\0\xff\x80"))


class SshbTest(unittest.TestCase):
    def test_latency_trace(self):
        self.assertEqual(
            payload_items(7, 3, 0, 3, payload=words(2, 1, 3, 4, 5, 6)),
            " 'trace':     'ckp_SSHBButtonDown', 'thread':         1,"
            " 'arg1':         3, 'arg2':         4, 'arg3':         5,"
            " 'arg4':         6,"
            + payload_items(8, 0, 0, 3, payload=words(2, 1, 3, 4, 5, 6)))

    def test_trace_names_depend_on_the_component(self):
        for component, subtype, name in (
                (0, 49, "EnableBrenn"), (0, 215, "AmpPowerUpPhase1"),
                (1, 224, "AmpPowerUpPhase1"), (2, 232, "PreWarmToIVEnabled"),
                (4, 410, "SimulatedEvent"), (0, 306, "ProcessCommandPlayAsset"),
                (0, 307, "307"), (0, 308, "HapticsAmpTurnOn"), (0, 403, "403"),
                (0, 404, "DopplerTimeout"), (0, 52, "52"), (0, 65536, "65536"),
                (3, 0, "ckp_SSHBFingerON"), (3, 8, "8"), (5, 0, "0"), (6, 1, "1"),
                (7, 1, "1"), (255, 1, "1")):
            items = payload_items(7, component, 9, 3, payload=words(subtype))
            self.assertEqual(named(items, "trace"), f"'{name}'".rjust(25))

    def test_status_event(self):
        payload = bytes(range(1, 33))
        self.assertEqual(
            payload_items(7, 0, 3, 2, payload=payload),
            " 'status-timestamp': 100992003, 'fingerState':        11,"
            " 'buttonState':        12, 'buttonProgress': 269422093,"
            " 'clickCount':        18, 'clickCountIsTerminal':        19,"
            " 'clickIsLong':        20, 'clickSpeed':        21,"
            + payload_items(8, 0, 0, 2, payload=payload))

    def test_short_data_repeats(self):
        once = payload_items(8, 0, 0, 2, payload=b"\7" * 32)
        self.assertEqual(payload_items(7, 0, 2, 2, payload=b"\7" * 32), once)
        for event in (0, 1, 4, 7, 255):
            self.assertEqual(payload_items(7, 0, event, 2, payload=b"\7" * 32),
                             once + once)

    def test_context_version_3(self):
        payload = struct.pack("<H4B4I7B", 3, 1, 2, 3, 4, 2**32 - 1, 6, 7, 8,
                              9, 10, 11, 12, 13, 14, 255)
        self.assertEqual(
            payload_items(7, 0, 1, 10, payload=payload),
            " 'context-version':3, 'currentContext0':1, 'currentContext1':2,"
            " 'ampsEnabled':3, 'enabled':4, 'mode':4294967295, 'scan_time':6,"
            " 'active_scan_interval':7, 'background_scan_interval':8,"
            " 'fingerDetect':9, 'buttonState':10, 'pressCount':11,"
            " 'longPress':12, 'terminalEvent':13, 'speed':14, 'stage':255,")

    def test_context_version_4(self):
        payload = struct.pack("<H30B", 4, *range(2, 12), 255, *range(13, 32))
        self.assertEqual(
            payload_items(7, 0, 1, 10, payload=payload),
            " 'context-version':4, 'mclk_neb_enabled':2, 'mclk_ap_enabled':3,"
            " 'vossa_neb_enabled':4, 'vossa_ap_enabled':5, 'vossaBusy':6,"
            " 'enableARC':7, 'enableSpkr':8, 'mclk_on':9, 'vossa_on':10,"
            " 'vossaPending':11, 'ampsEnabling':255, 'quarl_ready':13,"
            " 'ampsPrewarming':14, 'ampsDisabling':15, 'ampsPending':16,"
            " 'clickState':17, 'clickSpeed':18, 'test_mode':19, 'cl_enable':20,"
            " 'cl_neb_enable':21, 'cl_ap_enable':22, 'vossa_ready':23,"
            " 'apState0':24, 'apState1':25, 'nebState0':26, 'nebState1':27,"
            " 'state0':28, 'state1':29,")

    def test_context_version_5(self):
        payload = struct.pack("<H4B2I7B", 5, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13)
        items = payload_items(7, 0, 1, 10, payload=payload)
        self.assertEqual(
            items,
            " 'context-version':5, 'currentContext0':1, 'currentContext1':2,"
            " 'ampsEnabled':3, 'enabled':4, 'scan_period':5, 'scan_time':6,"
            " 'fingerDetect':7, 'buttonState':8, 'pressCount':9, 'longPress':10,"
            " 'terminalEvent':11, 'speed':12, 'stage':13,")
        self.assertEqual(len(keys(items)), 14)

    def test_context_version_7(self):
        payload = struct.pack("<H30B", 7, *range(2, 32))
        items = payload_items(7, 0, 1, 10, payload=payload)
        self.assertEqual(
            items,
            " 'context-version':7, 'mclk_neb_enabled':2, 'mclk_ap_enabled':3,"
            " 'vossa_neb_enabled':4, 'vossa_ap_enabled':5, 'vossaBusy':6,"
            " 'enableARC':7, 'enableSpkr':8, 'mclk_on':9, 'vossa_on':10,"
            " 'vossaPending':11, 'quarl_ready':12, 'ampsState':13,"
            " 'clickState':14, 'clickSpeed':15, 'test_mode':16, 'cl_enable':17,"
            " 'cl_neb_enable':18, 'cl_ap_enable':19, 'vossa_ready':20,"
            " 'apState0':21, 'apState1':22, 'nebState0':23, 'nebState1':24,"
            " 'state0':25, 'state1':26,")
        self.assertEqual(len(keys(items)), 26)

    def test_other_context_versions_have_no_items(self):
        for version in (0, 6, 8, 0x0103, 0x0104, 0x0305, 0xFF07, 0xFFFF):
            payload = struct.pack("<H", version)
            self.assertEqual(payload_items(7, 0, 1, 10, payload=payload), "")

    def test_contexts_belong_to_the_category(self):
        self.assertEqual(payload_items(11, 7, 1, 10, payload=struct.pack("<H", 7)), "")

    def test_other_types_are_common(self):
        for type_id in (1, 4, 5, 6, 7, 8, 9, 11, 12, 13):
            self.assertEqual(payload_items(7, 0, 1, type_id, payload=b"\5" * 32),
                             payload_items(8, 0, 1, type_id, payload=b"\5" * 32))


class CumulusTest(unittest.TestCase):
    def test_data_in_is_followed_by_the_event(self):
        payload = words(0x00010000, 0x80000000, 1, 4, 5, 6)
        self.assertEqual(
            payload_items(4, 0, 0, 3, payload=payload),
            " 'arg1':     65536, 'arg2':2147483648, 'arg3':         1,"
            " 'arg4':         4, 'arg5':         5, 'arg6':         6,"
            " 'x':         1, 'y':    -32768, 'z':1.52588e-05,"
            + payload_items(8, 0, 0, 3, payload=payload))

    def test_data_out_stands_alone(self):
        payload = words(0xFFFFF000, 0x80000000, 1, 4, 5, 6)
        self.assertEqual(
            payload_items(4, 0, 1, 3, payload=payload),
            " 'arg1':4294963200, 'arg2':2147483648, 'arg3':         1,"
            " 'arg4':         4, 'arg5':         5, 'arg6':         6,"
            " 'x':        -1, 'y':   -524288, 'z':0.000244141,")

    def test_six_significant_digits(self):
        for value, text in ((0x7FFFFFFF, "32768"), (0x00018000, "1.5"),
                            (0xFFFFFFFF, "-1.52588e-05"), (7, "0.000106812"),
                            (0, "0"), (0x30394000, "12345.2")):
            items = payload_items(4, 0, 0, 3, payload=words(value))
            self.assertEqual(named(items, "x"), text.rjust(10))

    def test_neighbours_are_common(self):
        for ids in ((4, 0, 2, 3), (4, 0, 0, 4), (4, 1, 0, 3), (4, 0, 1, 2)):
            self.assertEqual(payload_items(*ids, payload=b"\5" * 32),
                             payload_items(8, *ids[1:], payload=b"\5" * 32))


class HapticsTest(unittest.TestCase):
    def test_trace_stands_alone(self):
        self.assertEqual(
            payload_items(11, 7, 0, 3, payload=words(13, 1, 2, 3, 4, 5)),
            " 'trace':         'RequestDropped', 'thread':         1,"
            " 'arg1':         2, 'arg2':         3, 'arg3':         4,"
            " 'arg4':         5,")

    def test_trace_names_depend_on_the_component(self):
        for component, subtype, name in (
                (4, 13, "13"), (7, 3, "ProcessCommandError"), (8, 22, "22"),
                (8, 23, "RTPHapticsManagerRequestCmp"), (9, 24, "RTPRawEvent"),
                (9, 25, "25"), (10, 0, "0")):
            items = payload_items(11, component, 2, 3, payload=words(subtype))
            self.assertEqual(named(items, "trace"), f"'{name}'".rjust(25))

    def test_components_5_and_6_are_common(self):
        for component in (5, 6):
            for event, type_id in ((0, 3), (1, 2), (2, 2)):
                self.assertEqual(
                    payload_items(11, component, event, type_id, payload=b"\5" * 32),
                    payload_items(8, 0, 0, type_id, payload=b"\5" * 32))

    def test_amplifier_states(self):
        self.assertEqual(
            payload_items(11, 7, 1, 2, payload=b"??" + words(1, 2, 4000000000)),
            " 'ampType':4000000000, 'state':         1, 'refCount':         2,")

    def test_play_request(self):
        payload = b"??" + words(1, 2, 3, 4, 5, 6, 4000000000)
        self.assertEqual(
            payload_items(11, 7, 2, 2, payload=payload),
            " 'ampType':         1, 'index':         3,"
            " 'presilence':         5, 'gain':4000000000,")

    def test_other_short_data_is_common(self):
        for event in (0, 3, 255):
            self.assertEqual(payload_items(11, 7, event, 2, payload=b"\5" * 32),
                             payload_items(8, 0, 0, 2, payload=b"\5" * 32))


class WakeTest(unittest.TestCase):
    def test_request(self):
        payload = struct.pack("<IQ", 7, 4294967296)
        self.assertEqual(payload_items(10, 0, 1, 13, payload=payload),
                         " 'wake_reason':         7, 'endpoint_ref':4294967296,")

    def test_wide_reference_is_whole(self):
        payload = struct.pack("<IQ", 7, 2**64 - 1)
        self.assertEqual(
            payload_items(10, 0, 1, 13, payload=payload),
            " 'wake_reason':         7, 'endpoint_ref':18446744073709551615,")

    def test_event(self):
        self.assertEqual(payload_items(10, 0, 2, 3, payload=words(7, 8)),
                         " 'wake_reason':         7, 'service_id':         8,")

    def test_neighbours_are_common(self):
        for ids in ((10, 0, 1, 3), (10, 0, 2, 13), (10, 1, 1, 13), (10, 1, 2, 3)):
            self.assertEqual(payload_items(*ids, payload=b"\5" * 32),
                             payload_items(8, *ids[1:], payload=b"\5" * 32))


class CommandTest(unittest.TestCase):
    def run_reference(self, data, *arguments):
        return subprocess.run(
            [sys.executable, FOLDER / "profile_reference.py", *arguments],
            input=data, capture_output=True, check=False)

    def test_lines_in_input_order(self):
        invalid = record(8, 0, 0, 9, bytes(16) + b"\xff")
        result = self.run_reference(
            record(8, 3, 5, 0) + invalid + record(8, 3, 5, 0), "--boot-time", "5")
        expected = CONTROL_LINE + ", 'boot-timestamp':5}\n"
        self.assertEqual(result.stdout.decode(), expected * 2)
        self.assertIn(b"1 records skipped", result.stderr)
        self.assertEqual(result.returncode, 0)

    def test_input_that_ends_inside_a_record(self):
        result = self.run_reference(record(8, 3, 5, 0) + bytes(5))
        self.assertEqual(result.stdout.decode(), CONTROL_LINE + "}\n")
        self.assertIn(b"5 bytes left over", result.stderr)
        self.assertEqual(result.returncode, 1)

    def test_wrong_options(self):
        for arguments in (("--timesync", "5"), ("--timesync", "0,9223372036854775808"),
                          ("--boot-time", "x"), ("--boot-time", "-1")):
            self.assertEqual(self.run_reference(b"", *arguments).returncode, 2)


class RecordsTest(unittest.TestCase):
    def test_records_depend_on_the_seed_alone(self):
        first = list(make_records.records(500, 1))
        self.assertEqual(first, list(make_records.records(500, 1)))
        self.assertNotEqual(first, list(make_records.records(500, 2)))
        self.assertEqual({len(made) for made in first}, {48})


class CompareTest(unittest.TestCase):
    """The comparison with a stand-in for the command: text in its place."""

    class Options:
        count, timesync, boot_time = 3, None, None

    def compare(self, output):
        records = [record(8, 0, 0, 9, bytes(16) + b"a\nb"),
                   record(8, 0, 0, 9, bytes(16) + b"\xff"), record(8, 3, 5, 0)]
        printed = io.StringIO()
        with contextlib.redirect_stdout(printed):
            counts = compare.compare_output(
                io.BytesIO(b"".join(records)), io.BytesIO(output), self.Options)
        return counts, printed.getvalue()

    def setUp(self):
        self.first = profile_reference.decode(
            record(8, 0, 0, 9, bytes(16) + b"a\nb")) + b"\n"
        self.last = CONTROL_LINE.encode() + b"}\n"

    def test_equal(self):
        self.assertEqual(self.compare(self.first + self.last), ((2, 1), ""))

    def test_different_byte(self):
        counts, printed = self.compare(self.first.replace(b"a\nb", b"a\rb") + self.last)
        self.assertIsNone(counts)
        self.assertIn("record 0 differs: 09000008", printed)
        column = self.first.index(b"a\nb") + 2
        self.assertIn(f"column: {column}\n", printed)

    def test_missing_line(self):
        counts, printed = self.compare(self.first)
        self.assertIsNone(counts)
        self.assertIn("record 2 differs", printed)
        self.assertIn("hubprofile: (no line)", printed)

    def test_line_of_a_skipped_record(self):
        wrong = self.first.replace(b"a\nb", b"\xff").replace(b"97,10,98", b"255,0,0")
        for output in (self.first + wrong + self.last, self.first + wrong):
            counts, printed = self.compare(output)
            self.assertIsNone(counts)
            self.assertIn("record 1 differs", printed)
            self.assertIn("reference:  (no line)", printed)

    def test_more_output(self):
        counts, printed = self.compare(self.first + self.last + self.last)
        self.assertIsNone(counts)
        self.assertIn("more after the last record", printed)


if __name__ == "__main__":
    unittest.main()
