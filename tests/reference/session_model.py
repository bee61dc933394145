#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Predicts what a run of a device file leaves behind, in Python's standard library alone.

The model follows every service through its registration, every operation
record into the ledger, and every state capture through the handlers. It shares
no table and no code with the plug-in or with the host.
"""

import argparse
import dataclasses
import json
import pathlib
import re
import struct
import sys
from dataclasses import dataclass, field

import capture_model
import profile_reference
from far_side import UNSUPPORTED, FarSide, file_bytes, hex_bytes, status_code

LOG_LEVELS = ("default", "error", "fault", "off")
SUBSYSTEM, LOG_CATEGORY = "NEB", "VantuHUBHIDStatistics"
SOURCE = "VantuHUBHIDPlugins/VantuHUBHIDStatistics/VantuHUBHIDStatistics"
FAULT_NOTIFICATION = "com.vantu.vantuhubhidstatistics.fault"

NO_INTERFACE = 0x80000004

# Usage page and usage that a service conforms to, by what it makes of the service.
CONSUMER_CONTROL = (0x0C, 0x01)
USAGES = {
    "button": (CONSUMER_CONTROL, (0x0B, 0x01)),
    "sensor": ((0xFF00, 0x03), (0xFF00, 0x09), (0xFF00, 0x0A), (0x20, 0x31)),
    "debug": ((0xFF00, 0x29),),
}

RECORD_VERSION = 0x43
UNKNOWN_KEY = "com.vantu.neb.unknown"

# Statistics keys, by index.
KEYS = (
    "com.vantu.neb.button.click.count",
    "com.vantu.neb.button.single_click.count",
    "com.vantu.neb.button.double_click.count",
    "com.vantu.neb.button.triple_click.count",
    "com.vantu.neb.button.long_press.count",
    "com.vantu.neb.button.touch_with_click.count",
    "com.vantu.neb.button.touch_no_click.count",
    "com.vantu.neb.button.click.pico",
    "com.vantu.neb.button.touch.pico",
    "com.vantu.neb.button.click_to_pico.time",
    "com.vantu.neb.button.touch_to_pico.time",
    "com.vantu.neb.button.click.duration",
    "com.vantu.neb.button.touch.duration",
    "com.vantu.neb.button.touch_to_first_click.time",
    "com.vantu.neb.button.touch_to_last_unclick.time",
    "com.vantu.neb.button.first_click_to_last_unclick.time",
    "com.vantu.neb.button.first_click_to_untouch.time",
    "com.vantu.neb.button.last_unclick_to_untouch.time",
    "com.vantu.neb.button.critical_error.count",
    "com.vantu.neb.button.timeout.count",
    "com.vantu.neb.prox.event.ext_bl_capture.count",
    "com.vantu.neb.prox.event.smudge_timeout.bh.count",
    "com.vantu.neb.prox.event.smudge_timeout.nonbh.count",
    "com.vantu.neb.prox.event.high_amb.count",
    "com.vantu.neb.prox.first_pocket_signal_sample.kcpss",
    "com.vantu.com.neb.prox.baseline_to_trigger.time.dist",
    "com.vantu.neb.prox.ext_bl_capture.signal_delta.dist",
    "com.vantu.neb.prox.ref_rate_increase.percent.dist",
    "com.vantu.neb.prox.num_frames_for_high_ambient_baseline_capture.dist",
    "com.vantu.neb.prox.num_bias_corrected_frames_for_high_ambient_baseline_capture.dist",
    "com.vantu.neb.prox.num_frames_for_high_ambient_baseline_capture_target_approched.dist",
    "com.vantu.neb.prox.num_bias_corrected_frames_for_high_ambient_baseline_capture_target_approched.dist",
    "com.vantu.neb.button.touch_with_click.ap_on.duration",
    "com.vantu.neb.button.touch_with_no_click.ap_on.duration",
    "com.vantu.neb.button.touch_with_click.ap_off.duration",
    "com.vantu.neb.button.touch_with_no_click.ap_off.duration",
    "com.vantu.neb.button.touch.ap_on.duration",
    "com.vantu.neb.button.touch.ap_off.duration",
    "com.vantu.neb.quarl.reset_hb_count",
    "com.vantu.neb.quarl.reset_count",
    "com.vantu.neb.quarl.ibfd_timeout_count",
    "com.vantu.neb.biosense.reset_timeout_count",
    "com.vantu.neb.button.vossa.cl_timeout.count",
    "com.vantu.neb.button.vossa.cl_fault.count",
    "com.vantu.neb.button.quarl_probe_failure_quarl_count",
    "com.vantu.neb.button.force_sensor_probe_failure_count",
    "com.vantu.neb.button.arc_probe_failure_count",
    "com.vantu.neb.button.btmspk_probe_failure_count",
    "com.vantu.neb.zenth.doppler.subscribe_count",
    "com.vantu.neb.zenth.doppler.unsubscribe_count",
    "com.vantu.neb.audio.arc.on.duration",
    "com.vantu.neb.audio.arc.off.duration",
    "com.vantu.neb.audio.arc.prewarm.duration",
    "com.vantu.neb.audio.btmspk.on.duration",
    "com.vantu.neb.audio.btmspk.off.duration",
    "com.vantu.neb.audio.btmspk.prewarm.duration",
    "com.vantu.neb.ttw.ttw_by_cell_distribution",
    "com.vantu.neb.haptics.play_request.clientAP",
    "com.vantu.neb.haptics.play_request.clientRTP",
    "com.vantu.neb.haptics.request_dropped_queue.clientAP",
    "com.vantu.neb.haptics.request_dropped_queue.clientRTP",
    "com.vantu.neb.haptics.request_dropped_error.clientAP",
    "com.vantu.neb.haptics.request_dropped_error.clientRTP",
    "com.vantu.neb.haptics.request_dropped_policy.clientAP",
    "com.vantu.neb.haptics.request_dropped_policy.clientRTP",
    "com.vantu.neb.haptics.leap_load_failure",
    "com.vantu.neb.test",
)


# --- The device file ---------------------------------------------------------

STRING_OR_COMMENT = re.compile(r'"(?:\\.|[^"\\])*"|//[^\n]*|/\*.*?\*/', re.DOTALL)


def without_comments(text):
    return STRING_OR_COMMENT.sub(
        lambda match: match[0] if match[0].startswith('"') else " ", text)


def is_negative(code):
    return code >= 0x80000000


class Node:
    """A registry entry."""

    def __init__(self, given, parent, folder):
        self.parent = parent
        self.name = given["name"]
        self.class_name = given.get("class", self.name)
        self.properties = given.get("properties", {})
        # An assigned id equals no number that a device file can name.
        self.id = given.get("id", object())
        self.hid = given.get("hid")
        self.driver, self.device, self.user_client = (
            FarSide(given[key], folder) if key in given else None
            for key in ("driver", "device", "userClient"))
        self.has_callback = False
        self.children = [Node(child, self, folder) for child in given.get("children", ())]

    def walk(self):
        """This node and all below it, in document order."""
        yield self
        for child in self.children:
            yield from child.walk()

    @property
    def device_node(self):
        """The parent's parent; None when there is none."""
        return self.parent and self.parent.parent

    @property
    def reported_id(self):
        reported = self.hid.get("registryID", self.id)
        return 0 if reported is False else reported

    def open_user_client(self):
        return self.user_client.open() if self.user_client else UNSUPPORTED


