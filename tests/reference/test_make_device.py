#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of the random device files: what becomes of services and batches."""

import collections
import json
import pathlib
import struct
import tempfile
import unittest
from unittest import mock

import compare_session
import make_device
import session_model
from session_model import run

FAULT = "com.vantu.vantuhubhidstatistics.fault"
ASSERTION = (": AssertMacros: {},  file: VantuHUBHIDPlugins/VantuHUBHIDStatistics/"
             "VantuHUBHIDStatistics, line: {} value:0")


# --- What occurs in a device file --------------------------------------------


def callback_events(device, outcome):
    """What became of each batch, by what became of its service."""
    fates_by_name = dict(outcome.services)
    for node, records in device.batches:
        fate = fates_by_name[node.name]
        declares = node.hid.get("properties", {}).get("NEBSupportsStatLedger") is True
        gets = bool(node.device_node and node.device_node.has_callback)
        yield f"batch {'published' if gets else 'dropped'}"
        if gets and fate == "no HID device":
            yield "batch of a service without HID device published"
        elif gets and (fate != "taken" or not declares):
            yield "batch published by another's callback"
        if not gets and fate == "taken" and declares and "registryID" in node.hid:
            yield "batch dropped, callback elsewhere"
        if not records:
            yield f"empty batch {'published' if gets else 'dropped'}"
        if gets:
            yield from record_events(records)


def record_events(records):
    for version, op, key, value in struct.iter_unpack("<BBBi", records):
        if version != 0x43:
            yield f"version {version}"
            continue
        yield f"op {op}"
        yield f"key {key}"
        if op >= 5 and session_model.sample_of(value) != value / 65536:
            yield "rounded sample"


def log_events(log):
    lines = [line["message"] for line in log]
    for name, query_line, missing_line in (("driver", 278, 279), ("device", 295, 296)):
        text = ASSERTION.format("((HRESULT)(Status) >= 0)", query_line)
        missing = ASSERTION.format(f"context->_{name}._interface", missing_line)
        for before, line in zip(lines, [*lines[1:], ""]):
            if before == text:
                given = "nothing" if line == missing else "interface"
                yield f"{name} query failed, {given}"
        for before, line in zip(["", *lines], lines):
            if line == missing and before != text:
                yield f"{name} query succeeded, nothing"
    yield from ("fault line" for line in lines if line == "fault!")


def open_events(device):
    for node in device.nodes:
        codes = [session_model.status_code(node.driver.given.get("open", 0), call) == 0
                 for call in range(node.driver.opens)] if node.driver else []
        if False in codes[:-1]:
            yield "driver opened after a failure" if codes[-1] else "driver failed again"
        if codes[:1] == [True] and False in codes:
            yield "driver failed after an open"
        if len(codes) > 1:
            yield "shared driver"


def handler_events(device, outcome):
    taken = [name for name, fate in outcome.services if fate == "taken"]
    yield from (handler.kind for handler in outcome.handlers if handler.index == 0)
    raw = [handler for handler in outcome.handlers if handler.kind == "RawDebugData"]
    if raw and len(taken) > 1 and raw[0].driver.name != taken[0]:
        yield "raw debug of a later service"
    if taken and not outcome.handlers:
        yield "taken without handlers"


def file_events(case, device):
    text = case.text.decode()
    given = json.loads(session_model.without_comments(text))
    yield f"log level {case.log_level}"
    yield from (word for word in ("//", "/*", '"0x', '"query": -', "\\u00") if word in text)
    for each in given.get("batches", ()):
        yield from (f"batch by {key}" for key in each if key not in ("service", "records"))
    for name in given.get("notifications", ()):
        yield "fault notification" if name == FAULT else "other notification"
    for node in device.services:
        reported = node.hid.get("registryID", "own")
        yield "reports none" if reported is False else f"reports {reported}" \
            if reported in (0, "own") else "reports a number"
        if node.name.endswith("\n"):
            yield "name ends in a line end"
        properties = node.hid.get("properties", {})
        if not isinstance(properties.get("Transport", ""), str):
            yield "mistyped transport"
        if properties.get("NEBSupportsStatLedger") not in (True, False, None):
            yield "mistyped statistics flag"


def repeated_run_events(case, device, path, ledger):
    if not case.is_repeated:
        return
    yield "repeated"
    for index, key in enumerate(sorted(ledger.scalars)):
        ledger.scalars[key] = compare_session.EXTREME_SCALARS[index % 2]
    with mock.patch("session_model.wrapped", wraps=session_model.wrapped) as wrapped:
        run(session_model.read_device(path), ledger, captures=())
    for call in wrapped.call_args_list:
        if not -(2**63) <= call.args[0] < 2**63:
            yield "scalar wrapped around"


def events(case):
    with tempfile.TemporaryDirectory() as folder:
        path = case.write(folder)
        device = session_model.read_device(path)
        outcome = run(device, captures=())
        for part in (callback_events(device, outcome), log_events(outcome.log),
                     open_events(device), handler_events(device, outcome),
                     file_events(case, device),
                     repeated_run_events(case, device, path, outcome.ledger)):
            yield from part
        yield from (fate for _, fate in outcome.services)


# Each occurs at least this often in the files that are compared by default.
LEAST = 3
EVENTS = (
    "taken", "other transport", "of no interest", "no driver service",
    "no device service", "driver not opened", "no HID device",
    "mistyped transport", "mistyped statistics flag",
    "reports own", "reports 0", "reports none", "reports a number",
    "driver query failed, nothing", "driver query failed, interface",
    "driver query succeeded, nothing", "device query failed, nothing",
    "device query failed, interface", "device query succeeded, nothing",
    "shared driver", "driver opened after a failure", "driver failed after an open",
    "SSHBStats", "SSHBAssets", "SensorInfo", "RawDebugData",
    "raw debug of a later service", "taken without handlers",
    "batch published", "batch dropped", "empty batch published", "empty batch dropped",
    "batch of a service without HID device published",
    "batch published by another's callback", "batch dropped, callback elsewhere",
    "batch by hex", "batch by file", "batch by offset", "batch by length",
    *(f"op {op}" for op in (*range(7), 255)), *(f"key {key}" for key in (0, 66, 67, 255)),
    *(f"version {version}" for version in (0x42, 0, 255)), "rounded sample",
    "repeated", "scalar wrapped around", "fault line", "other notification",
    "log level default", "log level error", "log level fault", "log level off",
    "//", "/*", '"0x', '"query": -', "\\u00", "name ends in a line end",
)


class RandomDeviceFiles(unittest.TestCase):
    def test_files_are_the_same_for_a_seed_and_others_for_another(self):
        for index in range(10):
            self.assertEqual(make_device.case(1, index), make_device.case(1, index))
            self.assertNotEqual(make_device.case(1, index), make_device.case(2, index))

    def test_every_outcome_occurs_in_the_default_files(self):
        counts = collections.Counter()
        for index in range(300):
            counts.update(events(make_device.case(1, index)))
        self.assertEqual({name: counts[name] for name in EVENTS if counts[name] < LEAST}, {})

    def test_ids_are_unique_and_batches_name_one_service(self):
        with tempfile.TemporaryDirectory() as folder:
            for index in range(50):
                device = session_model.read_device(
                    make_device.case(1, index).write(pathlib.Path(folder, str(index))))
                ids = [node.id for node in device.nodes]
                self.assertEqual(len(ids), len(set(ids)))
                for node in device.nodes:
                    self.assertLessEqual(len(node.name.encode()), 127)


if __name__ == "__main__":
    unittest.main()
