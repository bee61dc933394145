#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of what the model predicts of state captures, against outcomes worked out by hand."""

import contextlib
import io
import json
import pathlib
import re
import struct
import sys
import tempfile
import unittest
from unittest import mock

import capture_model
import far_side
import session_model
from session_model import Device, run

BUTTON, TELEPHONY, SENSOR, DEBUG = [0x0C, 1], [0x0B, 1], [0x20, 0x31], [0xFF00, 0x29]
ASSERTION = ("{}: AssertMacros: {}, {} file: VantuHUBHIDPlugins/VantuHUBHIDStatistics/"
             "VantuHUBHIDStatistics, line: {} value:{}")
NO_INTERFACE_LINE = ASSERTION.format("", "context->_driver._interface", "", 1152, 0)
REGISTRATION = re.compile("registerService: |.*, line: 2[0-9]{2} ")
RAW_DEBUG = re.compile(", line: 1(19|2[0-9])[0-9] ")
NO_CLIENTS = {"hex": ""}

CONTROL_REPORT = struct.pack("<IIQ32x", 0x08030500, 7, 1000)
CONTROL_LINE = (
    "{  'category':'control', 'component':     '3', 'event':         '5',"
    " 'type':      'stop', 'timestamp':      1000, 'sequence_num':         7,"
    " 'type-id':0, 'category-id':8, 'component-id':3, 'event-id':5,"
    " 'binary-data':[0,5,3,8,7,0,0,0,232,3,0,0,0,0,0,0" + ",0" * 32 + "]")
# Its text field holds no UTF-8.
BROKEN_REPORT = struct.pack("<IIQ19xB12x", 0x02000908, 7, 1000, 0xFF)


# --- Devices -----------------------------------------------------------------


def hexadecimal(content):
    return {"hex": content.hex()}


def service(*usages, name="accel", properties=(), commands=(), children=(), **driver):
    """A HID node whose driver answers properties and commands."""
    answers = {"properties": {str(number): reply
                              for number, reply in dict(properties).items()},
               "commands": {str(number): reply for number, reply in dict(commands).items()}}
    return {"name": name, "hid": {"properties": {"Transport": "HUB"}, "usages": [*usages]},
            "driver": {**answers, **driver}, "children": [*children]}


def chain(*services, parent="spi", **between):
    """A device node with services below a node between them, itself below a parent."""
    middle = {"name": "between", "children": [*services], **between}
    device = {"name": "device", "device": {}, "children": [middle]}
    return device if parent is None else {"name": parent, "children": [device]}


def user_client(name, **answers):
    return {"name": name, "userClient": answers}


def play(*roots, captures=(3,), **options):
    return run(Device({"registry": [*roots]}, None), captures=captures, **options)


def all_messages(outcome):
    """What handlers logged: all lines but those of the registrations."""
    return [line["message"] for line in outcome.log
            if not REGISTRATION.match(line["message"])]


def messages(outcome):
    """The same without the lines of the raw-debug handlers."""
    return [line for line in all_messages(outcome) if not RAW_DEBUG.search(line)]


def only(outcome):
    """Title and contents of the one snapshot of a run."""
    snapshot, = outcome.snapshots
    return snapshot.title, snapshot.contents


# --- Frame -------------------------------------------------------------------


class Requests(unittest.TestCase):
    """Which handlers a capture reaches."""

    PROFILE = user_client("NEB_profile", commands={"38": {"status": 0}},
                          properties={"209": hexadecimal(CONTROL_REPORT)})

    def kinds(self, *captures):
        node = service(BUTTON, SENSOR, properties={
            0: {"u32": 1}, 215: {"hex": ""}, 216: {"u8": [0] * 1479}},
            commands={57: NO_CLIENTS})
        outcome = play(chain(node), self.PROFILE, captures=captures)
        return [(snapshot.capture, snapshot.kind, outcome.handlers[snapshot.handler].kind)
                for snapshot in outcome.snapshots if snapshot.handler < 4]

    def test_error_capture_gives_nothing(self):
        self.assertEqual(self.kinds(1), [])

    def test_fault_capture_is_answered_by_raw_debug_only(self):
        self.assertEqual(self.kinds(2), [(0, 2, "RawDebugData")])

    def test_explicit_request_is_answered_by_all_in_the_order_of_registration(self):
        self.assertEqual(self.kinds(3), [(0, 3, "SSHBStats"), (0, 3, "SSHBAssets"),
                                         (0, 3, "SensorInfo"), (0, 3, "RawDebugData")])

    def test_captures_follow_each_other_and_count_from_zero(self):
        self.assertEqual(self.kinds(2, 1, 2),
                         [(0, 2, "RawDebugData"), (2, 2, "RawDebugData")])

    def test_only_a_kind_of_its_own_reads_a_property(self):
        reads = {"sequence": [{"u32": 1}, {"u32": 2}]}
        node = service(SENSOR, properties={0: reads}, commands={57: NO_CLIENTS})
        outcome = play(chain(node), captures=(1, 2, 3, 3))
        self.assertEqual([snapshot.contents["reportInterval"]
                          for snapshot in outcome.snapshots], [1, 2])

    def test_statistics_alone_lead_to_no_snapshot(self):
        node = service()
        node["hid"]["properties"]["NEBSupportsStatLedger"] = True
        self.assertEqual(play(chain(node), self.PROFILE).snapshots, [])

    def test_second_service_has_its_own_handlers_but_no_raw_debug(self):
        nodes = [service(SENSOR, name=name, properties={0: {"u32": 1}},
                         commands={57: NO_CLIENTS}) for name in ("a", "b")]
        outcome = play(chain(*nodes), self.PROFILE)
        handlers = [snapshot.handler for snapshot in outcome.snapshots]
        self.assertEqual((handlers[:2], handlers[-1], len(handlers)), ([0, 1], 105, 50))

    def test_telephony_button_leads_to_raw_debug_and_no_button_snapshot(self):
        node = service(TELEPHONY, properties={215: {"hex": ""}})
        outcome = play(chain(node), self.PROFILE)
        self.assertEqual({snapshot.title[:11] for snapshot in outcome.snapshots},
                         {"NEB Profile"})

    def test_title_is_cut_to_63_characters(self):
        self.assertEqual(capture_model.cut_title("t" * 64), "t" * 63)
        self.assertEqual(capture_model.cut_title("t" * 63), "t" * 63)

    def test_lines_of_handlers_obey_the_level(self):
        for level, count in (("default", 1), ("error", 0)):
            node = service(SENSOR, properties={0: {"status": 1}})
            outcome = play(chain(node), log_level=level)
            self.assertEqual(len(messages(outcome)), count)


