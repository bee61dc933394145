#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The figures of generated captures, worked out a second time from their bytes.

All names and layouts here are written apart from the command's, whose path is
COMMAND.
"""

import collections
import json
import os
import random
import struct
import subprocess
import tempfile
import unittest

COMMAND = os.path.abspath(os.environ["COMMAND"])
SUMMARY_COMMAND = [COMMAND, "summary", "--json"]
COMPARISON_COMMAND = [COMMAND, "compare", "--json"]

RECORD_BYTES = 48
MOST_ROWS = 1024
EXACT_VALUES = 256
RELATIVE_ERROR = 0.01
KEPT_PRESSES = 10

FUNCTION_TYPE, EXTFUNCTION_TYPE = 5, 9
CHECKPOINTS = ("finger_on", "finger_off", "button_down", "button_up",
               "arc_turn_on", "start_haptics", "arc_ready", "play_asset")
LATENCIES = {"finger_to_button": ("finger_on", "button_down"),
             "finger_to_haptics": ("finger_on", "start_haptics"),
             "finger_to_asset": ("finger_on", "play_asset"),
             "button_to_asset": ("button_down", "play_asset")}

Record = collections.namedtuple(
    "Record", "type event component category sequence time_us payload")


# --- Captures ----------------------------------------------------------------

def record(category, component, event, kind, time_us, payload=b""):
    return struct.pack("<BBBBIQ32s", kind, event, component, category, 0,
                       time_us, payload)


def function_payload(function_id, duration, thread_duration):
    return struct.pack("<6I", function_id, 0, 1, duration, 1, thread_duration)


def extfunction_payload(name, duration):
    return struct.pack("<4I16s", 0, 1, duration, 0, name)


def records_of(capture):
    return [Record(*values) for values in struct.iter_unpack("<BBBBIQ32s", capture)]


class Generator:
    """A capture of weighted random records with a clock that mostly advances."""

    def __init__(self, seed):
        self.random = random.Random(seed)
        self.time_us = self.random.randrange(10**9)
        self.records = []

    def add(self, category, component, event, kind, payload=b""):
        self.time_us += self.random.randrange(200)
        late_us = self.random.choice((0,) * 50 + (30, 500))
        self.records.append(record(category, component, event, kind,
                                   max(0, self.time_us - late_us), payload))

    def capture(self, count):
        while len(self.records) < count:
            self.random.choice((self.ordinary, self.ordinary, self.function,
                                self.function, self.extfunction, self.press))()
        return b"".join(self.records[:count])

    def duration(self):
        return self.random.getrandbits(self.random.randrange(1, 33))

    def ordinary(self):
        self.add(self.random.randrange(16), self.random.randrange(12),
                 self.random.randrange(12), self.random.choice((0, 2, 3, 4, 8, 12)))

    def function(self):
        identifier = self.random.choice((17, 31, self.random.randrange(3000)))
        self.add(0, 1, self.random.choice((0, 0, 0, self.random.randrange(256))),
                 FUNCTION_TYPE,
                 function_payload(identifier, self.duration(), self.duration()))

    def extfunction(self):
        name = self.random.choice((b"hub_boot", b"sixteen_letters_", b"", b"\xff\x01",
                                   "d\u00fcse".encode(), b"cut\0off"))
        self.add(0, 4, 0, EXTFUNCTION_TYPE, extfunction_payload(name, self.duration()))

    def press(self):
        for event in (0, 2, 4, 5, 6, 7, 3, 1):
            if self.random.random() < 0.95:
                self.add(7, 3, event, 3)


# --- Figures -----------------------------------------------------------------

def distribution(values):
    values = sorted(values)
    figures = {"count": len(values), "percentiles_exact": len(values) <= EXACT_VALUES}
    for name, percent in (("p50", 50), ("p95", 95), ("p99", 99)):
        figures[name] = values[-(-len(values) * percent // 100) - 1] if values else None
    figures["min"] = values[0] if values else None
    figures["max"] = values[-1] if values else None
    return figures


def split(pairs):
    """The values of the first MOST_ROWS keys that come, and those of all others."""
    rows, others = {}, []
    for key, value in pairs:
        if key in rows:
            rows[key].append(value)
        elif len(rows) < MOST_ROWS:
            rows[key] = [value]
        else:
            others.append(value)
    return rows, others


def durations(found):
    """Of each record that has one: what function, duration, thread duration."""
    if found.type == FUNCTION_TYPE:
        number, _, _, duration, _, thread = struct.unpack_from("<6I", found.payload)
        return ("function", number), duration, thread
    if found.type == EXTFUNCTION_TYPE:
        _, _, duration, _, name = struct.unpack_from("<4I16s", found.payload)
        return ("extfunction", name.split(b"\0")[0]), duration, None
    return None


def presses(records):
    """Each press as its checkpoints by name, and how many belong to none."""
    found, current, strays = [], None, 0
    for entry in records:
        if (entry.category, entry.component) != (7, 3) or entry.event >= len(CHECKPOINTS):
            continue
        name = CHECKPOINTS[entry.event]
        again = current is None or "button_down" in current
        if name == "finger_on" or (name == "button_down" and again):
            current = {}
            found.append(current)
        if current is None:
            strays += 1
            continue
        current.setdefault(name, entry.time_us)
        if name == "finger_off":
            current = None
    return found, strays


def latency(press, name):
    start, end = (press.get(checkpoint) for checkpoint in LATENCIES[name])
    return end - start if None not in (start, end) and end >= start else None


def outcome(press):
    for checkpoint, name in (("play_asset", "complete"), ("start_haptics", "no_asset"),
                             ("button_down", "no_haptics")):
        if checkpoint in press:
            return name
    return "no_button"


def summary_of(capture):
    run = subprocess.run(SUMMARY_COMMAND, input=capture, stdout=subprocess.PIPE,
                         check=True, timeout=600)
    return json.loads(run.stdout)


# --- Summaries ---------------------------------------------------------------

class SummaryCase(unittest.TestCase):
    def summarise(self, capture):
        self.records = records_of(capture)
        self.summary = summary_of(capture)
        self.span_us = (max(entry.time_us for entry in self.records)
                        - min(entry.time_us for entry in self.records))

    def expect_close(self, found, wanted):
        self.assertAlmostEqual(found, wanted, delta=abs(wanted) * 1e-12)

    def expect_records(self, found, times_us):
        self.assertEqual((found["count"], found["first_us"], found["last_us"]),
                         (len(times_us), min(times_us), max(times_us)))
        self.expect_close(found["share"], len(times_us) / len(self.records))
        self.expect_close(found["per_second"], len(times_us) * 1e6 / self.span_us)

    def expect_distribution(self, found, values):
        for name, wanted in distribution(values).items():
            if name in ("p50", "p95", "p99") and len(values) > EXACT_VALUES:
                self.assertLessEqual(abs(found[name] - wanted), RELATIVE_ERROR * wanted, name)
            else:
                self.assertEqual(found[name], wanted, name)

    def expect_durations(self, found, values):
        self.expect_distribution(found, values)
        self.assertEqual(found["total"], sum(values))

    def expect_table(self, table, pairs, key_of, expect, amount):
        """Same keys, same figures, the largest amount first."""
        rows, others = split(pairs)
        self.assertCountEqual(map(key_of, table["rows"]), rows)
        for found in table["rows"]:
            expect(found, rows[key_of(found)])
        amounts = [found[amount] for found in table["rows"]]
        self.assertEqual(amounts, sorted(amounts, reverse=True))
        self.assertEqual(table["others"] is None, not others)
        if others:
            expect(table["others"], others)

    def expect_all(self):
        self.expect_capture()
        self.expect_groups()
        self.expect_event_durations()
        self.expect_functions()
        self.expect_presses()

    def expect_capture(self):
        self.assertEqual(self.summary["format"], "hub-profile-summary/1")
        self.assertEqual(self.summary["records"], len(self.records))
        self.assertEqual(self.summary["bytes"], len(self.records) * RECORD_BYTES)
        self.assertEqual(self.summary["first_us"], min(entry.time_us for entry in self.records))
        self.assertEqual(self.summary["last_us"], max(entry.time_us for entry in self.records))
        self.assertEqual(self.summary["span_us"], self.span_us)
        self.expect_close(self.summary["per_second"], len(self.records) * 1e6 / self.span_us)

    def expect_groups(self):
        levels = (("categories", ("category",)), ("components", ("category", "component")),
                  ("events", ("category", "component", "event")))
        for name, ids in levels:
            self.expect_table(
                self.summary[name],
                [(tuple(getattr(entry, part) for part in ids), entry.time_us)
                 for entry in self.records],
                lambda row, parts=ids: tuple(row[part + "_id"] for part in parts),
                self.expect_records, "count")

    def expect_event_durations(self):
        self.expect_table(
            self.summary["event_durations"],
            [((entry.category, entry.component, entry.event), durations(entry)[1])
             for entry in self.records if durations(entry)],
            lambda row: (row["category_id"], row["component_id"], row["event_id"]),
            self.expect_durations, "total")

    def expect_functions(self):
        def key_of(row):
            if row["layout"] == "function":
                return "function", row["function_id"]
            if "function_bytes" in row:
                return "extfunction", bytes.fromhex(row["function_bytes"])
            return "extfunction", row["function"].encode()

        def expect(found, values):
            self.expect_durations(found, [duration for duration, _ in values])
            threads = [thread for _, thread in values if thread is not None]
            self.assertEqual(found["thread_total"], sum(threads) if threads else None)

        self.expect_table(
            self.summary["functions"],
            [(durations(entry)[0], durations(entry)[1:])
             for entry in self.records if durations(entry)],
            key_of, expect, "total")

    def expect_presses(self):
        found = self.summary["presses"]
        wanted, strays = presses(self.records)
        self.assertEqual(found["count"], len(wanted))
        self.assertEqual(found["stray_checkpoints"], strays)
        outcomes = collections.Counter(map(outcome, wanted))
        self.assertEqual(found["outcomes"], {name: outcomes[name] for name in (
            "complete", "no_asset", "no_haptics", "no_button")})
        backward = 0
        for name, (start, end) in LATENCIES.items():
            values = [latency(press, name) for press in wanted if latency(press, name) is not None]
            self.expect_distribution(found["latencies_us"][name], values)
            backward += sum(start in press and end in press for press in wanted) - len(values)
        self.assertEqual(found["backward_latencies"], backward)
        self.expect_listed_presses(found["listed"], wanted)

    def expect_listed_presses(self, listed, wanted):
        def wait_us(number):
            press = wanted[number]
            begin = press.get("finger_on", press.get("button_down"))
            end = press.get("play_asset", -1)
            return end - begin if end >= begin else -1

        numbers = range(len(wanted))
        slowest = sorted((number for number in numbers if wait_us(number) >= 0),
                         key=lambda number: -wait_us(number))
        failed = [number for number in numbers if outcome(wanted[number]) != "complete"]
        kept = sorted({*numbers[:KEPT_PRESSES], *slowest[:KEPT_PRESSES], *failed[:KEPT_PRESSES]})
        self.assertEqual([press["number"] for press in listed], [number + 1 for number in kept])
        for press, number in zip(listed, kept):
            self.assertEqual(press["outcome"], outcome(wanted[number]))
            self.assertEqual({name: time for name, time in press["times_us"].items()
                              if time is not None}, wanted[number])
            self.assertEqual(press["latencies_us"],
                             {name: latency(wanted[number], name) for name in LATENCIES})


class SummaryOfGeneratedCaptures(SummaryCase):
    def test_figures_of_200000_records_are_those_of_their_bytes(self):
        for seed in (1, 2):
            with self.subTest(seed=seed):
                self.summarise(Generator(seed).capture(200_000))
                self.expect_all()

    def test_figures_of_few_records_are_exact(self):
        for seed in range(10, 30):
            with self.subTest(seed=seed):
                self.summarise(Generator(seed).capture(150))
                self.expect_all()

    def test_random_bytes_have_figures_like_any_capture(self):
        self.summarise(random.Random(3).randbytes(20_000 * RECORD_BYTES))
        self.expect_all()


class SummaryOfSmallCaptures(SummaryCase):
    def test_names_stand_beside_their_ids(self):
        self.summarise(record(7, 3, 5, 3, 10) + record(7, 3, 5, 3, 20))
        row = self.summary["events"]["rows"][0]
        self.assertEqual((row["category"], row["component"], row["event"]),
                         ("sshb", "latency", "ckp_VossaStartHaptics"))

    def test_capture_without_a_record_has_nulls(self):
        summary = summary_of(b"")
        self.assertEqual(summary["records"], 0)
        for name in ("first_us", "last_us", "span_us", "per_second"):
            self.assertIsNone(summary[name], name)
        self.assertEqual(summary["events"], {"rows": [], "others": None})
        self.assertIsNone(summary["presses"]["latencies_us"]["finger_to_asset"]["p50"])

    def test_records_at_one_time_have_no_rate(self):
        self.summarise(record(1, 2, 3, 3, 77) * 3)
        self.assertEqual(self.summary["span_us"], 0)
        self.assertIsNone(self.summary["per_second"])
        self.assertIsNone(self.summary["events"]["rows"][0]["per_second"])

    def test_largest_numbers_stay_exact(self):
        last = 2**64 - 1
        self.summarise(record(7, 3, 0, 3, 0) + record(7, 3, 2, 3, last)
                       + record(0, 1, 0, FUNCTION_TYPE, last - 1,
                                function_payload(2**32 - 1, 2**32 - 1, 7)))
        self.assertEqual(self.summary["span_us"], last)
        self.assertEqual(self.summary["presses"]["latencies_us"]["finger_to_button"]["max"], last)
        self.expect_functions()


# --- Comparisons -------------------------------------------------------------

def change(a, b):
    """As the comparison should show a figure."""
    known = a is not None and b is not None
    has_percent = known and (a != 0 or b == 0)
    return {"a": a, "b": b, "difference": b - a if known else None,
            "percent": (100 * (b - a) / a if a else 0) if has_percent else None}


class ComparisonOfGeneratedCaptures(unittest.TestCase):
    """The summaries of both captures have everything that it should show."""

    TABLES = {"categories": ("category_id",), "components": ("category_id", "component_id"),
              "events": ("category_id", "component_id", "event_id"),
              "event_durations": ("category_id", "component_id", "event_id"),
              "functions": ("layout", "function_id", "function", "function_bytes")}
    SPREAD = ("count", "min", "p50", "p95", "p99", "max")

    def compare(self, a, b):
        with tempfile.TemporaryDirectory() as folder:
            paths = [os.path.join(folder, name) for name in ("a.bin", "b.bin")]
            for path, capture in zip(paths, (a, b)):
                with open(path, "wb") as file:
                    file.write(capture)
            run = subprocess.run([*COMPARISON_COMMAND, *paths], stdout=subprocess.PIPE,
                                 check=True, timeout=600)
        self.comparison = json.loads(run.stdout)
        self.a, self.b = summary_of(a), summary_of(b)

    def expect_change(self, found, a, b):
        wanted = change(a, b)
        self.assertEqual(set(found), set(wanted))
        for name, value in wanted.items():
            if isinstance(value, float) and found[name] is not None:
                self.assertAlmostEqual(found[name], value, delta=1e-9 + abs(value) * 1e-9)
            else:
                self.assertEqual(found[name], value, name)

    def rows_of(self, table):
        names = self.TABLES[table]
        key_of = lambda row: tuple(row.get(name) for name in names)
        return tuple({key_of(row): row for row in summary[table]["rows"]}
                     for summary in (self.a, self.b, self.comparison))

    def expect_row(self, found, a, b, figures):
        self.assertEqual(found["in"], "both" if a and b else "a" if a else "b")
        for figure in figures:
            missing = None if found["uncertain"] or figure not in ("count", "total", "share",
                                                                   "per_second") else 0
            self.expect_change(found[figure], *((row[figure] if row else missing)
                                                for row in (a, b)))

    def expect_table(self, table, figures, amount):
        rows_of_a, rows_of_b, rows = self.rows_of(table)
        self.assertEqual(set(rows), set(rows_of_a) | set(rows_of_b))
        for key, row in rows.items():
            a, b = rows_of_a.get(key), rows_of_b.get(key)
            others = (self.a if b else self.b)[table]["others"]
            self.assertEqual(row["uncertain"], not (a and b) and others is not None)
            self.expect_row(row, a, b, figures)
        changes = [abs((rows_of_b[key][amount] if key in rows_of_b else 0) / self.b["span_us"]
                       - (rows_of_a[key][amount] if key in rows_of_a else 0) / self.a["span_us"])
                   for key in rows]
        for earlier, later in zip(changes, changes[1:]):
            self.assertGreaterEqual(earlier * (1 + 1e-9), later)

    def test_all_figures_and_their_differences(self):
        self.compare(Generator(5).capture(3000), Generator(6).capture(40_000))
        for name in ("records", "bytes", "span_us", "per_second"):
            self.expect_change(self.comparison[name], self.a[name], self.b[name])
        for table in ("categories", "components", "events"):
            self.expect_table(table, ("count", "share", "per_second"), "count")
        for table in ("event_durations", "functions"):
            self.expect_table(table, (*self.SPREAD, "total"), "total")
        a, b, found = (summary["presses"] for summary in (self.a, self.b, self.comparison))
        for outcome_name in a["outcomes"]:
            self.expect_change(found[outcome_name], a["outcomes"][outcome_name],
                               b["outcomes"][outcome_name])
        for name in LATENCIES:
            for figure in self.SPREAD:
                self.expect_change(found["latencies_us"][name][figure],
                                   a["latencies_us"][name][figure],
                                   b["latencies_us"][name][figure])


if __name__ == "__main__":
    unittest.main()
