#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Writes random device files for tests: small, well-formed, the same for a seed.

Much in them is broken on purpose: drivers without a parent, failing opens and
queries, missing interfaces, services that report another node's id, replies of
every length but the right one.
"""

import argparse
import json
import pathlib
import random
import struct
import sys
from dataclasses import dataclass

from make_replies import ReplyMaker

FAULT_NOTIFICATION = "com.vantu.vantuhubhidstatistics.fault"
NOTIFICATIONS = (FAULT_NOTIFICATION, FAULT_NOTIFICATION,
                 "com.vantu.vantuhubhidstatistics",
                 "com.vantu.vantuhubhidstatistics.fault2",
                 "com.vantu.VantuHUBHIDStatistics.fault", "fault!", "é")

LOG_LEVELS = ("default",) * 7 + ("error", "fault", "off")

STEMS = ("accel", "gyro", "compass", "button", "prox", "light", "debug", "NEB", "hub")
ODD_ENDS = ("a//b", "/* c */", 'say "hi"', "back\\slash", "tab\there", "Knöpfe", "按钮",
            "\U0001f600", "100%s %n %@", "two\nlines", "line end\n", "line ends\n\n",
            "\x01\x1f\x7f", "\u2028", "{}", " ", "x" * 118)

TRANSPORTS = ("SPU", "hub", "HUB ", "HUBS", "", 1, True, False, 2.5, ["HUB"],
              {"HUB": "HUB"})
FALSE_FLAGS = (False, 0, 1, -1, 1.0, "true", "1", "", [True], {}, {"value": True})

BUTTON_USAGES = ((0x0C, 0x01), (0x0B, 0x01))
SENSOR_USAGES = ((0xFF00, 0x03), (0xFF00, 0x09), (0xFF00, 0x0A), (0x20, 0x31))
DEBUG_USAGES = ((0xFF00, 0x29),)
OTHER_USAGES = ((0x0C, 0x02), (0x01, 0x0C), (0x0B, 0x0C), (0xFF00, 0x04), (0xFF00, 0x01),
                (0xFF00, 0x31), (0x20, 0x29), (0x31, 0x20), (0, 0), (65535, 65535))
# Usages of a service, weighted.
USAGE_POOLS = (BUTTON_USAGES[:1], BUTTON_USAGES[:1], BUTTON_USAGES[1:], SENSOR_USAGES,
               SENSOR_USAGES, SENSOR_USAGES, SENSOR_USAGES, DEBUG_USAGES, OTHER_USAGES, (),
               BUTTON_USAGES + SENSOR_USAGES + DEBUG_USAGES)

SUCCESSFUL_QUERIES = (0, 1, 0x7FFFFFFF)
FAILED_QUERIES = (0x80000000, 0x80000004, 0xE00002BC, 0xFFFFFFFF)
FAILED_OPENS = (1, 0x7FFFFFFF, 0x80000000, 0xE00002BC, 0xE00002C1, 0xE00002EB, 0xFFFFFFFF)

IDS = (1, 2, 3, 2**31, 2**32 - 1, 2**32, 2**32 + 1, 2**53 + 1, 2**63 - 1)

VERSION = 67
OTHER_VERSIONS = (0x42, 0x44, 0, 255, 0x63)
OPS = (*range(9), 1, 2, 3, 4, 5, 6, 9, 12, 255)
KEYS = (0, 1, 25, 30, 31, 65, 66, 67, 68, 127, 128, 254, 255)
VALUES = (0, 1, -1, 2, 0x7FFF, 0x8000, 0xFFFF, 0x10000, 0x18000, 0xFFFF0000, -65536,
          2**24 - 1, 2**24, 2**24 + 1, 2**24 + 3, -(2**24) - 1, 2**31 - 1, 2**31 - 65,
          2**31 - 64, -(2**31), -(2**31) + 1, 2**31, 2**32 - 1)

REGISTRY_VALUES = ("HUB", "", True, False, 0, -1, 2**63 - 1, -(2**63), 0.5, -1e300,
                   [], [1, "two", [3.5]], {}, {"hub": 5000, "calendar": 1000})

PROFILE_NAMES = ("NEB_profile", "VantuHUBProfileDriver")
TIME_SYNC_CLASS = "VantuHUBTimesync"

# Kinds of the captures of a run; None: none is asked for, and one of kind 3 is made.
CAPTURES = (None, None, (3,), (3,), (3, 3), (2, 3), (3, 2, 3), (1, 3), (1, 2, 3), (2,), (1,))
BOOT_TIMES_US = (None, None, 0, 1700000000123456, 2**63 - 1)

COMMENTS = ("", " plain", " \"quoted", " {[ ]},:", " // again", " /* open", " é 按",
            " \\", "* stars **", " 'Transport'")


@dataclass(frozen=True)
class Case:
    """A device file, the files that it names, and how to play it."""

    text: bytes
    files: dict
    log_level: str
    # Play it a second time into the same ledger.
    is_repeated: bool
    # Kinds of captures; None for the default.
    captures: tuple
    boot_time_us: int

    def write(self, folder):
        """Writes the files into a folder; returns the device file's path."""
        folder = pathlib.Path(folder)
        for name, content in {**self.files, "device.json": self.text}.items():
            (folder / name).parent.mkdir(parents=True, exist_ok=True)
            (folder / name).write_bytes(content)
        return folder / "device.json"


