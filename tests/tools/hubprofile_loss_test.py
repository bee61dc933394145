#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of the hubprofile command: lost records, records out of order, restarts."""

import unittest

from decoding_test import DecodingTest, lines, record


def numbered(*numbers, times=None):
    """Records with these sequence numbers, each 10 us after the one before unless told."""
    times = times or [1000 + 10 * index for index in range(len(numbers))]
    return b"".join(record(8, 3, 5, 0, sequence=number, timestamp_us=time)
                    for number, time in zip(numbers, times))


class Loss(DecodingTest):
    def told(self, *arguments, data):
        result = self.decode(*arguments, data=data)
        self.assertEqual(0, result.status)
        return result.messages

    def test_records_in_order_are_told_nothing_of(self):
        self.assertEqual("", self.told(data=numbered(5, 6, 7, 8)))

    def test_counter_that_wraps_loses_nothing(self):
        self.assertEqual("", self.told(data=numbered(2**32 - 2, 2**32 - 1, 0, 1)))

    def test_each_kind_is_counted_in_one_line(self):
        self.assertEqual("hubprofile: 2 gaps (4 records missing)\n", self.told(data=numbered(1, 3, 7)))
        self.assertRegex(self.told(data=numbered(1, 2, 2, 3, times=(1, 2, 2, 3))), r"\Ahubprofile: 1 duplicate\n\Z")
        self.assertRegex(self.told(data=numbered(1, 3, 2, 4, times=(1, 3, 2, 4))), r"\Ahubprofile: 1 .*out of order\n\Z")
        self.assertRegex(self.told(data=numbered(1, 2, 3, times=(1, 9, 8))), r"\Ahubprofile: .*clock.*\n\Z")
        self.assertRegex(self.told(data=numbered(900, 901, 0, 1, times=(9000, 9001, 5, 6))), r"\Ahubprofile: 1 restart.*\n\Z")

    def test_records_that_are_not_written_count(self):
        result = self.decode("--where", "sequence_num == 1", data=numbered(1, 3))
        self.assertEqual("hubprofile: 1 gap (1 record missing)\n", result.messages)

    def test_inputs_in_turn_are_one_run(self):
        first, second = self.file("a.bin", numbered(1, 2)), self.file("b.bin", numbered(4, times=(2000,)))
        result = self.decode(first, second)
        self.assertEqual("hubprofile: 1 gap (1 record missing)\n", result.messages)

    def test_lines_are_written_all_the_same(self):
        data = numbered(1, 3, times=(1000, 1000))
        self.assertEqual(lines(1, 3), self.decode(data=data).output)


class Gaps(DecodingTest):
    def test_lists_each_finding_instead_of_records(self):
        result = self.decode("--gaps", data=numbered(40, 58, 59, 59, times=(10, 20, 30, 30)))
        self.assertEqual(0, result.status)
        listing = result.output.decode().splitlines()
        self.assertEqual(2, len(listing))
        self.assertIn("17 records missing", "".join(listing))
        self.assertIn("41 to 57", "".join(listing))
        self.assertIn("duplicate", "".join(listing))

    def test_nothing_lost_lists_nothing(self):
        result = self.decode("--gaps", data=numbered(1, 2, 3))
        self.assert_decoded(result, b"")

    def test_listing_goes_to_the_output_file(self):
        self.decode("--gaps", "-o", "gaps", data=numbered(1, 3))
        self.assertIn(b"1 record missing", self.content("gaps"))


class FailOnGap(DecodingTest):
    def status(self, *arguments, data):
        return self.decode("--fail-on-gap", *arguments, data=data).status

    def test_records_in_order_succeed(self):
        self.assertEqual(0, self.status(data=numbered(1, 2)))

    def test_each_kind_gives_its_own_status(self):
        for data in (numbered(1, 3), numbered(1, 2, 2, times=(1, 2, 2)), numbered(1, 3, 2, 4, times=(1, 3, 2, 4)),
                     numbered(1, 2, 3, times=(1, 9, 8)), numbered(900, 901, 0, 1, times=(9000, 9001, 5, 6))):
            self.assertEqual(3, self.status(data=data))
            self.assertEqual(3, self.status("--gaps", data=data))

    def test_everything_is_written_first(self):
        self.decode("--fail-on-gap", "-o", "out", data=numbered(1, 3, times=(1000, 1000)))
        self.assertEqual(lines(1, 3), self.content("out"))

    def test_input_that_failed_outranks_it(self):
        self.assertEqual(1, self.status(data=numbered(1, 3) + b"x"))


if __name__ == "__main__":
    unittest.main()
