# SPDX-License-Identifier: Apache-2.0
"""The values of 48-byte profile reports, as output forms for programs show them.

Written apart from the decoder. Of the reference decoder of lines it shares the
names and the calendar; layouts stand here a second time, by their names.
"""

import decimal
import functools
import re
import struct
import typing

import profile_reference
from profile_reference import name_by_component, name_in

PAYLOAD_OFFSET = profile_reference.PAYLOAD_OFFSET
HEADER = struct.Struct("<4BIQ")

# A row a line: kind, offset in the payload, key. Kinds: unsigned numbers, fixed
# point by its fraction bits, text and bytes by their sizes, constants.
TABLES = """
long-data
u16 0 subtype
u16 2 packet-size
u16 4 data-length
u16 6 data-offset
counted 8 raw-data

short-data
u16 0 subtype
constant30 0 packet-size
constant30 0 data-length
constant0 0 data-offset
bytes30 2 raw-data

event
u32 0 arg1
u32 4 arg2
u32 8 arg3
u32 12 arg4
u32 16 arg5
u32 20 arg6
hex 0 xarg1
hex 4 xarg2
hex 8 xarg3
hex 12 xarg4
hex 16 xarg5
hex 20 xarg6

trigger
constant1 0 trigger
u32 4 thread-id
u32 4 arg

function
u32 0 function-id
u32 4 extra-id
u32 8 thread-id
u32 12 duration
u32 16 depth
u32 20 thread_duration

sensorinfo
text12 19 name
u32 0 report-interval
u32 4 batch-interval
u32 8 threshold
u32 12 time-limit
u8 16 connected
u8 17 decimation
u8 18 gyroPowerMode

extfunction
text16 16 function
u32 12 arg
u32 0 task
u32 4 thread
u32 8 duration

annotation
u64 0 global-id
u64 8 entry-id
text8 8 entry
u32 16 arg1
u32 20 arg2

decimationinfo
text12 20 name
u32 8 sample-interval
u32 12 report-interval
u32 16 batch-interval
u64 0 next-dispatch

cumulus-data-in
u32 0 arg1
u32 4 arg2
u32 8 arg3
u32 12 arg4
u32 16 arg5
u32 20 arg6
fraction16 0 x
fraction16 4 y
fraction16 8 z

cumulus-data-out
u32 0 arg1
u32 4 arg2
u32 8 arg3
u32 12 arg4
u32 16 arg5
u32 20 arg6
fraction12 0 x
fraction12 4 y
fraction12 8 z

sshb-trace
subtype 0 trace
u32 4 thread
u32 8 arg1
u32 12 arg2
u32 16 arg3
u32 20 arg4

sshb-status-event
u32 2 status-timestamp
u8 10 fingerState
u8 11 buttonState
u32 12 buttonProgress
u8 17 clickCount
u8 18 clickCountIsTerminal
u8 19 clickIsLong
u8 20 clickSpeed

sshb-context-3
u16 0 context-version
u8 2 currentContext0
u8 3 currentContext1
u8 4 ampsEnabled
u8 5 enabled
u32 6 mode
u32 10 scan_time
u32 14 active_scan_interval
u32 18 background_scan_interval
u8 22 fingerDetect
u8 23 buttonState
u8 24 pressCount
u8 25 longPress
u8 26 terminalEvent
u8 27 speed
u8 28 stage

sshb-context-4
u16 0 context-version
u8 2 mclk_neb_enabled
u8 3 mclk_ap_enabled
u8 4 vossa_neb_enabled
u8 5 vossa_ap_enabled
u8 6 vossaBusy
u8 7 enableARC
u8 8 enableSpkr
u8 9 mclk_on
u8 10 vossa_on
u8 11 vossaPending
u8 12 ampsEnabling
u8 13 quarl_ready
u8 14 ampsPrewarming
u8 15 ampsDisabling
u8 16 ampsPending
u8 17 clickState
u8 18 clickSpeed
u8 19 test_mode
u8 20 cl_enable
u8 21 cl_neb_enable
u8 22 cl_ap_enable
u8 23 vossa_ready
u8 24 apState0
u8 25 apState1
u8 26 nebState0
u8 27 nebState1
u8 28 state0
u8 29 state1

sshb-context-5
u16 0 context-version
u8 2 currentContext0
u8 3 currentContext1
u8 4 ampsEnabled
u8 5 enabled
u32 6 scan_period
u32 10 scan_time
u8 14 fingerDetect
u8 15 buttonState
u8 16 pressCount
u8 17 longPress
u8 18 terminalEvent
u8 19 speed
u8 20 stage

sshb-context-7
u16 0 context-version
u8 2 mclk_neb_enabled
u8 3 mclk_ap_enabled
u8 4 vossa_neb_enabled
u8 5 vossa_ap_enabled
u8 6 vossaBusy
u8 7 enableARC
u8 8 enableSpkr
u8 9 mclk_on
u8 10 vossa_on
u8 11 vossaPending
u8 12 quarl_ready
u8 13 ampsState
u8 14 clickState
u8 15 clickSpeed
u8 16 test_mode
u8 17 cl_enable
u8 18 cl_neb_enable
u8 19 cl_ap_enable
u8 20 vossa_ready
u8 21 apState0
u8 22 apState1
u8 23 nebState0
u8 24 nebState1
u8 25 state0
u8 26 state1

wake-request
u32 0 wake_reason
u64 4 endpoint_ref

wake-event
u32 0 wake_reason
u32 4 service_id

haptics-trace
subtype 0 trace
u32 4 thread
u32 8 arg1
u32 12 arg2
u32 16 arg3
u32 20 arg4

haptics-amp-state
u32 10 ampType
u32 2 state
u32 6 refCount

haptics-play-request
u32 2 ampType
u32 10 index
u32 18 presilence
u32 26 gain
"""