# --- Access ------------------------------------------------------------------


class ByName(unittest.TestCase):
    """One access to a user client, with the lines that it leaves."""

    SERVICE = ASSERTION.format("", "service", "", "{}", 0)

    def access(self, call, *roots):
        log = session_model.Log("default")
        hub = capture_model.Hub(Device({"registry": [*roots]}, None), log)
        return call(hub), [line["message"] for line in log.lines]

    def kernel_line(self, line, text, value):
        return ASSERTION.format("", "kr == 0 ", text, line, value)

    CALLS = ((lambda hub: hub.method_by_name("far", 9, 4), 1190, 1193, 1197),
             (lambda hub: hub.command_by_name("far", 38, 4), 1215, 1218, 1222),
             (lambda hub: hub.property_by_name("far", 209, 4), 1241, 1244, 1248))

    def test_unknown_name_is_a_general_error(self):
        for call, line, _, _ in self.CALLS:
            self.assertEqual(self.access(call, {"name": "near"}),
                             ((0xE00002BC, b""), [self.SERVICE.format(line)]))

    def test_service_without_a_user_client_cannot_be_opened(self):
        for call, _, line, _ in self.CALLS[:2]:
            self.assertEqual(self.access(call, {"name": "far"}), (
                (0xE00002C7, b""),
                [self.kernel_line(line, "unsupported function", "e00002c7")]))

    def test_failing_open_is_told_with_its_code(self):
        for call, _, line, _ in self.CALLS[:2]:
            self.assertEqual(self.access(call, user_client("far", open=-1)), (
                (0xFFFFFFFF, b""), [self.kernel_line(line, "", "ffffffff")]))

    def test_failing_command_returns_the_code_itself(self):
        for call, table, number, line in ((self.CALLS[0][0], "methods", "9", 1197),
                                          (self.CALLS[1][0], "commands", "38", 1222)):
            client = user_client("far", **{table: {number: {"status": 0xE00002D6}}})
            self.assertEqual(self.access(call, client), (
                (0xE00002D6, b""), [self.kernel_line(line, "timed out", "e00002d6")]))

    def test_failing_property_returns_a_general_error_whatever_the_code(self):
        call, _, open_line, line = self.CALLS[2]
        client = user_client("far", properties={"209": {"status": 5}})
        self.assertEqual(self.access(call, client),
                         ((0xE00002BC, b""), [self.kernel_line(line, "", 5)]))
        self.assertEqual(self.access(call, user_client("far", open="0xE00002EB")), (
            (0xE00002BC, b""), [self.kernel_line(open_line, "aborted", "e00002eb")]))

    def test_first_node_of_the_name_is_taken_even_without_a_user_client(self):
        client = user_client("far", methods={"9": {"u32": 7}})
        call = self.CALLS[0][0]
        self.assertEqual(self.access(call, client, {"name": "far"}),
                         ((0, b"\7\0\0\0"), []))
        (code, _), lines = self.access(call, {"name": "a", "children": [{"name": "far"}]},
                                       client)
        self.assertEqual((code, len(lines)), (0xE00002C7, 1))

    def test_class_is_no_name(self):
        self.assertEqual(self.access(self.CALLS[0][0], {"name": "near", "class": "far"})[1],
                         [self.SERVICE.format(1190)])

    def test_reply_is_cut_to_the_buffer(self):
        client = user_client("far", methods={"9": {"u8": [1, 2, 3, 4, 5]}})
        self.assertEqual(self.access(self.CALLS[0][0], client), ((0, b"\1\2\3\4"), []))


class ThroughTheDriver(unittest.TestCase):
    def number(self, reply):
        """Code and value of a checked read, with -1 as its default."""
        node = Device({"registry": [service(properties={36: reply})]}, None).nodes[0]
        hub = capture_model.Hub(None, session_model.Log("default"))
        return hub.checked_number(node, 36, -1)

    def test_four_bytes_are_the_value(self):
        self.assertEqual(self.number({"i32": -5}), (0, -5))

    def test_two_bytes_give_the_default_and_success(self):
        self.assertEqual(self.number({"u16": 7}), (0, -1))
        self.assertEqual(self.number({"hex": ""}), (0, -1))

    def test_failure_gives_the_default_and_the_code(self):
        self.assertEqual(self.number({"status": 5}), (5, -1))

    def test_longer_reply_is_cut_to_four_bytes(self):
        self.assertEqual(self.number({"u8": [1, 0, 0, 0, 9]}), (0, 1))

    def test_missing_interface_is_logged_at_each_read(self):
        for driver in ({"interface": False, "query": 0}, {"plugin": False}):
            node = service(BUTTON, properties={215: {"hex": ""}}, **driver)
            outcome = play(chain(node))
            self.assertEqual(messages(outcome), [NO_INTERFACE_LINE] * 2)
            self.assertEqual(outcome.snapshots, [])


