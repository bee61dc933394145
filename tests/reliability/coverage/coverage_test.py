#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of what the coverage of the tests is counted and judged with."""

import unittest

from coverage import (CONDITION, FALSE, LINE, ROOMS, TRUE, Item, ListError, excluded_items, items_of_export,
                      items_of_lines, read_exclusions, room_of, rows_of, table)

ROOT = "/somewhere"
PLUGIN = "VantuHUBHIDPlugins/VantuHUBHIDStatistics/kept.cpp"
SOURCE = ["if (memory == nullptr) {", "  return nullptr;", "}", "if (other) {", "  return nullptr;", "}"]
EXCLUSION = f"""
# A comment.
in    {PLUGIN}
line  if (memory == nullptr) {{
line  return nullptr;
what  true line
why   There is
why   always memory.
"""


def export(path, **records):
    return {"data": [{"files": [{"filename": f"{ROOT}/{path}", **records}]}]}


def counted(path, **records):
    """The items of a file of one long line a record."""
    return items_of_export(export(path, **records), ROOT, lambda path: ["", "", "  while (true) {", "  if (other) {"])


def excluded(text, items):
    return excluded_items(read_exclusions(text), items, lambda path: SOURCE)


def everything(happened):
    """One item of each kind in every room."""
    return {Item(room.folders[0] + "a.cpp", 1, 0, kind): happened(kind)
            for room in ROOMS for kind in (LINE, TRUE, FALSE, CONDITION)}


def shortcomings(items):
    return [sentence for row in rows_of(items, set()) for sentence in row.shortcomings()]


class Counts(unittest.TestCase):
    def test_line_ran_when_its_count_is_not_zero(self):
        text = f"SF:{ROOT}/host/a.cpp\nDA:3,0\nDA:4,2\nend_of_record\nSF:/usr/include/b.h\nDA:1,0\n"
        self.assertEqual(items_of_lines(text, ROOT),
                         {Item("host/a.cpp", 3, 0, LINE): False, Item("host/a.cpp", 4, 0, LINE): True})

    def test_outcomes_of_a_branch_count_together_over_the_instances_of_a_template(self):
        items = counted("host/a.h", branches=[[4, 7, 4, 12, 1, 0, 0, 0, 4], [4, 7, 4, 12, 0, 0, 0, 0, 4]])
        self.assertEqual(items, {Item("host/a.h", 4, 7, TRUE): True, Item("host/a.h", 4, 7, FALSE): False})

    def test_each_condition_of_a_decision_counts(self):
        items = counted("host/a.h", mcdc_records=[[3, 7, 3, 30, 0, 5, [True, False]],
                                                  [3, 7, 3, 30, 0, 5, [False, False]]])
        self.assertEqual(items, {Item("host/a.h", 3, 7, CONDITION): True, Item("host/a.h", 3, 7, CONDITION, 1): False})

    def test_loop_without_a_condition_has_no_outcomes(self):
        self.assertEqual(counted("host/a.h", branches=[[3, 10, 3, 14, 0, 0, 0, 0, 4]]), {})

    def test_what_is_in_no_room_does_not_count(self):
        self.assertEqual(counted("tests/a.cpp", branches=[[4, 7, 4, 12, 0, 0, 0, 0, 4]]), {})

    def test_decoder_is_a_room_of_its_own_beside_the_plug_in(self):
        self.assertEqual(room_of("VantuHUBHIDPlugins/VantuHUBHIDStatistics/profile/payload.h").name, "decoder")
        self.assertEqual(room_of(PLUGIN).name, "plug-in")


