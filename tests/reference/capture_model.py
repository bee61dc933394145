#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Predicts what each state handler reads, logs and puts into its snapshot.

Texts are bytes until they are stored: a text that is not ASCII is no string,
and its key is left out.
"""

import struct

import profile_reference
from far_side import UNSUPPORTED

GENERAL_ERROR = 0xE00002BC
NO_DEVICE = 0xE00002C0
NOT_READY = 0xE00002D8

ERROR_TEXTS = {
    GENERAL_ERROR: "general error", 0xE00002BD: "out of memory",
    0xE00002BE: "no resources", NO_DEVICE: "no such device",
    0xE00002C1: "not privileged", 0xE00002C2: "invalid argument",
    UNSUPPORTED: "unsupported function", 0xE00002CD: "device not open",
    0xE00002D6: "timed out", NOT_READY: "device not ready", 0xE00002EB: "aborted",
    0xE00002F0: "not found"}


def error_text(code):
    return ERROR_TEXTS.get(code, "")


# --- Numbers and texts -------------------------------------------------------


def signed(value, bits):
    """The low bits of a number, as a signed one."""
    half = 1 << bits - 1
    return (value + half) % (1 << bits) - half


def fixed_text(value):
    """Signed 16.16 as %f prints it."""
    return "%f" % (value * (1 / 65536))


def until_nul(content):
    return content.partition(b"\0")[0]


def fitted(text, size):
    """What a buffer of this many bytes holds of a text, with its NUL."""
    return text[:size - 1]


def add_text(dictionary, key, content):
    if content.isascii():
        dictionary[key] = content.decode()


def add_formatted(dictionary, key, text):
    add_text(dictionary, key, fitted(text.encode("latin-1"), 256))


# --- Access to the co-processor ----------------------------------------------

PROFILE_SERVICE, PROFILE_DRIVER = "NEB_profile", "VantuHUBProfileDriver"

# Lines of the assertions on service, open and call.
METHOD_LINES = (1190, 1193, 1197)
COMMAND_LINES = (1215, 1218, 1222)
PROPERTY_LINES = (1241, 1244, 1248)


class Hub:
    """The device as the handlers reach it."""

    def __init__(self, device, log, boot_time_us=None):
        self.device = device
        self.log = log
        self.boot_time_us = boot_time_us

    def property(self, driver, number, length):
        """Code and bytes of a driver's property."""
        if driver.driver is None or not driver.driver.has_interface:
            self.log.assertion("context->_driver._interface", 1152)
            return NOT_READY, b""
        return driver.driver.answer("properties", number, length)

    def filled_property(self, driver, number, length):
        """A driver's property in a zero-filled buffer, whatever the code."""
        return self.property(driver, number, length)[1].ljust(length, b"\0")

    def checked_number(self, driver, number, default):
        """Code and value; the default for every reply but four bytes."""
        code, content = self.property(driver, number, 4)
        if code != 0 or len(content) != 4:
            return code, default
        return code, struct.unpack("<i", content)[0]

    def call_by_name(self, name, lines, table, number, capacity):
        """Code and bytes of one call to the user client of a named service."""
        node = self.device.node_named(name)
        if node is None:
            self.log.assertion("service", lines[0])
            return GENERAL_ERROR, b""
        code = node.open_user_client()
        if code != 0:
            self.log.assertion("kr == 0 ", lines[1], text=error_text(code), value=code)
            return code, b""
        code, content = node.user_client.answer(table, number, capacity)
        if code != 0:
            self.log.assertion("kr == 0 ", lines[2], text=error_text(code), value=code)
        return code, content

    def property_by_name(self, name, number, capacity):
        code, content = self.call_by_name(name, PROPERTY_LINES, "properties", number,
                                          capacity)
        return GENERAL_ERROR if code != 0 else 0, content

    def command_by_name(self, name, number, capacity):
        return self.call_by_name(name, COMMAND_LINES, "commands", number, capacity)

    def method_by_name(self, name, number, capacity):
        return self.call_by_name(name, METHOD_LINES, "methods", number, capacity)