class Replies(unittest.TestCase):
    def calls(self, reply, *capacities, folder=None):
        reply = far_side.Reply(reply, folder)
        return [reply.call(capacity) for capacity in capacities]

    def test_every_form_gives_its_bytes(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder)
            (path / "b.bin").write_bytes(b"abcdef")
            for reply, content in (
                    ({"hex": " 0a 0B "}, b"\x0a\x0b"), ({"text": "é"}, b"\xc3\xa9"),
                    ({"text": "AC", "size": 4}, b"AC\0\0"), ({"u16": 258}, b"\2\1"),
                    ({"i16": [-1, 1]}, b"\xff\xff\1\0"), ({"u64": 1}, b"\1" + bytes(7)),
                    ({"i64": [-2]}, b"\xfe" + b"\xff" * 7), ({"u8": []}, b""),
                    ({"file": "b.bin"}, b"abcdef"),
                    ({"file": "b.bin", "offset": 2, "length": 3}, b"cde"),
                    ([{"u8": 1}, [{"u8": 2}, {"text": "x"}], {"hex": ""}], b"\1\2x")):
                self.assertEqual(self.calls(reply, 99, folder=path), [(0, content)])

    def test_fixed_point_rounds_halves_away_from_zero(self):
        for value, expected in ((1, 65536), (-0.5, -32768), (0.5 / 65536, 1),
                                (-0.5 / 65536, -1), (-2.5 / 65536, -3), (0.49 / 65536, 0),
                                (0.49999999999999994 / 65536, 0), (-32768, -(2**31))):
            self.assertEqual(far_side.fixed_point(value), expected)

    def test_sequence_goes_on_and_its_last_repeats(self):
        reply = {"sequence": [{"u8": 1}, {"status": "0xE00002BC"}, {"status": 0}]}
        self.assertEqual(self.calls(reply, 9, 9, 9, 9),
                         [(0, b"\1"), (0xE00002BC, b""), (0, b""), (0, b"")])

    def test_drain_gives_whole_units_until_nothing_is_left(self):
        reply = {"drain": {"text": "abcdefgh"}, "unit": 2}
        self.assertEqual(self.calls(reply, 1, 5, 0, 2, 99, 99), [
            (0, b""), (0, b"abcd"), (0, b""), (0, b"ef"), (0, b"gh"), (0, b"")])

    def test_id_that_is_not_listed_is_unsupported_and_ids_are_numbers(self):
        side = far_side.FarSide({"properties": {"0x2A": {"u8": 1}}}, None)
        self.assertEqual(side.answer("properties", 42, 1), (0, b"\1"))
        self.assertEqual(side.answer("commands", 42, 1), (0xE00002C7, b""))

    def test_open_goes_on_in_its_sequence_over_all_connections(self):
        side = far_side.FarSide({"open": {"sequence": [0, "0x1f", 0]}}, None)
        self.assertEqual([side.open() for _ in range(4)], [0, 31, 0, 0])


# --- SSHB --------------------------------------------------------------------


class ButtonStatistics(unittest.TestCase):
    def statistics(self, content):
        node = service(BUTTON, properties={215: hexadecimal(content)})
        title, contents = only(play(chain(node)))
        self.assertEqual(title, "SSHB Statistics")
        return contents

    def with_field(self, offset, field):
        record = bytearray(330)
        record[offset:offset + len(field)] = field
        return self.statistics(bytes(record))

    def test_empty_reply_shows_zeros_under_every_key(self):
        click = dict.fromkeys(("button down to play asset", "button down ts",
                               "play asset ts", "button up to play asset", "button up ts"), 0)
        press = dict.fromkeys(("click count", "finger on ts", "start haptic ts",
                               "finger detect to button down", "second scan ts",
                               "turtle scans", "finger off ts"), 0)
        self.assertEqual(self.statistics(b""), {
            "last button press": {**press, "click 1": click, "click 2": click,
                                  "click 3": click},
            "latency": dict.fromkeys((
                "min_nz_latency_FD_to_BD", "max_latency_FD_to_BD",
                "min_nz_latency_BC_to_PlayAsset", "max_latency_BC_to_PlayAsset",
                "min_latency_Total", "max_latency_Total"), 0)})

    def test_each_field_stands_at_its_offset(self):
        contents = self.statistics(bytes(index % 256 for index in range(330)))
        press = contents["last button press"]
        self.assertEqual(press["finger on ts"], 0x0706050403020100)
        self.assertEqual(press["finger off ts"], 0x0F0E0D0C0B0A0908)
        self.assertEqual(press["start haptic ts"], 0x1716151413121110)
        self.assertEqual(press["finger detect to button down"], 0x1F1E1D1C1B1A1918)
        self.assertEqual(press["second scan ts"], 0x11100F0E0D0C0B0A)
        self.assertEqual(press["turtle scans"], 0x15141312)
        self.assertEqual(press["click 1"]["button down ts"], 0x5F5E5D5C5B5A5958)
        self.assertEqual(press["click 2"]["button up ts"], 0x7776757473727170)
        self.assertEqual(press["click 3"]["button up to play asset"],
                         struct.unpack("<q", bytes(range(0xE0, 0xE8)))[0])
        self.assertEqual(press["click 3"]["button down to play asset"],
                         struct.unpack("<q", bytes(range(0xD8, 0xE0)))[0])
        self.assertEqual(contents["latency"], {
            "min_nz_latency_FD_to_BD": 0x21201F1E1D1C1B1A,
            "max_latency_FD_to_BD": 0x2928272625242322,
            "min_nz_latency_BC_to_PlayAsset": 0x31302F2E2D2C2B2A,
            "max_latency_BC_to_PlayAsset": 0x3938373635343332,
            "min_latency_Total": 0x41403F3E3D3C3B3A,
            "max_latency_Total": 0x4948474645444342})

    def test_play_asset_time_is_that_of_the_up_edge(self):
        for click, down, up in ((1, 0x88, 0x90), (2, 0x98, 0xA0), (3, 0xA8, 0xB0)):
            for offset, shown in ((down, 0), (up, 5)):
                press = self.with_field(offset, b"\5")["last button press"]
                self.assertEqual(press[f"click {click}"]["play asset ts"], shown)

    def test_click_count_leaves_out_bit_zero(self):
        for field, count in ((7, 3), (1, 0), (0xFFFFFFFF, 2**31 - 1)):
            contents = self.with_field(0xE9, struct.pack("<I", field))
            self.assertEqual(contents["last button press"]["click count"], count)

    def test_numbers_are_signed(self):
        self.assertEqual(self.with_field(0x112, b"\xff" * 4)["last button press"]
                         ["turtle scans"], -1)
        self.assertEqual(self.with_field(0x142, b"\xff" * 8)["latency"]
                         ["max_latency_Total"], -1)

    def test_failed_read_gives_nothing_and_no_line(self):
        outcome = play(chain(service(BUTTON, properties={215: {"status": 5}})))
        self.assertEqual((outcome.snapshots, messages(outcome)), ([], []))


