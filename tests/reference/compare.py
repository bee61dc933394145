#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares the hubprofile command with the reference decoder, byte for byte."""

import argparse
import os
import re
import subprocess
import sys
import tempfile
import time

import make_records
import profile_reference

# Start of every line; a text field is too short to hold it after a line end.
LINE_START = b"{  'category':"


def run_hubprofile(options, folder, output):
    """Runs the command on the records of a folder; returns its result."""
    command = [options.hubprofile, "--boot-time",
               "none" if options.boot_time is None else str(options.boot_time)]
    if options.timesync is not None:
        command += ["--timesync", "{},{}".format(*options.timesync)]
    command.append(os.path.join(folder, "records.bin"))
    return subprocess.run(command, stdin=subprocess.DEVNULL, stdout=output,
                          stderr=subprocess.PIPE, check=False)


def rest_of_line(output, position):
    """Bytes from a position to the end of the line that starts there."""
    output.seek(position)
    rest = output.read(8192)
    end = rest.find(b"\n" + LINE_START)
    return rest[:end] if end >= 0 else rest.removesuffix(b"\n")


def parting_column(expected, actual):
    """Column, from 1, of the first byte in which two lines differ."""
    for column, (left, right) in enumerate(zip(expected, actual), 1):
        if left != right:
            return column
    return min(len(expected), len(actual)) + 1


def show(line):
    return "(no line)" if line is None else ascii(line.decode("latin-1"))[1:-1]


def report_difference(index, record, expected, actual):
    print(f"record {index} differs: {record.hex()}")
    print(f"reference:  {show(expected)}")
    print(f"hubprofile: {show(actual)}")
    print(f"column: {parting_column(expected or b'', actual or b'')}")


def compare_output(source, output, options):
    """Walks the records; returns lines and skipped records, None if they differ.

    An unexpected line of a record that the reference skips shows only where the
    next line is expected, so the records skipped since the last line are kept.
    """
    lines = skipped = 0
    skipped_since_line = []
    for index in range(options.count):
        record = source.read(profile_reference.RECORD_BYTES)
        expected = profile_reference.decode(record, options.timesync, options.boot_time)
        if expected is None:
            skipped += 1
            skipped_since_line.append((index, record))
            continue
        position = output.tell()
        if output.read(len(expected) + 1) != expected + b"\n":
            actual = rest_of_line(output, position) or None
            unexpected = unexpected_line(skipped_since_line, actual)
            report_difference(*(unexpected or (index, record, expected)), actual)
            return None
        skipped_since_line.clear()
        lines += 1
    actual = rest_of_line(output, output.tell())
    if actual:
        unexpected = unexpected_line(skipped_since_line, actual)
        if unexpected:
            report_difference(*unexpected, actual)
        else:
            print(f"hubprofile wrote more after the last record: {show(actual)}")
        return None
    return lines, skipped


def unexpected_line(skipped, actual):
    """The skipped record, with no expected line, that a line belongs to."""
    for index, record in skipped:
        if actual and profile_reference.dump(record).encode() in actual:
            return index, record, None
    return None


def compare(options):
    with tempfile.TemporaryDirectory() as folder:
        with open(os.path.join(folder, "records.bin"), "xb") as target:
            target.writelines(make_records.records(options.count, options.seed))
        with open(os.path.join(folder, "records.bin"), "rb") as source, \
                open(os.path.join(folder, "lines"), "x+b") as output:
            result = run_hubprofile(options, folder, output)
            output.seek(0)
            counts = compare_output(source, output, options)
    messages = result.stderr.decode("utf-8", "replace")
    if result.returncode != 0:
        print(f"hubprofile exits {result.returncode}: {messages.rstrip()}")
        return 1
    if counts is None:
        return 1
    lines, skipped = counts
    if skipped and str(skipped) not in re.findall(r"\d+", messages):
        print(f"hubprofile does not tell {skipped} skipped records: {messages.rstrip()}")
        return 1
    print(f"{options.count} records, {lines} lines equal, {skipped} records skipped")
    return 0


def main():
    parser = argparse.ArgumentParser(
        description="Compare hubprofile with the reference decoder.")
    parser.add_argument("--hubprofile", metavar="PATH", required=True,
                        help="the hubprofile command")
    parser.add_argument("--count", type=int, default=200000, help="number of records")
    parser.add_argument("--seed", type=int, default=1, help="seed of the records")
    profile_reference.add_clock_options(parser)
    parser.add_argument("--zone", metavar="TZ",
                        help="time zone of both decoders; default: the environment's")
    options = parser.parse_args()
    if options.zone is not None:
        os.environ["TZ"] = options.zone
        time.tzset()
    return compare(options)


if __name__ == "__main__":
    sys.exit(main())
