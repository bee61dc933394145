#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Writes profile reports for tests: 48-byte records, the same for a seed.

First every id and boundary of the report format in turn, then random records
weighted to the ids that the firmware uses.
"""

import argparse
import itertools
import random
import signal
import struct
import sys

PAYLOAD_BYTES = 32
UINT64_MASK = 2**64 - 1

CATEGORIES = (*range(14), 40, 200, 255)
COMPONENTS = (*range(13), 255)
EVENTS = (*range(21), 255)
TYPES = (*range(15), 200, 255)

TIMESTAMPS_US = (0, 1, 7, 999, 999999, 1000000, 9999999999, 10**10, 2**32 - 1,
                 2**32, 2**53 + 1, 2**63 - 1, 2**63, 2**64 - 1)
SEQUENCE_NUMBERS = (0, 1, 999999999, 10**9, 2**31, 2**32 - 1)

# By type: offset in the payload and size of its text field, in bytes.
TEXT_FIELDS = {8: (19, 12), 9: (16, 16), 11: (8, 8), 12: (20, 12)}

CONTEXT_VERSIONS = (*range(11), 0x0100, 0x0103, 0x0104, 0x0105, 0x0107, 0x0300,
                    0x0304, 0x0400, 0x0500, 0x0700, 0x8003, 0xFF04, 0xFF05,
                    0xFF07, 0xFFFF)
SUBTYPES = (*range(421), 511, 512, 0x0100 + 224, 0xFFFF, 0x10000, 0x10000 + 49,
            0x01000000, 2**31 - 1, 2**31, 2**32 - 1)
LONG_DATA_LENGTHS = (*range(27), 31, 32, 33, 100, 255, 256, 257, 0x0118, 32767,
                     32768, 65535)

KNOWN_HEADERS = (0x04000003, 0x04000103, 0x04000203, 0x04000004, 0x0A00010D,
                 0x0A000203)

VALID_TEXTS = tuple(
    sample.encode() for sample in (
        "'", "''", '"', "\\", "\n", "\r\n", "\t", "\x01", "\x1b[0m", "\x7f",
        "{", "}", ",", "':", "%s", " ", "a b", "acc", "\u0080", "\u00e9",
        "\u07ff", "\u0800", "\u20ac", "\ud7ff", "\ue000", "\ufeff", "\ufffe",
        "\uffff", "\U00010000", "\U0001f600", "\U0010ffff", "e\u0301"))

INVALID_TEXTS = tuple(
    bytes.fromhex(sample) for sample in (
        # Lone continuations.
        "80", "bf", "80bf", "e28282ac",
        # Overlong forms.
        "c080", "c1bf", "e08080", "e09fbf", "f0808080", "f08fbfbf",
        # Surrogates, alone and in a pair.
        "eda080", "edbfbf", "eda0bdedb880",
        # Above the last character.
        "f4908080", "f5808080", "f7bfbfbf", "f888808080", "fc8480808080",
        "fe", "ff",
        # Truncated characters, then something else.
        "c2", "c241", "c2c2a2", "e2", "e282", "e241ac", "e28241", "e282e282ac",
        "f0", "f09f", "f09f98", "f09f9841", "f09f4180", "f0419880"))

# Positions of the fields of each payload: header words, bytes that select the
# layout, then offset and width in bytes of each field.
WORDS = tuple((offset, 4) for offset in range(0, 24, 4))
SCAN_FLAGS = ((0, 2), (2, 1), (3, 1), (4, 1), (5, 1))
FIELD_POSITIONS = (
    ((0x00000001, 0x07000001, 0x0B070001), b"", ((0, 2), (2, 2), (4, 2), (6, 2))),
    ((0x00000002, 0x07000002, 0x07000202, 0x0B000002), b"", ((0, 2),)),
    ((0x08000003, 0x01020003, 0x0B050003), b"", WORDS),
    ((0x00000004, 0x07000004), b"", WORDS),
    ((0x00010005, 0x0B070005), b"", WORDS),
    ((0x02000908,), b"",
     (*WORDS[:4], (16, 1), (17, 1), (18, 1), (19, 1), (30, 1), (31, 1))),
    ((0x00040009,), b"", (*WORDS[:4], (16, 4), (28, 4))),
    ((0x02000A0B,), b"", ((0, 8), (8, 8), (16, 4), (20, 4), (24, 4))),
    ((0x0200000C,), b"",
     ((0, 8), (8, 4), (12, 4), (16, 4), (20, 1), (31, 1))),
    ((0x07000003, 0x07030003, 0x07050003), b"", WORDS),
    ((0x07000302,), b"",
     ((0, 2), (2, 4), (6, 4), (10, 1), (11, 1), (12, 4), (16, 1), (17, 1),
      (18, 1), (19, 1), (20, 1), (21, 1))),
    ((0x0700010A,), b"\3\0",
     (*SCAN_FLAGS, *((offset, 4) for offset in (6, 10, 14, 18)),
      *((offset, 1) for offset in range(22, 32)))),
    ((0x0700010A,), b"\5\0",
     (*SCAN_FLAGS, (6, 4), (10, 4), *((offset, 1) for offset in range(14, 32)))),
    ((0x0700010A,), b"\4\0",
     ((0, 2), *((offset, 1) for offset in range(2, 32)))),
    ((0x0700010A,), b"\7\0",
     ((0, 2), *((offset, 1) for offset in range(2, 32)))),
    ((0x04000003, 0x04000103, 0x04000203), b"", WORDS),
    ((0x0A00010D,), b"", ((0, 4), (4, 8), (12, 4))),
    ((0x0A000203,), b"", ((0, 4), (4, 4), (8, 4))),
    ((0x0B070003, 0x0B040003), b"", WORDS),
    ((0x0B070102, 0x0B080202), b"",
     tuple((offset, 4) for offset in (2, 6, 10, 14, 18, 22, 26))),
)

# Every byte differs and is ASCII, so that a shifted or wide read shows.
BACKGROUND = bytes(range(0x41, 0x41 + PAYLOAD_BYTES))


def header(category, component, event, type_id):
    return category << 24 | component << 16 | event << 8 | type_id


def overlay(payload, offset, data):
    """The payload with `data` at an offset, cut at the payload's end."""
    return (payload[:offset] + data + payload[offset + len(data):])[:PAYLOAD_BYTES]


