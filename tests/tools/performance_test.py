#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of what the performance table is made with; nothing here is timed."""

import json
import unittest

from measuring import Figures, NotMeasured, Program, Usage, medians, typical
from performance import ROWS, duration, rate
from same_text import expect_same_lines, items_of_event, items_of_line, without_repeated
from table import AT_LEAST, AT_MOST, BELOW, Outcome, Row, cells, number_text, table_text

LINE = ("{  'category':'sensor', 'timestamp':      1000, 'sequence_num':         7,"
        " 'xarg1':         'e1f', 'type-id':3, 'binary-data':[3,20]}")
EVENT = ('[00000000000000001000] event: { category = "sensor", sequence_num = 7,'
         ' xarg1 = 0xE1F, type_id = 3, binary_data = [ [0] = 3, [1] = 20 ] }')


def outcome(direction, value, unit=""):
    return Outcome(Row("rate", "CPU time", None, direction, 2, unit), value)


def figures(**usages):
    """Of "fast", which has 300 records, and "slow", which has 100."""
    made = Figures(None, None, {"fast": Program((), 300), "slow": Program((), 100)})
    made._usages = usages
    return made


class Table(unittest.TestCase):
    def test_the_target_itself_is_met_unless_it_must_be_less(self):
        met = [outcome(direction, 2).is_met for direction in (AT_LEAST, AT_MOST, BELOW)]
        self.assertEqual(met, [True, True, False])

    def test_more_is_better_in_one_direction_alone(self):
        met = [outcome(direction, 2.01).is_met for direction in (AT_LEAST, AT_MOST, BELOW)]
        self.assertEqual(met, [True, False, False])

    def test_numbers_have_three_digits_that_count(self):
        texts = [number_text(*value) for value in ((0.754, "×"), (12.34, "ms"), (17768.2,))]
        self.assertEqual(texts, ["0.75 ×", "12.3 ms", "17,768"])

    def test_columns_are_as_wide_as_their_longest_cell(self):
        self.assertEqual(
            table_text([outcome(AT_LEAST, 3, "×"), outcome(AT_MOST, 30)]),
            "| what | measured | result | target |             |\n"
            "|------|----------|--------|--------|-------------|\n"
            "| rate | CPU time | 3.00 × | ≥ 2 ×  | met         |\n"
            "| rate | CPU time | 30.0   | ≤ 2    | **not met** |")

    def test_row_without_a_target_is_information(self):
        information = Outcome(Row("rate", "CPU time", None, None, None, "×"), 3)
        self.assertEqual(cells(information),
                         ("rate", "CPU time", "3.00 ×", "none", "information"))

    def test_no_two_rows_have_the_same_words(self):
        self.assertEqual(len({(row.what, row.how) for row in ROWS}), len(ROWS))


class Ratios(unittest.TestCase):
    USAGES = {"fast": Usage(1.0, 2.0, 0), "slow": Usage(3.0, 3.0, 0)}

    def test_rates_are_those_of_records(self):
        row = rate("", "fast", "slow", AT_LEAST, 2)
        self.assertAlmostEqual(row.measure(figures(**self.USAGES)), 9)

    def test_wall_time_is_taken_where_it_is_asked_for(self):
        row = rate("", "fast", "slow", AT_LEAST, 2, "wall_s")
        self.assertAlmostEqual(row.measure(figures(**self.USAGES)), 4.5)

    def test_a_duration_is_the_other_way_round(self):
        row = duration("", "fast", "slow", 2)
        self.assertAlmostEqual(row.measure(figures(**self.USAGES)), 1 / 9)

    def test_times_are_medians_and_memory_is_the_highest(self):
        runs = [Usage(1, 5, 30), Usage(9, 4, 10), Usage(2, 6, 20)]
        self.assertEqual(typical(runs), Usage(2, 5, 30))

    def test_medians_of_benchmarks_are_nanoseconds_by_plain_names(self):
        entry = {"run_name": "load/iterations:5", "cpu_time": 2.5, "time_unit": "us"}
        report = {"benchmarks": [{**entry, "aggregate_name": "mean", "cpu_time": 9},
                                 {**entry, "aggregate_name": "median"}]}
        found = medians(json.dumps(report))
        self.assertEqual((list(found), found["load"]["cpu_ns"]), (["load"], 2500))


class SameText(unittest.TestCase):
    def test_a_line_and_its_event_have_the_same_items(self):
        self.assertEqual(items_of_line(LINE), items_of_event(EVENT))

    def test_an_event_with_another_number_differs(self):
        for number in ("1000", "= 7", "0xE1F", "= 20"):
            with self.subTest(number):
                event = EVENT.replace(number, number[:-1] + "8")
                self.assertNotEqual(items_of_line(LINE), items_of_event(event))

    def test_repeated_values_are_left_out(self):
        self.assertEqual(without_repeated(items_of_line(LINE)),
                         {"category": "sensor", "timestamp": "1000", "sequence_num": "7"})

    def test_the_first_line_that_differs_is_named(self):
        with self.assertRaisesRegex(NotMeasured, "limit gives another line 2 .*\nx\nand not\nb"):
            expect_same_lines("limit", ["a", "b", "c"], ["a", "x", "y"])

    def test_a_missing_line_is_told(self):
        with self.assertRaisesRegex(NotMeasured, "gives 1 lines, hubprofile 2"):
            expect_same_lines("limit", ["a", "b"], ["a"])


if __name__ == "__main__":
    unittest.main()