def declares_statistics(service):
    return service["hid"].get("properties", {}).get("NEBSupportsStatLedger") is True


class Maker(ReplyMaker):
    """Makes one device."""

    def __init__(self, rng):
        super().__init__(rng, {})
        self.roots = []
        # Nodes below which further services may be put.
        self.device_nodes = []
        self.middles = []
        self.services = []
        self.name_count = 0

    # --- Values --------------------------------------------------------------

    def name(self, odd=0.06):
        """A name that no other call gives."""
        self.name_count += 1
        name = f"{self.rng.choice(STEMS)}-{self.name_count:02d}"
        return f"{name} {self.rng.choice(ODD_ENDS)}"[:127] if self.chance(odd) else name

    def open_status(self):
        if self.chance(0.4):
            return self.status(self.rng.choice((0, *FAILED_OPENS)))
        return self.changing_status()

    def changing_status(self):
        return {"sequence": [self.status(self.rng.choice((0, 0, 0, *FAILED_OPENS[:3])))
                             for _ in range(self.rng.randrange(1, 4))]}

    def opposite_statuses(self):
        """A success and a failure, in either order."""
        failure = self.rng.choice(FAILED_OPENS)
        return self.rng.sample([self.status(0), self.status(failure)], 2)

    def far_side(self):
        """What driver and device answer alike."""
        answers = {}
        if self.chance(0.2):
            answers["open"] = self.open_status()
        if self.chance(0.15):
            answers["plugin"] = self.chance(0.5)
        if self.chance(0.2):
            answers["interface"] = self.chance(0.4)
        if self.chance(0.25):
            answers["query"] = self.status(
                self.rng.choice(SUCCESSFUL_QUERIES + FAILED_QUERIES))
        return answers

    def driver(self, usages):
        """The answers of a driver, those that its service's handlers ask for first."""
        answers = self.far_side()
        usages = set(map(tuple, usages))
        properties, commands = {}, {}
        if BUTTON_USAGES[0] in usages or self.chance(0.05):
            properties |= self.button_properties()
        if usages.intersection(SENSOR_USAGES) or self.chance(0.05):
            properties |= self.sensor_properties()
            commands |= self.sensor_commands()
        if self.chance(0.1):
            commands[self.rng.choice((0, 9, 11, 2**32 - 1))] = self.failure()
        if properties or self.chance(0.3):
            answers["properties"] = self.ids(properties)
        if commands or self.chance(0.3):
            answers["commands"] = self.ids(commands)
        return answers

    def device(self):
        answers = self.far_side()
        if self.chance(0.25):
            answers["hidDevice"] = self.chance(0.4)
        return answers

    def user_client(self):
        answers = self.profile_answers()
        if self.chance(0.1):
            answers["open"] = self.open_status()
        elif self.chance(0.2):
            answers["open"] = {"sequence": [
                self.status(self.rng.choice((0, 0, *FAILED_OPENS))) for _ in range(8)] + [0]}
        return answers

    def hid(self):
        properties = {}
        if not self.chance(0.04):
            properties["Transport"] = \
                self.rng.choice(TRANSPORTS) if self.chance(0.08) else "HUB"
        if self.chance(0.55):
            properties["NEBSupportsStatLedger"] = True
        elif self.chance(0.5):
            properties["NEBSupportsStatLedger"] = self.rng.choice(FALSE_FLAGS)
        if self.chance(0.2):
            properties["Product"] = self.rng.choice(REGISTRY_VALUES)
        hid = {"properties": properties} if properties or self.chance(0.5) else {}
        usages = self.usages()
        if usages or self.chance(0.5):
            hid["usages"] = usages
        return hid

    def usages(self):
        pool = self.rng.choice(USAGE_POOLS)
        count = min(len(pool), self.rng.choice((1, 1, 1, 2, 3)))
        usages = self.rng.sample(pool, count)
        if self.chance(0.2):
            usages.append(self.rng.choice(OTHER_USAGES))
        if usages and self.chance(0.05):
            usages.append(usages[0])
        return [list(pair) for pair in usages]

    # --- Registry ------------------------------------------------------------

    def node(self, **parts):
        node = {"name": self.name(), **parts}
        if self.chance(0.2):
            node["class"] = self.rng.choice(("VantuHUBSensor", "NEB_profile", node["name"]))
        if self.chance(0.15):
            node["properties"] = {
                key: self.rng.choice(REGISTRY_VALUES)
                for key in ("Transport", "NEBSupportsStatLedger", "timesync")}
        return node

    def extra_node(self):
        """A node that is no part of a service's chain."""
        node = self.node()
        if self.chance(0.3):
            node["name"] = self.rng.choice(PROFILE_NAMES)
        if self.chance(0.3):
            node["userClient"] = self.user_client()
        if self.chance(0.3):
            node["driver"] = self.driver(())
        if self.chance(0.3):
            node["device"] = self.device()
        return node

    def profile_node(self, name):
        """A node that hands out profile records; now and then it cannot be opened."""
        node = self.node()
        node["name"] = name
        if self.chance(0.92):
            node["userClient"] = self.user_client()
        return node

    def time_sync_node(self):
        node = self.node()
        node["class"] = TIME_SYNC_CLASS
        if self.chance(0.3):
            node["name"] = node.pop("class")
        node.pop("properties", None)
        if self.chance(0.9):
            node["properties"] = {"timesync": self.clocks()}
        return node

    def put(self, node, parent):
        """Puts a node below another, or as a root; returns it."""
        children = self.roots if parent is None else parent.setdefault("children", [])
        children.insert(self.rng.randrange(len(children) + 1), node)
        return node

    def new_device_node(self, parent=None):
        node = self.node(**({"device": self.device()} if self.chance(0.9) else {}))
        self.device_nodes.append(node)
        return self.put(node, parent)

    def new_middle(self, device_node):
        node = self.node(**({"device": self.device()} if self.chance(0.1) else {}))
        self.middles.append(node)
        return self.put(node, device_node)

    def parent_of_service(self):
        """Where the next service goes; None makes it a root."""
        placement = self.rng.random()
        if placement < 0.03:
            return None
        if placement < 0.07:
            return self.new_device_node()
        if placement < 0.22 and self.middles:
            return self.rng.choice(self.middles)
        if placement < 0.36 and self.device_nodes:
            return self.new_middle(self.rng.choice(self.device_nodes))
        if placement < 0.42 and self.services:
            return self.rng.choice(self.services)
        if placement < 0.50:
            return self.new_middle(
                self.new_device_node(self.put(self.extra_node(), None)))
        return self.new_middle(self.new_device_node())

    def add_service(self):
        node = self.node(hid=self.hid())
        if self.chance(0.92):
            node["driver"] = self.driver(node["hid"].get("usages", ()))
        self.add_event_queue(node)
        self.services.append(self.put(node, self.parent_of_service()))

    def add_event_queue(self, service):
        """Puts an event queue below a service, and counters into both."""
        if self.chance(0.8):
            service.setdefault("properties", {})["DebugState"] = \
                self.debug_state("_num_events")
        if self.chance(0.75):
            queue = self.put(self.node(), service)
            if self.chance(0.85):
                queue.setdefault("properties", {})["DebugState"] = self.debug_state(
                    "EnqueueEventCount", "DroppedEventCount", "LastEventTime",
                    "LastDroppedEventTime")

    def all_nodes(self, nodes=None):
        for node in self.roots if nodes is None else nodes:
            yield node
            yield from self.all_nodes(node.get("children", ()))

    def new_id(self):
        taken = {node.get("id") for node in self.all_nodes()}
        while True:
            number = self.rng.choice(IDS) if self.chance(0.4) \
                else self.rng.randrange(1, 2**self.rng.choice((4, 33, 61)))
            if number not in taken:
                return number

    def id_of(self, node):
        """The id of a node, which gets one when it has none."""
        if "id" not in node:
            node["id"] = self.new_id()
        return node["id"]

    def report_id(self, service):
        """Makes a service report something else than its own node's id, now and then."""
        choice = self.rng.random()
        if choice < 0.10:
            other = self.rng.choice(self.services)
            if self.chance(0.8):
                other["driver"] = {"open": {"sequence": self.opposite_statuses()}}
            reported = self.id_of(other)
        elif choice < 0.15:
            reported = self.id_of(self.rng.choice(list(self.all_nodes())))
        elif choice < 0.18:
            reported = self.id_of(service)
        elif choice < 0.20:
            # Far above the ids that a device file gives, and not one that is assigned.
            reported = self.rng.randrange(2**61, 2**62)
        elif choice < 0.22:
            reported = 0
        elif choice < 0.24:
            reported = False
        else:
            return
        service["hid"]["registryID"] = reported

    def share_names(self):
        """Lets a service and its parent, or two services, have one name."""
        if self.chance(0.1):
            self.rng.choice(self.middles or self.services)["name"] = \
                self.rng.choice(self.services)["name"]
        if self.chance(0.05):
            self.rng.choice(self.services)["name"] = self.rng.choice(self.services)["name"]

    def make_registry(self):
        for _ in range(self.rng.randrange(1, 11)):
            self.add_service()
        for _ in range(self.rng.choice((0, 0, 1, 2))):
            self.put(self.extra_node(), self.rng.choice(
                (None, *self.device_nodes, *self.middles)))
        for name in PROFILE_NAMES:
            if self.chance(0.7):
                self.put(self.profile_node(name), self.rng.choice(
                    (None, None, None, *self.device_nodes)))
        for _ in range(self.rng.choice((0, 0, 1, 1, 1, 2))):
            self.put(self.time_sync_node(), None)
        if self.chance(0.65):
            root = self.node(children=self.roots)
            root["name"] = self.name(odd=0.3)
            if self.chance(0.4):
                root["device"] = self.device()
            self.roots = [root]
        for node in self.all_nodes():
            if self.chance(0.15):
                self.id_of(node)
        for service in self.services:
            self.report_id(service)
        self.share_names()

    # --- Batches -------------------------------------------------------------

    def record(self, keys):
        version = VERSION if self.chance(0.9) else self.rng.choice(OTHER_VERSIONS)
        op = self.rng.choice(OPS) if self.chance(0.9) else self.rng.randrange(256)
        value = self.rng.choice(VALUES) if self.chance(0.6) \
            else self.rng.randrange(-(2**31), 2**32)
        return version, op, self.rng.choice(keys), value

    def records(self, keys):
        count = 0 if self.chance(0.06) else self.rng.randrange(1, 13)
        if self.chance(0.005):
            count = 3000
        return [self.record(keys) for _ in range(count)]

    def as_objects(self, records):
        objects = []
        for version, op, key, value in records:
            given = {"op": op, "key": key}
            if version != VERSION or self.chance(0.1):
                given["version"] = version
            if value != 0 or self.chance(0.5):
                given["value"] = value
            objects.append(given)
        return {"records": objects}

    def batch(self, service, keys):
        records = self.records(keys)
        content = b"".join(struct.pack("<BBBI", version, op, key, value & 0xFFFFFFFF)
                           for version, op, key, value in records)
        form = self.rng.randrange(3)
        body = self.as_objects(records) if form == 0 \
            else self.spread_hex(content) if form == 1 \
            else self.file(content, ("", "batches/", "batches/älter/"))
        return {"service": service["name"], **body}

    def batches(self):
        names = [service["name"] for service in self.services]
        targets = [service for service in self.services
                   if names.count(service["name"]) == 1]
        if not targets:
            return []
        posting = list(filter(declares_statistics, targets))
        # Few keys, so that the records of a device meet each other's.
        keys = [self.rng.choice(KEYS) if self.chance(0.6) else self.rng.randrange(67)
                for _ in range(self.rng.randrange(1, 5))]
        return [self.batch(self.rng.choice((self.chance(0.8) and posting) or targets), keys)
                for _ in range(self.rng.choice((0, 1, 2, 3, 4, 6, 8)))]

    # --- The file ------------------------------------------------------------

    def shuffled(self, value):
        """The value with the keys of its objects in another order."""
        if isinstance(value, dict):
            keys = self.rng.sample(list(value), len(value))
            return {key: self.shuffled(value[key]) for key in keys}
        if isinstance(value, list):
            return list(map(self.shuffled, value))
        return value

    def with_comments(self, line):
        if self.chance(0.08):
            line = f"/*{self.rng.choice(COMMENTS)}*/ {line}"
        if self.chance(0.04):
            line = f"/*{self.rng.choice(COMMENTS)}\n{self.rng.choice(COMMENTS)} */{line}"
        if self.chance(0.08):
            line = f"{line} //{self.rng.choice(COMMENTS)}"
        return line

    def device_text(self, given):
        if self.chance(0.3):
            given = self.shuffled(given)
        # Indented, no line begins or ends inside a string.
        text = json.dumps(given, indent=2, ensure_ascii=self.chance(0.5))
        if self.chance(0.6):
            text = "\n".join(map(self.with_comments, text.split("\n")))
        return (text + "\n").encode()

    def make(self):
        self.make_registry()
        given = {"format": "hub-device/1", "registry": self.roots}
        batches = self.batches()
        if batches or self.chance(0.5):
            given["batches"] = batches
        if self.chance(0.5):
            given["notifications"] = [self.rng.choice(NOTIFICATIONS)
                                      for _ in range(self.rng.randrange(4))]
        return Case(self.device_text(given), self.files, self.rng.choice(LOG_LEVELS),
                    self.chance(0.2), self.rng.choice(CAPTURES),
                    self.rng.choice(BOOT_TIMES_US))


def case(seed, index):
    """The device file of this number, from 0, for a seed."""
    return Maker(random.Random(f"{seed}/{index}")).make()


def main():
    parser = argparse.ArgumentParser(description="Write random device files.")
    parser.add_argument("--count", type=int, default=300, help="number of files")
    parser.add_argument("--seed", type=int, default=1, help="number, any")
    parser.add_argument("folder", metavar="FOLDER", type=pathlib.Path,
                        help="gets a folder for each file, numbered from 0000")
    options = parser.parse_args()
    for index in range(options.count):
        case(options.seed, index).write(options.folder / f"{index:04d}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
