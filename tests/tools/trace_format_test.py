#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of traces as JSON: what a viewer relies on, for captures of all kinds.

Traces are read an event at a time, as each stands on a line of its own.
"""

import collections
import json
import pathlib
import random
import struct
import sys
import unittest

from command_test import CommandTest
from decoding_test import RECORD_BYTES, record

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "reference"))
from make_records import records as records_of_all_kinds  # noqa: E402

OPTIONS = ("--format", "trace")

LARGEST_INTEGER = 2**53 - 1
LATE_US = 1_000_000
LATE_RECORDS = 64
FUNCTION, EXTFUNCTION = 5, 9

Record = collections.namedtuple(
    "Record", "type_id event_id component_id category_id sequence_num timestamp payload")


def unpack(data):
    return [Record(*fields) for fields in struct.iter_unpack("<4BIQ32s", data)]


def duration_of(entry):
    """Of a function's record; None: something else."""
    if entry.type_id == FUNCTION:
        return int.from_bytes(entry.payload[12:16], "little")
    if entry.type_id == EXTFUNCTION:
        return int.from_bytes(entry.payload[8:12], "little")
    return None


class Clock:
    """Where records stand in a trace, by the rules of the format."""

    def __init__(self):
        self.begin = self.latest = 0
        self.first = self.newest = None  # records; of the present stretch

    def goes_on(self, entry):
        if self.first is None:
            return False
        behind = self.newest.timestamp - entry.timestamp
        if behind <= 0:
            return self.first_end + entry.timestamp - self.first.timestamp < LARGEST_INTEGER
        records_behind = (self.newest.sequence_num - entry.sequence_num) % 2**32
        return behind <= LATE_US and not LATE_RECORDS < records_behind < 2**31

    def place(self, entry):
        """Start and end."""
        duration = duration_of(entry) or 0
        if not self.goes_on(entry):
            self.begin = self.latest
            self.first = self.newest = entry
            self.first_end = min(self.begin + duration, LARGEST_INTEGER - 1)
        if entry.timestamp >= self.newest.timestamp:
            self.newest = entry
        end = max(self.begin, self.first_end + entry.timestamp - self.first.timestamp)
        self.latest = max(self.latest, end)
        return max(self.begin, end - duration), end


class Track:
    """The slices of one thread."""

    def __init__(self, name):
        self.name = name
        self.slices = []

    def overlap(self):
        """Two slices that are partly in each other, or None."""
        enclosing = []
        for start, minus_end in sorted(self.slices):
            end = -minus_end
            while enclosing and enclosing[-1][1] <= start:
                enclosing.pop()
            if enclosing and end > enclosing[-1][1]:
                return enclosing[-1], (start, end)
            enclosing.append((start, end))
        return None


def function(timestamp_us, thread, duration_us, sequence=0, depth=1):
    return record(0, 1, 0, FUNCTION, struct.pack("<6I", 17, 0, thread, duration_us, depth, 0),
                  sequence, timestamp_us)


def calls(rng, count, threads=4, deepest=6):
    """Functions that call each other on threads, each recorded as it returns."""
    now = 5_000_000
    stacks = [[] for _ in range(threads)]
    for sequence in range(count):
        returned = None
        while returned is None:
            now += rng.randrange(1, 50)
            thread = rng.randrange(threads)
            stack = stacks[thread]
            if stack and rng.random() < 0.5 + 0.5 * (len(stack) == deepest):
                returned = function(now, thread, now - stack.pop(), sequence, len(stack) + 1)
            else:
                stack.append(now)
        yield returned


def disorder(rng, count):
    """Everything at once: overlapping and empty functions on few and many threads,
    points, late records, starts anew, stamps of all sizes."""
    now = sequence = 0
    for _ in range(count):
        chance = rng.random()
        sequence = (sequence + 1) % 2**32
        now += rng.choice((0, 0, 1, 5, 100))
        if chance < 0.0002:
            now, sequence = rng.randrange(2000), 0
        elif chance < 0.0004:
            now = rng.getrandbits(rng.randrange(1, 54))
        stamp = max(0, now - rng.randrange(200)) if chance > 0.97 else now
        thread = rng.randrange(6) if rng.random() < 0.95 else rng.randrange(3000)
        duration = rng.choice((0, 1, rng.randrange(20), rng.randrange(400), rng.getrandbits(32)))
        kind = rng.randrange(4)
        if kind == 0:
            yield record(rng.randrange(14), rng.randrange(4), rng.randrange(9), 3,
                         rng.randbytes(32), sequence, stamp)
        elif kind == 1:
            yield record(0, 4, 0, EXTFUNCTION, struct.pack(
                "<4I16s", rng.randrange(2), thread, duration, 0, rng.randbytes(16)),
                sequence, stamp)
        else:
            yield function(stamp, thread, duration, sequence)


