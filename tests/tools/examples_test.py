#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs every command line of examples/README.md, as its reader would."""

import json
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

PROJECT = pathlib.Path(os.environ["PROJECT"])
TOOL_FOLDERS = os.environ["TOOL_FOLDERS"]
COMMAND_LINE = re.compile(r"^    ((?:TZ=\S+ )?(?:hubprofile|hubsession|make_capture) .*)$", re.MULTILINE)


def command_lines():
    return COMMAND_LINE.findall((PROJECT / "examples/README.md").read_text(encoding="utf-8"))


class Examples(unittest.TestCase):
    @staticmethod
    def run_in_folder(command_line, folder):
        """Runs it beside the examples, where it may leave files for the next one."""
        examples = pathlib.Path(folder, "examples")
        if not examples.exists():
            os.symlink(PROJECT / "examples", examples)
        environment = {**os.environ, "PATH": TOOL_FOLDERS + os.pathsep + os.environ["PATH"]}
        run = subprocess.run(command_line, shell=True, cwd=folder, env=environment, capture_output=True, timeout=60)
        left = {path.name: path.read_bytes() for path in pathlib.Path(folder).iterdir() if path.is_file()}
        return run, left

    @staticmethod
    def unexpected(messages):
        """Lines on standard error, but for what the examples mean to go wrong: a batch is dropped, records are lost."""
        meant = ("batch 3 of service gyro is dropped", "hubprofile: 1 gap (37 records missing)")
        return [line for line in messages.decode().splitlines() if not any(words in line for words in meant)]

    def test_readme_has_its_command_lines(self):
        self.assertEqual(len(command_lines()), 7)

    def test_every_command_line_succeeds_and_gives_something(self):
        with tempfile.TemporaryDirectory() as folder:
            for command_line in command_lines():
                with self.subTest(command_line):
                    run, left = self.run_in_folder(command_line, folder)
                    self.assertEqual((run.returncode, self.unexpected(run.stderr)), (0, []))
                    self.assertTrue(run.stdout or any(left.values()))

    def test_capture_has_the_reports_that_the_readme_counts(self):
        text = (PROJECT / "examples/README.md").read_text(encoding="utf-8")
        counted = int(re.search(r"(\d+) profile reports of 48 bytes", text).group(1))
        size = (PROJECT / "examples/reports/boot_to_press.bin").stat().st_size
        self.assertEqual(size, counted * 48)

    def test_capture_shows_every_category(self):
        with tempfile.TemporaryDirectory() as folder:
            run, _ = self.run_in_folder("hubprofile examples/reports/boot_to_press.bin", folder)
        categories = set(re.findall(rb"'category': *'([a-z]+)'", run.stdout))
        self.assertEqual(len(categories), 13)

    def test_phone_has_nine_services_of_the_co_processor_and_one_of_another(self):
        with tempfile.TemporaryDirectory() as folder:
            run, _ = self.run_in_folder("hubsession run examples/devices/phone.json", folder)
        lines = run.stdout.decode().splitlines()
        self.assertEqual(
            lines[0], "services    9 taken: button, accel, gyro, compass, pressure, light, proximity, debug, audio")
        self.assertEqual(lines[1], "            1 left alone: touch")
        self.assertEqual(lines[2], "statistics  14 records published in 3 batches, "
                                   "1 record of another version skipped, 1 batch dropped")
        self.assertEqual(lines[3], "snapshots   11 made in 1 capture")

    def test_phone_has_the_snapshots_that_the_readme_tells_of(self):
        with tempfile.TemporaryDirectory() as folder:
            self.run_in_folder("hubsession run examples/devices/phone.json --out snapshots", folder)
            index = json.loads(pathlib.Path(folder, "snapshots/index.json").read_text(encoding="utf-8"))
        titles = [snapshot["title"].split(" ;")[0] for snapshot in index["snapshots"]]
        reports = [f"NEB Profile {number}" for number in (0, 1, 2, 0, 0)]  # firmware, driver, errors
        self.assertEqual(titles, ["SSHB Statistics", "SSHB assets", *reports, *["SensorInfo"] * 4])


if __name__ == "__main__":
    unittest.main()
