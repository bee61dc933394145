#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Makes random replies for device files, with lengths and contents at every boundary."""

import itertools
import struct

import make_records

UNSUPPORTED = 0xE00002C7
# Failures, with and without a text of their own.
FAILURES = (UNSUPPORTED, 0xE00002BC, 0xE00002BD, 0xE00002BE, 0xE00002C0, 0xE00002C1,
            0xE00002C2, 0xE00002CD, 0xE00002D6, 0xE00002D8, 0xE00002EB, 0xE00002F0,
            1, 5, 0x7FFFFFFF, 0x80000000, 0xE00002BB, 0xE00002ED, 0xFFFFFFFF)

EXTREMES_32 = (0, 1, -1, 255, 256, 65536, -65536, 32768, -32768, 2**31 - 1, -(2**31))
EXTREMES_64 = (*EXTREMES_32, 2**32, -(2**32), 2**53 + 1, 2**63 - 1, -(2**63))
TEXTS = (b"", b"A", b"ACME", b"x y", b"%s %d %n", b"tab\there", b"\x01\x7f", b"line\n",
         "é".encode(), b"\x80", b"\xff\xfe", b"ACM\xc3", "\U0001f600".encode())

STATISTICS_BYTES, BATCH_BYTES = 330, 1536
STATISTICS_SIZES = (330, 330, 329, 331, 0x11A, 8)
ASSETS_SIZES = (1479, 1479, 1478, 1480, 4096, 4097)
RECORD_BYTES, CLIENT_BYTES = 48, 31

# Properties of a sensor, with sizes of replies.
SENSOR_SIZES = {0: 4, 15: 32, 16: 32, 68: 5, 64: 4, 36: 4, 67: 20, 10: 4, 13: 4, 61: 4,
                45: 4, 25: 4, 11: 36, 26: 12, 24: 9, 29: 36, 56: 128}
STREAMS = (57, 58, 59, 60)

REGISTER_COUNTS = (0, 1, 2, 3, 4, 5, 15, 16, 29, 30, 31, 32, 33, 62, 63, 64, 2**31,
                   2**32 - 1, 2**32 - 2)
# By 65536, among them halves of the last place.
FIXED_POINTS = (0, 1, -1, 0.5, -0.5, 1.25, -32768, 32767.5, 32767.99999, 0.1, -0.1,
                0.5 / 65536, -0.5 / 65536, 1.5 / 65536, 0.49 / 65536, -2.5 / 65536)

INTEGER_FORMS = (("u8", "B"), ("i8", "b"), ("u16", "H"), ("i16", "h"), ("u32", "I"),
                 ("i32", "i"), ("u64", "Q"), ("i64", "q"))