class Item(typing.NamedTuple):
    """One item of a payload, its value in the type of its kind."""
    key: str
    kind: str  # "number", "hex", "fraction", "text", "bytes" or "subtype"
    value: object  # int, int, float, bytes, bytes, (int, str)


# --- Readers: from a record to a value -----------------------------------------


def unpacker(code, offset):
    unpack_from = struct.Struct("<" + code).unpack_from
    return lambda record: unpack_from(record, PAYLOAD_OFFSET + offset)[0]


def part(record, offset, size):
    return record[PAYLOAD_OFFSET + offset:PAYLOAD_OFFSET + offset + size]


def counted(offset):
    """Long data: as many bytes as its length tells and 24 at most."""
    length = unpacker("H", 4)
    return lambda record: part(record, offset, min(length(record), 24))


def subtype(offset):
    number = unpacker("I", offset)

    def read(record):
        value = number(record)
        return value, name_by_component(profile_reference.SUBTYPE_NAMES, record[3],
                                        record[2], value)

    return read


def fraction(bits, offset):
    raw = unpacker("i", offset)
    return lambda record: raw(record) / (1 << bits)


# By kind without its digits: kind of the item, then reader from digits and offset.
READERS = {
    "u": ("number", lambda bits, at: unpacker({8: "B", 16: "H", 32: "I", 64: "Q"}[bits], at)),
    "constant": ("number", lambda value, at: lambda record: value),
    "hex": ("hex", lambda _, at: unpacker("I", at)),
    "fraction": ("fraction", fraction),
    "text": ("text", lambda size, at: lambda record: part(record, at, size).partition(b"\0")[0]),
    "bytes": ("bytes", lambda size, at: lambda record: part(record, at, size)),
    "counted": ("bytes", lambda _, at: counted(at)),
    "subtype": ("subtype", lambda _, at: subtype(at)),
}


def row(line):
    """Key, kind and reader of a table's row."""
    word, offset, key = line.split()
    name, digits = re.fullmatch("([a-z]+)([0-9]*)", word).groups()
    kind, reader = READERS[name]
    return key, kind, reader(int(digits or 0), int(offset))


LAYOUTS = {name: tuple(map(row, rows)) for name, *rows in (
    table.split("\n") for table in TABLES.strip().split("\n\n"))}


# --- Which layouts a record has ------------------------------------------------

BY_TYPE = {1: "long-data", 2: "short-data", 3: "event", 4: "trigger", 5: "function",
           8: "sensorinfo", 9: "extfunction", 11: "annotation", 12: "decimationinfo"}

