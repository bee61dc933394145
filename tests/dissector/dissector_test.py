# SPDX-License-Identifier: Apache-2.0
"""Tests of the dissector in tshark, with captures that hubprofile's format gives.

In the environment, besides what dissecting.py needs: LIST_ITEMS, the command
that lists the decoder's items; EXAMPLE, a file of records.
"""

import itertools
import json
import os
import pathlib
import random
import struct
import unittest

import dissecting
import make_records
import profile_reference
from dissecting import DissectorTest, filter_name, record

EXAMPLE = dissecting.records_in(pathlib.Path(os.environ["EXAMPLE"]).read_bytes())

# By form and width in bytes; texts and lists have any width.
TYPES = {
    ("unsigned", 1): ("FT_UINT8", "BASE_DEC"),
    ("unsigned", 2): ("FT_UINT16", "BASE_DEC"),
    ("unsigned", 4): ("FT_UINT32", "BASE_DEC"),
    ("unsigned", 8): ("FT_UINT64", "BASE_DEC"),
    ("constant", 0): ("FT_UINT8", "BASE_DEC"),
    ("hexadecimal", 4): ("FT_UINT32", "BASE_HEX"),
    ("subtype", 4): ("FT_UINT32", "BASE_DEC"),
    ("fixed-point", 4): ("FT_DOUBLE", ""),
    "text": ("FT_STRING", ""),
    "bytes": ("FT_BYTES", ""),
}

TEXT_BYTES = {"hubprofile.sensorinfo.name": 12, "hubprofile.decimationinfo.name": 12,
              "hubprofile.extfunction.function": 16, "hubprofile.annotation.entry": 8}


def random_records(count, seed):
    """Records of every layout, in texts that are UTF-8."""
    rng = random.Random(seed)
    found = []
    for word, payload, _ in make_records.random_records(rng):
        sample = struct.pack("<IIQ", word, len(found), make_records.random_timestamp_us(rng)) + payload
        if profile_reference.decode(sample) is not None:
            found.append(sample)
        if len(found) == count:
            return found


class Fields(DissectorTest):
    def registered(self):
        """Name, and type with base, of each field that tshark knows of the protocol."""
        lines = self.run_tool("tshark", "-G", "fields", *dissecting.WITH_DISSECTOR).splitlines()
        fields = [line.split("\t") for line in lines if line.startswith("F\t")]
        return [(field[2], (field[3], field[5])) for field in fields
                if field[2].startswith("hubprofile.")]

    def items(self):
        lines = self.run_tool(os.environ["LIST_ITEMS"]).splitlines()
        return [line.split(" ") for line in lines]

    def test_every_item_of_every_layout_is_one_in_its_type(self):
        types = dict(self.registered())
        items = self.items()
        self.assertGreater(len(items), 100)
        for layout, key, form, width in items:
            expected = TYPES.get(form) or TYPES[form, int(width)]
            self.assertEqual(expected, types.get(filter_name(layout, key)), (layout, key))

    def test_every_trace_point_has_a_name_beside_its_number(self):
        types = dict(self.registered())
        for layout, key, form, _ in self.items():
            name = filter_name(layout, key) + "_name"
            self.assertEqual(TYPES["text"] if form == "subtype" else None, types.get(name))

    def test_names_are_unique_and_need_no_quotes_in_filters(self):
        names = [name for name, _ in self.registered()]
        self.assertEqual(len(set(names)), len(names))
        for name in names:
            self.assertRegex(name, r"\A[A-Za-z0-9_.]+\Z")


