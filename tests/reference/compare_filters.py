#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares what filters select with what Python selects from the JSON lines.

Each expression has a twin in Python over the members of a record's object. The
records that both select must be the same, by number and one by one.
"""

import argparse
import itertools
import json
import os
import re
import subprocess
import sys
import tempfile

import make_records


def values(entry, key):
    """What a record has under a key of its payload, in each of its layouts."""
    return [layout[key] for layout in entry["payload"].values() if key in layout]


def has(entry, key, holds):
    return any(holds(value) for value in values(entry, key))


TWINS = (
    ("category == sshb", lambda r: r["category"] == "sshb"),
    ("category == 7", lambda r: r["category-id"] == 7),
    ("category != 7 && category != haptics", lambda r: r["category-id"] not in (7, 11)),
    ("category in (exec, 2, 0x0a)", lambda r: r["category-id"] in (0, 2, 10)),
    ("component == accel", lambda r: r["component"] == "accel"),
    ("component =~ '^[0-9]+$'", lambda r: re.search("^[0-9]+$", r["component"])),
    ("event == trace", lambda r: r["event"] == "trace"),
    ("event >= 16 && event < 20", lambda r: 16 <= r["event-id"] < 20),
    ("type == sensorinfo || type == decimationinfo", lambda r: r["type-id"] in (8, 12)),
    ("!(type == event)", lambda r: r["type-id"] != 3),
    ("sequence_num > 0x7fffffff", lambda r: r["sequence_num"] > 0x7FFFFFFF),
    ("timestamp <= 9999999999", lambda r: r["timestamp"] <= 9999999999),
    ("timestamp == 9007199254740993", lambda r: r["timestamp"] == 9007199254740993),
    ("duration > 1000", lambda r: has(r, "duration", lambda value: value > 1000)),
    ("!(duration > 1000)", lambda r: not has(r, "duration", lambda value: value > 1000)),
    ("context-version == 7", lambda r: has(r, "context-version", lambda value: value == 7)),
    ("arg1 == 0 && !(arg2 == 0)", lambda r: has(r, "arg1", lambda value: value == 0)
     and not has(r, "arg2", lambda value: value == 0)),
    ("arg1 != 0", lambda r: values(r, "arg1") and all(value != 0 for value in values(r, "arg1"))),
    ("sshb-trace.arg1 < 1000 && event.arg1 >= 1000",
     lambda r: r["payload"].get("sshb-trace", {}).get("arg1", 1000) < 1000
     and r["payload"].get("event", {}).get("arg1", 0) >= 1000),
    ("x < -0.5 || y >= 1.25", lambda r: has(r, "x", lambda value: value < -0.5)
     or has(r, "y", lambda value: value >= 1.25)),
    ("trace == PlayAssetBegin", lambda r: any(layout.get("trace-name") == "PlayAssetBegin"
                                              for layout in r["payload"].values())),
    ("trace in (49, 300)", lambda r: has(r, "trace", lambda value: value in (49, 300))),
    ("entry-id > 9223372036854775807", lambda r: has(r, "entry-id", lambda value: value > 2**63 - 1)),
    ("name =~ '^acc'", lambda r: any(text.startswith("acc") for text in values(r, "name"))),
    ("raw-data =~ '^00'", lambda r: has(r, "raw-data", lambda value: value.startswith("00"))),
    ("gyroPowerMode in (0, 1) && connected != 1",
     lambda r: has(r, "gyroPowerMode", lambda value: value in (0, 1))
     and has(r, "connected", lambda value: value != 1)),
    ("(category == wake || category == haptics) && !(event == 0 || event == 1)",
     lambda r: r["category-id"] in (10, 11) and r["event-id"] not in (0, 1)),
)


def jsonl(command, path, *options):
    run = subprocess.run([command, "--boot-time", "none", "--format", "jsonl", *options, path],
                         stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True)
    return run.stdout.splitlines()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--hubprofile", required=True, help="the command")
    parser.add_argument("--count", type=int, default=200000, help="how many records are made")
    parser.add_argument("--every", type=int, default=7, help="which of them are taken")
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    failed = 0
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "records.bin")
        with open(path, "wb") as file:
            file.writelines(itertools.islice(make_records.records(options.count, seed=options.seed),
                                             0, None, options.every))
        lines = jsonl(options.hubprofile, path)
        entries = [json.loads(line) for line in lines]
        for expression, twin in TWINS:
            expected = [line for line, entry in zip(lines, entries) if twin(entry)]
            selected = jsonl(options.hubprofile, path, "--where", expression)
            agrees = selected == expected
            failed += not agrees
            print(f"{'ok  ' if agrees else 'FAIL'} {len(selected):7} of {len(lines)}, "
                  f"expected {len(expected):7}: {expression}")
            if not 0 < len(expected) < len(lines):
                print(f"FAIL the records cannot tell: {expression}")
                failed += 1
    print(f"{len(TWINS) - failed} expressions agree, {failed} do not")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
