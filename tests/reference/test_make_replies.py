#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of the random device files: what state captures of them meet."""

import collections
import contextlib
import re
import tempfile
import unittest
from unittest import mock

import capture_model
import far_side
import make_device
import session_model

ASSERTION = re.compile(r"(.*): AssertMacros: (.*), (.*) file: .*, line: (\d+) value:(.*)",
                       re.DOTALL)
REGISTRATION_LINES = ("278", "279", "295", "296")
TITLE = re.compile(r"NEB Profile \d+ ;count=(\d+) ;type=(.*)")

# --- What happens in captures ------------------------------------------------


@contextlib.contextmanager
def recorded(owner, name):
    """Arguments and results of the calls of a function that gives values."""
    original, calls = getattr(owner, name), []

    def call(*arguments):
        calls.append((arguments, original(*arguments)))
        return calls[-1][1]

    with mock.patch.object(owner, name, call):
        yield calls


def call_events(reply, capacity, content):
    """What one call met; the reply stands behind it."""
    given = reply.given
    if "sequence" in given:
        repeats = reply.calls > len(given["sequence"])
        yield "last of a sequence repeats" if repeats else "next of a sequence"
        given = far_side.at_call(given["sequence"], reply.calls - 1)
    if "drain" in given:
        whole = len(far_side.reply_bytes(given["drain"], reply.folder))
        left = whole - reply.drained_bytes
        yield "drain gives nothing" if not content else "drain gives the rest" if left == 0 \
            else "drain gives a part"
        if capacity < given["unit"]:
            yield "drain of units above the buffer"
        elif capacity % given["unit"]:
            yield "drain of units that leave a part of the buffer"
    elif "status" not in given:
        yield f"{len(far_side.reply_bytes(given, reply.folder))} bytes into {capacity}"


def answer_events(side, table, number, answer):
    code, _ = answer
    if (table, number) not in side.replies:
        yield f"{table} {number} not listed"
        return
    yield f"{table} {number} {'fails' if code else 'succeeds'}"
    if code and capture_model.error_text(code):
        yield "failure with a text"
    elif code:
        yield "failure without a text"


def stream_events(stream):
    items = list(capture_model.stream_items(stream))
    entries = list(capture_model.stream_entries(stream))
    yield from (f"tag {tag}" for tag, _ in items)
    if not items:
        return
    for (tag, _), (following, _) in zip(items, items[1:]):
        if tag == 3:
            yield "entry stored by an ignored tag" if following > 5 \
                else f"entry stored by tag {following}"
    tag, payload = items[-1]
    if payload is None:
        yield f"number of tag {tag} cut off"
        if len(items) > 1 and items[-2][0] == 3:
            yield "entry stored by a number that is cut off"
    elif tag == 2 and not stream.endswith(b"\0"):
        yield "unterminated text"
    if tag == 3:
        yield "last entry ends with its tag"
        if len(items) > 1 and items[-2][0] == 3:
            yield "empty last entry"
    if b"" in entries:
        yield "empty entry"
    if any(not text.isascii() for text in entries):
        yield "entry that is not ASCII"
    yield from ("entry of more than 255 bytes" for text in entries if len(text) > 255)


def sensor_events(info, device_node):
    for key in ("sensorType", "manufacturer", "model", "location", "APEvents"):
        yield f"{key} {'there' if key in info else 'left out'}"
    if info.get("location") == "N/A":
        yield "location letter of 0"
    yield f"{info['registers'].count('R')} registers"
    yield "interval from a wrong length" if info["reportInterval"] == 0 else "interval"
    yield from ("-1 for a number" for key, _ in capture_model.SENSOR_NUMBERS
                if info[key] == -1)
    clients = [int(key[6:]) for key in info if key.startswith("client")]
    if clients and clients != list(range(len(clients))):
        yield "client indices skip"
    yield from (f"client {index}" for index in clients)
    yield from (f"manufacturer of {len(info.get(key, ''))} characters"
                for key in ("manufacturer", "model") if key in info)
    yield from queue_events(info, device_node)