class Values(DissectorTest):
    @classmethod
    def setUpClass(cls):
        cls.records = EXAMPLE + random_records(4000, seed=1)

    def test_are_those_of_the_independent_decoder_and_stand_where_they_are_marked(self):
        layouts = set()
        for sample, fields in zip(self.records, self.packets(self.capture(self.records)),
                                  strict=True):
            layouts.update(name for name, _ in dissecting.layouts_of(sample))
            self.assert_header(sample, fields[:11])
            self.assert_payload(sample, fields[11:])
        known = self.run_tool(os.environ["LIST_ITEMS"]).splitlines()
        self.assertEqual({line.split(" ")[0] for line in known}, layouts)

    def assert_header(self, sample, fields):
        names = dissecting.names_of(sample)
        sequence, timestamp_us = struct.unpack_from("<IQ", sample, 4)
        expected = []
        for key, name, at in zip(("category", "component", "event", "type"), names, (3, 2, 1, 0)):
            expected += [(f"hubprofile.{key}", str(sample[at]), slice(at, at + 1)),
                         (f"hubprofile.{key}_name", name, slice(at, at + 1))]
        expected += [("hubprofile.sequence_num", str(sequence), slice(4, 8)),
                     ("hubprofile.timestamp", str(timestamp_us), slice(8, 16)),
                     ("hubprofile.payload", sample[16:].hex(":"), slice(16, 48))]
        self.assertEqual(expected, fields)

    def assert_payload(self, sample, fields):
        fields = iter(fields)
        for layout, items in dissecting.layouts_of(sample):
            self.assertEqual(("hubprofile.layout", layout, slice(16, 48)), next(fields))
            for key, value in items:
                name, shown, place = next(fields)
                self.assertEqual(filter_name(layout, key), name)
                self.assert_value(value, shown, place and sample[place], name)
                if key == "trace":
                    self.assertEqual((name + "_name", value.strip("'"), place), next(fields))
        self.assertEqual([], list(fields))

    def assert_value(self, value, shown, marked, name):
        """`marked`: the bytes that the value is said to be in."""
        if isinstance(value, float):
            self.assertAlmostEqual(value, float(shown), delta=1e-13 * abs(value))
            bits = 16 if "data_in" in name else 12
            self.assertEqual(value, int.from_bytes(marked, "little", signed=True) / (1 << bits))
        elif isinstance(value, int):
            self.assertEqual(value, int(shown, 0), name)
            if marked is not None:
                self.assertEqual(value, int.from_bytes(marked, "little"), name)
        elif value.startswith("["):
            data = bytes(json.loads(value))
            self.assertEqual((data.hex(":"), data), (shown, marked or b""), name)
        elif name.endswith(".trace"):
            self.assertEqual(int(shown), int.from_bytes(marked, "little"))
        else:
            text = value[1:-1].encode("latin-1")
            self.assertEqual((text.decode(), text), (shown, marked.partition(b"\0")[0]), name)
            self.assertEqual(TEXT_BYTES[name], len(marked))

    def test_text_that_is_no_utf8_is_shown_with_replacement_characters(self):
        capture = self.capture([record(2, 0, 9, 8, bytes(19) + b"a\xffb\xff")])
        self.assertEqual([["a\ufffdb\ufffd"]],
                         self.columns(capture, "hubprofile.sensorinfo.name"))


class Names(DissectorTest):
    def test_every_id_has_its_names(self):
        ids = itertools.product((*range(14), 255), (*range(12), 255), (*range(20), 255))
        records = [record(*numbers, index % 15) for index, numbers in enumerate(ids)]
        found = self.columns(self.capture(records), "hubprofile.category_name",
                             "hubprofile.component_name", "hubprofile.event_name",
                             "hubprofile.type_name")
        self.assert_all_equal(list(map(dissecting.names_of, records)), found)

    def test_every_trace_point_has_its_name(self):
        points = list(itertools.product((7, 11), range(11), make_records.SUBTYPES))
        points = [(category, component, subtype) for category, component, subtype in points
                  if (category, component) not in ((11, 5), (11, 6))]  # they have none
        found = self.columns(
            self.capture([record(category, component, 0, 3, struct.pack("<I", subtype))
                          for category, component, subtype in points]),
            "hubprofile.sshb_trace.trace_name", "hubprofile.haptics_trace.trace_name")
        self.assert_all_equal(
            [profile_reference.name_by_component(profile_reference.SUBTYPE_NAMES, *point)
             for point in points],
            ["".join(names) for names in found])