class Trace(CommandTest):
    patience_seconds = 300

    def trace(self, data):
        """Runs the command and checks all that holds for any capture; gives the
        events that are no metadata, and the tracks."""
        result = self.run_command(*OPTIONS, data=data)
        self.assertEqual(result.status, 0, result.messages)
        self.tracks = {}
        self.processes = set()
        events = self.with_tracks(self.events_in(result.output))
        self.assert_records(unpack(data), events)
        for track in self.tracks.values():
            self.assertIsNone(track.overlap(), track.name)
        return self.tracks

    def events_in(self, output):
        """Reads the container, and each event from its line."""
        head, *lines, tail, nothing = output.decode().split("\n")
        self.assertEqual(nothing, "")
        container = json.loads(head + tail)
        self.assertEqual(container["displayTimeUnit"], "ms")
        self.assertEqual(container["traceEvents"], [])
        for number, line in enumerate(lines, 1):
            self.assertEqual(line.endswith(","), number < len(lines))
            yield json.loads(line.rstrip(","))

    def with_tracks(self, events):
        """Names come once, before the first use; numbers are numbers."""
        for event in events:
            process, track = event["pid"], (event["pid"], event["tid"])
            self.assertEqual([type(number) for number in track], [int, int])
            if event["name"] == "process_name" and event["ph"] == "M":
                self.assertNotIn(process, self.processes)
                self.processes.add(process)
            elif event["ph"] == "M":
                self.assertEqual(event["name"], "thread_name")
                self.assertNotIn(track, self.tracks)
                self.tracks[track] = Track(event["args"]["name"])
            else:
                self.assertIn(process, self.processes)
                self.assertIn(track, self.tracks)
                yield event

    def assert_records(self, entries, events):
        """Each record is there, in order, at its time."""
        clock = Clock()
        event = next(events, None)
        for entry in entries:
            self.assertIsNotNone(event)
            shown = []
            while event is not None and self.is_of(entry, event) and \
                    event["ph"] not in [other["ph"] for other in shown]:
                shown.append(event)
                event = next(events, None)
            self.assert_shown(entry, shown, *clock.place(entry))
        self.assertIsNone(event)

    def is_of(self, entry, event):
        args = event["args"]
        return entry.timestamp == int(args["timestamp"]) and \
            entry[:5] == (args["type-id"], args["event-id"], args["component-id"],
                          args["category-id"], args["sequence_num"])

    def assert_shown(self, entry, shown, start, end):
        duration = duration_of(entry)
        phases = [event["ph"] for event in shown]
        if duration is None:
            self.assertIn(phases, (["i", "X"], ["i"]), entry)
        else:
            self.assertIn(phases, (["X"], ["i"]), entry)
            layout = shown[0]["args"]["function" if entry.type_id == FUNCTION else "extfunction"]
            self.assertEqual(layout["duration"], duration)
        length = max(1, end - start)
        for event in shown:
            self.assertEqual(event["pid"], entry.category_id + 1)
            if event["ph"] == "i":
                self.assertEqual((event["ts"], event["s"]), (end, "t"))
            else:
                self.assertEqual((event["ts"], event["dur"]), (start, length), entry)
                self.assertTrue(0 <= start <= start + length <= LARGEST_INTEGER)
                self.tracks[event["pid"], event["tid"]].slices.append((start, -start - length))

    # --- Captures ------------------------------------------------------------

    def test_no_records_give_a_whole_trace(self):
        self.assertEqual(self.trace(b""), {})

    def test_records_of_all_kinds_and_boundaries_are_there(self):
        self.trace(b"".join(records_of_all_kinds(60_000, seed=1)))

    def test_calls_that_fit_are_on_one_track_a_thread(self):
        rng = random.Random(2)
        tracks = self.trace(b"".join(calls(rng, 100_000)))
        names = sorted(track.name for track in tracks.values())
        self.assertEqual(names, [f"function thread {number}" for number in range(4)])

    def test_deep_calls_of_many_are_on_one_track_a_thread(self):
        rng = random.Random(3)
        tracks = self.trace(b"".join(calls(rng, 50_000, threads=40, deepest=40)))
        self.assertEqual(len(tracks), 40)

    def test_disorder_never_overlaps_on_a_track(self):
        rng = random.Random(4)
        tracks = self.trace(b"".join(disorder(rng, 200_000)))
        self.assertGreater(len(tracks), 1000)
        self.assertIn("function thread 5 #8", [track.name for track in tracks.values()])

    def test_clock_that_stands_still_is_no_tower(self):
        data = b"".join(record(0, 0, 0, 3, sequence=number) for number in range(500))
        (track,) = self.trace(data).values()
        self.assertEqual(track.slices, [(0, -1)] * 64)

    def test_capture_that_ends_inside_a_record_is_whole_up_to_there(self):
        result = self.run_command(*OPTIONS, data=function(100, 1, 20) + bytes(RECORD_BYTES - 1))
        events = json.loads(result.output)["traceEvents"]
        self.assertEqual([event["ph"] for event in events], ["M", "M", "X"])


if __name__ == "__main__":
    unittest.main()
