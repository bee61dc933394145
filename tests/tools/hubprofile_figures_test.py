#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of the hubprofile command: summary and compare, what they are told and tell."""

import fcntl
import json
import os
import pty
import struct
import termios
import unittest

from decoding_test import DecodingTest, lines, record, records


def numbered(*numbers):
    """Records of one kind, each at the time of its number in seconds."""
    return b"".join(record(7, 0, 0, 0, sequence=number, timestamp_us=number * 1_000_000) for number in numbers)


class Summary(DecodingTest):
    def summary(self, *arguments, data=None):
        result = self.run_command("summary", *arguments, data=data)
        self.assertEqual(0, result.status, result.messages)
        return result

    def figures(self, *arguments, data=None):
        return json.loads(self.summary("--json", *arguments, data=data).output)

    def test_counts_the_records_of_all_captures(self):
        first, second = self.file("a.bin", numbered(1, 2)), self.file("b.bin", numbered(3))
        self.assertEqual(3, self.figures(first, second)["records"])
        self.assertEqual(2, self.figures(data=numbered(1, 2))["records"])

    def test_counts_the_records_that_are_selected(self):
        data = numbered(1, 2, 3, 4)
        self.assertEqual(1, self.figures("--where", "sequence_num == 2", data=data)["records"])
        self.assertEqual(2, self.figures("--since", "2000000", "--until", "4000000", data=data)["records"])

    def test_losses_are_those_of_all_records(self):
        result = self.summary("--json", "--where", "sequence_num == 1", data=numbered(1, 3))
        self.assertEqual(1, json.loads(result.output)["loss"]["missing_records"])
        self.assertEqual("hubprofile: 1 gap (1 record missing)\n", result.messages)

    def test_losses_fail_it_when_asked_to(self):
        self.assertEqual(3, self.run_command("summary", "--fail-on-gap", data=numbered(1, 3)).status)

    def test_lines_are_as_wide_as_told(self):
        data = numbered(1, 2)
        for width in (40, 60, 200):
            text = self.summary("--width", str(width), data=data).output.decode()
            self.assertLessEqual(max(map(len, text.splitlines())), width)
        self.assertNotEqual(self.summary("--width", "40", data=data).output, self.summary("--width", "200", data=data).output)

    def test_width_is_the_terminal_s(self):
        ours, terminal = pty.openpty()
        self.addCleanup(os.close, ours)
        fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 40, 0, 0))
        self.finish(self.start("summary", self.file("a.bin", numbered(1, 2)), "--progress", "never", stdout=terminal))
        os.close(terminal)
        shown = os.read(ours, 1 << 16).replace(b"\r\n", b"\n")
        self.assertEqual(self.summary("--width", "40", "a.bin").output, shown)

    def test_width_elsewhere_is_the_environment_s_or_80(self):
        data = numbered(1, 2)
        narrow = self.run_command("summary", data=data, environment={"COLUMNS": "40"}).output
        self.assertEqual(self.summary("--width", "40", data=data).output, narrow)
        for columns in ("", "7", "x"):
            usual = self.run_command("summary", data=data, environment={"COLUMNS": columns}).output
            self.assertEqual(self.summary("--width", "80", data=data).output, usual)

    def test_tables_have_as_many_rows_as_told(self):
        data = b"".join(record(7, 0, event, 0, sequence=event) for event in range(9))
        self.assertIn(b"(6 more)", self.summary("--rows", "3", data=data).output)
        self.assertNotIn(b"more)", self.summary("--rows", "9", data=data).output)

    def test_output_file_has_them(self):
        self.summary("--json", "-o", "figures", data=numbered(1))
        self.assertEqual(1, json.loads(self.content("figures"))["records"])

    def test_capture_that_ends_inside_a_record_fails_with_the_figures_of_the_others(self):
        result = self.run_command("summary", "--json", data=numbered(1) + b"x")
        self.assertEqual((1, 1), (result.status, json.loads(result.output)["records"]))
        self.assertIn("standard input: ends inside a record", result.messages)

    def test_summary_of_a_live_input_ends_when_it_is_silent(self):
        process = self.start("summary", "--json", "--follow", "--idle-timeout", "0.2", self.file("a.bin", numbered(1)))
        self.assertEqual(1, json.loads(self.finish(process).output)["records"])

    def test_capture_of_that_name_is_decoded_behind_a_folder(self):
        self.file("summary", records(1))
        self.assert_decoded(self.decode("./summary"), lines(1))


