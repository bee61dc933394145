#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of the hubprofile command: which records it writes, how many, and beside what."""

import os
import pty
import struct
import unittest

from decoding_test import DecodingTest, lines, record, records


def function(duration, sequence=0, timestamp_us=1000):
    return record(0, 1, 0, 5, struct.pack("<4I", 9, 0, 1, duration), sequence, timestamp_us)


class Where(DecodingTest):
    def durations(self, *arguments):
        """The durations of the functions that are selected, in the order of their lines."""
        durations = (1500, 7, 1000, 1001)
        data = b"".join(function(duration, number) for number, duration in enumerate(durations))
        result = self.decode(*arguments, data=data)
        self.assertEqual(("", 0), (result.messages, result.status))
        numbers = [line.split(b"'duration':")[1].split(b",")[0] for line in result.output.splitlines()]
        return [int(number) for number in numbers]

    def test_records_for_which_it_is_true_are_written_in_input_order(self):
        self.assertEqual([1500, 1001], self.durations("--where", "duration > 1000"))

    def test_every_form_is_given_the_same_records(self):
        data = function(5, 1) + function(2000, 2) + record(8, 3, 5, 0, sequence=3)
        for form, count in (("jsonl", lambda output: output.count(b"\n")),
                            ("csv", lambda output: output.count(b"\r\n") - 1),
                            ("pcapng", lambda output: output.count(struct.pack("<II", 6, 80)))):
            with self.subTest(form):
                result = self.decode("--format", form, "--where", "duration > 1000", data=data)
                self.assertEqual(("", 0, 1), (result.messages, result.status, count(result.output)))

    def test_since_is_inclusive_and_until_is_not(self):
        data = b"".join(function(time, time, time) for time in (1, 2, 3, 4))
        result = self.decode("--since", "2", "--until", "4", data=data)
        self.assertEqual(2, result.output.count(b"\n"))
        self.assertIn(b"'timestamp':         2,", result.output)
        self.assertIn(b"'timestamp':         3,", result.output)

    def test_calendar_time_of_a_line_selects_it(self):
        data = b"".join(function(time, time, time) for time in (1, 2, 3))
        clocks = ("--timesync", "0,1700110281123450000")
        shown = self.decode(*clocks, data=data).output.splitlines()
        time = shown[1].split(b"'calendar-time':'")[1].split(b"'")[0].decode()
        result = self.decode(*clocks, "--since", time, data=data)
        self.assertEqual(shown[1:], result.output.splitlines())

    def test_calendar_time_without_clocks_is_refused(self):
        result = self.decode("--since", "Nov 16 04:51:21", data=b"")
        self.assertEqual((b"", 2), (result.output, result.status))
        self.assertIn("--since", result.messages)
        self.assertIn("--timesync", result.messages)

    def test_wrong_expression_is_shown_with_its_place_and_nothing_is_written(self):
        result = self.decode("--where", "duratoin > 5", "-o", "out", data=records(1))
        self.assertEqual((b"", 2, []), (result.output, result.status, self.names()))
        self.assertRegex(result.messages, r"(?m)^( *)duratoin > 5\n\1\^")
        self.assertIn("duration", result.messages.replace("duratoin", ""))


class UntilMatch(DecodingTest):
    def test_ends_with_the_last_record_that_was_asked_for(self):
        result = self.decode("--until-match", "2", data=records(1, 2, 3))
        self.assert_decoded(result, lines(1, 2))

    def test_counts_only_records_that_are_written(self):
        result = self.decode("--until-match", "1", "--where", "sequence_num == 3", data=records(1, 2, 3, 4))
        self.assert_decoded(result, lines(3))

    def test_ends_while_its_input_goes_on(self):
        process = self.start_decoding("--until-match", "1", self.fifo("pipe"))
        with self.open_fifo("pipe") as pipe:
            pipe.write(records(1))
            self.assert_decoded(self.finish(process), lines(1))

    def test_losses_behind_it_are_none_of_the_run(self):
        self.assert_decoded(self.decode("--until-match", "2", data=records(1, 2, 9)), lines(1, 2))
        result = self.decode("--until-match", "2", data=records(1, 9, 20))
        self.assertEqual("hubprofile: 1 gap (7 records missing)\n", result.messages)

    def test_leaves_inputs_behind_it_alone(self):
        result = self.decode("--until-match", "1", self.file("a.bin", records(1)), "missing")
        self.assert_decoded(result, lines(1))

    def test_fewer_records_are_no_failure(self):
        self.assert_decoded(self.decode("--until-match", "9", data=records(1)), lines(1))


class Delta(DecodingTest):
    DATA = b"".join(record(8, 3, 5, 0, sequence=number, timestamp_us=1000 * number * number)
                    for number in (1, 2, 3, 4))

    def deltas(self, *arguments):
        result = self.decode(*arguments, data=self.DATA)
        self.assertEqual(("", 0), (result.messages, result.status))
        return [float(line.split(b" {")[0]) for line in result.output.splitlines()]

    def test_prev_is_the_record_before(self):
        self.assertEqual([0.003, 0.007], self.deltas("--delta", "prev", "--where", "sequence_num in (2, 4)"))

    def test_match_is_the_line_before(self):
        self.assertEqual([0, 0.012], self.deltas("--delta", "match", "--where", "sequence_num in (2, 4)"))

    def test_start_is_the_first_record(self):
        self.assertEqual([0.003, 0.015], self.deltas("--delta", "start", "--where", "sequence_num in (2, 4)"))

    def test_line_beside_it_is_unchanged(self):
        plain = self.decode(data=self.DATA).output.splitlines()
        beside = self.decode("--delta", "prev", data=self.DATA).output.splitlines()
        self.assertEqual(plain, [line[15:] for line in beside])

    def test_any_number_of_jobs_counts_from_the_same_records(self):
        data = b"".join(record(8, 3, 5, 0, sequence=number, timestamp_us=number**2) for number in range(5000))
        one, two = (self.decode("--delta", "prev", "-j", jobs, data=data).output for jobs in "12")
        self.assertEqual(one, two)