def queue_events(info, device_node):
    levels = 0
    node = device_node
    while node.children and levels < 3:
        node = node.children[0]
        levels += 1
        if levels == 1:
            continue
        state = node.properties.get("DebugState")
        form = "missing" if state is None else "there" if isinstance(state, dict) \
            else "mistyped"
        yield f"DebugState {form} at level {levels}"
        for value in state.values() if isinstance(state, dict) else ():
            yield f"counter of {type(value).__name__}"
    yield f"{levels} levels of children"
    text = info.get("APEvents", "")
    if "enqueued=-1 dropped=-1; event_delta=0.000000" in text:
        yield "no counters"
    if re.search(r"delta=1844", text):
        yield "negative time"


def raw_debug_events(snapshot):
    count, name = TITLE.fullmatch(snapshot.title).groups()
    yield f"{name} of {count}"
    if len(snapshot.contents) < int(count):
        yield "no line at all" if not snapshot.contents else "line left out"
    for line in snapshot.contents:
        yield "with calendar-time" if "'calendar-time'" in line else "without calendar-time"
        yield "with boot-timestamp" if "'boot-timestamp'" in line \
            else "without boot-timestamp"
        if not line.isascii():
            yield "line that is not ASCII"


def log_events(log):
    for line in log:
        found = ASSERTION.fullmatch(line["message"])
        if found and found[4] not in REGISTRATION_LINES:
            prefix, expression, text, number, value = found.groups()
            yield f"line {number}"
            if expression.startswith(("kr", "result")):
                yield f"line {number} {'with' if prefix or text else 'without'} a text"


def device_events(device, case):
    yield f"captures {case.captures}"
    yield f"boot time {case.boot_time_us}"
    for name in make_device.PROFILE_NAMES:
        count = [node.name for node in device.nodes].count(name)
        yield f"no {name}" if count == 0 else f"several {name}" if count > 1 else f"one {name}"
    for node in device.nodes:
        if node.class_name == make_device.TIME_SYNC_CLASS:
            yield "time sync by name" if node.name == node.class_name else "time sync by class"
            clocks = node.properties.get("timesync")
            yield f"timesync of {type(clocks).__name__}"
            if isinstance(clocks, dict) and not {"hub", "calendar"} <= set(clocks):
                yield "timesync without a clock"


def snapshot_events(device, outcome):
    for snapshot in outcome.snapshots:
        handler = outcome.handlers[snapshot.handler]
        if handler.kind == "SensorInfo":
            yield from sensor_events(snapshot.contents, handler.driver.device_node)
        elif handler.kind == "RawDebugData":
            yield from raw_debug_events(snapshot)
        else:
            yield snapshot.title
    if not outcome.snapshots:
        yield "no snapshots"
    if len({handler.driver for handler in outcome.handlers
            if handler.kind == "SensorInfo"}) > 1:
        yield "several sensors"


def events(case):
    with tempfile.TemporaryDirectory() as folder, \
            recorded(far_side.FarSide, "answer") as answers, \
            recorded(capture_model, "stream_entries") as streams:
        device = session_model.read_device(case.write(folder))
        found = []
        original = far_side.Reply.call

        def call(reply, capacity):
            code, content = original(reply, capacity)
            found.extend(call_events(reply, capacity, content))
            return code, content

        with mock.patch.object(far_side.Reply, "call", call):
            outcome = session_model.run(device, captures=case.captures or (3,),
                                        boot_time_us=case.boot_time_us)
        given_streams = [stream for (stream,), _ in streams]
    yield from found
    for (side, table, number, _), answer in answers:
        yield from answer_events(side, table, number, answer)
    for stream in given_streams:
        yield from stream_events(stream)
    yield from log_events(outcome.log)
    yield from device_events(device, case)
    yield from snapshot_events(device, outcome)


# --- What must happen --------------------------------------------------------

SENSOR_NUMBERS = tuple(number for _, number in capture_model.SENSOR_NUMBERS)
DRIVER_PROPERTIES = (0, 15, 16, 68, 67, 11, 26, 24, 29, 56, 57, 58, 59, 60, 215, 216,
                     *SENSOR_NUMBERS)