class ButtonAssets(unittest.TestCase):
    TOO_SHORT = ASSERTION.format("", "propertyLength >= sizeof(assets)", "", 632, 0)

    def outcome(self, content):
        return play(chain(service(BUTTON, properties={216: hexadecimal(content)})))

    def with_entry(self, offset, *fields):
        record = bytearray(1479)
        struct.pack_into("<Biqqi", record, offset, *fields)
        title, contents = only(self.outcome(bytes(record)))
        self.assertEqual(title, "SSHB assets")
        return contents

    def test_1479_bytes_give_51_entries_and_1478_a_line(self):
        contents = only(self.outcome(bytes(1479)))[1]
        self.assertEqual(set(contents.values()),
                         {"enable=0 slot=0 gain=0.000000 min=0 max=0"})
        self.assertEqual(len(contents), 51)
        self.assertEqual({key for key in contents if "(null)" in key},
                         {"Slow-(null)", "Medium-(null)", "Fast-(null)"})
        outcome = self.outcome(bytes(1478))
        self.assertEqual((outcome.snapshots, messages(outcome)), ([], [self.TOO_SHORT]))

    def test_bytes_behind_the_record_are_not_shown(self):
        for size in (1480, 4096, 5000):
            self.assertEqual(only(self.outcome(bytes(1479) + b"\1" * (size - 1479))),
                             only(self.outcome(bytes(1479))))

    def test_entries_stand_by_speed_then_by_state(self):
        for offset, key in ((0, "Slow-SingleDown"), (29, "Slow-SingleUp"),
                            (15 * 29, "Slow-LongPressUp"), (16 * 29, "Slow-(null)"),
                            (493, "Medium-SingleDown"), (986 + 6 * 29, "Fast-SingleTapOn"),
                            (986 + 16 * 29, "Fast-(null)")):
            contents = self.with_entry(offset, 255, 0, 0, 0, 0)
            self.assertEqual([name for name, text in contents.items()
                              if text.startswith("enable=255 ")], [key])

    def test_gain_is_signed_fixed_point(self):
        for gain, text in ((0x00010000, "1.000000"), (-0x8000, "-0.500000"),
                           (1, "0.000015"), (2**31 - 1, "32767.999985")):
            self.assertIn(f"gain={text} ", self.with_entry(0, 0, gain, 0, 0, 0)
                          ["Slow-SingleDown"])

    def test_longest_entry_fits(self):
        low = -(2**63)
        self.assertEqual(
            self.with_entry(0, 1, -(2**31), low, low, -(2**31))["Slow-SingleDown"],
            "enable=1 slot=-2147483648 gain=-32768.000000 min=-9223372036854775808"
            " max=-9223372036854775808")

    def test_failed_read_gives_nothing_and_no_line(self):
        outcome = play(chain(service(BUTTON, properties={216: {"status": 5}})))
        self.assertEqual((outcome.snapshots, messages(outcome)), ([], []))


# --- Sensor information ------------------------------------------------------


def sensor(properties=(), clients=NO_CLIENTS, **parts):
    return service(SENSOR, properties={0: {"u32": 1000}, **dict(properties)},
                   commands={} if clients is None else {57: clients}, **parts)