def record_bytes(record):
    return struct.pack("<BBBI", record.get("version", RECORD_VERSION), record["op"],
                       record["key"], record.get("value", 0) & 0xFFFFFFFF)


def batch_bytes(batch, folder):
    if "hex" in batch:
        return hex_bytes(batch["hex"])
    if "file" in batch:
        return file_bytes(batch, folder)
    return b"".join(map(record_bytes, batch["records"]))


class Device:
    """What a device file holds."""

    def __init__(self, given, folder):
        roots = [Node(root, None, folder) for root in given["registry"]]
        self.nodes = [node for root in roots for node in root.walk()]
        self.services = [node for node in self.nodes if node.hid is not None]
        self.batches = [(self.service_named(batch["service"]),
                         batch_bytes(batch, folder))
                        for batch in given.get("batches", ())]
        self.notifications = given.get("notifications", ())

    def service_named(self, name):
        service, = (node for node in self.services if node.name == name)
        return service

    def node_with_id(self, number):
        return self.first(lambda node: node.id == number)

    def node_named(self, name):
        return self.first(lambda node: node.name == name)

    def first(self, matches):
        """The first node in document order; None when there is none."""
        return next(filter(matches, self.nodes), None)

    @property
    def clock_pair(self):
        """Clocks of the time-sync service; None without the service or its clocks."""
        node = self.first(lambda node: node.class_name == "VantuHUBTimesync")
        clocks = node and node.properties.get("timesync")
        if not isinstance(clocks, dict):
            return None
        return tuple(capture_model.counter(clocks, key, 0, 64)
                     for key in ("hub", "calendar"))


