#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs every command line of examples/README.md, as its reader would."""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

PROJECT = pathlib.Path(os.environ["PROJECT"])
TOOL_FOLDERS = os.environ["TOOL_FOLDERS"]
COMMAND_LINE = re.compile(r"^    ((?:TZ=\S+ )?(?:hubprofile|make_capture) .*)$", re.MULTILINE)


def command_lines():
    return COMMAND_LINE.findall((PROJECT / "examples/README.md").read_text(encoding="utf-8"))


class Examples(unittest.TestCase):
    def run_in_folder(self, command_line):
        """Runs it beside the examples, where it may leave files."""
        with tempfile.TemporaryDirectory() as folder:
            os.symlink(PROJECT / "examples", pathlib.Path(folder, "examples"))
            environment = {**os.environ, "PATH": TOOL_FOLDERS + os.pathsep + os.environ["PATH"]}
            run = subprocess.run(command_line, shell=True, cwd=folder, env=environment, capture_output=True, timeout=60)
            left = {path.name: path.read_bytes() for path in pathlib.Path(folder).iterdir() if path.is_file()}
            return run, left

    def test_readme_has_its_command_lines(self):
        self.assertEqual(len(command_lines()), 3)

    def test_every_command_line_succeeds_and_gives_something(self):
        for command_line in command_lines():
            with self.subTest(command_line):
                run, left = self.run_in_folder(command_line)
                self.assertEqual((run.returncode, run.stderr), (0, b""))
                self.assertTrue(run.stdout or any(left.values()))

    def test_capture_has_the_reports_that_the_readme_counts(self):
        text = (PROJECT / "examples/README.md").read_text(encoding="utf-8")
        counted = int(re.search(r"(\d+) profile reports of 48 bytes", text).group(1))
        size = (PROJECT / "examples/reports/boot_to_press.bin").stat().st_size
        self.assertEqual(size, counted * 48)

    def test_capture_shows_every_category(self):
        run, _ = self.run_in_folder("hubprofile examples/reports/boot_to_press.bin")
        categories = set(re.findall(rb"'category': *'([a-z]+)'", run.stdout))
        self.assertEqual(len(categories), 13)


if __name__ == "__main__":
    unittest.main()