class SensorInformation(unittest.TestCase):
    def info(self, properties=(), clients=NO_CLIENTS, parent="spi", **parts):
        title, contents = only(play(chain(sensor(properties, clients, **parts),
                                          parent=parent)))
        self.assertEqual(title, "SensorInfo")
        return contents

    def value(self, key, number, reply):
        return self.info({number: reply}).get(key)

    def test_silent_sensor_shows_zeros_empty_texts_and_minus_one(self):
        zero = "0.000000 0.000000 0.000000"
        self.assertEqual(self.info(), {
            "reportInterval": 1000, "sensorType": "spi", "manufacturer": "", "model": "",
            "location": "N/A", "systickInterval": -1, "decimationEnabled": -1,
            "sensorBatchInterval": 0, "muxBatchInterval": 0, "apBatchInterval": 0,
            "apReportInterval": 0, "endpointBatchCount": 0, "rawMode": -1,
            "factoryMode": -1, "calibrationComplete": -1, "startupTime": -1, "intCal": -1,
            "calibrationMatrix": f"{zero} | {zero} | {zero}", "calibrationOffset": "0 0 0",
            "orientationMatrix": "0 0 0, 0 0 0, 0 0 0",
            "compassSensitivityCalibrationMatrix": f"{zero} | {zero} | {zero}",
            "registers": ""})

    def test_each_number_has_its_property(self):
        for number, key in ((64, "systickInterval"), (36, "decimationEnabled"),
                            (10, "rawMode"), (13, "factoryMode"),
                            (61, "calibrationComplete"), (45, "startupTime"),
                            (25, "intCal")):
            self.assertEqual(self.value(key, number, {"i32": -7}), -7)

    def test_failed_or_odd_number_is_minus_one_never_zero(self):
        for reply in ({"status": 5}, {"hex": ""}, {"hex": "000000"}, {"status": 0}):
            self.assertEqual(self.value("rawMode", 10, reply), -1)

    def test_batching_numbers_stand_in_order_and_a_short_reply_leaves_zeros(self):
        info = self.info({67: {"i32": [1, -2, 3]}})
        self.assertEqual([info[key] for key in (
            "sensorBatchInterval", "muxBatchInterval", "apBatchInterval",
            "apReportInterval", "endpointBatchCount")], [1, -2, 3, 0, 0])

    def test_report_interval_is_signed_and_zero_for_a_wrong_length(self):
        for reply, value in (({"u32": 2**32 - 1}, -1), ({"u16": 5}, 0), ({"status": 0}, 0),
                             ({"u8": [1, 0, 0, 0, 9]}, 1)):
            self.assertEqual(self.value("reportInterval", 0, reply), value)

    def test_failed_report_interval_gives_a_line_and_nothing(self):
        for code, text in ((0xE00002D6, "timed out"), (5, "")):
            outcome = play(chain(sensor({0: {"status": code}})))
            self.assertEqual(outcome.snapshots, [])
            self.assertEqual(messages(outcome),
                             [ASSERTION.format(text, "result == 0 ", "", 917, 0)])

    def test_missing_interface_gives_both_lines(self):
        outcome = play(chain(sensor(plugin=False)))
        self.assertEqual(messages(outcome), [NO_INTERFACE_LINE, ASSERTION.format(
            "device not ready", "result == 0 ", "", 917, 0)])

    def test_device_without_a_parent_gives_a_line_and_nothing(self):
        outcome = play(chain(sensor(), parent=None))
        self.assertEqual((outcome.snapshots, messages(outcome)), ([], [
            ASSERTION.format("no such device", "kr == 0 ", "", 921, 0)]))

    def test_sensor_type_is_the_name_above_the_device(self):
        self.assertEqual(self.info(parent="x" * 127)["sensorType"], "x" * 127)
        self.assertNotIn("sensorType", self.info(parent="é"))

    def test_texts_end_at_a_nul_or_at_32_bytes(self):
        for number, key in ((15, "manufacturer"), (16, "model")):
            self.assertEqual(self.value(key, number, {"text": "ACME", "size": 32}), "ACME")
            self.assertEqual(self.value(key, number, {"hex": "4100ff"}), "A")
            self.assertEqual(self.value(key, number, {"text": "x" * 40}), "x" * 32)
            self.assertEqual(self.value(key, number, {"text": "x" * 31}), "x" * 31)

    def test_text_that_is_not_ascii_is_left_out(self):
        for reply in ({"hex": "80"}, {"text": "é"}, {"hex": "41ff"}):
            self.assertIsNone(self.value("manufacturer", 15, reply))
        self.assertEqual(self.value("model", 16, {"hex": "017f"}), "\x01\x7f")

    def test_location_letter_with_its_alternate(self):
        for reply, text in (({"hex": "42 01000000"}, "B alternate=1"), ({"hex": "00"}, "N/A"),
                            ({"hex": "00 01000000"}, "N/A"), ({"hex": "42"}, "B alternate=0"),
                            ({"hex": "01 ffffffff"}, "\x01 alternate=-1"),
                            ({"hex": "80 01000000"}, None)):
            self.assertEqual(self.value("location", 68, reply), text)

    def test_matrices_are_fixed_point_row_by_row(self):
        reply = {"i32": [65536, -32768, 0, 1, -1, 2**31 - 1, -(2**31), 98304, 6554]}
        text = ("1.000000 -0.500000 0.000000 | 0.000015 -0.000015 32767.999985"
                " | -32768.000000 1.500000 0.100006")
        self.assertEqual(self.value("calibrationMatrix", 11, reply), text)
        self.assertEqual(self.value("compassSensitivityCalibrationMatrix", 29, reply), text)

    def test_offset_and_orientation_are_signed(self):
        self.assertEqual(self.value("calibrationOffset", 26, {"i32": [1, -2, 2**31 - 1]}),
                         "1 -2 2147483647")
        self.assertEqual(self.value("orientationMatrix", 24,
                                    {"i8": [1, 0, -1, 127, -128, 2, 3, 4]}),
                         "1 0 -1, 127 -128 2, 3 4 0")

    def test_failing_command_57_gives_nothing_silently(self):
        for clients in (None, {"status": 5}):
            outcome = play(chain(sensor(clients=clients)))
            self.assertEqual((outcome.snapshots, messages(outcome)), ([], []))


