# SPDX-License-Identifier: Apache-2.0
"""Runs what is measured, and gives medians of what it took."""

import collections
import dataclasses
import functools
import json
import os
import pathlib
import re
import statistics
import subprocess
import sys

BENCH = pathlib.Path(__file__).resolve().parent
REPETITIONS = 9  # in process, where one takes half a second and more
QUICK_REPETITIONS = 25  # of programs that are done in a fraction of a second
SLOW_REPETITIONS = 7  # of those that take seconds

NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


class NotMeasured(Exception):
    """A program is missing or failed, or gives something else than it should."""


@dataclasses.dataclass(frozen=True)
class Program:
    """A command over a capture of so many records."""

    command: tuple
    records: int
    rounds: int = QUICK_REPETITIONS
    output: str = os.devnull


@dataclasses.dataclass(frozen=True)
class Usage:
    """What a run took: processor time of user and system, wall time, memory."""

    cpu_s: float
    wall_s: float
    peak_kib: int


def run(command, **options):
    """Runs a command to its end; gives its result."""
    try:
        result = subprocess.run([str(word) for word in command], stdin=subprocess.DEVNULL,
                                check=False, **options)
    except OSError as error:
        raise NotMeasured(f"{command[0]}: {error.strerror}; is it built or installed?") from error
    if result.returncode != 0:
        raise NotMeasured(f"{' '.join(map(str, command))}: exit status {result.returncode}")
    return result


def output_of(*command):
    return run(command, stdout=subprocess.PIPE).stdout


def typical(runs):
    """Of several runs: the median of each time, and the highest peak."""
    return Usage(statistics.median(usage.cpu_s for usage in runs),
                 statistics.median(usage.wall_s for usage in runs),
                 max(usage.peak_kib for usage in runs))


class Figures:
    """What was measured with the programs of a build; measured when first asked for."""

    def __init__(self, build, folder, programs):
        self.build = build
        self._folder = folder
        self._programs = programs
        self._usages = {}

    def run_programs(self, names):
        """Runs programs in turn, as often as each is to be, so that whatever else
        the machine does meets them all."""
        runs = collections.defaultdict(list)
        for number in range(QUICK_REPETITIONS):
            for name in names:
                if number < self._programs[name].rounds:
                    runs[name].append(self._run_program(self._programs[name]))
        self._usages.update((name, typical(usages)) for name, usages in runs.items())

    def usage(self, name):
        return self._usages[name]

    def rate(self, name, clock):
        """Records per second."""
        return self._programs[name].records / getattr(self._usages[name], clock)

    @functools.cache
    def benchmarks(self, program, *names):
        """The medians of benchmarks of a program, side by side, in the order of the
        names: of each its cpu_ns, and its counters by their names."""
        result = output_of(self.build / "bench" / program,
                           f"--benchmark_filter=^({'|'.join(names)})(/|$)",
                           f"--benchmark_repetitions={REPETITIONS}",
                           "--benchmark_enable_random_interleaving=true",
                           "--benchmark_report_aggregates_only=true",
                           "--benchmark_format=json")
        found = medians(result)
        missing = [name for name in names if name not in found]
        if missing:
            raise NotMeasured(f"{program}: no benchmark {' or '.join(missing)}")
        return [found[name] for name in names]

    @functools.cache
    def decoder_ns(self):
        """CPU times of the decoder without and with the two times on every line, from
        processes that take turns."""
        without, with_times = [], []
        for _ in range(REPETITIONS):
            for times, options in ((without, ()), (with_times, ("--with-times",))):
                result = output_of(self.build / "bench/decode_bench", *options,
                                   "--benchmark_filter=^to_string$", "--benchmark_format=json")
                times.append(cpu_ns(json.loads(result)["benchmarks"][0]))
        return statistics.median(without), statistics.median(with_times)

    def instructions_per_record(self, count=30_000):
        """Of the decoder, as the difference between runs with one and two times as
        many records: what a run begins with is not in it."""
        return (self._instructions(2 * count) - self._instructions(count)) / count

    def written(self, program, option, name):
        """The file that a benchmark program writes when it is asked to."""
        file = self._folder / name
        run((self.build / "bench" / program, f"{option}={file}"))
        return file

    @functools.cache
    def script_ns(self, member, script, *arguments):
        """What a script of this folder gives as a member of an object, as a median."""
        return statistics.median(
            json.loads(output_of(sys.executable, BENCH / script, *arguments))[member]
            for _ in range(SLOW_REPETITIONS))

    def stripped_bytes(self, library):
        """The size of a library without symbols."""
        copy = self._folder / "stripped"
        run(("strip", "-o", copy, self.build / library))
        return copy.stat().st_size

    def _run_program(self, program):
        usage = self._folder / "usage.json"
        with open(program.output, "wb") as output:
            run((self.build / "bench/measured_run", usage, *program.command), stdout=output)
        return Usage(**json.loads(usage.read_text(encoding="ascii")))

    def _instructions(self, count):
        report = run(("valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null",
                      self.build / "bench/decode_records", count),
                     stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True).stderr
        return int(re.search(r"Collected : (\d+)", report)[1])


def cpu_ns(entry):
    return entry["cpu_time"] * NANOSECONDS[entry["time_unit"]]


def medians(report):
    """Of a benchmark program's report, the medians by the benchmarks' names; what
    the library appends to a name is not part of it. Without benchmarks there is no
    report."""
    entries = json.loads(report)["benchmarks"] if report else []
    return {entry["run_name"].partition("/")[0]: {**entry, "cpu_ns": cpu_ns(entry)}
            for entry in entries if entry.get("aggregate_name") == "median"}
