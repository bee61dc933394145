#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What drivers, devices and user clients of a device file answer, call by call."""

import math
import struct
from fractions import Fraction

UNSUPPORTED = 0xE00002C7

NUMBER_CODES = {"u8": "B", "u16": "H", "u32": "I", "u64": "Q",
                "i8": "b", "i16": "h", "i32": "i", "i64": "q"}


def at_call(sequence, call):
    """What the call of this number, from 0, gets; the last repeats."""
    return sequence[min(call, len(sequence) - 1)]


def status_code(value, call=0):
    """The 32 bits that the call of this number, from 0, gives back."""
    if isinstance(value, dict):
        value = at_call(value["sequence"], call)
    return (int(value, 16) if isinstance(value, str) else value) & 0xFFFFFFFF


# --- Bytes -------------------------------------------------------------------


def hex_bytes(digits):
    return bytes.fromhex(digits.replace(" ", ""))


def file_bytes(given, folder):
    """The part of a file that offset and length select."""
    content = (folder / given["file"]).read_bytes()
    start = given.get("offset", 0)
    return content[start:start + given.get("length", len(content))]


def text_bytes(given):
    content = given["text"].encode()
    return content.ljust(given.get("size", len(content)), b"\0")


def listed(value):
    return value if isinstance(value, list) else [value]


def fixed_point(value):
    """The nearest signed 16.16, halves away from zero."""
    magnitude = math.floor(abs(Fraction(value)) * 65536 + Fraction(1, 2))
    return magnitude if value >= 0 else -magnitude


def reply_bytes(given, folder):
    """Bytes of a reply that is no status, sequence or drain."""
    if isinstance(given, list):
        return b"".join(reply_bytes(part, folder) for part in given)
    if "hex" in given:
        return hex_bytes(given["hex"])
    if "file" in given:
        return file_bytes(given, folder)
    if "text" in given:
        return text_bytes(given)
    (form, value), = given.items()
    numbers = listed(value)
    if form == "fixed":
        form, numbers = "i32", map(fixed_point, numbers)
    return b"".join(struct.pack("<" + NUMBER_CODES[form], number) for number in numbers)


# --- Calls -------------------------------------------------------------------


class Reply:
    """A reply, and where its sequence or drain stands."""

    def __init__(self, given, folder):
        self.given = given
        self.folder = folder
        self.calls = 0
        self.drained_bytes = 0

    def call(self, capacity):
        """Code, and bytes cut to a buffer of this many, of the next call."""
        given = self.given
        if "sequence" in given:
            given = at_call(given["sequence"], self.calls)
            self.calls += 1
        if "status" in given:
            return status_code(given["status"]), b""
        if "drain" in given:
            return 0, self.drain(capacity - capacity % given["unit"])
        return 0, reply_bytes(given, self.folder)[:capacity]

    def drain(self, most):
        start = self.drained_bytes
        content = reply_bytes(self.given["drain"], self.folder)[start:start + most]
        self.drained_bytes += len(content)
        return content


class FarSide:
    """What is called through a plug-in or a connection; remembers its calls."""

    def __init__(self, given, folder):
        self.given = given
        self.opens = 0
        self.replies = {
            (table, int(number, 0)): Reply(reply, folder)
            for table in ("properties", "commands", "methods")
            for number, reply in given.get(table, {}).items()}

    def open(self):
        code = status_code(self.given.get("open", 0), self.opens)
        self.opens += 1
        return code

    @property
    def has_interface(self):
        """Whether a plug-in can be created and gives its interface."""
        return self.given.get("plugin", True) and self.given.get("interface", True)

    def answer(self, table, number, capacity):
        """Code and bytes for a call with a buffer of this many bytes."""
        reply = self.replies.get((table, number))
        return reply.call(capacity) if reply else (UNSUPPORTED, b"")