# --- SSHB statistics and assets ----------------------------------------------

# Keys of the numbers that stand alone in the last button press, and offsets.
PRESS_TIMES = (("finger on ts", 0x00), ("start haptic ts", 0x10),
               ("finger detect to button down", 0x18), ("second scan ts", 0x10A),
               ("finger off ts", 0x08))

# Keys of a click's numbers, and offsets for the first of three clicks.
CLICK_TIMES = (("button down to play asset", 0xB8), ("button down ts", 0x58),
               ("button up to play asset", 0xC0), ("button up ts", 0x60),
               ("play asset ts", 0x90))

LATENCIES = ("min_nz_latency_FD_to_BD", "max_latency_FD_to_BD",
             "min_nz_latency_BC_to_PlayAsset", "max_latency_BC_to_PlayAsset",
             "min_latency_Total", "max_latency_Total")


def sshb_statistics(record):
    def number(code, offset):
        return struct.unpack_from("<" + code, record, offset)[0]

    press = {key: number("q", offset) for key, offset in PRESS_TIMES}
    press["click count"] = number("I", 0xE9) >> 1
    press["turtle scans"] = number("i", 0x112)
    for click in range(3):
        press[f"click {click + 1}"] = {key: number("q", offset + 16 * click)
                                       for key, offset in CLICK_TIMES}
    latency = {key: number("q", 0x11A + 8 * row) for row, key in enumerate(LATENCIES)}
    return {"last button press": press, "latency": latency}


def capture_sshb_statistics(hub, handler):
    code, content = hub.property(handler.driver, 215, 330)
    if code != 0:
        return None
    return "SSHB Statistics", sshb_statistics(content.ljust(330, b"\0"))


SPEEDS = ("Slow", "Medium", "Fast")
CLICK_STATES = ("SingleDown", "SingleUp", "DoubleDown", "DoubleUp", "TripleDown", "TripleUp",
                "SingleTapOn", "SingleTapOff", "DoubleTapOn", "DoubleTapOff",
                "TripleTapOn", "TripleTapOff", "DeepDown", "DeepUp", "LongPress",
                "LongPressUp", "(null)")
ASSET = struct.Struct("<Biqqi4x")
ASSETS_BYTES = len(SPEEDS) * len(CLICK_STATES) * ASSET.size


def sshb_assets(record):
    keys = [f"{speed}-{state}" for speed in SPEEDS for state in CLICK_STATES]
    return {key: f"enable={enable} slot={slot} gain={fixed_text(gain)} min={low} max={high}"
            for key, (enable, gain, low, high, slot)
            in zip(keys, ASSET.iter_unpack(record))}


def capture_sshb_assets(hub, handler):
    code, content = hub.property(handler.driver, 216, 4096)
    if code != 0:
        return None
    if len(content) < ASSETS_BYTES:
        hub.log.assertion("propertyLength >= sizeof(assets)", 632)
        return None
    return "SSHB assets", sshb_assets(content[:ASSETS_BYTES])


# --- Sensor information ------------------------------------------------------

SENSOR_TEXTS = (("manufacturer", 15), ("model", 16))

# Numbers of four bytes; -1 stands for any other reply.
SENSOR_NUMBERS = (("systickInterval", 64), ("decimationEnabled", 36), ("rawMode", 10),
                  ("factoryMode", 13), ("calibrationComplete", 61), ("startupTime", 45),
                  ("intCal", 25))

BATCHING_KEYS = ("sensorBatchInterval", "muxBatchInterval", "apBatchInterval",
                 "apReportInterval", "endpointBatchCount")


def location_text(content):
    letter, alternate = struct.unpack("<Bi", content)
    return "N/A" if letter == 0 else f"{chr(letter)} alternate={alternate}"


def matrix_text(content):
    texts = tuple(map(fixed_text, struct.unpack("<9i", content)))
    return "{} {} {} | {} {} {} | {} {} {}".format(*texts)