class RegisterDump(unittest.TestCase):
    def registers(self, content):
        return capture_model.registers_text(content[:128].ljust(128, b"\0"))

    def test_every_second_pair_below_the_count_is_shown(self):
        pairs = struct.pack("<6H", 1, 2, 3, 4, 0x1F, 0xABCD)
        for count, text in ((0, ""), (1, "R01=02 "), (2, "R01=02 "),
                            (3, "R01=02 R1f=abcd "), (4, "R01=02 R1f=abcd ")):
            self.assertEqual(self.registers(struct.pack("<I", count) + pairs), text)

    def test_pairs_end_with_the_buffer_whatever_the_count(self):
        words = b"".join(struct.pack("<2H", index, 0xFF) for index in range(31))
        text = "".join(f"R{index:02x}=ff " for index in range(0, 31, 2))
        self.assertEqual(text.count("R"), 16)
        for count in (31, 32, 2**31, 2**32 - 1):
            self.assertEqual(self.registers(struct.pack("<I", count) + words), text)
        self.assertEqual(self.registers(struct.pack("<I", 30) + words), text[:-7])

    def test_bytes_that_a_short_reply_left_are_zero(self):
        self.assertEqual(self.registers(struct.pack("<IH", 3, 7)), "R07=00 R00=00 ")

    def test_dump_reaches_the_snapshot(self):
        node = sensor({56: {"hex": "ffffffff"}})
        self.assertEqual(only(play(chain(node)))[1]["registers"], "R00=00 " * 16)


class DiagnosticStream(unittest.TestCase):
    def entries(self, *parts):
        return list(capture_model.stream_entries(b"".join(parts)))

    def test_hex_number_then_text(self):
        self.assertEqual(self.entries(b"\4\0\xff\0\0\0\3\2ok\0"), [b"ff", b"ok"])

    def test_numbers_are_signed_in_decimal_and_plain_bits_in_hex(self):
        self.assertEqual(self.entries(b"\0" + b"\xff" * 4, b"\1" + b"\xfe" + b"\xff" * 7),
                         [b"-1-2"])
        self.assertEqual(self.entries(b"\4\0" + b"\xff" * 4, b"\5\0\1\0\0\0",
                                      b"\4\1" + b"\xff" * 8),
                         [b"ffffffff1" + b"f" * 16])

    def test_mark_at_the_end_stores_the_last_text_once(self):
        self.assertEqual(self.entries(b"\2ok\0\3"), [b"ok"])

    def test_mark_after_an_empty_text_at_the_end_stores_nothing_more(self):
        self.assertEqual(self.entries(b"\3"), [])
        self.assertEqual(self.entries(b"\2ok\0\3\3"), [b"ok"])

    def test_each_tag_after_a_mark_stores_even_an_empty_entry(self):
        for tag in (b"\2\0", b"\3", b"\4", b"\5", b"\6", b"\xff"):
            self.assertEqual(self.entries(b"\3", tag), [b""])
        self.assertEqual(self.entries(b"\3\3\3"), [b"", b""])

    def test_ignored_tags_take_one_byte(self):
        self.assertEqual(self.entries(b"\6\xff\x80\2a\0\7"), [b"a"])

    def test_number_that_is_cut_off_is_dropped_and_ends_the_stream(self):
        for size in range(4):
            self.assertEqual(self.entries(b"\2a\0\0", b"\2" * size), [b"a"])
        for size in range(8):
            self.assertEqual(self.entries(b"\2a\0\1", b"\2" * size), [b"a"])

    def test_number_that_is_cut_off_stores_what_was_marked(self):
        self.assertEqual(self.entries(b"\3\0"), [b""])

    def test_unterminated_text_ends_with_the_stream(self):
        self.assertEqual(self.entries(b"\2abc"), [b"abc"])
        self.assertEqual(self.entries(b"\2"), [])

    def test_text_of_an_entry_ends_at_1023_bytes(self):
        self.assertEqual(self.entries(b"\2" + b"y" * 2000 + b"\0\3\2z\0"),
                         [b"y" * 1023, b"z"])

    def test_counter_runs_on_over_the_properties_and_over_what_is_left_out(self):
        info = only(play(chain(sensor({
            57: {"hex": "02 6100 03 02 8000 03 02 62"}, 58: {"status": 5},
            59: {"hex": "03 00ff00000004"}, 60: {"hex": "00 0a000000"}}))))[1]
        extras = {key: text for key, text in info.items() if key.startswith("extra")}
        self.assertEqual(extras, {"extra0": "a", "extra2": "b", "extra3": "",
                                  "extra4": "255", "extra5": "10"})

    def test_reply_is_cut_to_256_bytes(self):
        info = only(play(chain(sensor({57: {"text": "\2" + "y" * 300}}))))[1]
        self.assertEqual(info["extra0"], "y" * 255)