class Filters(DissectorTest):
    @classmethod
    def setUpClass(cls):
        cls.records = EXAMPLE + random_records(3000, seed=2)

    def assert_passes(self, display_filter, passes):
        """Those packets pass of whose records an independent reading says so; not all, not none."""
        expected = [str(number) for number, sample in enumerate(self.records, 1) if passes(sample)]
        self.assertTrue(0 < len(expected) < len(self.records))
        found = self.columns(self.capture(self.records), "frame.number",
                             display_filter=display_filter)
        self.assert_all_equal(expected, [number for number, in found])

    def test_number_of_a_payload(self):
        self.assert_passes("hubprofile.function.duration > 1000",
                           lambda sample: sample[0] == 5
                           and int.from_bytes(sample[28:32], "little") > 1000)

    def test_number_of_64_bits(self):
        self.assert_passes("hubprofile.annotation.global_id >= 0x8000000000000000",
                           lambda sample: sample[0] == 11 and sample[23] >= 0x80)

    def test_argument_in_hexadecimal(self):
        self.assert_passes("hubprofile.event.xarg1 == 0x1",
                           lambda sample: sample[0] == 3 and sample[16:20] == b"\1\0\0\0"
                           and (sample[3] not in (10, 11) or (sample[3] == 11 and sample[2] in (5, 6))
                                or (sample[3] == 10 and sample[1:3] != b"\2\0"))
                           and sample[1:4] != b"\1\0\4")

    def test_fraction(self):
        self.assert_passes("hubprofile.cumulus_data_out.x < -0.5",
                           lambda sample: sample[:4] == b"\3\1\0\4"
                           and int.from_bytes(sample[16:20], "little", signed=True) / 4096 < -0.5)

    def test_text(self):
        self.assert_passes('hubprofile.sensorinfo.name == "accel"',
                           lambda sample: sample[0] == 8 and sample[35:41] == b"accel\0")

    def test_names(self):
        self.assert_passes('hubprofile.category_name == "sshb" && hubprofile.component_name == "latency"'
                           ' && hubprofile.event_name == "ckp_ARCReady"',
                           lambda sample: sample[1:4] == b"\6\3\7")

    def test_name_of_a_trace_point(self):
        self.assert_passes('hubprofile.sshb_trace.trace_name == "PlayAssetBegin"',
                           lambda sample: sample[0] == 3 and sample[3] == 7
                           and sample[2] in (0, 1, 2, 4) and sample[16:20] == b"\x32\0\0\0")

    def test_layout(self):
        self.assert_passes('hubprofile.layout == "sshb-context-4"',
                           lambda sample: sample[0] == 10 and sample[3] == 7
                           and sample[16:18] == b"\4\0")

    def test_clock_of_the_co_processor(self):
        self.assert_passes("hubprofile.timestamp >= 0x8000000000000000",
                           lambda sample: sample[15] >= 0x80)


