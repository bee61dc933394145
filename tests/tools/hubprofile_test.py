#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of the hubprofile command: what it reads, which lines it gives, options."""

import os
import re
import struct
import time
import unittest

from command_test import respect_permissions
from decoding_test import (
    INVALID_TEXT_RECORD, RECORD_BYTES, WORKED_LINE, WORKED_RECORD, DecodingTest,
    invalid_text_records, lines, record, records, sensor_named)


class Lines(DecodingTest):
    def test_worked_record_gives_exactly_the_worked_line(self):
        self.assert_decoded(self.decode(data=WORKED_RECORD), WORKED_LINE)

    def test_each_record_gives_a_line_in_input_order(self):
        self.assertEqual(lines(3, 1, 2), self.decode(data=records(3, 1, 2)).output)

    def test_no_record_gives_no_line_and_succeeds(self):
        self.assert_decoded(self.decode(data=b""), b"")

    def test_more_records_than_fit_a_block_give_all_lines(self):
        self.assert_decoded(self.decode(data=records(*range(5000))), lines(*range(5000)))

    def test_text_beyond_ascii_is_written_as_its_bytes(self):
        result = self.decode(data=sensor_named("Größe".encode()))
        self.assertIn("'name':       'Größe',", result.output.decode())

    def test_line_end_in_a_text_is_written_as_it_is(self):
        result = self.decode(data=sensor_named(b"a\nb"))
        self.assertIn(b"'name':           'a\nb',", result.output)


class Inputs(DecodingTest):
    def test_files_are_decoded_in_turn(self):
        first, second = self.file("b.bin", records(1, 2)), self.file("a.bin", records(3))
        self.assert_decoded(self.decode(first, second), lines(1, 2, 3))

    def test_no_file_reads_standard_input(self):
        self.assert_decoded(self.decode(data=records(1)), lines(1))

    def test_a_file_leaves_standard_input_alone(self):
        result = self.decode(self.file("a.bin", records(1)), data=records(2))
        self.assert_decoded(result, lines(1))

    def test_dash_reads_standard_input(self):
        self.assert_decoded(self.decode("-", data=records(1)), lines(1))

    def test_dash_between_files_reads_standard_input_in_its_turn(self):
        first, last = self.file("a.bin", records(1)), self.file("b.bin", records(3))
        self.assert_decoded(self.decode(first, "-", last, data=records(2)), lines(1, 2, 3))

    def test_second_dash_finds_standard_input_at_its_end(self):
        self.assert_decoded(self.decode("-", "-", data=records(1)), lines(1))

    def test_file_named_twice_is_decoded_twice(self):
        name = self.file("a.bin", records(1))
        self.assertEqual(lines(1, 1), self.decode(name, name).output)

    def test_empty_file_between_others_gives_nothing(self):
        first, empty, last = (self.file("a.bin", records(1)), self.file("b.bin", b""),
                              self.file("c.bin", records(2)))
        self.assert_decoded(self.decode(first, empty, last), lines(1, 2))

    def test_named_pipe_is_read_as_a_file(self):
        process = self.start_decoding(self.fifo("pipe"))
        with self.open_fifo("pipe") as pipe:
            pipe.write(records(1))
        self.assert_decoded(self.finish(process), lines(1))

    def test_standard_input_may_be_a_file(self):
        name = self.file("a.bin", records(1, 2))
        with open(self.folder / name, "rb") as source:
            self.assert_decoded(self.decode(stdin=source), lines(1, 2))

    def test_file_after_two_dashes_may_look_like_an_option(self):
        self.assert_decoded(self.decode("--", self.file("--help", records(1))), lines(1))

    def test_options_may_stand_behind_files(self):
        name = self.file("a.bin", records(1))
        self.assert_decoded(self.run_command(name, "--boot-time", "none"), lines(1))

    def test_every_character_of_a_name_is_the_names(self):
        for name in ("[1]", "[]", "[a,b]", "{}", "%%", "a b", "a,b", "'q'", '"q"', "a\\b",
                     "größe", "=", "a=b", "-", "--progress"):
            with self.subTest(name=name):
                self.file(name, records(1))
                # Only behind "./" a dash at the front is nothing special.
                path = "./" + name if name.startswith("-") else name
                self.assert_decoded(self.decode(path, data=b""), lines(1))