# Category, component, event and type.
BY_HEADER = {
    (4, 0, 0, 3): ("cumulus-data-in", "event"),
    (4, 0, 1, 3): ("cumulus-data-out",),
    (10, 0, 1, 13): ("wake-request",),
    (10, 0, 2, 3): ("wake-event",),
}


def sshb_layouts(record, event, type_id):
    if type_id == 10:
        version = int.from_bytes(part(record, 0, 2), "little")
        return (f"sshb-context-{version}",) if version in (3, 4, 5, 7) else ()
    return {(3, event): ("sshb-trace", "event"),
            (2, 3): ("sshb-status-event", "short-data")}.get((type_id, event))


def haptics_layouts(component, event, type_id):
    if component in (5, 6):
        return None
    return {(3, event): ("haptics-trace",), (2, 1): ("haptics-amp-state",),
            (2, 2): ("haptics-play-request",)}.get((type_id, event))


def layout_names(record):
    """The names of a record's layouts in their order, each once."""
    type_id, event, component, category = record[:4]
    names = BY_HEADER.get((category, component, event, type_id))
    if category == 7:
        names = sshb_layouts(record, event, type_id)
    elif category == 11:
        names = haptics_layouts(component, event, type_id)
    if names is None:
        names = (BY_TYPE[type_id],) if type_id in BY_TYPE else ()
    return names


def payload_of(record):
    """The layouts of a record: pairs of a name and its items."""
    return [(name, [Item(key, kind, read(record)) for key, kind, read in LAYOUTS[name]])
            for name in layout_names(record)]


@functools.lru_cache(maxsize=1 << 16)
def names_of(category, component, event, type_id):
    return (
        name_in(profile_reference.CATEGORY_NAMES, category),
        name_in(profile_reference.COMPONENT_NAMES.get(category, {}), component),
        name_by_component(profile_reference.EVENT_NAMES, category, component, event),
        name_in(profile_reference.TYPE_NAMES, type_id))


def header_of(record):
    """The items of the header, by key and in order: numbers, and texts for names."""
    type_id, event, component, category, sequence, timestamp = HEADER.unpack_from(record)
    names = names_of(category, component, event, type_id)
    return {
        **dict(zip(("category", "component", "event", "type"), names)),
        "timestamp": timestamp, "sequence_num": sequence, "type-id": type_id,
        "category-id": category, "component-id": component, "event-id": event}


def times_of(record, clock_pair, boot_time_us):
    """The items that are not in a record, by key; those that can be had."""
    times = {}
    if clock_pair is not None:
        timestamp = HEADER.unpack_from(record)[5]
        times["calendar-time"] = profile_reference.calendar_text(timestamp, clock_pair)
    if boot_time_us is not None:
        times["boot-timestamp"] = boot_time_us
    return times


# --- Texts of values -------------------------------------------------------------


def readable(data):
    """Bytes as text; each byte that belongs to no character is U+FFFD."""
    return re.sub("[\udc80-\udcff]", "\ufffd", data.decode("utf-8", "surrogateescape"))


def is_text(data):
    try:
        data.decode("utf-8")
    except UnicodeDecodeError:
        return False
    return True


def real_text(value):
    """Shortest decimal text that reads back as this double; plain if not longer."""
    exact = decimal.Decimal(repr(value)).normalize()
    sign, digits, exponent = exact.as_tuple()
    digits = "".join(map(str, digits))
    plain = f"{exact:f}" if value else "0"
    power = exponent + len(digits) - 1
    mantissa = digits[0] + ("." + digits[1:] if digits[1:] else "")
    scientific = f"{'-' * sign}{mantissa}e{'-' if power < 0 else '+'}{abs(power):02d}"
    return plain if len(plain) <= len(scientific) else scientific


def text_of(item):
    """The value of an item as text without quotes."""
    if item.kind == "number":
        return str(item.value)
    if item.kind == "hex":
        return f"{item.value:x}"
    if item.kind == "fraction":
        return real_text(item.value)
    if item.kind == "text":
        return readable(item.value)
    if item.kind == "bytes":
        return item.value.hex()
    return item.value[1]