class Promises(unittest.TestCase):
    def test_all_hold_when_everything_happened(self):
        self.assertEqual(shortcomings(everything(lambda kind: True)), [])

    def test_a_line_that_did_not_run_breaks_that_of_its_room(self):
        found = shortcomings(everything(lambda kind: kind != LINE))
        self.assertEqual(found, ["decoder: 0.00 % of lines, expected 100 %", "plug-in: 0.00 % of lines, expected 100 %",
                                 "platform: 0.00 % of lines, expected 95 %", "host: 0.00 % of lines, expected 95 %",
                                 "tools: 0.00 % of lines, expected 95 %"])

    def test_half_of_the_branches_are_too_few_everywhere(self):
        self.assertEqual([sentence.split(":")[1][:19] for sentence in shortcomings(everything(lambda kind: kind != TRUE))],
                         [" 50.00 % of branche"] * len(ROOMS))

    def test_conditions_have_to_decide_in_plug_in_and_decoder_alone(self):
        self.assertEqual(shortcomings(everything(lambda kind: kind != CONDITION)),
                         ["decoder: 0.00 % of conditions, expected 100 %", "plug-in: 0.00 % of conditions, expected 100 %"])

    def test_just_below_a_hundred_is_too_little(self):
        items = everything(lambda kind: True)
        items |= {Item(PLUGIN, line, 0, LINE): line != 1 for line in range(1, 100_000)}
        self.assertEqual(len(shortcomings(items)), 1)

    def test_room_of_which_nothing_was_counted_is_told(self):
        self.assertEqual(len([sentence for sentence in shortcomings({}) if "nothing was counted" in sentence]), len(ROOMS))


class Exclusions(unittest.TestCase):
    def setUp(self):
        self.uncovered = {Item(PLUGIN, 1, 5, TRUE): False, Item(PLUGIN, 2, 0, LINE): False}
        self.items = {Item(PLUGIN, 1, 0, LINE): True, Item(PLUGIN, 1, 5, FALSE): True,
                      Item(PLUGIN, 5, 0, LINE): False} | self.uncovered

    def test_lines_in_their_order_name_one_place(self):
        self.assertEqual(excluded(EXCLUSION, self.items), (set(self.uncovered), []))

    def test_what_is_excluded_counts_on_neither_side(self):
        row = next(row for row in rows_of(self.items, set(self.uncovered)) if row.room.name == "plug-in")
        self.assertEqual((row.total[LINE], row.happened[LINE], row.percent(TRUE, FALSE), row.excluded), (2, 1, 100, 2))

    def test_what_happens_after_all_needs_no_exclusion(self):
        self.items[Item(PLUGIN, 2, 0, LINE)] = True
        self.assertEqual(excluded(EXCLUSION, self.items)[1],
                         ['line 3: needed no more: nothing of "if (memory == nullptr) {" never runs'])

    def test_text_that_stands_nowhere_or_twice_names_no_place(self):
        for text, count in (("if (memory) {", 0), ("return nullptr;", 2)):
            listed = f"in {PLUGIN}\nline {text}\nwhat line\nwhy Because.\n"
            self.assertEqual(excluded(listed, self.items),
                             (set(), [f'line 1: "{text}" stands {count} times in {PLUGIN}']))

    def test_incomplete_or_misspelt_exclusion_is_refused(self):
        for listed, expected in ((f"in {PLUGIN}\nline a\nwhat line\n", "has to say"),
                                 (f"in {PLUGIN}\nline a\nwhat lines\nwhy b\n", 'not "lines"'),
                                 ("# none\n\nat host/a.cpp\n", 'line 3: expected in, line, what or why, not "at"')):
            with self.assertRaisesRegex(ListError, expected):
                read_exclusions(listed)


class Table(unittest.TestCase):
    def test_room_has_its_figures_in_a_row(self):
        items = {Item("host/a.cpp", line, 0, LINE): line > 1 for line in range(1, 5)}
        row = next(line for line in table(rows_of(items, set())).splitlines() if line.startswith("host"))
        self.assertEqual(row.split(), ["host", "4", "75.00", "0", "100.00", "0", "100.00", "0"])


if __name__ == "__main__":
    unittest.main()