class InvalidText(DecodingTest):
    MESSAGE = "hubprofile: {} no line: the text in it is not valid UTF-8\n"

    def test_record_without_valid_text_gives_no_line_and_is_counted(self):
        result = self.decode(data=INVALID_TEXT_RECORD)
        self.assert_decoded(result, b"", self.MESSAGE.format("1 record has"))

    def test_records_before_and_after_it_give_their_lines(self):
        result = self.decode(data=records(6) + INVALID_TEXT_RECORD + records(8))
        self.assert_decoded(result, lines(6, 8), self.MESSAGE.format("1 record has"))

    def test_several_are_counted_in_the_plural(self):
        result = self.decode(data=invalid_text_records(3))
        self.assert_decoded(result, b"", self.MESSAGE.format("3 records have"))

    def test_more_than_fit_a_block_are_all_counted(self):
        result = self.decode(data=invalid_text_records(3000))
        self.assert_decoded(result, b"", self.MESSAGE.format("3000 records have"))

    def test_count_is_of_all_inputs_and_told_once_at_the_end(self):
        first = self.file("a.bin", sensor_named(b"\xff", 1))
        result = self.decode(first, "missing", self.file("b.bin", sensor_named(b"\xff", 2)))
        self.assertEqual("hubprofile: missing: No such file or directory\n"
                         + self.MESSAGE.format("2 records have"), result.messages)

    def test_every_kind_of_text_that_is_not_utf8_is_counted(self):
        for text in (b"\x80", b"\xc3", b"\xc0\x80", b"\xed\xa0\x80", b"\xf4\x90\x80\x80",
                     b"elf letters\xc3"):
            with self.subTest(text=text):
                result = self.decode(data=sensor_named(text))
                self.assert_decoded(result, b"", self.MESSAGE.format("1 record has"))

    def test_bytes_behind_the_end_of_the_text_do_not_matter(self):
        result = self.decode(data=sensor_named(b"a\0\xff\xff"))
        self.assertEqual((1, ""), (result.output.count(b"\n"), result.messages))


class Timesync(DecodingTest):
    # Nov 16 2023 04:51:21.123456 UTC.
    CALENDAR_NS = 1700110281123456000

    def calendar_time(self, *options, timestamp_us=0, zone="UTC0", **environment):
        result = self.decode(*options, data=record(8, 3, 5, 0, timestamp_us=timestamp_us),
                             environment={"TZ": zone, **environment})
        self.assertEqual(("", 0), (result.messages, result.status))
        found = re.search(r", 'calendar-time':'(.*?)'", result.output.decode())
        return found and found.group(1)

    def at(self, calendar_ns, zone):
        return self.calendar_time("--timesync", f"0,{calendar_ns}", zone=zone)

    def test_without_it_lines_carry_no_calendar_time(self):
        self.assertIsNone(self.calendar_time())

    def test_item_stands_behind_the_bytes_and_before_the_boot_time(self):
        result = self.run_command("--timesync", f"0,{self.CALENDAR_NS}", "--boot-time", "12",
                                  data=record(8, 3, 5, 0, timestamp_us=0))
        self.assertTrue(result.output.endswith(
            b",0,0], 'calendar-time':'Nov 16 04:51:21.123456', 'boot-timestamp':12}\n"))

    def test_report_at_the_hub_time_has_the_calendar_time(self):
        pair = f"5000000,{self.CALENDAR_NS}"
        self.assertEqual("Nov 16 04:51:21.123456",
                         self.calendar_time("--timesync", pair, timestamp_us=5000))

    def test_report_a_second_later_has_a_calendar_time_a_second_later(self):
        pair = f"5000000,{self.CALENDAR_NS}"
        self.assertEqual("Nov 16 04:51:22.123456",
                         self.calendar_time("--timesync", pair, timestamp_us=1005000))

    def test_nanoseconds_are_cut_off(self):
        self.assertEqual("Jan 01 00:00:00.000001", self.calendar_time("--timesync", "0,1999"))

    def test_negative_numbers_are_taken_joined_and_as_a_word(self):
        for option in (["--timesync=-1000000000,5000000000"],
                       ["--timesync", "-1000000000,5000000000"]):
            with self.subTest(option=option):
                self.assertEqual("Jan 01 00:00:06.000000", self.calendar_time(*option))

    def test_negative_calendar_time_is_taken(self):
        self.assertEqual("Jan 01 00:00:01.000000",
                         self.calendar_time("--timesync", "0,-1000000000", timestamp_us=2000000))

    def test_limits_of_both_numbers_are_taken(self):
        low, high = -(2**63), 2**63 - 1
        # 2^64 - 1 and, by wrapping, 1 nanosecond after the epoch.
        self.assertEqual("Jul 21 23:34:33.709551",
                         self.calendar_time("--timesync", f"{low},{high}"))
        self.assertEqual("Jan 01 00:00:00.000000",
                         self.calendar_time("--timesync", f"{high},{low}"))

    def test_time_before_the_epoch_wraps_to_one_far_ahead(self):
        self.assertEqual("Jul 21 23:34:33.709547",
                         self.calendar_time("--timesync", "5000,1000"))

    def test_nanoseconds_of_a_late_report_wrap(self):
        self.assertEqual("Jan 01 00:00:00.000001",
                         self.calendar_time("--timesync", "0,2000", timestamp_us=2**64 - 1))

    def test_zone_of_the_environment_decides(self):
        for zone, expected in (("UTC", "Nov 16 04:51:21.123456"),
                               ("XYZ-5:45", "Nov 16 10:36:21.123456"),
                               ("XYZ5:45", "Nov 15 23:06:21.123456")):
            with self.subTest(zone=zone):
                self.assertEqual(expected, self.at(self.CALENDAR_NS, zone))

    def test_daylight_saving_time_of_the_zone_is_observed(self):
        zone = "CET-1CEST,M3.5.0,M10.5.0/3"
        self.assertEqual("Jan 11 20:06:40.000000", self.at(1705000000000000000, zone))
        self.assertEqual("Jul 03 11:46:40.000000", self.at(1720000000000000000, zone))

    def test_locale_of_the_environment_changes_nothing(self):
        decimals = record(4, 0, 0, 3, struct.pack("<I", 3 << 15))  # "x" is 1.5
        options = ("--timesync", f"0,{self.CALENDAR_NS}", "--boot-time", "none")
        expected = self.run_command(*options, data=decimals).output
        self.assertIn(b" 'x':       1.5,", expected)
        for locale in ("", "POSIX", "C.UTF-8", "de_DE.UTF-8", "fr_FR", "no such locale"):
            with self.subTest(locale=locale):
                result = self.run_command(*options, data=decimals,
                                          environment={"LC_ALL": locale, "LANG": locale})
                self.assert_decoded(result, expected)


