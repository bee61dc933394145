#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Times Python's plistlib at writing a snapshot that snapshot_bench --write-snapshot=FILE wrote.

Prints JSON: the CPU time of one snapshot, the median of nine rounds. What plistlib writes is checked first.
"""
import json
import plistlib
import statistics
import sys
import time

ROUNDS = 9
SNAPSHOTS_PER_ROUND = 500


def cpu_ns_per_snapshot(snapshot):
    begin = time.process_time_ns()
    for _ in range(SNAPSHOTS_PER_ROUND):
        plistlib.dumps(snapshot, fmt=plistlib.FMT_BINARY)
    return (time.process_time_ns() - begin) / SNAPSHOTS_PER_ROUND


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: plistlib_snapshot.py SNAPSHOT.plist")
    with open(sys.argv[1], "rb") as file:
        snapshot = plistlib.load(file, fmt=plistlib.FMT_BINARY)
    if not snapshot or plistlib.loads(plistlib.dumps(snapshot, fmt=plistlib.FMT_BINARY)) != snapshot:
        sys.exit(f"{sys.argv[1]}: plistlib writes other contents")
    print(json.dumps({"cpu_ns_per_snapshot": statistics.median(cpu_ns_per_snapshot(snapshot) for _ in range(ROUNDS))}))


main()