# Lengths of replies by the size of the buffer that they meet.
LENGTHS = {4: (0, 1, 3, 4, 5, 8), 5: (0, 1, 3, 4, 5, 6, 8), 9: (8, 9, 10),
           12: (11, 12, 13), 20: (19, 20, 21), 32: (31, 32, 33), 36: (35, 36, 37),
           128: (127, 128, 129), 330: (329, 330, 331),
           496: (0, 31, 62, 496, 527), 1536: (0, 1, 47, 48, 49, 95, 96, 100, 240),
           4096: (1478, 1479, 1480, 4096, 4097)}

# Each occurs at least this often in the files that are compared by default.
LEAST = 2
EVENTS = (
    *(f"{length} bytes into {capacity}"
      for capacity, lengths in LENGTHS.items() for length in lengths),
    *(f"properties {number} {end}" for number in DRIVER_PROPERTIES
      for end in ("succeeds", "fails", "not listed")),
    *(f"{call} {end}" for call in ("properties 209", "commands 38", "commands 57",
                                   "methods 8", "methods 9")
      for end in ("succeeds", "fails", "not listed")),
    "failure with a text", "failure without a text",
    "next of a sequence", "last of a sequence repeats", "drain gives nothing",
    "drain gives the rest", "drain gives a part", "drain of units above the buffer",
    "drain of units that leave a part of the buffer",
    *(f"tag {tag}" for tag in (*range(8), 255)),
    *(f"entry stored by tag {tag}" for tag in range(6)), "entry stored by an ignored tag",
    "entry stored by a number that is cut off",
    "number of tag 0 cut off", "number of tag 1 cut off", "unterminated text",
    "last entry ends with its tag", "empty last entry", "empty entry",
    "entry that is not ASCII", "entry of more than 255 bytes",
    *(f"{key} {end}" for key in ("sensorType", "manufacturer", "model", "location",
                                 "APEvents") for end in ("there", "left out")),
    "location letter of 0", *(f"{count} registers" for count in (0, 1, 2, 3, 15, 16)),
    "interval", "interval from a wrong length", "-1 for a number", "client indices skip",
    "client 0", "client 15",
    *(f"manufacturer of {count} characters" for count in (0, 1, 32)),
    *(f"DebugState {form} at level {level}" for form in ("missing", "there", "mistyped")
      for level in (2, 3)),
    *(f"counter of {form}" for form in ("int", "float", "str", "bool", "list", "dict")),
    *(f"{levels} levels of children" for levels in range(1, 4)),
    "no counters", "negative time",
    *(f"{name} of {count}" for name in ("fw", "kext", "err") for count in (1, 2, 32)),
    "line left out", "no line at all", "line that is not ASCII",
    "with calendar-time", "without calendar-time", "with boot-timestamp",
    "without boot-timestamp",
    *(f"line {number}" for number in (632, 921, 1152, 1190, 1193, 1197, 1215, 1218, 1222,
                                      1244, 1248)),
    *(f"line {number} {form} a text" for number in (917, 1193, 1197, 1218, 1222, 1244, 1248)
      for form in ("with", "without")), "line 921 with a text",
    *(f"captures {captures}" for captures in make_device.CAPTURES),
    *(f"boot time {time_us}" for time_us in make_device.BOOT_TIMES_US),
    *(f"{count} {name}" for count in ("no", "one", "several")
      for name in make_device.PROFILE_NAMES),
    "time sync by name", "time sync by class",
    *(f"timesync of {form}" for form in ("dict", "str", "int", "list", "bool", "NoneType")),
    "timesync without a clock", "SSHB Statistics", "SSHB assets", "no snapshots",
    "several sensors",
)


class RandomReplies(unittest.TestCase):
    def test_every_outcome_occurs_in_captures_of_the_default_files(self):
        counts = collections.Counter()
        for index in range(300):
            counts.update(events(make_device.case(1, index)))
        self.assertEqual({name: counts[name] for name in EVENTS if counts[name] < LEAST}, {})


if __name__ == "__main__":
    unittest.main()