class Color(DecodingTest):
    def terminal(self, *arguments, environment=None):
        """What a terminal is given that is standard output."""
        ours, terminal = pty.openpty()
        self.addCleanup(os.close, ours)
        result = self.decode(*arguments, "--progress", "never", data=records(1), stdout=terminal,
                             environment={"TERM": "xterm", "NO_COLOR": "", **(environment or {})})
        os.close(terminal)
        self.assertEqual(0, result.status)
        text = b""
        try:
            while chunk := os.read(ours, 4096):
                text += chunk
        except OSError:  # the other side is closed
            pass
        return text

    def test_auto_is_the_default_and_colours_a_terminal(self):
        self.assertIn(b"\x1b[", self.terminal())
        self.assertIn(b"\x1b[", self.terminal("--color", "auto"))
        self.assertIn(b"\x1b[", self.terminal("-o", "-"))

    def test_auto_colours_nothing_else(self):
        self.assert_decoded(self.decode(data=records(1)), lines(1))

    def test_auto_heeds_the_environment(self):
        self.assertNotIn(b"\x1b[", self.terminal(environment={"NO_COLOR": "1"}))
        self.assertNotIn(b"\x1b[", self.terminal(environment={"TERM": "dumb"}))

    def test_never_colours_no_terminal(self):
        self.assertNotIn(b"\x1b[", self.terminal("--color", "never"))

    def test_always_colours_a_pipe_in_spite_of_the_environment(self):
        result = self.decode("--color", "always", data=records(1), environment={"NO_COLOR": "1"})
        self.assertEqual(b"\x1b[37m" + lines(1)[:-1] + b"\x1b[0m\n", result.output)


class Jobs(DecodingTest):
    def test_output_is_the_same_for_every_number(self):
        data = b"".join(function(number * 77 % 5000, number, number) for number in range(20000))
        name = self.file("a.bin", data)
        for form in ("text", "jsonl", "csv", "pcapng", "trace"):
            outputs = {jobs: self.decode("-j", jobs, "--format", form, "--where", "duration < 2500", name).output
                       for jobs in ("1", "2", "7")}
            with self.subTest(form):
                self.assertTrue(outputs["1"])
                self.assertTrue(outputs["1"] == outputs["2"] == outputs["7"])

    def test_live_pipe_is_not_held_back(self):
        process = self.start_decoding("-j", "4", stdin=-1)
        for number in (1, 2, 3):
            process.stdin.write(records(number))
            self.assertEqual(lines(number), process.stdout.readline())

    def test_record_without_a_line_is_counted_whoever_finds_it(self):
        data = record(2, 0, 9, 8, bytes(19) + b"\xff", sequence=0) + records(1, 2)
        result = self.decode("-j", "3", data=data)
        self.assertEqual((lines(1, 2), 0), (result.output, result.status))
        self.assertIn("1 record has no line", result.messages)


class Refusals(DecodingTest):
    def assert_refused(self, *arguments, tells):
        with self.subTest(arguments=arguments):
            result = self.decode(*arguments, "-o", "out", data=records(1))
            self.assertEqual((b"", 2, []), (result.output, result.status, self.names()))
            self.assertTrue(result.messages.startswith("hubprofile: "))
            for words in tells:
                self.assertIn(words, result.messages)

    def test_values_that_are_none_are_refused(self):
        for option, value, expected in (
                ("--format", "xml", "text, jsonl, csv, pcapng or trace"),
                ("--delta", "next", "prev, match or start"),
                ("--color", "maybe", "auto, always or never"),
                ("--until-match", "0", "from 1"), ("--until-match", "x", "from 1"), ("--until-match", "-1", "from 1"),
                ("--jobs", "0", "1 to 256"), ("--jobs", "257", "1 to 256"), ("--jobs", "2x", "1 to 256"),
                ("--idle-timeout", "0", "seconds"), ("--idle-timeout", "x", "seconds"),
                ("--fields", "duratoin", "duration"), ("--device", "", "1 to 65535 bytes"), ("--device", "x" * 65536, "1 to 65535 bytes")):
            self.assert_refused(option, value, tells=[option, expected])

    def test_option_of_another_form_is_refused(self):
        self.assert_refused("--fields", "timestamp", tells=["--fields", "--format csv"])
        self.assert_refused("--format", "jsonl", "--device", "hub1", tells=["--device", "--format pcapng"])
        self.assert_refused("--format", "csv", "--delta", "prev", tells=["--delta", "--format text"])

    def test_list_of_losses_is_no_form_of_records(self):
        for option, value in (("--format", "csv"), ("--delta", "prev"), ("--until-match", "1"), ("--where", "event == 0"),
                              ("--since", "1"), ("--until", "1")):
            self.assert_refused("--gaps", option, value, tells=["--gaps", option])


if __name__ == "__main__":
    unittest.main()