def read_device(path):
    path = pathlib.Path(path)
    text = without_comments(path.read_text(encoding="utf-8"))
    return Device(json.loads(text), path.parent)


# --- Ledger and log ----------------------------------------------------------


def wrapped(value):
    """The number in 64 bits, signed."""
    return (value + 2**63) % 2**64 - 2**63


def sample_of(value):
    """Signed 16.16 in single precision, widened."""
    single, = struct.unpack("<f", struct.pack("<f", value))
    product, = struct.unpack("<f", struct.pack("<f", single * (1 / 65536)))
    return product


class Ledger:
    """Scalars by key, and samples by key, oldest first; no key without one."""

    def __init__(self, scalars=(), samples=()):
        self.scalars = dict(scalars)
        self.samples = {key: list(values) for key, values in dict(samples).items()}

    def apply(self, op, key, value):
        if op == 1:
            self.scalars.pop(key, None)
        elif op == 2:
            self.scalars[key] = value
        elif op == 3:
            self.scalars[key] = wrapped(self.scalars.get(key, 0) + value)
        elif op == 4:
            self.samples.pop(key, None)
        elif op == 5:
            self.samples[key] = [sample_of(value)]
        elif op >= 6:
            self.samples.setdefault(key, []).extend([sample_of(value)] * (op - 5))


class Log:
    """Lines of the levels from the lowest on."""

    def __init__(self, lowest):
        self.lowest = LOG_LEVELS.index(lowest)
        self.lines = []

    def write(self, level, message):
        if LOG_LEVELS.index(level) >= self.lowest:
            self.lines.append({"level": level, "subsystem": SUBSYSTEM,
                               "category": LOG_CATEGORY,
                               "message": message.removesuffix("\n")})

    def assertion(self, expression, line, prefix="", text="", value=0):
        self.write("default", f"{prefix}: AssertMacros: {expression}, {text} file: {SOURCE},"
                              f" line: {line} value:{value:x}\n")


def alternate_hex(value):
    return f"0x{value:x}" if value else "0"


# --- State handlers ----------------------------------------------------------


@dataclass(frozen=True)
class Handler:
    """A state handler, with the driver node of the service that it was registered for."""

    kind: str
    driver: Node
    index: int = 0
    arguments: tuple = ()

    def answers(self, capture_kind):
        if self.kind == "RawDebugData":
            return capture_kind >= 2
        return capture_kind == 3


# Handlers, kind of data and extra argument of each family.
RAW_DEBUG_FAMILIES = ((48, 1, 1376), (8, 2, 0), (48, 3, 0))


def raw_debug_handlers(driver):
    for count, kind, extra in RAW_DEBUG_FAMILIES:
        for index in range(count):
            yield Handler("RawDebugData", driver, index, (32, kind, extra))


# --- The run -----------------------------------------------------------------


@dataclass(frozen=True)
class Snapshot:
    """What a handler, by its number, gives to a capture, by its number."""

    capture: int
    kind: int
    handler: int
    title: str
    contents: object


@dataclass
class Outcome:
    """What a run leaves behind."""

    log: list
    ledger: Ledger
    # What became of each service, with its name, in document order.
    services: list = field(default_factory=list)
    # Name of the service of each dropped batch, in order.
    dropped: list = field(default_factory=list)
    handlers: list = field(default_factory=list)
    # Handlers that answer, of each capture.
    captures: list = field(default_factory=list)
    snapshots: list = field(default_factory=list)
    exit_status: int = 0


