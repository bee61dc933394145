#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares records written as JSON lines or CSV with values read from their bytes.

The output is read with Python's json and csv modules. Every value is compared.
"""

import argparse
import csv
import io
import json
import os
import re
import shlex
import subprocess
import sys
import tempfile
import time

import make_records
import profile_reference
from record_values import (
    LAYOUTS, header_of, is_text, payload_of, readable, text_of, times_of)

DEFAULT_FIELDS = (
    "timestamp", "sequence_num", "category", "component", "event", "type",
    "category-id", "component-id", "event-id", "type-id", "payload")

# What must not stand in a JSON line as it is: controls and ends of lines.
CONTROL = re.compile("[\x00-\x1f\x7f-\x9f\u2028\u2029]")


# --- JSON lines --------------------------------------------------------------

# Objects are lists of their members in order, numbers their texts: nothing that
# Python would take for equal passes for equal.


def number(value):
    return "number", str(value)


def members_of(item):
    """The members that an item of a payload has in its layout's object."""
    if item.kind == "number":
        return [(item.key, number(item.value))]
    if item.kind == "fraction":
        return [(item.key, number(text_of(item)))]
    if item.kind == "subtype":
        subtype, name = item.value
        return [(item.key, number(subtype)), (item.key + "-name", name)]
    if item.kind == "text" and not is_text(item.value):
        return [(item.key, text_of(item)), (item.key + "-bytes", item.value.hex())]
    return [(item.key, text_of(item))]


def member(key, value):
    return key, value if isinstance(value, str) else number(value)


def expected_object(record, options):
    """The object of a record, a list of members."""
    payload = [(name, [made for item in items for made in members_of(item)])
               for name, items in payload_of(record)]
    times = times_of(record, options.timesync, options.boot_time)
    return [("format", "hub-profile/1"),
            *(member(*pair) for pair in header_of(record).items()),
            ("payload", payload),
            ("binary-data", record.hex()),
            *(member(*pair) for pair in times.items())]


def read_object(line):
    text = line.decode("utf-8")
    if CONTROL.search(text):
        return f"control character in {text!a}"
    return json.loads(text, object_pairs_hook=list, parse_int=number, parse_float=number)


def compare_jsonl(records, output, options):
    *lines, rest = output.split(b"\n")
    if rest or len(lines) != len(records):
        return f"{len(lines)} lines and {len(rest)} bytes for {len(records)} records"
    for record, line in zip(records, lines):
        expected, actual = expected_object(record, options), read_object(line)
        if expected != actual:
            return f"record {record.hex()}\nexpected {expected}\nfound    {actual}"
    return None


# --- CSV -----------------------------------------------------------------------


def json_string(text):
    """A JSON string with all controls and ends of lines escaped."""
    return CONTROL.sub(lambda found: f"\\u{ord(found[0]):04x}",
                       json.dumps(text, ensure_ascii=False))


def delimited(text, unchanged):
    """A text among items: a JSON string unless its end shows without."""
    quoted = json_string(text)
    plain = unchanged and text and " " not in text and quoted == f'"{text}"'
    return text if plain else quoted


def payload_text(payload):
    texts = []
    for _, items in payload:
        for item in items:
            text = text_of(item)
            if item.kind in ("text", "subtype"):
                text = delimited(text, item.kind == "subtype" or is_text(item.value))
            texts.append(f"{item.key}={text}")
    return " ".join(texts)


def expected_cells(record, options):
    """The cells of a record by the names of their columns; others are empty."""
    payload = payload_of(record)
    cells = {**header_of(record),
             **times_of(record, options.timesync, options.boot_time),
             "binary-data": record.hex(), "payload": payload_text(payload)}
    for name, items in payload:
        for item in items:
            shown = {"": text_of(item)}
            if item.kind == "subtype":
                shown["-number"] = item.value[0]
            if item.kind == "text":
                shown["-bytes"] = item.value.hex()
            for suffix, value in shown.items():
                cells[f"{name}.{item.key}{suffix}"] = value
                cells.setdefault(item.key + suffix, value)
    return cells


def all_fields():
    """Every name that a column can have, each once."""
    suffixes = {"subtype": ("", "-number"), "text": ("", "-bytes")}
    keys = [(name, key + suffix) for name, rows in LAYOUTS.items()
            for key, kind, _ in rows for suffix in suffixes.get(kind, ("",))]
    return tuple(dict.fromkeys([
        *header_of(bytes(profile_reference.RECORD_BYTES)), "calendar-time",
        "boot-timestamp", "binary-data", "payload", *(key for _, key in keys),
        *(f"{name}.{key}" for name, key in keys)]))


def compare_csv(records, output, options):
    fields = all_fields() if options.all_fields else DEFAULT_FIELDS
    rows = csv.reader(io.StringIO(output.decode("utf-8"), newline=""), strict=True)
    if next(rows) != list(fields):
        return "the header line differs"
    for record in records:
        cells = expected_cells(record, options)
        row = next(rows, [])
        expected = [str(cells.get(field, "")) for field in fields]
        if row != expected:
            differ = [trio for trio in zip(fields, expected, row) if trio[1] != trio[2]]
            return (f"record {record.hex()}: {len(row)} cells of {len(fields)};"
                    f" field, expected, found: {differ[:3]!a}")
    if next(rows, None) is not None:
        return "more rows than records"
    if written_again(output) != output:
        return "line ends or quotes differ from those of another writer"
    return None


def written_again(output):
    """What Python writes of the rows of a table."""
    again = io.StringIO(newline="")
    csv.writer(again).writerows(
        csv.reader(io.StringIO(output.decode("utf-8"), newline=""), strict=True))
    return again.getvalue().encode("utf-8")


COMPARISONS = {"jsonl": compare_jsonl, "csv": compare_csv}


# --- Command ---------------------------------------------------------------------


def output_of(records, options):
    command = [*shlex.split(options.command), "--format", options.format, "--boot-time",
               "none" if options.boot_time is None else str(options.boot_time)]
    if options.timesync is not None:
        command.append("--timesync={},{}".format(*options.timesync))
    if options.all_fields:
        command += ["--fields", ",".join(all_fields())]
    with tempfile.TemporaryFile() as source:
        source.writelines(records)
        source.seek(0)
        return subprocess.run(command, stdin=source, stdout=subprocess.PIPE, check=True).stdout


def main():
    parser = argparse.ArgumentParser(
        description="Compare records as JSON lines or CSV with the reference.")
    parser.add_argument("--command", required=True,
                        help="what writes records of standard input in a --format")
    parser.add_argument("--format", choices=COMPARISONS, required=True)
    parser.add_argument("--all-fields", action="store_true",
                        help="ask for every column by --fields")
    parser.add_argument("--count", type=int, default=140000, help="number of records")
    parser.add_argument("--every", type=int, default=1, help="take each n-th alone")
    parser.add_argument("--seed", type=int, default=1, help="seed of the records")
    profile_reference.add_clock_options(parser)
    parser.add_argument("--zone", metavar="TZ",
                        help="time zone of both; default: the environment's")
    options = parser.parse_args()
    if options.zone is not None:
        os.environ["TZ"] = options.zone
        time.tzset()
    records = list(make_records.records(options.count, options.seed))[::options.every]
    difference = COMPARISONS[options.format](records, output_of(records, options), options)
    print(difference or f"{len(records)} records equal")
    return 1 if difference else 0


if __name__ == "__main__":
    sys.exit(main())