class Compare(DecodingTest):
    def setUp(self):
        super().setUp()
        self.file("a.bin", numbered(1, 2))
        self.file("b.bin", numbered(1, 2, 3, 5))

    def test_both_captures_are_named_and_counted(self):
        result = self.run_command("compare", "--json", "a.bin", "b.bin")
        figures = json.loads(result.output)
        self.assertEqual({"a": 2, "b": 4}, {side: figures["records"][side] for side in "ab"})
        text = self.run_command("compare", "a.bin", "b.bin").output.decode()
        self.assertIn("a.bin", text)
        self.assertIn("b.bin", text)

    def test_losses_are_told_with_the_capture_that_has_them(self):
        result = self.run_command("compare", "a.bin", "b.bin")
        self.assertEqual((0, "hubprofile: b.bin: 1 gap (1 record missing)\n"), (result.status, result.messages))
        self.assertEqual(3, self.run_command("compare", "--fail-on-gap", "a.bin", "b.bin").status)

    def test_standard_input_is_called_so(self):
        result = self.run_command("compare", "a.bin", "-", data=numbered(1, 3))
        self.assertIn(b"B  standard input\n", result.output)
        self.assertEqual("hubprofile: standard input: 1 gap (1 record missing)\n", result.messages)

    def test_only_selected_records_are_compared(self):
        result = self.run_command("compare", "--json", "--where", "sequence_num > 2", "a.bin", "b.bin")
        self.assertEqual(2, json.loads(result.output)["records"]["b"])

    def test_one_capture_or_three_are_refused(self):
        for captures in ((), ("a.bin",), ("a.bin", "b.bin", "a.bin"), ("-", "-")):
            result = self.run_command("compare", *captures)
            self.assertEqual((b"", 2), (result.output, result.status))
            self.assertTrue(result.messages.startswith("hubprofile compare: "))

    def test_missing_capture_fails(self):
        result = self.run_command("compare", "a.bin", "missing")
        self.assertEqual(1, result.status)
        self.assertIn("hubprofile: missing: No such file or directory", result.messages)

    def test_capture_that_is_the_output_stays(self):
        before = self.content("a.bin")
        result = self.run_command("compare", "a.bin", "b.bin", "-o", "a.bin")
        self.assertEqual((1, before), (result.status, self.content("a.bin")))


class FigureRefusals(DecodingTest):
    def test_values_that_are_none_are_refused(self):
        for option, value, expected in (("--width", "39", "40 to 10000"), ("--width", "x", "40 to 10000"),
                                        ("--rows", "0", "from 1"), ("--where", "nothing == 1", "nothing")):
            with self.subTest(option=option, value=value):
                result = self.run_command("summary", option, value, data=b"")
                self.assertEqual((b"", 2), (result.output, result.status))
                self.assertIn(option, result.messages)
                self.assertIn(expected, result.messages)

    def test_options_for_records_are_none_of_theirs(self):
        for option in ("--format=csv", "--delta=prev", "--gaps"):
            self.assertEqual(2, self.run_command("summary", option, data=b"").status)

    def test_help_is_their_own(self):
        for word in ("summary", "compare"):
            result = self.run_command(word, "--help")
            self.assertEqual(0, result.status)
            self.assertIn(f"Usage: hubprofile {word}", result.output.decode())


if __name__ == "__main__":
    unittest.main()
