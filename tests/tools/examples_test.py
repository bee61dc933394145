#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs every command line that documents show, as their reader would, and compares what it prints with what they show."""

import json
import re
import unittest

from documents import PROJECT, DocumentTest, text_of
from shown_commands import is_what_is_shown, shown_commands, without_blocks

INDENTED = re.compile(r"^    (\S.*)$", re.MULTILINE)
COMMAND = re.compile(r"(?:TZ=\S+ )?(?:hubprofile|hubsession|make_capture) ")


def indented_commands(document):
    return [line for line in INDENTED.findall(text_of(document)) if COMMAND.match(line)]


class Readme(DocumentTest):
    def test_shows_what_its_command_lines_print(self):
        self.assert_shows_what_is_printed("README.md")

    def test_all_command_lines_but_those_that_build_and_install_are_run(self):
        words = {line.split()[0] for line in INDENTED.findall(without_blocks(text_of("README.md")))}
        self.assertEqual(words, {"script/run", "script/test", "cmake", "(cd", "apt-get", "cc"})


class Cookbook(DocumentTest):
    def test_shows_what_its_command_lines_print(self):
        self.assert_shows_what_is_printed("docs/cookbook.md")

    def test_each_question_has_a_command_line_that_is_run(self):
        questions = re.split(r"^## ", text_of("docs/cookbook.md"), flags=re.MULTILINE)[1:]
        self.assertEqual([], [question.splitlines()[0] for question in questions if not shown_commands(question)])
        self.assertGreaterEqual(len(questions), 12)

    def test_all_command_lines_are_run(self):
        self.assertEqual(INDENTED.findall(without_blocks(text_of("docs/cookbook.md"))), [])


class Examples(DocumentTest):
    @staticmethod
    def unexpected(messages):
        """Lines on standard error, but for what the examples mean to go wrong: a batch is dropped, records are lost."""
        meant = ("batch 3 of service gyro is dropped", "hubprofile: 1 gap (37 records missing)")
        return [line for line in messages.splitlines() if not any(words in line for words in meant)]

    def files_left(self):
        return [path for path in self.folder.iterdir() if path.is_file()]

    def test_readme_has_its_command_lines(self):
        self.assertEqual(len(indented_commands("examples/README.md")), 7)

    def test_every_command_line_succeeds_and_gives_something(self):
        for command_line in indented_commands("examples/README.md"):
            with self.subTest(command_line):
                run = self.run_in_folder(command_line)
                self.assertEqual((run.returncode, self.unexpected(run.stderr)), (0, []))
                self.assertTrue(run.stdout or any(path.stat().st_size for path in self.files_left()))

    def test_capture_has_the_reports_that_the_readme_counts(self):
        counted = int(re.search(r"(\d+) profile reports of 48 bytes", text_of("examples/README.md")).group(1))
        size = (PROJECT / "examples/reports/boot_to_press.bin").stat().st_size
        self.assertEqual(size, counted * 48)

    def test_capture_shows_every_category(self):
        run = self.run_in_folder("hubprofile examples/reports/boot_to_press.bin")
        self.assertEqual(len(set(re.findall(r"'category': *'([a-z]+)'", run.stdout))), 13)

    def test_phone_has_nine_services_of_the_co_processor_and_one_of_another(self):
        lines = self.run_in_folder("hubsession run examples/devices/phone.json").stdout.splitlines()
        self.assertEqual(
            lines[0], "services    9 taken: button, accel, gyro, compass, pressure, light, proximity, debug, audio")
        self.assertEqual(lines[1], "            1 left alone: touch")
        self.assertEqual(lines[2], "statistics  14 records published in 3 batches, "
                                   "1 record of another version skipped, 1 batch dropped")
        self.assertEqual(lines[3], "snapshots   11 made in 1 capture")

    def test_phone_has_the_snapshots_that_the_readme_tells_of(self):
        self.run_in_folder("hubsession run examples/devices/phone.json --out snapshots")
        index = json.loads((self.folder / "snapshots/index.json").read_text(encoding="utf-8"))
        titles = [snapshot["title"].split(" ;")[0] for snapshot in index["snapshots"]]
        reports = [f"NEB Profile {number}" for number in (0, 1, 2, 0, 0)]  # firmware, driver, errors
        self.assertEqual(titles, ["SSHB Statistics", "SSHB assets", *reports, *["SensorInfo"] * 4])


class ShownOutput(unittest.TestCase):
    def assert_shown(self, shown, printed):
        self.assertTrue(is_what_is_shown(shown, printed), printed)

    def assert_not_shown(self, shown, printed):
        self.assertFalse(is_what_is_shown(shown, printed), printed)

    def test_lines_are_compared_to_their_last_character(self):
        self.assert_shown(["a.c"], "a.c\n")
        self.assert_not_shown(["a.c"], "abc\n")
        self.assert_not_shown(["a"], "ab\n")
        self.assert_not_shown(["a"], "a\nb\n")

    def test_command_with_nothing_below_it_prints_nothing(self):
        self.assert_shown([], "")
        self.assert_not_shown([], "a\n")

    def test_ellipsis_stands_for_one_line_or_more(self):
        self.assert_shown(["a", "...", "c"], "a\nb\nb\nc\n")
        self.assert_not_shown(["a", "...", "c"], "a\nc\n")
        self.assert_not_shown(["a", "...", "c"], "a\nb\n")

    def test_ellipsis_at_the_end_of_a_line_stands_for_its_rest(self):
        self.assert_shown(["a, ...", "c"], "a, b\nc\n")
        self.assert_not_shown(["a, ..."], "a,\n")
        self.assert_not_shown(["a, ..."], "b, b\n")
        self.assert_not_shown(["a, ..."], "a, b\nc\n")

    def test_colors_are_not_shown(self):
        self.assert_shown(["a b"], "\x1b[2ma \x1b[0m\x1b[36mb\x1b[0m\n")

    def test_command_line_goes_on_behind_a_backslash_and_through_a_here_document(self):
        text = "```console\n$ a \\\n  b\n1\n$ c <<'END'\n$ d\nEND\n2\n```\n"
        self.assertEqual([(shown.command_line, shown.output) for shown in shown_commands(text)],
                         [("a \\\n  b", ["1"]), ("c <<'END'\n$ d\nEND", ["2"])])

    def test_block_without_a_command_line_is_refused(self):
        with self.assertRaisesRegex(ValueError, "begins with 'hubprofile', not with a command line"):
            shown_commands("```console\nhubprofile\n```\n")


if __name__ == "__main__":
    unittest.main()
