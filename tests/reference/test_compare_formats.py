#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of the values of records and of their comparison, against texts written by hand."""

import struct
import unittest

import compare_formats
import record_values


def record(category, component, event, type_id, payload=b""):
    return struct.pack("<4BIQ32s", type_id, event, component, category, 7, 1000, payload)


class Options:
    timesync = boot_time = None
    all_fields = False


STOP = record(8, 3, 5, 0)
STOP_LINE = (
    b'{"format":"hub-profile/1","category":"control","component":"3","event":"5",'
    b'"type":"stop","timestamp":1000,"sequence_num":7,"type-id":0,"category-id":8,'
    b'"component-id":3,"event-id":5,"payload":{},"binary-data":"'
    + STOP.hex().encode() + b'"}\n')

TRIGGER = record(8, 3, 5, 4, struct.pack("<II", 0, 2))
TRIGGER_TABLE = (
    b"timestamp,sequence_num,category,component,event,type,category-id,component-id,"
    b"event-id,type-id,payload\r\n"
    b"1000,7,control,3,5,trigger,8,3,5,4,trigger=1 thread-id=2 arg=2\r\n")


class ValuesTest(unittest.TestCase):
    def test_real_is_the_shorter_of_plain_and_scientific(self):
        for value, text in ((0.0, "0"), (1.5, "1.5"), (-32768.0, "-32768"),
                            (2**-16, "1.52587890625e-05"), (100000.0, "1e+05"),
                            (10000.0, "10000"), (-0.0001, "-1e-04"), (0.001, "0.001")):
            self.assertEqual(record_values.real_text(value), text)

    def test_each_byte_of_no_character_is_replaced(self):
        self.assertEqual(record_values.readable(b"a\xe2\x82z\xc3\xa9\xff"),
                         "a\ufffd\ufffdz\u00e9\ufffd")

    def test_layouts_of_a_record(self):
        for ids, names in (
                ((7, 0, 0, 3), ("sshb-trace", "event")), ((7, 0, 2, 2), ("short-data",)),
                ((7, 0, 3, 2), ("sshb-status-event", "short-data")),
                ((11, 7, 0, 3), ("haptics-trace",)), ((11, 5, 0, 3), ("event",)),
                ((4, 0, 0, 3), ("cumulus-data-in", "event")), ((4, 0, 2, 3), ("event",)),
                ((10, 0, 1, 13), ("wake-request",)), ((8, 0, 0, 0), ())):
            self.assertEqual(record_values.layout_names(record(*ids)), names)

    def test_payload_text_shows_where_texts_end(self):
        payload = bytes(19) + b'a "\n\xc2\x85'
        text = compare_formats.payload_text(
            record_values.payload_of(record(2, 0, 9, 8, payload)))
        self.assertTrue(text.startswith('name="a \\"\\n\\u0085" report-interval=0 '))


class JsonlTest(unittest.TestCase):
    def compare(self, output):
        return compare_formats.compare_jsonl([STOP], output, Options)

    def test_equal(self):
        self.assertIsNone(self.compare(STOP_LINE))

    def test_each_difference_is_found(self):
        for old, new in ((b":1000,", b":1000.0,"), (b'"5"', b"5"), (b"{}", b'{"event":{}}'),
                         (b"}\n", b"}"), (b"}\n", b"}\n\n"), (b'"stop"', b'"stop\x01"'),
                         (b'"type-id":0,', b'"type-id":0,"type-id":0,'),
                         (b'"category-id":8,"component-id":3', b'"component-id":3,"category-id":8')):
            self.assertIn(old, STOP_LINE)
            changed = STOP_LINE.replace(old, new)
            with self.subTest(changed=changed):
                self.assertIsNotNone(self.compare(changed))


class CsvTest(unittest.TestCase):
    def compare(self, output):
        return compare_formats.compare_csv([TRIGGER], output, Options)

    def test_equal(self):
        self.assertIsNone(self.compare(TRIGGER_TABLE))

    def test_each_difference_is_found(self):
        for old, new in ((b"\r\n", b"\n"), (b",3,", b",4,"), (b"arg=2", b'"arg=2"'),
                         (b"1000,7", b'"1000",7'), (b"arg=2\r\n", b"arg=2\r\n\r\n"),
                         (b"arg=2", b"arg=2,"), (b"payload\r\n", b"items\r\n")):
            self.assertIn(old, TRIGGER_TABLE)
            changed = TRIGGER_TABLE.replace(old, new)
            with self.subTest(changed=changed):
                self.assertIsNotNone(self.compare(changed))


if __name__ == "__main__":
    unittest.main()