def offset_text(content):
    return "{} {} {}".format(*struct.unpack("<3i", content))


def orientation_text(content):
    return "{} {} {}, {} {} {}, {} {} {}".format(*struct.unpack("<9b", content))


def registers_text(content):
    """Every second pair of register and value, those beyond the buffer left out."""
    count, = struct.unpack_from("<I", content)
    whole_pairs = (len(content) - 4) // 4
    return "".join("R%02x=%02x " % struct.unpack_from("<HH", content, 4 + 4 * index)
                   for index in range(0, min(count, whole_pairs), 2))


# Key, property, its size, and its text.
SENSOR_FORMATS = (("location", 68, 5, location_text),
                  ("calibrationMatrix", 11, 36, matrix_text),
                  ("calibrationOffset", 26, 12, offset_text),
                  ("orientationMatrix", 24, 9, orientation_text),
                  ("compassSensitivityCalibrationMatrix", 29, 36, matrix_text),
                  ("registers", 56, 128, registers_text))

# Bytes after the tag of a number.
NUMBER_BYTES = {0: 4, 1: 8}
TAG_TEXT, TAG_END_OF_ENTRY, TAG_HEX, TAG_DECIMAL = 2, 3, 4, 5
ENTRY_TEXT_BYTES = 1024


def stream_items(stream):
    """Tags and payloads of a diagnostic stream.

    A number that the stream's end cuts off has no payload, and is the last item.
    """
    position = 0
    while position < len(stream):
        tag = stream[position]
        position += 1
        if tag == TAG_TEXT:
            payload = until_nul(stream[position:])
            yield tag, payload
            position += len(payload) + 1
            continue
        size = NUMBER_BYTES.get(tag, 0)
        if position + size > len(stream):
            yield tag, None
            return
        yield tag, stream[position:position + size]
        position += size


def number_text(payload, is_hex):
    value = int.from_bytes(payload, "little", signed=not is_hex)
    return (f"{value:x}" if is_hex else f"{value}").encode()


def stream_entries(stream):
    """Texts of the entries, in order."""
    text, is_hex, has_ended = b"", False, False
    for tag, payload in stream_items(stream):
        if has_ended:
            yield text
            text, has_ended = b"", False
        if tag in NUMBER_BYTES and payload is not None:
            text += number_text(payload, is_hex)
        elif tag == TAG_TEXT:
            text += payload
        elif tag == TAG_END_OF_ENTRY:
            has_ended = True
        elif tag in (TAG_HEX, TAG_DECIMAL):
            is_hex = tag == TAG_HEX
        text = fitted(text, ENTRY_TEXT_BYTES)
    if text:
        yield text


def add_diagnostics(dictionary, hub, driver):
    count = 0
    for number in (57, 58, 59, 60):
        for text in stream_entries(hub.property(driver, number, 256)[1]):
            add_text(dictionary, f"extra{count}", text)
            count += 1


CLIENT = struct.Struct("<12siiiiB2x")


def add_clients(dictionary, table):
    whole = len(table) - len(table) % CLIENT.size
    for index, (name, *numbers, in_use) in enumerate(CLIENT.iter_unpack(table[:whole])):
        if in_use:
            add_formatted(dictionary, f"client{index}",
                          "{}: report={} batch={} threshold={} timelimit={}".format(
                              until_nul(name).decode("latin-1"), *numbers))


def counter(dictionary, key, default, bits):
    """A registry number, cut to its bits; what is no number counts as missing."""
    value = dictionary.get(key, default)
    if isinstance(value, bool) or not isinstance(value, (int, float)):
        value = default
    return signed(int(value), bits)


def debug_state(node):
    state = node.properties.get("DebugState")
    return state if isinstance(state, dict) else {}


def seconds_text(nanoseconds):
    return "%f" % (float(nanoseconds % 2**64) / 1e9)


def first_descendants(node, levels):
    """First child, its first child, and so on; None when a level is missing."""
    found = []
    for _ in range(levels):
        if not node.children:
            return None
        node = node.children[0]
        found.append(node)
    return found


