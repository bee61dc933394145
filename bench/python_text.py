#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The decoder's text as a script would write it: struct and f-strings.

python_text.py FILE writes a line for each record of a capture of the three
types that are measured with, without calendar and boot time.
"""

import pathlib
import struct
import sys

REFERENCE = pathlib.Path(__file__).resolve().parent.parent / "tests" / "reference"
sys.path.insert(0, str(REFERENCE))

from profile_reference import (  # noqa: E402  (found there)
    CATEGORY_NAMES, COMPONENT_NAMES, EVENT_NAMES, name_by_component, name_in)

RECORD_BYTES = 48
RECORDS_PER_BLOCK = 1365

HEADER = struct.Struct("<4BIQ")
SIX_NUMBERS = struct.Struct("<6I")
SENSOR_INFO = struct.Struct("<4I3B12s")


def event(payload):
    a, b, c, d, e, f = SIX_NUMBERS.unpack_from(payload, 16)
    return (f" 'arg1':{a:10}, 'arg2':{b:10}, 'arg3':{c:10}, 'arg4':{d:10},"
            f" 'arg5':{e:10}, 'arg6':{f:10}, 'xarg1':         '{a:x}',"
            f" 'xarg2':         '{b:x}', 'xarg3':         '{c:x}',"
            f" 'xarg4':         '{d:x}', 'xarg5':         '{e:x}',"
            f" 'xarg6':         '{f:x}',")


def function(payload):
    identity, extra, thread, duration, depth, total = SIX_NUMBERS.unpack_from(payload, 16)
    return (f" 'function-id':{identity:10}, 'extra-id':{extra:10},"
            f" 'thread-id':{thread:10}, 'duration':{duration:10}, 'depth':{depth:10},"
            f" 'thread_duration':{total:10},")


def sensor_info(payload):
    (report, batch, threshold, limit, connected, decimation, power,
     name) = SENSOR_INFO.unpack_from(payload, 16)
    quoted = f"'{name.partition(bytes(1))[0].decode()}'"
    return (f" 'name':{quoted:>16}, 'report-interval':{report:10},"
            f" 'batch-interval':{batch:10}, 'threshold':{threshold:10},"
            f" 'time-limit':{limit:10}, 'connected':{connected:10},"
            f" 'decimation':{decimation:10}, 'gyroPowerMode':{power:10},")


TYPES = {3: ("'event'", event), 5: ("'function'", function), 8: ("'sensorinfo'", sensor_info)}


def line_of(record):
    type_id, event_id, component_id, category_id, sequence, timestamp_us = (
        HEADER.unpack_from(record))
    category = f"'{name_in(CATEGORY_NAMES, category_id)}'"
    component = f"'{name_in(COMPONENT_NAMES.get(category_id, {}), component_id)}'"
    event_name = name_by_component(EVENT_NAMES, category_id, component_id, event_id)
    quoted_event = f"'{event_name}'"
    type_name, items = TYPES[type_id]
    data = ",".join(map(str, record))
    return (f"{{  'category':{category:>8}, 'component':{component:>8},"
            f" 'event':{quoted_event:>12}, 'type':{type_name:>12},"
            f" 'timestamp':{timestamp_us:10}, 'sequence_num':{sequence:10},"
            f"{items(record)} 'type-id':{type_id}, 'category-id':{category_id},"
            f" 'component-id':{component_id}, 'event-id':{event_id},"
            f" 'binary-data':[{data}]}}\n")


def main():
    with open(sys.argv[1], "rb") as capture:
        while block := capture.read(RECORD_BYTES * RECORDS_PER_BLOCK):
            sys.stdout.write("".join([line_of(block[start:start + RECORD_BYTES])
                                      for start in range(0, len(block), RECORD_BYTES)]))


if __name__ == "__main__":
    main()