class ClientTable(unittest.TestCase):
    def clients(self, reply):
        info = only(play(chain(sensor(clients=reply))))[1]
        return {key: text for key, text in info.items() if key.startswith("client")}

    def client(self, name, in_use=1, numbers=(1, -2, 3, 4)):
        return struct.pack("<12s4iBxx", name, *numbers, in_use)

    def test_only_records_in_use_are_shown_under_their_index(self):
        reply = hexadecimal(self.client(b"a", in_use=0) + self.client(b"b", in_use=255))
        self.assertEqual(self.clients(reply),
                         {"client1": "b: report=1 batch=-2 threshold=3 timelimit=4"})

    def test_rest_of_a_record_is_left_out(self):
        table = self.client(b"a") + self.client(b"b")
        for size, keys in ((0, []), (30, []), (31, ["client0"]), (61, ["client0"]),
                           (62, ["client0", "client1"])):
            self.assertEqual(list(self.clients(hexadecimal(table[:size]))), keys)

    def test_name_ends_at_twelve_bytes_and_must_be_ascii(self):
        reply = hexadecimal(self.client(b"twelve bytes") + self.client(b"\xc3\xa9")
                            + self.client(b""))
        numbers = ": report=1 batch=-2 threshold=3 timelimit=4"
        self.assertEqual(self.clients(reply), {"client0": "twelve bytes" + numbers,
                                               "client2": numbers})

    def test_reply_is_cut_to_sixteen_records(self):
        self.assertEqual(len(self.clients(hexadecimal(self.client(b"a") * 17))), 16)


class EventQueue(unittest.TestCase):
    def event_queue(self, second=None, third=None):
        """"APEvents" with these registry properties of the second and third level."""
        queue = {"name": "queue", "properties": third or {}}
        node = sensor(children=[queue])
        node["properties"] = second or {}
        return only(play(chain(node)))[1].get("APEvents")

    def text(self, numbers, delta="0.000000", dropped="0.000000"):
        return "{} [enqueued={} dropped={};".format(*numbers) \
            + f" event_delta={delta} dropped_delta={dropped}]\n"

    def test_counters_come_from_the_second_and_third_level(self):
        self.assertEqual(self.event_queue(
            {"DebugState": {"_num_events": 5, "EnqueueEventCount": 99}},
            {"DebugState": {"_num_events": 99, "EnqueueEventCount": 2**32 + 7,
                            "DroppedEventCount": -3, "LastEventTime": 1500000000,
                            "LastDroppedEventTime": 1}}),
            self.text((5, 7, -3), "1.500000"))

    def test_missing_or_mistyped_state_counts_as_empty(self):
        for state in ({}, {"DebugState": "text"}, {"DebugState": [1]}, {"DebugState": {}},
                      {"DebugState": True}):
            self.assertEqual(self.event_queue(state, state), self.text((-1, -1, -1)))

    def test_times_are_unsigned(self):
        state = {"DebugState": {"LastEventTime": -1, "LastDroppedEventTime": -(2**63)}}
        self.assertEqual(self.event_queue(third=state), self.text(
            (-1, -1, -1), "18446744073.709553", "9223372036.854776"))

    def test_numbers_of_other_types_are_converted_and_what_is_none_is_missing(self):
        for value, shown in ((2.0, 2), (-7.75, -7), (2**32 + 5, 5), (2**31, -(2**31)),
                             ("5", -1), (True, -1), ([5], -1)):
            state = {"DebugState": {"DroppedEventCount": value, "_num_events": value}}
            self.assertEqual(self.event_queue(state, state), self.text((shown, -1, shown)))

    def test_missing_level_leaves_the_counters_out(self):
        self.assertNotIn("APEvents", only(play(chain(sensor())))[1])

    def test_only_first_children_are_followed(self):
        node = sensor(children=[{"name": "a"}], name="second")
        self.assertNotIn("APEvents", only(play(chain({"name": "first"}, node)))[1])
        node = sensor(children=[{"name": "a"}], name="second")
        first = {"name": "first", "children": [{"name": "b"}]}
        self.assertIn("APEvents", only(play(chain(first, node)))[1])


# --- Raw debug data ----------------------------------------------------------