class ReplyMaker:
    """Makes replies; the files that they name gather in `files`."""

    def __init__(self, rng, files):
        self.rng = rng
        self.files = files

    def chance(self, probability):
        return self.rng.random() < probability

    # --- Forms of bytes ------------------------------------------------------

    def spread_hex(self, content):
        digits = content.hex()
        if self.chance(0.5):
            digits = "".join(" " * self.rng.choice((0, 0, 0, 1, 2)) + digit
                             for digit in digits + " ")
        return {"hex": digits.upper() if self.chance(0.5) else digits}

    def file(self, content, folders=("", "replies/", "replies/älter/")):
        """Bytes within a file, with others before and after."""
        name = f"{self.rng.choice(folders)}{len(self.files)}.bin"
        before, after = (self.rng.randbytes(self.rng.choice((0, 0, 1, 7, 14)))
                         for _ in range(2))
        self.files[name] = before + content + after
        given = {"file": name}
        if before or self.chance(0.3):
            given["offset"] = len(before)
        if after or self.chance(0.3):
            given["length"] = len(content)
        return given

    def integers(self, content):
        form, code = self.rng.choice([(form, code) for form, code in INTEGER_FORMS
                                      if len(content) % struct.calcsize(code) == 0])
        numbers = [number for number, in struct.iter_unpack("<" + code, content)]
        return {form: numbers[0] if len(numbers) == 1 and self.chance(0.5) else numbers}

    def text(self, content):
        """The form for text; None for bytes that are none."""
        shown = content.rstrip(b"\0")
        try:
            text = shown.decode()
        except UnicodeDecodeError:
            return None
        if "\0" in text:
            return None
        given = {"text": text}
        if len(shown) < len(content) or self.chance(0.3):
            given["size"] = len(content)
        return given

    def plain(self, content):
        """One of the forms of these bytes."""
        form = self.rng.randrange(8)
        if form == 0:
            return self.spread_hex(content)
        if form == 1 and len(self.files) < 20:
            return self.file(content)
        if form in (2, 3):
            return self.text(content) or self.integers(content)
        if form == 4 and len(content) > 1:
            cut = self.rng.randrange(1, len(content))
            return [self.plain(content[:cut]), self.plain(content[cut:])]
        if form == 5 and len(content) < 64:
            return self.integers(content)
        return {"hex": content.hex()}

    # --- Replies -------------------------------------------------------------

    def failure(self):
        return {"status": self.status(self.rng.choice(FAILURES))}

    def status(self, code):
        """One of the forms of a code of 32 bits."""
        form = self.rng.randrange(4)
        if form == 0:
            return code
        if form == 1:
            return code - 2**32 if code >= 2**31 else code
        digits = f"{code:0{self.rng.randrange(1, 9)}x}"
        return "0x" + (digits.upper() if form == 2 else digits)

    def resized(self, content):
        """Fewer bytes or more, around every boundary."""
        near = (len(content) - 1, len(content) + 1)
        size = self.rng.choice((0, 1, 3, 4, 5, 8, *near, *near, len(content) + 40))
        return content[:max(size, 0)].ljust(size, b"\x5a")

    def once(self, make, odd=0.25, fails=0.08):
        """One call's reply of what `make` makes."""
        luck = self.rng.random()
        if luck < fails:
            return {"status": self.status(0)} if self.chance(0.15) else self.failure()
        if luck < fails + odd:
            return self.plain(self.resized(make()))
        return self.plain(make())

    def reply(self, make, odd=0.25, fails=0.08):
        """A reply, or a sequence, or a drain, of what `make` makes."""
        luck = self.rng.random()
        if luck < 0.08:
            return {"sequence": [self.once(make, odd, fails)
                                 for _ in range(self.rng.randrange(1, 4))]}
        if luck < 0.11:
            content = make() + make()
            return self.drain(content, self.rng.choice(
                [unit for unit in (1, 2, 4, len(content) // 2, len(content))
                 if unit and len(content) % unit == 0] or [1]))
        return self.once(make, odd, fails)

    def drain(self, content, unit):
        return {"drain": self.plain(content), "unit": unit}

    def ids(self, replies):
        """The replies, their ids in decimal or in hexadecimal."""
        return {f"0x{number:x}" if self.chance(0.1) else str(number): reply
                for number, reply in replies.items()}

    # --- Numbers and texts ---------------------------------------------------

    def integer(self, bits):
        extremes = EXTREMES_32 if bits == 32 else EXTREMES_64
        return self.rng.choice(extremes) if self.chance(0.5) \
            else self.rng.randrange(-(2**(bits - 1)), 2**(bits - 1))

    def packed(self, code, count=1):
        bits = 8 * struct.calcsize(code)
        return struct.pack(f"<{count}{code}", *(self.integer(bits) for _ in range(count)))

    def padded_text(self, size):
        """A text that ends before the field does, or fills it, with bytes behind it."""
        if self.chance(0.3):
            return bytes(self.rng.choice(b"abcXYZ 019") for _ in range(size))
        text = self.rng.choice(TEXTS)
        behind = self.rng.randbytes(size) if self.chance(0.2) else bytes(size)
        return (text + b"\0" + behind)[:size]

    # --- Buttons -------------------------------------------------------------

    def statistics(self):
        form = self.rng.randrange(3)
        if form == 0:
            return self.rng.randbytes(STATISTICS_BYTES)
        if form == 1:
            return bytes(index % 251 for index in range(STATISTICS_BYTES))
        return bytes((self.rng.choice((0x00, 0x7F, 0x80, 0xFF)),)) * STATISTICS_BYTES

    def assets(self):
        entry = struct.Struct("<Biqqi4s")
        return b"".join(entry.pack(self.rng.choice((0, 1, 2, 127, 128, 255)),
                                   self.integer(32), self.integer(64), self.integer(64),
                                   self.integer(32), self.rng.randbytes(4))
                        for _ in range(51))

    def sized(self, make, sizes):
        """A reply of what `make` makes, cut or filled to one of the sizes."""
        size = self.rng.choice(sizes)
        return self.plain(make()[:size].ljust(size, b"\x33"))

    def button_properties(self):
        properties = {}
        if self.chance(0.8):
            properties[215] = self.sized(self.statistics, STATISTICS_SIZES) \
                if self.chance(0.6) else self.reply(self.statistics, fails=0.3)
        if self.chance(0.85):
            properties[216] = self.sized(self.assets, ASSETS_SIZES) \
                if self.chance(0.75) else self.reply(self.assets, fails=0.3)
        return properties

    # --- Sensors -------------------------------------------------------------

    def location(self):
        letter = self.rng.choice((0, 66, 66, 1, 127, 128, 255))
        return bytes((letter,)) + self.packed("i")

    def registers(self):
        count = struct.pack("<I", self.rng.choice(REGISTER_COUNTS))
        words = self.rng.randbytes(124) if self.chance(0.5) else bytes(
            byte for _ in range(62) for byte in (self.rng.randrange(16), 0))
        return count + words

    def stream_item(self):
        tag = self.rng.choice((0, 0, 1, 2, 2, 3, 3, 3, 4, 5, 6, 7, 255))
        payload = b""
        if tag == 0:
            payload = self.packed("i")
        elif tag == 1:
            payload = self.packed("q")
        elif tag == 2:
            payload = self.rng.choice(TEXTS + (b"ok", b"temp ")) + b"\0"
        return bytes((tag,)) + payload

    def stream(self):
        if self.chance(0.1):
            # Numbers that give the longest text.
            return bytes((self.rng.choice((3, 4, 5, 6)),)) + (b"\1" + b"\0" * 7 + b"\x80") * 28
        content = b"".join(self.stream_item() for _ in range(self.rng.randrange(1, 12)))
        ending = self.rng.randrange(6)
        if ending == 0:
            content += b"\0\1\2"[:self.rng.randrange(1, 4)]
        elif ending == 1:
            content += (b"\1" + bytes(7))[:self.rng.randrange(1, 9)]
        elif ending == 2:
            content += b"\2unterminated"
        elif ending == 3:
            content += b"\3"
        if self.chance(0.05):
            content += b"\2" + b"y" * 300
        return content

    def client(self):
        name = self.rng.choice(TEXTS + (b"twelve bytes", b"thirteen byte", b"app"))
        return struct.pack("<12s4iB2s", name, *(self.integer(32) for _ in range(4)),
                           self.rng.choice((0, 1, 1, 255)), self.rng.randbytes(2))

    def clients(self):
        count = self.rng.choice((0, 1, 1, 2, 2, 3, 16, 17))
        return b"".join(self.client() for _ in range(count))

    def clients_reply(self):
        content = self.clients()
        if self.chance(0.2):
            content += self.rng.randbytes(self.rng.choice((1, CLIENT_BYTES - 1)))
        return self.plain(content)

    def sensor_value(self, number):
        """Makes the bytes of a property."""
        if number in (15, 16):
            return self.padded_text(32)
        if number == 68:
            return self.location()
        if number == 56:
            return self.registers()
        if number in STREAMS:
            return self.stream()
        return self.packed("i", SENSOR_SIZES[number] // 4) if number != 24 \
            else self.rng.randbytes(9)

    def fixed_points(self, count):
        return {"fixed": [self.rng.choice(FIXED_POINTS) for _ in range(count)]}

    def sensor_properties(self):
        properties = {}
        for number in (*SENSOR_SIZES, *STREAMS):
            if not self.chance(0.97 if number == 0 else 0.75):
                continue
            if number in (11, 29) and self.chance(0.5):
                properties[number] = self.fixed_points(9)
            else:
                properties[number] = self.reply(
                    lambda number=number: self.sensor_value(number),
                    fails=0.12)
        return properties

    def sensor_commands(self):
        luck = self.rng.random()
        if luck < 0.1:
            return {}
        if luck < 0.7:
            return {57: self.clients_reply()}
        return {57: self.reply(self.clients)}

    # --- Profile reports -----------------------------------------------------

    def report(self, is_text_broken=False):
        word = make_records.header(2, 0, 9, 8) if is_text_broken \
            else make_records.random_header(self.rng)
        payload = make_records.plausible_payload(self.rng, word)
        if is_text_broken or self.chance(0.05):
            offset, _ = make_records.TEXT_FIELDS.get(word & 0xFF, (19, 12))
            payload = make_records.overlay(
                payload, offset, self.rng.choice(make_records.INVALID_TEXTS) + b"\0")
        return struct.pack("<IIQ", word, self.rng.choice(make_records.SEQUENCE_NUMBERS),
                           make_records.random_timestamp_us(self.rng)) + payload

    def reports(self, count):
        is_broken = self.chance(0.1)
        return b"".join(self.report(is_broken) for _ in range(count))

    def reports_bytes(self):
        """What one call hands out: whole records, or not."""
        size = self.rng.choice((0, 1, 47, 48, 49, 95, 96, 100, 48 * 5))
        if self.chance(0.05):
            size = self.rng.choice((BATCH_BYTES - 1, BATCH_BYTES, BATCH_BYTES + 1,
                                    BATCH_BYTES + RECORD_BYTES))
        return self.reports(-(-size // RECORD_BYTES))[:size]

    def reports_reply(self):
        """What the handlers of a family get, mostly less than they can ask for."""
        luck = self.rng.random()
        if luck < 0.6:
            count = self.rng.choice((1, 31, 32, 33, 64, 70))
            return self.drain(self.reports(count), RECORD_BYTES)
        if luck < 0.7:
            return self.drain(self.reports(10), self.rng.choice((1, 16, 32, 240, 480)))
        if luck < 0.95:
            parts = [self.plain(self.reports_bytes()) if self.chance(0.75)
                     else self.failure() for _ in range(self.rng.randrange(1, 6))]
            return {"sequence": [*parts, self.rng.choice(
                (self.failure(), {"status": 0}, {"hex": ""}))]}
        return self.once(self.reports_bytes)

    def command_reply(self):
        luck = self.rng.random()
        if luck < 0.5:
            return {"status": 0}
        if luck < 0.8:
            return self.plain(self.rng.randbytes(self.rng.choice((0, 1, 4, 8))))
        if luck < 0.9:
            return self.failure()
        return {"sequence": [self.rng.choice(({"status": 0}, {"u32": 7}, self.failure()))
                             for _ in range(4)]}

    def profile_answers(self):
        """What a user client answers to those who fetch records."""
        answers = {}
        if self.chance(0.9):
            answers["properties"] = self.ids({209: self.reports_reply()})
        if self.chance(0.9):
            answers["commands"] = self.ids({38: self.command_reply()})
        methods = {number: self.reports_reply() for number in (8, 9) if self.chance(0.85)}
        if methods:
            answers["methods"] = self.ids(methods)
        return answers

    # --- Registry ------------------------------------------------------------

    def counter(self, bits):
        """A registry number; now and then something else."""
        luck = self.rng.random()
        if luck < 0.6:
            return self.integer(bits)
        if luck < 0.75:
            return self.rng.choice((2**31, 2**32 + 5, -(2**40), 2**63 - 1))
        if luck < 0.9:
            return self.rng.choice((0.0, 2.0, -7.0, 1e9, 2.5, -7.75))
        return self.rng.choice(("5", True, [5], {"value": 5}))

    def debug_state(self, *keys):
        """A "DebugState" with some of the keys, or what is none."""
        if self.chance(0.12):
            return self.rng.choice(("text", 5, True, [], [{"_num_events": 5}]))
        keys_bits = {key: 64 if key.endswith("Time") else 32 for key in keys}
        return {key: self.counter(bits) for key, bits in keys_bits.items()
                if self.chance(0.85)}

    def clocks(self):
        """A "timesync" property, or what is none."""
        if self.chance(0.15):
            return self.rng.choice(("text", 5, [1, 2], [], False))
        times = {"hub": self.integer(64), "calendar": self.integer(64)}
        if self.chance(0.5):
            times = {"hub": 5000000, "calendar": 1700110281123456789}
        if self.chance(0.2):
            times[self.rng.choice(("hub", "calendar"))] = self.rng.choice(("x", True, []))
        return {key: value for key, value in itertools.islice(
            times.items(), 1 if self.chance(0.1) else 2)}