def valid_text(rng, size):
    """Random UTF-8 for a field of `size` bytes; a character may be cut."""
    content = bytearray()
    length = rng.randrange(size + 1)
    while len(content) < length:
        if rng.random() < 0.8:
            content.append(rng.randrange(0x20, 0x7F))
        else:
            content += rng.choice(VALID_TEXTS)
    if rng.random() < 0.5:
        return bytes(content[:size]).ljust(size, b"\0")
    return (bytes(content) + b"\0" + rng.randbytes(size))[:size]


def plausible_payload(rng, header_word):
    """Random payload that mostly reaches the named values of its layout."""
    category, component, event, type_id = header_word.to_bytes(4, "big")
    form = rng.randrange(8)
    if form < 4:
        payload = rng.randbytes(PAYLOAD_BYTES)
    elif form < 6:
        payload = struct.pack("<8I", *(rng.getrandbits(rng.randrange(33))
                                       for _ in range(8)))
    elif form == 6:
        payload = bytes(rng.randrange(0x20, 0x7F) for _ in range(PAYLOAD_BYTES))
    else:
        payload = bytes(PAYLOAD_BYTES)
    if rng.random() < 0.15:
        return payload
    if type_id in TEXT_FIELDS:
        offset, size = TEXT_FIELDS[type_id]
        payload = overlay(payload, offset, valid_text(rng, size))
    elif type_id == 10:
        payload = overlay(payload, 0, bytes((rng.randrange(2, 9), 0)))
    elif type_id == 1:
        payload = overlay(payload, 4, bytes((rng.randrange(32), 0)))
    elif type_id == 3 and category == 7:
        payload = overlay(payload, 0, struct.pack("<I", rng.randrange(420)))
    elif type_id == 3 and category == 11:
        payload = overlay(payload, 0, struct.pack("<I", rng.randrange(27)))
    return payload