class Captures(DissectorTest):
    def test_times_are_calendar_time_with_a_clock_pair(self):
        hub_ns, calendar_ns = 5_000_000, 1_700_110_281_123_456_789
        capture = self.capture(EXAMPLE, "--timesync", f"{hub_ns},{calendar_ns}")
        self.assert_times_us(capture, lambda timestamp_us:
                             (timestamp_us * 1000 + calendar_ns - hub_ns) // 1000)

    def test_times_are_the_co_processors_without_a_clock_pair(self):
        self.assert_times_us(self.capture(EXAMPLE), lambda timestamp_us: timestamp_us)

    def assert_times_us(self, capture, time_us_of):
        found = [seconds.replace(".", "") for seconds, in self.columns(capture, "frame.time_epoch")]
        timestamps_us = [struct.unpack_from("<Q", sample, 8)[0] for sample in EXAMPLE]
        self.assert_all_equal([time_us_of(timestamp_us) * 1000 for timestamp_us in timestamps_us],
                              list(map(int, found)))

    def test_interface_has_the_devices_name(self):
        capture = self.capture(EXAMPLE[:1], "--device", "hüb 7")
        self.assertEqual([["hüb 7"]], self.columns(capture, "frame.interface_name"))

    def test_interface_is_hub0_unless_told(self):
        capture = self.capture(EXAMPLE[:1])
        self.assertEqual([["hub0"]], self.columns(capture, "frame.interface_name"))

    def test_file_is_whole_for_capinfos(self):
        told = self.run_tool("capinfos", "-M", "-E", "-c", "-d", "-I", self.capture(EXAMPLE))
        self.assertRegex(told, r"Encapsulation = USER 0 \(")
        self.assertRegex(told, rf"Number of packets: +{len(EXAMPLE)}\n")
        self.assertRegex(told, rf"Data size: +{len(EXAMPLE) * dissecting.RECORD_BYTES} bytes\n")
        self.assertRegex(told, r"Time precision = microseconds \(6\)\n")

    def test_no_records_are_a_capture_without_packets(self):
        self.assertEqual([], self.columns(self.capture([]), "frame.number"))


class Malformed(DissectorTest):
    def test_packet_that_has_not_48_bytes_is_marked_and_nothing_is_read_from_it(self):
        for size_bytes in (0, 1, 15, 16, 47, 49, 96):
            capture = self.capture_of_packets(bytes(size_bytes))
            text = f"Not a profile report: length {size_bytes}, expected 48 bytes"
            self.assertEqual([[text, text, ""]],
                             self.columns(capture, "_ws.expert.message", "_ws.col.Info",
                                          "hubprofile.category",
                                          display_filter="hubprofile.malformed"))

    def test_packets_around_it_are_shown(self):
        capture = self.capture_of_packets(EXAMPLE[0], bytes(47), EXAMPLE[1])
        self.assertEqual([["1"], ["3"]],
                         self.columns(capture, "frame.number",
                                      display_filter="hubprofile.category && !hubprofile.malformed"))


class InfoColumn(DissectorTest):
    def info(self, sample):
        (found, protocol), = self.columns(self.capture([sample]), "_ws.col.Info", "_ws.col.Protocol")
        self.assertEqual("HUBPROFILE", protocol)
        return found

    def test_tells_ids_by_name_and_the_first_values_that_are_not_zero(self):
        payload = struct.pack("<6I", 17, 0, 1, 210, 2, 4)
        self.assertEqual("exec/function/function: function-id=17, thread-id=1, duration=210, depth=2",
                         self.info(record(0, 1, 0, 5, payload)))

    def test_tells_a_trace_point_by_name(self):
        self.assertEqual("sshb/vossa/trace: trace=Notification, thread=2, arg1=9, arg2=3",
                         self.info(record(7, 1, 0, 3, struct.pack("<6I", 0, 2, 9, 3, 4, 5))))

    def test_tells_fractions_in_six_digits(self):
        self.assertEqual("cumulus/cumulus/data-out: arg3=4097, z=1.00024",
                         self.info(record(4, 0, 1, 3, struct.pack("<3I", 0, 0, 4097))))

    def test_tells_a_text_with_dots_for_what_is_not_printable_ascii(self):
        self.assertEqual("sensor/accel/sensor-info: name=a'b...~..",
                         self.info(record(2, 0, 9, 8, bytes(19) + b"a'b\n\x7f\xff~\xc3\xbc")))

    def test_tells_ids_in_decimal_when_they_have_no_names(self):
        self.assertEqual("200/3/5", self.info(record(200, 3, 5, 99, b"\1")))


if __name__ == "__main__":
    unittest.main()
