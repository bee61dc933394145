#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares what hubsession leaves behind with the model of a run, line by line.

Log, ledger and the snapshots of state captures must be equal.
"""

import argparse
import contextlib
import json
import os
import pathlib
import re
import shutil
import sqlite3
import subprocess
import sys
import tempfile

import make_device
import session_model
import snapshot_lines

RUN_SECONDS = 120
# What scalars are set to between two runs, so that adding wraps around.
EXTREME_SCALARS = (2**63 - 1, -(2**63))


# --- What a run leaves behind, as lines --------------------------------------


def scalar_lines(scalars):
    return [f"{key} = {value!r}" for key, value in sorted(scalars)]


def sample_lines(samples):
    """By key; the samples of a key stay in their order."""
    return [f"{key}: {value!r}" for key, value in sorted(samples, key=lambda row: row[0])]


def log_lines(text):
    """A line's object with its keys in order; what is none as it stands."""
    *ended, rest = text.split("\n")
    lines = list(map(log_line, ended))
    return lines + [log_line(rest) + " (no line end)"] if rest else lines


def log_line(line):
    try:
        return json.dumps(json.loads(line), sort_keys=True, ensure_ascii=False)
    except ValueError:
        return line


def mark(name):
    """The part of a service's name that a message shows however it quotes the rest."""
    return re.search(r"[A-Za-z0-9-]+", name)[0]


def mentioned(text, names):
    """Marks of the services that a text mentions, at most one a line."""
    if not names:
        return []
    marks = re.compile("|".join(sorted(map(re.escape, map(mark, names)))))
    matches = map(marks.search, text.split("\n"))
    return [match[0] for match in matches if match]


def expected_lines(outcome):
    samples = [(key, value) for key, values in outcome.ledger.samples.items()
               for value in values]
    return {
        "exit status": [str(outcome.exit_status)],
        "missing file": [],
        "log": [json.dumps(line, sort_keys=True, ensure_ascii=False)
                for line in outcome.log],
        **snapshot_lines.expected_lines(outcome.snapshots),
        "scalar": scalar_lines(outcome.ledger.scalars.items()),
        "sample": sample_lines(samples),
        "dropped batch": list(map(mark, outcome.dropped)),
        "standard error": None if outcome.dropped else [],
    }


def actual_lines(result, ledger, log, captures, names):
    """`captures`: their folder; `names`: of the services that batches go to."""
    if not log.exists() or not ledger.exists():
        missing = [path.name for path in (log, ledger) if not path.exists()]
        return {"exit status": [str(result.returncode)], "missing file": missing}
    with contextlib.closing(sqlite3.connect(ledger)) as database:
        scalars = database.execute("SELECT key, value FROM scalar").fetchall()
        samples = database.execute("SELECT key, value FROM sample ORDER BY id").fetchall()
    return {
        "exit status": [str(result.returncode)],
        "log": log_lines(log.read_text(encoding="utf-8", errors="backslashreplace")),
        **snapshot_lines.actual_lines(captures),
        "scalar": scalar_lines(scalars),
        "sample": sample_lines(samples),
        "dropped batch": mentioned(result.stderr, names),
        "standard error": result.stderr.splitlines(),
    }


# --- Differences -------------------------------------------------------------


LINE_CHARACTERS = 160


def at(lines, index):
    return lines[index] if index < len(lines) else None


def parting_column(left, right):
    """Position of the first character in which two lines differ."""
    return next((column for column, pair in enumerate(zip(left, right))
                 if pair[0] != pair[1]), min(len(left), len(right)))


def shown(line, column=0):
    """A line, or the part of a long one around a column."""
    if line is None:
        return "(no line)"
    start = max(0, column - LINE_CHARACTERS // 2)
    part = line[start:start + LINE_CHARACTERS]
    after = "..." if start + len(part) < len(line) else ""
    return f"{'...' if start else ''}{part}{after}"


def first_difference(expected, actual):
    """Says where two sets of lines part; None when they are equal.

    A part that is None in what is expected may hold anything.
    """
    for part, left in expected.items():
        right = actual.get(part, [])
        if left is None or left == right:
            continue
        index = next((index for index, pair in enumerate(zip(left, right))
                      if pair[0] != pair[1]), min(len(left), len(right)))
        lines = [f"{part}, line {index + 1} (expected {len(left)}, found {len(right)}):"]
        expected_line, actual_line = at(left, index), at(right, index)
        column = parting_column(expected_line or "", actual_line or "")
        if index > 0:
            lines.append(f"  after:      {shown(left[index - 1])}")
        lines.append(f"  model:      {shown(expected_line, column)}")
        lines.append(f"  hubsession: {shown(actual_line, column)}")
        if expected_line is not None and actual_line is not None:
            lines.append(f"  column:     {column + 1}")
        return "\n".join(lines)
    return None


# --- Playing -----------------------------------------------------------------


def captures_of(options, case):
    """Kinds of captures to ask for; None: hubsession's own choice, one of kind 3."""
    return options.capture or case.captures


def arguments_of(options, case):
    """What the device file is played with, beside the files that a run leaves behind."""
    boot_time = "none" if case.boot_time_us is None else str(case.boot_time_us)
    arguments = ["--boot-time", boot_time]
    if case.log_level != "default":
        arguments += ["--log-level", case.log_level]
    for kind in captures_of(options, case) or ():
        arguments += ["--capture", str(kind)]
    return arguments


def play(options, path, case):
    """Plays a device file; ledger, log and captures lie beside it."""
    command = [options.hubsession, "run", path, "--ledger", path.with_name("ledger.db"),
               "--log", path.with_name("log.jsonl"), "--out", path.with_name("captures"),
               *arguments_of(options, case)]
    return subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, encoding="utf-8", timeout=RUN_SECONDS,
                          errors="backslashreplace", check=False)