class BootTime(DecodingTest):
    def boot_times(self, *options, count=1):
        result = self.run_command(*options, data=records(*range(count)))
        self.assertEqual(("", 0), (result.messages, result.status))
        return [int(digits) for digits in
                re.findall(rb"\], 'boot-timestamp':(\d+)}\n", result.output)]

    def test_number_is_what_every_line_carries(self):
        self.assertEqual([1700000000123456] * 2,
                         self.boot_times("--boot-time", "1700000000123456", count=2))

    def test_limits_are_taken(self):
        for boot_time_us in (0, 1, 2**63 - 1):
            with self.subTest(boot_time_us=boot_time_us):
                self.assertEqual([boot_time_us],
                                 self.boot_times("--boot-time", str(boot_time_us)))

    def test_none_leaves_the_item_out(self):
        result = self.run_command("--boot-time", "none", data=WORKED_RECORD)
        self.assert_decoded(result, WORKED_LINE)

    def test_default_is_when_this_machine_was_booted(self):
        booted_us = (time.time() - time.clock_gettime(time.CLOCK_BOOTTIME)) * 1e6
        (boot_time_us,) = self.boot_times()
        self.assertAlmostEqual(booted_us, boot_time_us, delta=2e6)

    def test_default_is_the_same_in_every_line_of_every_run(self):
        boot_times = [self.boot_times(count=2) for _ in range(20)]
        self.assertEqual([boot_times[0][:1] * 2] * 20, boot_times)