def add_event_queue(dictionary, device_node):
    levels = first_descendants(device_node, 3)
    if levels is None:
        return
    second, third = map(debug_state, levels[1:])
    add_formatted(dictionary, "APEvents",
                  "{} [enqueued={} dropped={}; event_delta={} dropped_delta={}]\n".format(
                      counter(second, "_num_events", -1, 32),
                      counter(third, "EnqueueEventCount", -1, 32),
                      counter(third, "DroppedEventCount", -1, 32),
                      seconds_text(counter(third, "LastEventTime", 0, 64)),
                      seconds_text(counter(third, "LastDroppedEventTime", 0, 64))))


def capture_sensor_info(hub, handler):
    driver, device_node = handler.driver, handler.driver.device_node
    code, interval = hub.checked_number(driver, 0, 0)
    if code != 0:
        hub.log.assertion("result == 0 ", 917, prefix=error_text(code))
        return None
    if device_node.parent is None:
        hub.log.assertion("kr == 0 ", 921, prefix=error_text(NO_DEVICE))
        return None
    info = {"reportInterval": interval}
    add_text(info, "sensorType", fitted(device_node.parent.name.encode(), 128))
    for key, number in SENSOR_TEXTS:
        add_text(info, key, until_nul(hub.filled_property(driver, number, 32)))
    for key, number in SENSOR_NUMBERS:
        info[key] = hub.checked_number(driver, number, -1)[1]
    batching = hub.filled_property(driver, 67, 20)
    info.update(zip(BATCHING_KEYS, struct.unpack("<5i", batching)))
    for key, number, size, text in SENSOR_FORMATS:
        add_formatted(info, key, text(hub.filled_property(driver, number, size)))
    add_diagnostics(info, hub, driver)
    code, clients = driver.driver.answer("commands", 57, 496)
    if code != 0:
        return None
    add_clients(info, clients)
    add_event_queue(info, device_node)
    return "SensorInfo", info


# --- Raw debug data ----------------------------------------------------------

RAW_DEBUG_NAMES = {1: "fw", 2: "kext", 3: "err"}
RAW_DEBUG_METHODS = {2: 9, 3: 8}


def raw_debug_records(hub, kind, capacity):
    if kind != 1:
        return hub.method_by_name(PROFILE_DRIVER, RAW_DEBUG_METHODS[kind], capacity)
    code, _ = hub.command_by_name(PROFILE_SERVICE, 38, 0)
    if code != 0:
        return code, b""
    return hub.property_by_name(PROFILE_SERVICE, 209, capacity)


def raw_debug_line(hub, record):
    """Text of a profile report; None when there is none."""
    line = profile_reference.decode(record, hub.device.clock_pair, hub.boot_time_us)
    return None if line is None else line.decode()


def capture_raw_debug(hub, handler):
    batch_size, kind, _ = handler.arguments
    record_bytes = profile_reference.RECORD_BYTES
    code, content = raw_debug_records(hub, kind, batch_size * record_bytes)
    count = len(content) // record_bytes
    if code != 0 or count == 0:
        return None
    lines = [raw_debug_line(hub, content[start:start + record_bytes])
             for start in range(0, count * record_bytes, record_bytes)]
    title = f"NEB Profile {handler.index} ;count={count} ;type={RAW_DEBUG_NAMES[kind]}"
    return title, [line for line in lines if line is not None]


# --- Snapshots ---------------------------------------------------------------

# By kind of handler: gives title and contents, or None.
CAPTURES = {"SSHBStats": capture_sshb_statistics, "SSHBAssets": capture_sshb_assets,
            "SensorInfo": capture_sensor_info, "RawDebugData": capture_raw_debug}


def cut_title(title):
    return fitted(title, 64)


def snapshot_of(hub, handler):
    """Title and contents of what a handler gives; None when it gives nothing."""
    captured = CAPTURES[handler.kind](hub, handler)
    if captured is None:
        return None
    title, contents = captured
    return cut_title(title), contents
