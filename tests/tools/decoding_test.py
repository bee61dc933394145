# SPDX-License-Identifier: Apache-2.0
"""Small language for tests of the hubprofile command: records, decoding runs."""

import os
import struct
import subprocess

from command_test import CommandTest

RECORD_BYTES = 48

WORKED_RECORD = bytes.fromhex("00050308 07000000 E803") + bytes(38)
WORKED_LINE = (
    b"{  'category':'control', 'component':     '3', 'event':         '5',"
    b" 'type':      'stop', 'timestamp':      1000, 'sequence_num':         7,"
    b" 'type-id':0, 'category-id':8, 'component-id':3, 'event-id':5,"
    b" 'binary-data':[0,5,3,8,7,0,0,0,232,3,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,"
    b"0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0]}\n")


def record(category, component, event, type_id, payload=b"", sequence=7,
           timestamp_us=1000):
    return struct.pack("<4BIQ32s", type_id, event, component, category, sequence,
                       timestamp_us, payload)


def sensor_named(name, sequence=7):
    """A record with 12 bytes of text, at record offset 35."""
    return record(2, 0, 9, 8, bytes(19) + name, sequence)


INVALID_TEXT_RECORD = sensor_named(b"\xff")


def invalid_text_records(count):
    """Such records with sequence numbers from 0 on."""
    return b"".join(sensor_named(b"\xff", number) for number in range(count))


def records(*sequence_numbers):
    """Worked records that differ in their sequence numbers."""
    return b"".join(record(8, 3, 5, 0, sequence=number) for number in sequence_numbers)


def lines(*sequence_numbers):
    """The lines of `records`, without boot time."""
    return b"".join(
        b"{  'category':'control', 'component':     '3', 'event':         '5',"
        b" 'type':      'stop', 'timestamp':      1000, 'sequence_num':%10d,"
        b" 'type-id':0, 'category-id':8, 'component-id':3, 'event-id':5,"
        b" 'binary-data':[%s]}\n"
        % (number, ",".join(map(str, records(number))).encode())
        for number in sequence_numbers)


class DecodingTest(CommandTest):
    """Runs of hubprofile, without the boot time, which no test can know."""

    def start_decoding(self, *arguments, **streams):
        return self.start("--boot-time", "none", *arguments, **streams)

    def decode(self, *arguments, data=None, **options):
        return self.run_command("--boot-time", "none", *arguments, data=data, **options)

    # --- Expectations --------------------------------------------------------

    def assert_decoded(self, result, output, messages=""):
        self.assertEqual((output, messages, 0),
                         (result.output, result.messages, result.status))

    def assert_failed(self, result, output, *messages):
        expected = "".join(f"hubprofile: {message}\n" for message in messages)
        self.assertEqual((output, expected, 1),
                         (result.output, result.messages, result.status))


class OutputFolderTest(DecodingTest):
    """Runs with an output file, "lines" in the folder "out"."""

    def setUp(self):
        super().setUp()
        os.mkdir(self.folder / "out")

    def start_output(self, **options):
        """Starts a run that has written the line of record 1 and waits for more.

        The command opens an input when it is done with the one before, and
        opening a named pipe waits for the other side.
        """
        process = self.start_decoding("-o", "out/lines", self.fifo("first"), self.fifo("second"),
                                      **options)
        with self.open_fifo("first") as first:
            first.write(records(1))
        return process, self.open_fifo("second")

    def assert_only_output(self, content):
        self.assertEqual((["lines"], content), (self.names("out"), self.content("out/lines")))