class RawDebugData(unittest.TestCase):
    NODE = chain(service(DEBUG))

    def kext(self, reply, *more, **options):
        """Snapshots of kind "kext", whose handlers are the eight from the 48th on."""
        roots = (self.NODE, user_client("VantuHUBProfileDriver", methods={"9": reply}))
        return play(*roots, *more, captures=(2,), **options).snapshots

    def titles(self, *roots, captures=(2,)):
        return [snapshot.title for snapshot in play(self.NODE, *roots,
                                                    captures=captures).snapshots]

    def once(self, content):
        return {"sequence": [hexadecimal(content), {"hex": ""}]}

    def test_reply_below_48_bytes_gives_nothing(self):
        for size in (0, 1, 47):
            self.assertEqual(self.kext(self.once(bytes(size))), [])

    def test_48_bytes_give_a_line_and_100_give_two(self):
        for size, count in ((48, 1), (95, 1), (96, 2), (100, 2)):
            snapshot, = self.kext(self.once((CONTROL_REPORT * 3)[:size]))
            self.assertEqual(snapshot.title, f"NEB Profile 0 ;count={count} ;type=kext")
            self.assertEqual(snapshot.contents, [CONTROL_LINE + "}"] * count)
            self.assertEqual((snapshot.handler, snapshot.kind), (48, 2))

    def test_reply_is_cut_to_32_records(self):
        snapshot, = self.kext(self.once(CONTROL_REPORT * 33))
        self.assertEqual(len(snapshot.contents), 32)

    def test_record_that_is_not_utf8_is_left_out_but_counted(self):
        snapshot, = self.kext(self.once(BROKEN_REPORT + CONTROL_REPORT + BROKEN_REPORT))
        self.assertEqual((snapshot.title, snapshot.contents),
                         ("NEB Profile 0 ;count=3 ;type=kext", [CONTROL_LINE + "}"]))
        snapshot, = self.kext(self.once(BROKEN_REPORT * 2))
        self.assertEqual((snapshot.title, snapshot.contents),
                         ("NEB Profile 0 ;count=2 ;type=kext", []))

    def test_handler_five_of_errors_has_its_title(self):
        titles = self.titles(user_client("VantuHUBProfileDriver", methods={
            "8": {"drain": hexadecimal(CONTROL_REPORT * 6 * 32), "unit": 48}}))
        self.assertEqual((len(titles), titles[5]), (6, "NEB Profile 5 ;count=32 ;type=err"))

    def test_drain_goes_on_over_handlers_and_captures(self):
        client = user_client("VantuHUBProfileDriver", methods={
            "9": {"drain": hexadecimal(CONTROL_REPORT * 33), "unit": 48},
            "8": {"sequence": [{"hex": ""}] * 50 + [self.once(CONTROL_REPORT)["sequence"][0],
                                                    {"hex": ""}]}})
        self.assertEqual(self.titles(client, captures=(2, 2)), [
            "NEB Profile 0 ;count=32 ;type=kext", "NEB Profile 1 ;count=1 ;type=kext",
            "NEB Profile 2 ;count=1 ;type=err"])

    def test_firmware_is_asked_before_its_records_are_read(self):
        records = self.once(CONTROL_REPORT)
        for command, titles in (({"status": 0}, ["NEB Profile 0 ;count=1 ;type=fw"]),
                                ({"status": 5}, []),
                                ({"sequence": [{"status": 5}, {"u32": 1}]},
                                 ["NEB Profile 1 ;count=1 ;type=fw"])):
            client = user_client("NEB_profile", commands={"38": command},
                                 properties={"209": records})
            self.assertEqual(self.titles(client), titles)

    def test_lines_of_failed_access_stand_in_the_order_of_the_handlers(self):
        kernel_line = ASSERTION.format("", "kr == 0 ", "unsupported function", "{}",
                                       "e00002c7")
        outcome = play(self.NODE, {"name": "NEB_profile"}, captures=(2,))
        self.assertEqual(all_messages(outcome), [kernel_line.format(1218)] * 48
                         + [ASSERTION.format("", "service", "", 1190, 0)] * 56)
        self.assertEqual(outcome.snapshots, [])

    def test_connection_is_opened_for_each_call(self):
        client = user_client("NEB_profile", open={"sequence": [0, 5, 0]},
                             commands={"38": {"status": 0}},
                             properties={"209": self.once(CONTROL_REPORT)})
        outcome = play(self.NODE, client, captures=(2,))
        self.assertEqual(all_messages(outcome)[0], ASSERTION.format("", "kr == 0 ", "", 1244, 5))
        self.assertEqual(only(outcome)[0], "NEB Profile 1 ;count=1 ;type=fw")

    def test_boot_time_ends_the_line(self):
        snapshot, = self.kext(self.once(CONTROL_REPORT), boot_time_us=5)
        self.assertEqual(snapshot.contents, [CONTROL_LINE + ", 'boot-timestamp':5}"])

    def test_calendar_time_comes_from_the_first_service_of_the_class(self):
        clocks = {"hub": 1000000, "calendar": 5007000}
        first = {"name": "VantuHUBTimesync", "properties": {"timesync": clocks}}
        other = {"name": "t", "class": "VantuHUBTimesync", "properties": {"timesync": {}}}
        # 1000 us of the hub are 5.007 ms after the epoch's calendar.
        for roots, remainder in (((first, other), "005007"), ((other, first), "001000")):
            snapshot, = self.kext(self.once(CONTROL_REPORT), *roots)
            self.assertRegex(snapshot.contents[0],
                             r"\], 'calendar-time':'\w{3} \d\d \d\d:\d\d:00\."
                             + remainder + "'}$")

    def test_time_sync_without_its_dictionary_leaves_the_item_out(self):
        for properties in ({}, {"timesync": "text"}, {"timesync": [1, 2]}):
            node = {"name": "VantuHUBTimesync", "properties": properties}
            snapshot, = self.kext(self.once(CONTROL_REPORT), node)
            self.assertEqual(snapshot.contents, [CONTROL_LINE + "}"])


class Command(unittest.TestCase):
    def test_snapshots_are_printed_as_json(self):
        roots = [RawDebugData.NODE, user_client("VantuHUBProfileDriver", methods={
            "9": {"drain": hexadecimal(CONTROL_REPORT), "unit": 48}})]
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder, "device.json")
            path.write_text(json.dumps({"format": "hub-device/1", "registry": roots}),
                            encoding="utf-8")
            arguments = ["session_model.py", str(path), "--capture", "1", "--capture", "2",
                         "--boot-time", "5"]
            output = io.StringIO()
            with mock.patch.object(sys, "argv", arguments), \
                    contextlib.redirect_stdout(output):
                self.assertEqual(session_model.main(), 0)
        self.assertEqual(json.loads(output.getvalue())["snapshots"], [
            {"capture": 1, "kind": 2, "handler": 48,
             "title": "NEB Profile 0 ;count=1 ;type=kext",
             "contents": [CONTROL_LINE + ", 'boot-timestamp':5}"]}])


if __name__ == "__main__":
    unittest.main()