def make_scalars_extreme(path, ledger):
    """Sets the scalars of a database, and the model's, to either end of 64 bits."""
    for index, key in enumerate(sorted(ledger.scalars)):
        ledger.scalars[key] = EXTREME_SCALARS[index % 2]
    with contextlib.closing(sqlite3.connect(path)) as database, database:
        database.executemany("UPDATE scalar SET value = ? WHERE key = ?",
                             [(value, key) for key, value in ledger.scalars.items()])


def difference_of_run(options, path, case, ledger):
    """Plays once; says the first difference, None when there is none."""
    device = session_model.read_device(path)
    names = [service.name for service, _ in device.batches]
    expected = expected_lines(session_model.run(
        device, ledger, case.log_level, captures_of(options, case) or (3,),
        case.boot_time_us))
    try:
        result = play(options, path, case)
        actual = actual_lines(result, path.with_name("ledger.db"),
                              path.with_name("log.jsonl"), path.with_name("captures"),
                              names)
    except subprocess.TimeoutExpired:
        return f"hubsession does not end within {RUN_SECONDS} seconds"
    except sqlite3.Error as error:
        return f"the ledger cannot be read: {error}"
    difference = first_difference(expected, actual)
    if difference and result.stderr:
        difference += f"\nstandard error:\n{result.stderr.rstrip()}"
    return difference


def difference_of_case(options, case, path):
    """The same of a device file that is played once or twice into its ledger."""
    ledger = session_model.Ledger()
    difference = difference_of_run(options, path, case, ledger)
    if difference is None and case.is_repeated:
        make_scalars_extreme(path.with_name("ledger.db"), ledger)
        difference = difference_of_run(options, path, case, ledger)
        if difference:
            difference = f"second run, with scalars at either end of 64 bits: {difference}"
    return difference


def compare(options):
    keep = options.keep or pathlib.Path(tempfile.mkdtemp(prefix="sessions-"))
    keep.mkdir(parents=True, exist_ok=True)
    for index in range(options.first, options.first + options.count):
        folder = tempfile.mkdtemp(prefix=f"{index:04d}-", dir=keep)
        case = make_device.case(options.seed, index)
        path = case.write(folder)
        difference = difference_of_case(options, case, path)
        if difference:
            print(f"device file {index} differs: {path}")
            print(f"--seed {options.seed} --first {index}, played with"
                  f" {' '.join(arguments_of(options, case))}")
            print(difference)
            return 1
        shutil.rmtree(folder)
    if options.keep is None:
        os.rmdir(keep)
    print(f"{options.count} device files, all equal")
    return 0


def main():
    parser = argparse.ArgumentParser(
        description="Compare hubsession with the model of a run.")
    parser.add_argument("--hubsession", metavar="PATH", required=True,
                        help="the hubsession command")
    parser.add_argument("--count", type=int, default=300, help="number of device files")
    parser.add_argument("--seed", type=int, default=1, help="seed of the device files")
    parser.add_argument("--first", metavar="INDEX", type=int, default=0,
                        help="number of the first device file; default: 0")
    parser.add_argument("--keep", metavar="DIR", type=pathlib.Path,
                        help="where a device file that differs is kept, with its ledger, "
                             "log and captures; default: a new temporary folder")
    parser.add_argument("--capture", metavar="KIND", type=int, choices=(1, 2, 3),
                        action="append", default=[],
                        help="a state capture at the end of every run; default: those "
                             "of the device files, all kinds among them")
    options = parser.parse_args()
    if shutil.which(options.hubsession) is None:
        parser.error(f"--hubsession: {options.hubsession} is no command")
    return compare(options)


if __name__ == "__main__":
    sys.stdout.reconfigure(errors="backslashreplace")
    sys.exit(main())