# --- Systematic records: generators of header word, payload and timestamp ----


def every_id(rng):
    for ids in itertools.product(CATEGORIES, COMPONENTS, EVENTS, TYPES):
        word = header(*ids)
        yield word, plausible_payload(rng, word), None


def uniform_payloads(rng):
    words = {word for words, _, _ in FIELD_POSITIONS for word in words}
    for word in sorted(words.union(KNOWN_HEADERS)):
        for byte in (0x00, 0x01, 0x7F, 0x80, 0xFF):
            yield word, bytes((byte,)) * PAYLOAD_BYTES, None


def field_boundaries(rng):
    for words, selector, positions in FIELD_POSITIONS:
        for word, (offset, width_bytes) in itertools.product(words, positions):
            values = {(1 << bit) + step
                      for bit in range(8 * width_bytes + 1) for step in (-1, 0, 1)}
            for value in sorted(values):
                if value < 1 << 8 * width_bytes:
                    payload = overlay(BACKGROUND, 0, selector)
                    yield word, overlay(
                        payload, offset, value.to_bytes(width_bytes, "little")), None


def context_versions(rng):
    for component, event in ((0, 1), (3, 1), (6, 2), (12, 3)):
        for version in CONTEXT_VERSIONS:
            for payload in (bytes(PAYLOAD_BYTES), b"\xff" * PAYLOAD_BYTES,
                            BACKGROUND, rng.randbytes(PAYLOAD_BYTES)):
                yield (header(7, component, event, 10),
                       overlay(payload, 0, version.to_bytes(2, "little")), None)
    for category, version in itertools.product((0, 4, 11), (3, 4, 5, 7)):
        yield (header(category, 0, 1, 10),
               overlay(BACKGROUND, 0, version.to_bytes(2, "little")), None)


def subtypes(rng):
    for category, component, subtype in itertools.product(
            (7, 11), COMPONENTS, SUBTYPES):
        payload = struct.pack("<I", subtype) + rng.randbytes(PAYLOAD_BYTES - 4)
        yield header(category, component, subtype % 5, 3), payload, None


def long_data_lengths(rng):
    for word in (0x00000001, 0x02000001, 0x04000001, 0x07000201, 0x0A000001,
                 0x0B070101):
        for length in LONG_DATA_LENGTHS:
            for payload in (bytes(PAYLOAD_BYTES), b"\xff" * PAYLOAD_BYTES,
                            rng.randbytes(PAYLOAD_BYTES)):
                yield word, overlay(payload, 4, length.to_bytes(2, "little")), None


def text_fields(rng):
    letters = b"abcdefghijklmnop"
    for type_id, (offset, size) in TEXT_FIELDS.items():
        word = header(2, 0, 9, type_id)
        fields = [letters[:length] + tail
                  for length in range(size + 1)
                  for tail in (bytes(size), b"\0" + letters, b"\0\xff\x80\xc2" * 4)]
        fields += [b"'" * length + bytes(size) for length in range(size + 1)]
        for sample in VALID_TEXTS + INVALID_TEXTS:
            for start in range(size):
                fields += [letters[:start] + sample + bytes(size),
                           letters[:start] + sample + letters]
            fields += [(sample * size)[:size], b"\0" + sample + bytes(size)]
        for byte in range(256):
            character = bytes((byte,))
            fields += [character + bytes(size), letters[:size - 1] + character]
        for first, second in itertools.product(
                (0xC1, 0xC2, 0xDF, 0xE0, 0xE1, 0xED, 0xEE, 0xEF, 0xF0, 0xF1,
                 0xF3, 0xF4, 0xF5),
                (0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0)):
            for continuations in range(3):
                fields.append(bytes((first, second)) + b"\x80" * continuations
                              + bytes(size))
        for field in fields:
            yield word, overlay(BACKGROUND, offset, field[:size]), None