class InputErrors(DecodingTest):
    """A bad input stands between two good ones, which are decoded all the same."""

    def decode_between_good_files(self, name, **options):
        return self.decode(self.file("first", records(1)), name, self.file("last", records(2)),
                           **options)

    def test_missing_file_is_told_and_the_others_are_decoded(self):
        result = self.decode_between_good_files("missing")
        self.assert_failed(result, lines(1, 2), "missing: No such file or directory")

    def test_folder_is_told_and_the_others_are_decoded(self):
        os.mkdir(self.folder / "folder")
        result = self.decode_between_good_files("folder")
        self.assert_failed(result, lines(1, 2), "folder: Is a directory")

    def test_file_without_permission_is_told_and_the_others_are_decoded(self):
        os.chmod(self.folder / self.file("secret", records(3)), 0)
        result = self.decode_between_good_files("secret", preexec_fn=respect_permissions)
        self.assert_failed(result, lines(1, 2), "secret: Permission denied")

    def test_file_that_opens_and_cannot_be_read_is_told_and_the_others_are_decoded(self):
        # A process has nothing at address 0 of its memory.
        result = self.decode_between_good_files("/proc/self/mem")
        self.assert_failed(result, lines(1, 2), "/proc/self/mem: Input/output error")

    def test_name_that_leads_nowhere_is_told_and_the_others_are_decoded(self):
        os.symlink("loop", self.folder / "loop")
        result = self.decode_between_good_files("loop")
        self.assert_failed(result, lines(1, 2), "loop: Too many levels of symbolic links")

    def test_empty_name_is_told_and_is_not_standard_input(self):
        result = self.decode("", data=records(1))
        self.assert_failed(result, b"", ": No such file or directory")

    def test_folder_as_standard_input_is_told(self):
        folder = os.open(self.folder, os.O_RDONLY)
        self.addCleanup(os.close, folder)
        self.assert_failed(self.decode(stdin=folder), b"", "standard input: Is a directory")

    def test_every_bad_file_is_told(self):
        result = self.decode("x", self.file("good", records(1)), "y")
        self.assert_failed(result, lines(1), "x: No such file or directory",
                           "y: No such file or directory")


class Truncation(DecodingTest):
    def message(self, name, offset_bytes, left_over_bytes):
        remain = "byte is" if left_over_bytes == 1 else "bytes are"
        return (f"{name}: ends inside a record: at offset {offset_bytes}, {left_over_bytes} "
                f"{remain} left over of the 48 that a record has")

    def test_input_ending_inside_a_record_tells_file_offset_and_bytes(self):
        for remainder in range(1, RECORD_BYTES):
            with self.subTest(remainder=remainder):
                name = self.file("cut.bin", records(1, 2, 3)[:2 * RECORD_BYTES + remainder])
                self.assert_failed(self.decode(name), lines(1, 2),
                                   self.message("cut.bin", 96, remainder))

    def test_input_shorter_than_a_record_tells_offset_zero(self):
        for remainder in range(1, RECORD_BYTES):
            with self.subTest(remainder=remainder):
                self.assert_failed(self.decode(data=records(1)[:remainder]), b"",
                                   self.message("standard input", 0, remainder))

    def test_offset_behind_many_blocks_is_exact(self):
        result = self.decode(data=records(*range(5000)) + bytes(7))
        self.assert_failed(result, lines(*range(5000)),
                           self.message("standard input", 240000, 7))

    def test_left_over_bytes_are_not_joined_with_the_next_file(self):
        cut = self.file("cut.bin", records(1, 2)[:60])
        result = self.decode(cut, self.file("whole.bin", records(2)))
        self.assert_failed(result, lines(1, 2), self.message("cut.bin", 48, 12))

    def test_each_file_tells_its_own_offset(self):
        first, second = self.file("a", records(1) + b"x"), self.file("b", records(2, 3) + b"xy")
        self.assert_failed(self.decode(first, second), lines(1, 2, 3),
                           self.message("a", 48, 1), self.message("b", 96, 2))

    def test_output_file_holds_all_whole_records(self):
        result = self.decode("-o", "lines", data=records(1, 2)[:-1])
        self.assert_failed(result, b"", self.message("standard input", 48, 47))
        self.assertEqual(lines(1), self.content("lines"))