class Session:
    """The plug-in and the device that it meets."""

    def __init__(self, device, ledger, log_level):
        self.device = device
        self.ledger = ledger
        self.log = Log(log_level)
        self.handlers = []
        self.has_raw_debug = False

    def register(self, service):
        """Registers a service; returns what became of it."""
        properties = service.hid.get("properties", {})
        if properties.get("Transport") != "HUB":
            return "other transport"
        aggregate = properties.get("NEBSupportsStatLedger") is True
        usages = {tuple(pair) for pair in service.hid.get("usages", ())}
        flags = {flag for flag, known in USAGES.items() if usages & set(known)}
        if not aggregate and not flags:
            return "of no interest"
        driver = self.device.node_with_id(service.reported_id)
        if driver is None:
            return "no driver service"
        self.log.write("default", f"registerService: name={driver.name}")
        device = driver.device_node
        if device is None:
            return "no device service"
        if self.has_interface(driver.driver, "context->_driver._interface", 278, 279) \
                and driver.driver.open() != 0:
            return "driver not opened"
        if self.has_interface(device.device, "context->_device._interface", 295, 296) \
                and aggregate:
            device.has_callback = True
        if CONSUMER_CONTROL in usages:
            if device.device is None or not device.device.given.get("hidDevice", True):
                return "no HID device"
            self.handlers += (Handler("SSHBStats", driver), Handler("SSHBAssets", driver))
        if "sensor" in flags:
            self.handlers.append(Handler("SensorInfo", driver))
        if flags and not self.has_raw_debug:
            self.has_raw_debug = True
            self.handlers += raw_debug_handlers(driver)
        return "taken"

    def has_interface(self, far_side, expression, query_line, null_line):
        """Whether a plug-in can be created and gives its interface."""
        if far_side is None or not far_side.given.get("plugin", True):
            return False
        has_interface = far_side.has_interface
        query = far_side.given.get("query", 0 if has_interface else NO_INTERFACE)
        if is_negative(status_code(query)):
            self.log.assertion("((HRESULT)(Status) >= 0)", query_line)
        if not has_interface:
            self.log.assertion(expression, null_line)
        return has_interface

    def publish(self, records):
        for version, op, index, value in struct.iter_unpack("<BBBi", records):
            if version != RECORD_VERSION:
                self.log.write("error", "publishSLData hubsldkeys version mismatch "
                                        f"({alternate_hex(version)}/0x43)")
                continue
            key = KEYS[index] if index < len(KEYS) else UNKNOWN_KEY
            self.log.write("error", f"publishSLData op={alternate_hex(op)} '{key}'"
                                    f" ({alternate_hex(index)})")
            self.ledger.apply(op, key, value)

    def notify(self, name):
        if name == FAULT_NOTIFICATION:
            self.log.write("fault", "fault!")

    def capture(self, number, kind, boot_time_us):
        """The snapshots of a capture, in the order of the handlers."""
        hub = capture_model.Hub(self.device, self.log, boot_time_us)
        for index, handler in enumerate(self.handlers):
            captured = handler.answers(kind) and capture_model.snapshot_of(hub, handler)
            if captured:
                yield Snapshot(number, kind, index, *captured)


def run(device, ledger=None, log_level="default", captures=(3,), boot_time_us=None):
    """Plays a device that has not been played before; the ledger is added to."""
    session = Session(device, Ledger() if ledger is None else ledger, log_level)
    outcome = Outcome(session.log.lines, session.ledger, handlers=session.handlers)
    for service in device.services:
        outcome.services.append((service.name, session.register(service)))
    for service, records in device.batches:
        if service.device_node and service.device_node.has_callback:
            session.publish(records)
        else:
            outcome.dropped.append(service.name)
    for name in device.notifications:
        session.notify(name)
    for number, kind in enumerate(captures):
        outcome.captures.append([handler for handler in session.handlers
                                 if handler.answers(kind)])
        outcome.snapshots += session.capture(number, kind, boot_time_us)
    return outcome


# --- Command -----------------------------------------------------------------


def handler_text(handler):
    return " ".join(map(str, (handler.kind, handler.driver.name, handler.index,
                              *handler.arguments)))


def main():
    parser = argparse.ArgumentParser(
        description="Print as JSON what a run of a device file leaves behind.")
    parser.add_argument("device", metavar="DEVICE", help="the device file")
    parser.add_argument("--log-level", choices=LOG_LEVELS, default="default",
                        help="lowest level that is enabled")
    parser.add_argument("--capture", metavar="KIND", type=int, choices=(1, 2, 3),
                        action="append", help="a state capture at the end; default: 3")
    parser.add_argument("--boot-time", metavar="US|none", default=None,
                        type=profile_reference.boot_time_option,
                        help="boot time in microseconds; none, the default: left out")
    options = parser.parse_args()
    outcome = run(read_device(options.device), log_level=options.log_level,
                  captures=options.capture or (3,), boot_time_us=options.boot_time)
    json.dump({"exit": outcome.exit_status, "services": outcome.services,
               "log": outcome.log, "scalars": outcome.ledger.scalars,
               "samples": outcome.ledger.samples, "dropped": outcome.dropped,
               "handlers": list(map(handler_text, outcome.handlers)),
               "snapshots": list(map(dataclasses.asdict, outcome.snapshots))},
              sys.stdout, ensure_ascii=False, indent=1)
    print()
    return 0


if __name__ == "__main__":
    sys.exit(main())
