#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Measures the system beside its yardsticks, and writes docs/performance.md.

What counts are ratios of what one run on one machine took, so that they mean
something on another. The exit status is 0 when all was measured, whether the
targets are met or not, and 1 when a program failed or gives something else than
what it is compared with; then nothing is written.
"""

import argparse
import pathlib
import sys
import tempfile

import surroundings
from ctf_trace import write_trace
from measuring import SLOW_REPETITIONS, Figures, NotMeasured, Program, run
from same_text import check_programs
from table import AT_LEAST, AT_MOST, BELOW, Outcome, Row, cells, table_text

PROJECT = pathlib.Path(__file__).resolve().parent.parent
MEMORY = "/dev/shm"  # a file system in memory: no disk is measured
PLUGIN = "VantuHUBHIDPlugins/VantuHUBHIDStatistics/libVantuHUBHIDStatistics.so"

# Captures: what all programs read, and what they are checked with.
RECORDS = {"measured": 1_000_000, "checked": 9_000}

ONE_PERCENT = "category == sshb && duration > 5000"
TIMES = ("--timesync", "0,1772612100000000000", "--boot-time", "1772612099000000")
FORMS = ("text", "jsonl", "csv")


def commands_over(build, folder, size):
    """By name, the commands over the capture of a size."""
    capture = folder / f"{size}.bin"
    hubprofile = (build / "tools/hubprofile", capture, "--progress", "never")
    one_thread = (*hubprofile, "-j", "1", "--boot-time", "none")
    # Measured as one calls it; checked with times as a line has them.
    trace_reader = ("babeltrace2", *(("--clock-cycles", "--no-delta") if size == "checked" else ()))
    return {
        "where": (*one_thread, "--where", ONE_PERCENT),
        "with_times": (*hubprofile, "-j", "1", *TIMES),
        **{f"{form}_{jobs}": (*hubprofile, "-j", jobs, "--boot-time", "none", "--format", form)
           for form in FORMS for jobs in "12"},
        "all_cores": (*hubprofile, "--boot-time", "none"),
        "limit": (build / "bench/limit_text", capture),
        "python": (sys.executable, PROJECT / "bench/python_text.py", capture),
        **{f"trace_{variant}": (*trace_reader, folder / f"{size}_{variant}")
           for variant in ("once", "all")},
    }


def programs(build, folder):
    """By name, what is run as a whole."""
    commands = commands_over(build, folder, "measured")
    records = RECORDS["measured"]
    written = {"output": str(folder / "written"), "records": records}
    return {
        **{name: Program(commands[name], records)
           for name in ("where", "with_times", "limit",
                        *(f"{form}_{jobs}" for form in FORMS for jobs in "12"))},
        **{name: Program(commands[name], records, SLOW_REPETITIONS)
           for name in ("python", "trace_once", "trace_all")},
        "to_memory_1": Program(commands["text_1"], **written),
        "to_memory": Program(commands["all_cores"], **written),
        "cat": Program(("cat", folder / "measured.txt"), **written),
    }


def prepare(build, folder):
    """Makes all that programs read."""
    for size, count in RECORDS.items():
        run((build / "bench/make_three_types", folder / f"{size}.bin", count))
    for size in RECORDS:
        capture = (folder / f"{size}.bin").read_bytes()
        for variant in ("once", "all"):
            write_trace(capture, folder / f"{size}_{variant}", variant == "all")
    with open(folder / "measured.txt", "wb") as text:
        run(commands_over(build, folder, "measured")["text_1"], stdout=text)


# --- What rows are made of ---------------------------------------------------


def rate(what, name, to, direction, target, clock="cpu_s"):
    """How many times the records per second of another program."""
    how = {"cpu_s": "CPU time", "wall_s": "wall time"}[clock]
    return Row(what, how, lambda figures: figures.rate(name, clock) / figures.rate(to, clock),
               direction, target, "×", (name, to))


def duration(what, name, to, target, clock="cpu_s"):
    """How many times the time of another program over as many records."""
    return rate(what, to, name, AT_MOST, target, clock)


def peak(what, names, target):
    return Row(what, "highest resident size",
               lambda figures: max(figures.usage(name).peak_kib for name in names) / 1024,
               AT_MOST, target, "MiB", tuple(names))


def times_as_long(what, program, name, to, direction, target):
    """The CPU time of one benchmark by that of another; without a direction and a
    target just for information."""

    def ratio(figures):
        one, other = figures.benchmarks(program, name, to)
        return one["cpu_ns"] / other["cpu_ns"]

    return Row(what, f"in process, {program}", ratio, direction, target, "×")


def milliseconds(what, program, name, target):
    return Row(what, f"in process, {program}",
               lambda figures: figures.benchmarks(program, name)[0]["cpu_ns"] / 1e6, AT_MOST,
               target, "ms")


def allocations(figures):
    return figures.benchmarks("decode_bench", "to_string")[0]["allocations_per_record"]


def plistlib_by_ours(figures):
    snapshot = figures.written("snapshot_bench", "--write-snapshot", "snapshot.plist")
    return (figures.script_ns("cpu_ns_per_snapshot", "plistlib_snapshot.py", snapshot) /
            figures.benchmarks("snapshot_bench", "sensor_snapshot")[0]["cpu_ns"])


def decoder_with_times(figures):
    without, with_times = figures.decoder_ns()
    return with_times / without


ROWS = (
    # Records as text.
    rate("hubprofile -j 1: rate against the limit", "text_1", "limit", AT_LEAST, 0.75),
    times_as_long("decoder: rate against the limit",
                  "decode_bench", "limit_text", "to_string", AT_LEAST, 0.60),
    times_as_long("decoder: rate against a plain version",
                  "decode_bench", "plain_text", "to_string", AT_LEAST, 20),
    Row("decoder: heap allocations per record", "in process, decode_bench", allocations,
        AT_MOST, 1),
    Row("decoder: instructions per record", "callgrind", Figures.instructions_per_record,
        AT_MOST, 2_300),
    rate("hubprofile -j 1: rate against babeltrace2, each field once",
         "text_1", "trace_once", AT_LEAST, 12),
    rate("hubprofile -j 1: rate against babeltrace2, every item",
         "text_1", "trace_all", AT_LEAST, 55),
    rate("hubprofile -j 1: rate against Python", "text_1", "python", AT_LEAST, 34),
    duration("hubprofile -j 1: time with calendar and boot time against without",
             "with_times", "text_1", 1.12),
    Row("decoder: time with calendar and boot time against without",
        "in process, decode_bench", decoder_with_times, AT_MOST, 1.12, "×"),
    rate("hubprofile -j 2: rate against -j 1", "text_2", "text_1", AT_LEAST, 1.8, "wall_s"),
    duration("hubprofile -j 1 into a file in memory: time against cat of the text",
             "to_memory_1", "cat", 1.25),
    duration("hubprofile into a file in memory: time against cat of the text",
             "to_memory", "cat", 1.25, "wall_s"),
    peak("hubprofile: memory for text, jsonl and csv, -j 1 and -j 2",
         [f"{form}_{jobs}" for form in FORMS for jobs in "12"], 16),
    rate("hubprofile -j 1: rate of jsonl against text", "jsonl_1", "text_1", AT_LEAST, 0.6),
    rate("hubprofile -j 1: rate of csv against text", "csv_1", "text_1", AT_LEAST, 0.8),
    rate("hubprofile -j 1: rate with --where of 1 % against all as text",
         "where", "text_1", AT_LEAST, 3),
    # Counters.
    times_as_long("publishing: rate into a ledger that does nothing against counters of "
                  "prometheus-cpp", "publish_bench", "prometheus_counter_look_up",
                  "into_a_ledger_that_does_nothing", AT_LEAST, 3.5),
    times_as_long("ledger: rate of batches against an upsert per record, both on disk",
                  "ledger_bench", "one_upsert_per_record_on_disk", "batch_into_sqlite_on_disk",
                  AT_LEAST, 9),
    milliseconds("ledger: clearing a distribution without samples among 1,000,000 others",
                 "ledger_bench", "clear_distribution_without_samples", 1),
    times_as_long("ledger: time of a sample against an insert per sample", "ledger_bench",
                  "push_to_distribution", "one_insert_per_sample", AT_MOST, 1.5),
    # Snapshots.
    times_as_long("sensor snapshot: rate against libplist", "snapshot_bench",
                  "sensor_snapshot_by_libplist", "sensor_snapshot", AT_LEAST, 5),
    Row("sensor snapshot: rate against plistlib", "in process, snapshot_bench",
        plistlib_by_ours, AT_LEAST, 25, "×"),
    times_as_long("whole capture: time against its decodes and serialisations alone",
                  "snapshot_bench", "whole_capture", "decodes_and_serialisations_of_a_capture",
                  AT_MOST, 1.3),
    # The plug-in.
    milliseconds("plug-in: loading and opening", "load_bench", "load_and_open", 2),
    Row("plug-in: size without symbols", "strip",
        lambda figures: figures.stripped_bytes(PLUGIN) / 1024, BELOW, 400, "KiB"),
)


# --- The run -----------------------------------------------------------------


def measure(rows, build, folder):
    """Prints each row as it is measured; gives the outcomes, and whether there is
    one for every row."""
    figures = Figures(build, folder, programs(build, folder))
    names = sorted({name for row in rows for name in row.programs})
    if names:
        prepare(build, folder)
        check_programs(commands_over(build, folder, "checked"))
        figures.run_programs(names)
    outcomes = []
    for row in rows:
        try:
            outcomes.append(Outcome(row, row.measure(figures)))
            print("{}; {}: {}, target {}: {}".format(*cells(outcomes[-1])), flush=True)
        except NotMeasured as error:
            print(f"{row.what}: not measured: {error}", file=sys.stderr, flush=True)
    return outcomes, len(outcomes) == len(rows)


def parse_arguments():
    parser = argparse.ArgumentParser(description="Measure the system beside its yardsticks.")
    parser.add_argument("--build", type=pathlib.Path, default=PROJECT / "build/release",
                        help="folder of the build; default: build/release")
    parser.add_argument("--only", metavar="TEXT", default="",
                        help="measure rows that have this text, and write no document")
    parser.add_argument("--output", type=pathlib.Path, default=PROJECT / "docs/performance.md",
                        help="the document; default: docs/performance.md")
    return parser.parse_args()


def main():
    arguments = parse_arguments()
    rows = [row for row in ROWS if arguments.only in row.what]
    if not rows:
        sys.exit(f"performance.py: no row has \"{arguments.only}\"")
    try:
        with tempfile.TemporaryDirectory(dir=MEMORY) as folder:
            outcomes, is_whole = measure(rows, arguments.build.resolve(), pathlib.Path(folder))
        if is_whole and not arguments.only:
            document = surroundings.document(arguments.build, table_text(outcomes))
            arguments.output.write_text(document, encoding="utf-8")
    except NotMeasured as error:
        sys.exit(f"performance.py: {error}")
    return 0 if is_whole else 1


if __name__ == "__main__":
    sys.exit(main())
