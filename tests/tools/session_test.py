# SPDX-License-Identifier: Apache-2.0
"""Small language for tests of the hubsession command: devices, runs, ledgers, logs."""

import contextlib
import copy
import json
import sqlite3
import struct

from command_test import CommandTest

FAULT = "com.vantu.vantuhubhidstatistics.fault"

# Keys of the ledger, as records name them and as the ledger does.
CLICKS, SINGLE_CLICKS, DOUBLE_CLICKS, PICO = 0, 1, 2, 7
NAMES = {CLICKS: "com.vantu.neb.button.click.count",
         SINGLE_CLICKS: "com.vantu.neb.button.single_click.count",
         DOUBLE_CLICKS: "com.vantu.neb.button.double_click.count",
         PICO: "com.vantu.neb.button.click.pico"}


def record(op, key, value=0, version=67):
    return {"op": op, "key": key, "value": value, "version": version}


def set_to(key, value):
    return record(2, key, value)


def add(key, value=1):
    return record(3, key, value)


def push(key, sample):
    """A sample from -32768 on to below 32768, in steps of 1/65536."""
    return record(6, key, round(sample * 65536))


def packed(records):
    return b"".join(struct.pack("<BBBi", each["version"], each["op"], each["key"], each["value"])
                    for each in records)


BUTTON = {"name": "button", "driver": {}, "userClient": {},
          "hid": {"properties": {"Transport": "HUB", "NEBSupportsStatLedger": True},
                  "usages": [[12, 1]]}}
# Of a driver that does not open.
BROKEN = {"name": "broken", "driver": {"open": "0xE00002BC"},
          "hid": {"properties": {"Transport": "HUB"}, "usages": [[11, 1]]}}
# Of another transport.
KEYBOARD = {"name": "keyboard", "hid": {"properties": {"Transport": "USB"}}}


def batch(*records, service="button"):
    return {"service": service, "records": list(records)}


def device(*batches, services=(BUTTON,), notifications=()):
    """A device with these services, which a test may change, and what to post."""
    middle = {"name": "interface", "children": copy.deepcopy(list(services))}
    return {"format": "hub-device/1",
            "registry": [{"name": "hub", "device": {}, "children": [middle]}],
            "batches": list(batches), "notifications": list(notifications)}


class SessionTest(CommandTest):
    """Runs of hubsession."""

    # --- Runs ----------------------------------------------------------------

    def device_file(self, content, name="device.json"):
        return self.file(name, json.dumps(content).encode())

    def start_playing(self, content, *arguments, **options):
        """Unless told otherwise with the capture that no handler answers, so that the log is that of the services."""
        capture = () if "--capture" in arguments else ("--capture", "1")
        return self.start("run", self.device_file(content), *arguments, *capture, **options)

    def play(self, content, *arguments, **options):
        return self.finish(self.start_playing(content, *arguments, **options))

    # --- What a run leaves ---------------------------------------------------

    def rows(self, name, query):
        with contextlib.closing(sqlite3.connect(self.folder / name)) as database:
            return database.execute(query).fetchall()

    def scalars(self, name):
        return dict(self.rows(name, "SELECT key, value FROM scalar"))

    def samples(self, name, key):
        """Oldest first."""
        return [value for of_key, value in self.rows(name, "SELECT key, value FROM sample ORDER BY id")
                if of_key == NAMES[key]]

    def log_lines(self, name):
        return [json.loads(line) for line in self.content(name).decode().splitlines()]

    def log_messages(self, name):
        return [line["message"] for line in self.log_lines(name)]

    # --- Expectations --------------------------------------------------------

    def assert_done(self, result, *output_lines, messages=""):
        """It succeeded, and these lines are among those that it put out."""
        self.assertEqual((messages, 0), (result.messages, result.status))
        for line in output_lines:
            self.assertIn(line, result.output.decode().splitlines())

    def assert_failed(self, result, *messages):
        expected = "".join(f"hubsession: {message}\n" for message in messages)
        self.assertEqual((expected, 1), (result.messages, result.status))

    def assert_fails_telling(self, result, *words):
        """In one line: what a library or the system has to say is its own."""
        self.assertEqual((1, 1), (result.status, result.messages.count("\n")), result.messages)
        for word in ("hubsession: ", *words):
            self.assertIn(word, result.messages)
