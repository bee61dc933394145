# SPDX-License-Identifier: Apache-2.0
"""failing_commands.py [--most PLACES] [NAME...]: runs the commands with each allocation failing.

Of a command with more allocations than PLACES, as many at even distances; each fails once, and again with all later ones.
A run ends with 0 and the whole result, or with 1, a message, and no file that it did not finish. The environment says
where things are: HUBPROFILE, HUBSESSION, FAILING_HEAP (the library before malloc), CAPTURE and DEVICE.
"""

import argparse
import collections
import json
import os
import pathlib
import subprocess
import sys
import tempfile

CAPTURE = os.environ["CAPTURE"]
DEVICE = os.environ["DEVICE"]
PATIENCE_SECONDS = 20
INDEX = "captures/index.json"

# The database's own, read when it is opened again: what it keeps when it is closed without memory.
KEPT_BY_DATABASE = {"ledger-wal", "ledger-shm", "ledger-journal"}

# What the output may lack when there is no memory: a plug-in files less and leaves snapshots out, a log loses lines.
Command = collections.namedtuple("Command", "name words may_lack")


def profile(name, *words):
    return Command(name, [os.environ["HUBPROFILE"], *words], may_lack=False)


def session(name, *words):
    return Command(name, [os.environ["HUBSESSION"], *words], may_lack=True)


COMMANDS = [
    profile("text", CAPTURE),
    profile("text_by_two", "-j", "2", CAPTURE),
    profile("text_to_file", "-o", "result", CAPTURE),
    profile("csv_to_file", "-f", "csv", "-o", "result", CAPTURE),
    profile("jsonl_to_file", "-f", "jsonl", "-j", "2", "-o", "result", CAPTURE),
    profile("trace_to_file", "-f", "trace", "-o", "result", CAPTURE),
    profile("summary_to_file", "summary", "-o", "result", CAPTURE),
    profile("summary_json", "summary", "--json", CAPTURE),
    profile("comparison_json", "compare", "--json", CAPTURE, CAPTURE),
    session("run", "run", "--ledger", "ledger", "--log", "log", "--out", "captures", DEVICE),
]

Result = collections.namedtuple("Result", "status output messages files")


def run(command, **environment):
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        ended = subprocess.run(
            command.words, cwd=folder, stdin=subprocess.DEVNULL, capture_output=True, timeout=PATIENCE_SECONDS, check=False,
            env={**os.environ, "LD_PRELOAD": os.environ["FAILING_HEAP"], **environment})
        files = {str(file.relative_to(folder)): file.read_bytes() for file in folder.rglob("*") if file.is_file()}
        return Result(ended.returncode, ended.stdout, ended.stderr.decode(errors="replace"), files)


def count_allocations(command):
    with tempfile.NamedTemporaryFile() as counted:
        if run(command, COUNTED_ALLOCATIONS=counted.name).status != 0:
            sys.exit(f"{command.name}: fails when nothing fails")
        return os.stat(counted.name).st_size


def is_whole_folder(files):
    """Whether the captures are those that their index lists, written last."""
    if INDEX not in files:
        return False
    listed = {"captures/" + snapshot["file"] for snapshot in json.loads(files[INDEX])["snapshots"]}
    return listed == {name for name in files if name.startswith("captures/")} - {INDEX}


def broken_promise(command, result, whole):
    """What is wrong with a result, or nothing."""
    unfinished = result.files.keys() - whole.files.keys() - KEPT_BY_DATABASE
    if unfinished:
        return f"left behind: {sorted(unfinished)}"
    if result.status == 0:
        if not command.may_lack and (result.output, result.files) != (whole.output, whole.files):
            return "half a result"
        if command.may_lack and not is_whole_folder(result.files):
            return "half a folder"
        return None
    if result.status != 1:
        return f"ended with {result.status}"
    if "result" in result.files:
        return "half a file"
    return None if result.messages.strip() else "no message"


def repeat(command, most):
    allocations = count_allocations(command)
    whole = run(command)
    places = min(allocations, most)
    outcomes = collections.Counter()
    for place in range(places):
        number = str(place * allocations // places + 1)
        for go_on in ({}, {"FAILING_ALLOCATIONS_GO_ON": "1"}):
            result = run(command, FAILING_ALLOCATION=number, **go_on)
            wrong = broken_promise(command, result, whole)
            outcomes["broken" if wrong else "whole" if result.status == 0 else "failed"] += 1
            if wrong:
                print(f"{command.name} {number} {'on' if go_on else 'once'}: {wrong}: {result.messages.strip()[:300]}")
    print(f"{command.name}: {allocations} allocations, {outcomes.total()} runs: {outcomes['whole']} with 0, "
          f"{outcomes['failed']} with 1 and a message, {outcomes['broken']} broken", flush=True)
    return outcomes


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--most", type=int, default=sys.maxsize)
    parser.add_argument("names", nargs="*")
    options = parser.parse_args()
    total = collections.Counter()
    for command in COMMANDS:
        if not options.names or command.name in options.names:
            total += repeat(command, options.most)
    print(f"{total.total()} runs of commands with failing allocations, {total['broken']} broken promises")
    return 0 if total.total() > 0 and total["broken"] == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
