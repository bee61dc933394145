#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests that hubprofile's manual page tells what the command does.

The environment has the sources' folder in PROJECT, the command in HUBPROFILE and the dissector in DISSECTOR.
"""

import os
import pathlib
import re
import shutil
import struct
import subprocess
import tempfile
import unittest

from manual_test import section, table
from options_test import words_expected

PAGE = "hubprofile.1.scd"
COMMAND = os.environ["HUBPROFILE"]
EXAMPLES = pathlib.Path(os.environ["PROJECT"]) / "examples"
EXAMPLE = str(EXAMPLES / "reports/boot_to_press.bin")
INSTALLED_EXAMPLES = "/usr/share/hub-hid-statistics/examples"

# A field of each type, and an operator of each column.
FIELDS = {"number": "timestamp", "fraction": "x", "name": "category", "text": "sensorinfo.name", "bytes": "raw-data"}
WORDS = {"number": "any", "fraction": "any", "name": "sshb", "text": "any", "bytes": "ab"}

# Numbers and times of records with which something is wrong.
LOSSES = {
    "gap": [(0, 0), (5, 50)],
    "duplicate": [(0, 0), (1, 10), (1, 10)],
    "out of order": [(0, 0), (5, 50), (3, 30)],
    "clock backwards": [(0, 100), (1, 50)],
    "restart": [(5000, 100), (0, 10), (1, 20)],
}


def run(*options, data=b"", stdout=subprocess.PIPE):
    return subprocess.run([COMMAND, *options], input=data, stdout=stdout, stderr=subprocess.PIPE, check=False, timeout=60,
                          env={**os.environ, "TZ": "UTC0"})


def records(numbers_and_times):
    return b"".join(struct.pack("<4BIQ32x", 3, 0, 0, 0, number, time) for number, time in numbers_and_times)


def plain(text):
    """Text of the page without what scdoc needs."""
    return text.replace("\\", "").replace("*", "").replace("_FIELD_", "FIELD")


def commands():
    """The commands of the examples, one a line there."""
    return [line[1:] for line in section(PAGE, "EXAMPLES").splitlines() if line.startswith("\t")]


class Filters(unittest.TestCase):
    def accepts(self, expression):
        status = run("--where", expression, EXAMPLE).returncode
        self.assertIn(status, (0, 2))
        return status == 0

    def test_examples_are_expressions(self):
        examples = re.search(r"^\t.*?\n(?=\n)", section(PAGE, "FILTERS"), re.MULTILINE | re.DOTALL).group(0)
        lines = [plain(line).removesuffix("++").strip() for line in examples.splitlines()]
        self.assertGreater(len(lines), 2)
        for line in lines:
            self.assertTrue(self.accepts(line), line)

    def test_fields_of_a_type_compare_with_what_the_table_tells(self):
        heads = [["==", "!=", "in"], ["<", "<=", ">", ">="], ["=~"]]
        rows = table(PAGE, "FILTERS")
        self.assertEqual(set(FIELDS), {row[0] for row in rows})
        for kind, *cells in rows:
            for operators, cell in zip(heads, cells, strict=True):
                for operator in operators:
                    number, word = (f"({value})" if operator == "in" else value for value in ("1", WORDS[kind]))
                    with self.subTest(kind=kind, operator=operator):
                        self.assertEqual("number" in cell, self.accepts(f"{FIELDS[kind]} {operator} {number}"))
                        self.assertEqual("name" in cell or "text" in cell,
                                         self.accepts(f"{FIELDS[kind]} {operator} {word}"))

    def test_limits_are_those_of_the_page(self):
        found = re.search(r"at most (\d+) KiB, (\d+) parentheses in each other and (\d+) times",
                          section(PAGE, "FILTERS").replace("\n", " "))
        size, depth, patterns = map(int, found.groups())
        for more, expected in ((0, True), (1, False)):
            condition = "timestamp > 0"
            self.assertEqual(expected, self.accepts(condition + " " * (size * 1024 - len(condition) + more)))
            self.assertEqual(expected, self.accepts("(" * (depth + more) + condition + ")" * (depth + more)))
            self.assertEqual(expected, self.accepts(" || ".join(["type =~ a"] * (patterns + more))))


class Run(unittest.TestCase):
    def test_every_way_to_write_a_time_is_understood(self):
        times = re.findall(r"^(?:\|\[|\|) *(\S.*)\n:", section(PAGE, "TIMES"), re.MULTILINE)
        self.assertEqual(4, len(times))
        for time in times:
            found = run("--timesync", "0,1772612100000000000", "--since", time, EXAMPLE)
            self.assertEqual(0, found.returncode, (time, found.stderr))

    def test_forms_are_all_that_there_are(self):
        self.assertEqual(words_expected("hubprofile", "--format"), {row[0] for row in table(PAGE, "FORMATS")})

    def test_usual_columns_are_those_of_the_page(self):
        told = re.search(r"else (timestamp.*?)\. A", plain(section(PAGE, "FORMATS")), re.DOTALL).group(1)
        self.assertEqual(re.split(r",\s|\sand\s", told), run("-f", "csv", EXAMPLE).stdout.decode().splitlines()[0].split(","))

    def test_columns_besides_fields_are_columns(self):
        names = re.findall(r"^\|\[ (\S+)\n", plain(section(PAGE, "FORMATS")), re.MULTILINE)
        self.assertIn("binary-data", names)
        fields = [name.replace("FIELD-number", "trace-number").replace("FIELD-bytes", "entry-bytes") for name in names]
        self.assertEqual(0, run("-f", "csv", "--fields", ",".join(fields), EXAMPLE).returncode)

    def test_json_names_its_form_as_the_page_does(self):
        page = (pathlib.Path(os.environ["PROJECT"]) / "man" / PAGE).read_text(encoding="utf-8")
        forms = set()
        for options in (["-f", "jsonl"], ["-f", "trace"], ["summary", "--json"], ["compare", "--json", EXAMPLE]):
            forms.add(re.search(r'"format": ?("[^"]+")', run(*options, EXAMPLE).stdout.decode()).group(1))
        self.assertEqual(forms, set(re.findall(r'"hub-profile[^"]*"', page)))

    def test_losses_are_found_under_the_names_of_the_page(self):
        self.assertEqual(list(LOSSES), [row[0] for row in table(PAGE, "LOSSES")])
        for kind, numbers_and_times in LOSSES.items():
            lines = run("--gaps", data=records(numbers_and_times)).stdout.decode()
            self.assertIn(f": {kind}: ", lines)
            self.assertEqual(3, run("--fail-on-gap", data=records(numbers_and_times)).returncode, kind)

    def test_gap_is_open_for_as_many_records_as_the_page_tells(self):
        reach = int(re.search(r"until (\d+) numbers", section(PAGE, "LOSSES").replace("\n", " ")).group(1))
        late = (1, 10)
        for last, expected in ((reach + 1, ""), (reach + 2, "gap")):
            numbers = [0, *range(2, last + 1)]
            lines = run("--gaps", data=records([*((number, number * 10) for number in numbers), late])).stdout.decode()
            self.assertEqual(expected, "gap" if " gap: " in lines else "", last)

    def status_without_reader(self):
        reader, writer = os.pipe()
        os.close(reader)
        try:
            return run(EXAMPLE, stdout=writer).returncode
        finally:
            os.close(writer)

    def test_exit_statuses_are_those_of_the_page(self):
        statuses = [run(EXAMPLE).returncode, run("no such file").returncode, run("--no-such-option").returncode,
                    run("--fail-on-gap", EXAMPLE).returncode, self.status_without_reader()]
        self.assertEqual(re.findall(r"^\*(\d+)\*$", section(PAGE, "EXIT STATUS"), re.MULTILINE), list(map(str, statuses)))


class Examples(unittest.TestCase):
    """Runs the examples in a folder that has what they name, in the order of the page."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        for name in ("capture.bin", "before.bin", "after.bin"):
            shutil.copy(EXAMPLE, self.folder / name)
        self.program("hubprofile", f'exec "{COMMAND}" "$@"')
        self.program("live-source", "exec cat capture.bin")
        self.program("tshark", f'exec "{shutil.which("tshark")}" -X "lua_script:{os.environ["DISSECTOR"]}" "$@"')

    def program(self, name, text):
        path = self.folder / "bin" / name
        path.parent.mkdir(exist_ok=True)
        path.write_text(f"#!/bin/sh\n{text}\n", encoding="utf-8")
        path.chmod(0o755)

    def shown_by(self, command):
        """What the command shows, or what it writes to the file that it names."""
        output = re.search(r"--output (\S+)", command)
        run_of_it = subprocess.run(
            ["sh", "-c", command.replace(INSTALLED_EXAMPLES, str(EXAMPLES))], cwd=self.folder, capture_output=True,
            check=False, timeout=120, stdin=subprocess.DEVNULL,
            env={**os.environ, "PATH": f"{self.folder}/bin:{os.environ['PATH']}", "HOME": str(self.folder),
                 "XDG_CONFIG_HOME": str(self.folder)})
        self.assertEqual(0, run_of_it.returncode, (command, run_of_it.stderr.decode()))
        return (self.folder / output.group(1)).read_bytes() if output else run_of_it.stdout

    def test_all_show_something(self):
        self.assertGreater(len(commands()), 12)
        for command in commands():
            self.assertNotEqual(b"", self.shown_by(command), command)

    def test_decoding_ones_show_what_the_page_says(self):
        shown = {command: self.shown_by(command).decode(errors="replace") for command in commands()}
        def of(part):
            return next(text for command, text in shown.items() if part in command)
        self.assertIn("'calendar-time':'Mar 04 08:15:00", of("TZ=UTC"))
        self.assertEqual(3, of("--until-match 3").count("'category':  'wake'"))
        self.assertEqual(11, of("--fields timestamp,event,trace").count("\r\n"))
        self.assertIn("hub-profile-trace/1", of("--format trace"))
        self.assertEqual(1, len(re.findall(r"duration: 210$", of("tshark"), re.MULTILINE)))


if __name__ == "__main__":
    unittest.main()
