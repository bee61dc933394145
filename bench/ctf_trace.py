#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""A capture as a trace of the Common Trace Format 1.8, for its readers.

ctf_trace.py once|all CAPTURE FOLDER writes the records of the three types that
are measured with. once: each field once, names as texts and numbers as numbers.
all: every item of the decoder's line, so also the arguments in hexadecimal, the
ids and the bytes of the record. The time is that of the event.
"""

import pathlib
import struct
import sys

from python_text import (
    CATEGORY_NAMES, COMPONENT_NAMES, EVENT_NAMES, HEADER, RECORD_BYTES, name_by_component,
    name_in)

METADATA = """\
/* CTF 1.8 */
typealias integer { size = 8; align = 8; signed = false; } := u8;
typealias integer { size = 16; align = 8; signed = false; } := u16;
typealias integer { size = 32; align = 8; signed = false; } := u32;
typealias integer { size = 32; align = 8; signed = false; base = x; } := x32;
typealias integer { size = 64; align = 8; signed = false; } := u64;
trace {
  major = 1;
  minor = 8;
  byte_order = le;
  packet.header := struct { u32 magic; };
};
clock { name = hub; freq = 1000000; };
typealias integer { size = 64; align = 8; signed = false; map = clock.hub.value; } := time;
stream {
  packet.context := struct { u64 content_size; u64 packet_size; };
  event.header := struct { u16 id; time timestamp; };
};
"""

EVENT = """event {{ name = "{name}"; id = {id}; fields := struct {{
{fields}
}}; }};
"""

PACKET = struct.Struct("<IQQ")
MAGIC = 0xC1FC1FC1

# "event" is a word of the metadata; readers take the first underscore away.
NAMES = ("string category;", "string component;", "string _event;", "string type;",
         "u32 sequence_num;")
IDS = ("u8 type_id;", "u8 category_id;", "u8 component_id;", "u8 event_id;",
       "u8 binary_data[48];")

# By type: its name, its fields, those of them that "all" adds, and where the
# fields' bytes are in the record, in the order of the fields.
TYPES = {
    3: ("event", [f"u32 arg{number};" for number in range(1, 7)],
        [f"x32 xarg{number};" for number in range(1, 7)],
        lambda record: record[16:40], lambda record: record[16:40]),
    5: ("function", ["u32 function_id;", "u32 extra_id;", "u32 thread_id;",
                     "u32 duration;", "u32 depth;", "u32 thread_duration;"], [],
        lambda record: record[16:40], lambda record: b""),
    8: ("sensorinfo", ["string name;", "u32 report_interval;", "u32 batch_interval;",
                       "u32 threshold;", "u32 time_limit;", "u8 connected;",
                       "u8 decimation;", "u8 gyroPowerMode;"], [],
        lambda record: record[35:47].partition(bytes(1))[0] + bytes(1) + record[16:35],
        lambda record: b""),
}


def metadata(has_all):
    text = METADATA
    for type_id, (name, fields, added, _, _) in TYPES.items():
        shown = [*NAMES, *fields, *(added if has_all else ()), *(IDS if has_all else ())]
        text += EVENT.format(name=name, id=type_id, fields="\n".join(shown))
    return text


def event_of(record, has_all):
    type_id, event_id, component_id, category_id, sequence, timestamp_us = (
        HEADER.unpack_from(record))
    name, _, _, fields, added = TYPES[type_id]
    names = (name_in(CATEGORY_NAMES, category_id),
             name_in(COMPONENT_NAMES.get(category_id, {}), component_id),
             name_by_component(EVENT_NAMES, category_id, component_id, event_id), name)
    event = struct.pack("<HQ", type_id, timestamp_us)
    event += "".join(text + "\0" for text in names).encode()
    event += struct.pack("<I", sequence) + fields(record)
    if has_all:
        event += added(record) + bytes((type_id, category_id, component_id, event_id)) + record
    return event


def write_trace(capture, folder, has_all):
    events = b"".join([event_of(capture[start:start + RECORD_BYTES], has_all)
                       for start in range(0, len(capture), RECORD_BYTES)])
    size_bits = 8 * (PACKET.size + len(events))
    folder.mkdir(parents=True, exist_ok=True)
    (folder / "metadata").write_text(metadata(has_all), encoding="ascii")
    (folder / "stream").write_bytes(PACKET.pack(MAGIC, size_bits, size_bits) + events)


def main():
    variant, capture, folder = sys.argv[1:]
    write_trace(pathlib.Path(capture).read_bytes(), pathlib.Path(folder),
                {"once": False, "all": True}[variant])


if __name__ == "__main__":
    main()