class Options(DecodingTest):
    CLOCK_PAIR = "HUB,CALENDAR"
    BOOT_TIME = "microseconds"

    def assert_refused(self, *options, tells):
        """Refused with a message that has all these words, and nothing decoded."""
        with self.subTest(options=options):
            self.file("a.bin", records(1))
            result = self.run_command("a.bin", *options)
            self.assertEqual((b"", 2), (result.output, result.status))
            self.assertRegex(result.messages, r"\Ahubprofile: ")
            for words in tells:
                self.assertIn(words, result.messages)
            self.assertEqual(["a.bin"], self.names())

    def test_number_with_a_minus_is_an_option_that_does_not_exist(self):
        self.assert_refused("-1", "-o", "lines", tells=["-1"])

    def test_number_with_a_minus_behind_two_dashes_is_a_file(self):
        self.file("-1", records(1))
        self.assert_decoded(self.decode("--", "-1"), lines(1))

    def test_unknown_option_is_refused(self):
        for option in ("--bogus", "-x", "--time", "--outputs", "--no-progress"):
            self.assert_refused(option, "-o", "lines", tells=[option])

    def test_option_without_its_value_is_refused(self):
        for option, name, expected in (
                ("--timesync", "--timesync", self.CLOCK_PAIR),
                ("--boot-time", "--boot-time", "none"),
                ("--progress", "--progress", "WHEN"),
                ("--output", "--output", "FILE"),
                ("-o", "--output", "FILE")):
            self.assert_refused(option, tells=[name, expected])

    def test_option_in_place_of_a_value_is_refused(self):
        self.assert_refused("--timesync", "--progress", "never",
                            tells=["--timesync", self.CLOCK_PAIR])

    def test_clock_pair_that_is_no_two_numbers_is_refused(self):
        for value in ("1", "1,", ",1", ",", "1,2,3", "a,b", "1,b", "1.5,2", "1e3,2", "0x1,2",
                      "1;2", " 1,2", "1, 2", "1,2 ", "+1,2", "--1,2", "1,-", "none"):
            self.assert_refused(f"--timesync={value}", "-o", "lines",
                                tells=["--timesync", self.CLOCK_PAIR, "64-bit", f'"{value}"'])

    def test_clock_out_of_range_is_refused(self):
        for value in (f"{2**63},0", f"0,{2**63}", f"{-2**63 - 1},0", f"0,{-2**63 - 1}",
                      f"{10**40},0"):
            self.assert_refused(f"--timesync={value}", "-o", "lines",
                                tells=["--timesync", self.CLOCK_PAIR, "64-bit", f'"{value}"'])

    def test_boot_time_that_is_no_number_is_refused(self):
        for value in ("x", "None", "NONE", "nones", "0x10", "1e3", "1.5", " 1", "1 ", "+1", "1,2",
                      "-"):
            self.assert_refused(f"--boot-time={value}", "-o", "lines",
                                tells=["--boot-time", '"none"', self.BOOT_TIME, f'"{value}"'])

    def test_boot_time_out_of_range_is_refused(self):
        for value in ("-1", str(2**63), str(2**64), str(10**40)):
            self.assert_refused("--boot-time", value, "-o", "lines",
                                tells=["--boot-time", '"none"', "2^63 - 1", f'"{value}"'])

    def test_progress_that_is_no_known_word_is_refused(self):
        for value in ("maybe", "Always", "1", "auto,never"):
            self.assert_refused("--progress", value, "-o", "lines",
                                tells=["--progress", "auto, always or never", f'"{value}"'])

    def test_empty_value_is_refused(self):
        for name, expected in (("--timesync", self.CLOCK_PAIR), ("--boot-time", "none"),
                               ("--progress", "auto, always or never"), ("--output", "FILE")):
            self.assert_refused(name, "", tells=[name, expected])

    def test_repeated_option_is_refused(self):
        for option, value in (("--timesync", "1,2"), ("--boot-time", "1"), ("--progress", "never"),
                              ("--output", "lines")):
            self.assert_refused(option, value, option, value, tells=[option, "At Most 1"])

    def test_wrong_option_is_refused_before_any_input_is_read(self):
        result = self.run_command("--boot-time", "x", "missing")
        self.assertEqual((b"", 2), (result.output, result.status))
        self.assertNotIn("missing", result.messages)

    def test_help_goes_to_standard_output_and_succeeds(self):
        for option in ("-h", "--help"):
            with self.subTest(option=option):
                result = self.run_command(option, self.file("a.bin", records(1)))
                self.assertEqual(("", 0), (result.messages, result.status))
                self.assertIn(b"Usage: hubprofile", result.output)
                self.assertNotIn(b"'category'", result.output)

    def test_help_tells_every_option_with_its_value(self):
        text = self.run_command("--help").output.decode()
        for option in ("--timesync HUB,CALENDAR", "--boot-time US|none", "-o,--output FILE",
                       "--progress WHEN", "-h,--help", "--version", "FILE"):
            with self.subTest(option=option):
                self.assertRegex(text, rf"(?m)^  {re.escape(option)} ")

    def test_help_tells_the_words_of_progress(self):
        self.assertRegex(self.run_command("--help").output,
                         rb"(?s)--progress WHEN.*auto.*always.*never")

    def test_version_is_one_line_with_name_and_number(self):
        result = self.run_command("--version", self.file("a.bin", records(1)))
        self.assertRegex(result.output, rb"\Ahubprofile \d+\.\d+\.\d+\n\Z")
        self.assertEqual(("", 0), (result.messages, result.status))


if __name__ == "__main__":
    unittest.main()