def fixed_point_corners(rng):
    corners = {0, 1, 2, 6, 7, 0x7FFFFFFF, 0x80000000, 0x80000001, 0xFFFFFFFF,
               0xFFFFFFFE, 0x00010000, 0xFFFF0000, 0xFFFFF000, 0x00001000}
    for fraction_bits in (12, 16):
        one = 1 << fraction_bits
        # Around powers of ten, where six digits round up to one more, and at
        # ties of the sixth digit.
        for power in range(-4, 6):
            near = round(10**power * one)
            corners.update(near + step for step in range(-4, 5))
        for whole in (1, 10, 1000, 99999, 100000, 100001, 100002, 123456, 524286):
            corners.update(whole * one + one * eighth // 8 for eighth in range(9))
    values = sorted({value & 0xFFFFFFFF for corner in corners
                     for value in (corner, -corner) if -(2**31) <= value < 2**32})
    for word in (0x04000003, 0x04000103):
        for value, axis in itertools.product(values, range(3)):
            payload = overlay(BACKGROUND, 4 * axis, struct.pack("<I", value))
            yield word, payload, None
        for _ in range(500):
            yield word, struct.pack("<8I", *(rng.getrandbits(rng.randrange(33))
                                             for _ in range(8))), None


def header_neighbours(rng):
    for known in KNOWN_HEADERS:
        for word in (known, *(known ^ 1 << bit for bit in range(32))):
            for payload in (BACKGROUND, plausible_payload(rng, word),
                            rng.randbytes(PAYLOAD_BYTES)):
                yield word, payload, None


def timestamps(rng):
    random_timestamps_us = (rng.getrandbits(rng.randrange(1, 65))
                            for _ in range(1000))
    for timestamp_us in (*TIMESTAMPS_US, *(1 << bit for bit in range(64)),
                         *random_timestamps_us):
        for word in (0x08030500, 0x07000003):
            yield word, BACKGROUND, timestamp_us


SECTIONS = (every_id, uniform_payloads, field_boundaries, context_versions,
            subtypes, long_data_lengths, text_fields, fixed_point_corners,
            header_neighbours, timestamps)


# --- Random records ----------------------------------------------------------


def random_header(rng):
    if rng.random() < 0.05:
        return rng.getrandbits(32)
    if rng.random() < 0.1:
        return rng.choice(KNOWN_HEADERS)
    category = rng.choice((4, 7, 7, 7, 10, 11, 11)) if rng.random() < 0.5 \
        else rng.randrange(13)
    component = rng.randrange(10) if rng.random() < 0.95 else rng.randrange(256)
    event = rng.choice((*range(5), *range(20))) if rng.random() < 0.95 \
        else rng.randrange(256)
    type_id = rng.choice((*range(13), 2, 3, 10)) if rng.random() < 0.95 \
        else rng.randrange(256)
    return header(category, component, event, type_id)


def random_records(rng):
    while True:
        word = random_header(rng)
        yield word, plausible_payload(rng, word), None


def random_timestamp_us(rng):
    form = rng.randrange(4)
    if form == 0:
        return rng.choice(TIMESTAMPS_US)
    return rng.getrandbits((20, 42, 64)[form - 1])


def records(count, seed):
    """Yields `count` records of 48 bytes, the same for the same seed."""
    rng = random.Random(seed)
    systematic = itertools.chain.from_iterable(
        section(rng) for section in SECTIONS)
    sequence = itertools.islice(
        itertools.chain(systematic, random_records(rng)), count)
    for index, (word, payload, timestamp_us) in enumerate(sequence):
        if timestamp_us is None:
            timestamp_us = random_timestamp_us(rng)
        number = rng.choice(SEQUENCE_NUMBERS) if rng.random() < 0.1 else index
        yield struct.pack("<IIQ", word, number & 0xFFFFFFFF, timestamp_us) + payload


def main():
    signal.signal(signal.SIGPIPE, signal.SIG_DFL)
    parser = argparse.ArgumentParser(description="Write raw profile reports.")
    parser.add_argument("--count", type=int, required=True, help="number of records")
    parser.add_argument("--seed", type=int, required=True, help="number, any")
    options = parser.parse_args()
    sys.stdout.buffer.writelines(records(options.count, options.seed))
    return 0


if __name__ == "__main__":
    sys.exit(main())
