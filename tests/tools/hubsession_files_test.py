#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of the hubsession command: its ledger and its log, good ones and bad ones."""

import contextlib
import json
import os
import shutil
import sqlite3
import subprocess
import unittest

from command_test import limiting_files, respect_permissions
from session_test import (
    CLICKS, DOUBLE_CLICKS, FAULT, NAMES, PICO, SINGLE_CLICKS, SessionTest, add, batch, device,
    push, set_to)

LEDGER_TABLES = {
    ("table", "scalar", (("key", "TEXT", 1), ("value", "INTEGER", 0))),
    ("table", "sample", (("id", "INTEGER", 1), ("key", "TEXT", 0), ("value", "REAL", 0))),
}


class LedgerTest(SessionTest):
    def play_into(self, name, *batches, **options):
        return self.play(device(*batches), "--ledger", name, **options)

    def execute(self, name, *statements):
        with contextlib.closing(sqlite3.connect(self.folder / name)) as database:
            for statement in statements:
                database.execute(statement)
            database.commit()

    def assert_undamaged(self, name):
        self.assertEqual([("ok",)], self.rows(name, "PRAGMA integrity_check"))


class Ledger(LedgerTest):
    def test_is_made_when_it_is_missing(self):
        self.assert_done(self.play_into("stats", batch(add(CLICKS))))
        self.assertEqual(["device.json", "stats"], self.names())

    def test_of_a_run_without_batches_is_made_empty(self):
        self.assert_done(self.play_into("stats"))
        self.assertEqual(({}, []), (self.scalars("stats"), self.rows("stats", "SELECT * FROM sample")))

    def test_has_its_tables_and_no_more(self):
        self.assert_done(self.play_into("stats"))
        tables = {(kind, name, tuple((column[1], column[2], column[5])
                                     for column in self.rows("stats", f"PRAGMA table_info({name})")))
                  for kind, name in self.rows("stats", "SELECT type, name FROM sqlite_schema WHERE type <> 'index'")}
        self.assertEqual(LEDGER_TABLES, tables)

    def test_keeps_its_log_beside_it(self):
        self.assert_done(self.play_into("stats"))
        self.assertEqual([("wal",)], self.rows("stats", "PRAGMA journal_mode"))

    def test_holds_scalars_and_the_samples_oldest_first(self):
        self.assert_done(self.play_into("stats", batch(add(CLICKS, 2), push(PICO, 3)),
                                        batch(push(PICO, 1), set_to(SINGLE_CLICKS, -7), push(PICO, 2.5))))
        self.assertEqual({NAMES[CLICKS]: 2, NAMES[SINGLE_CLICKS]: -7}, self.scalars("stats"))
        self.assertEqual([3, 1, 2.5], self.samples("stats", PICO))

    def test_is_added_to_by_a_second_run(self):
        for _ in range(2):
            self.assert_done(self.play_into("stats", batch(add(CLICKS, 5), push(PICO, 1), set_to(SINGLE_CLICKS, 9))))
        self.assertEqual({NAMES[CLICKS]: 10, NAMES[SINGLE_CLICKS]: 9}, self.scalars("stats"))
        self.assertEqual([1, 1], self.samples("stats", PICO))

    def test_counts_in_the_output_are_of_the_whole_ledger(self):
        self.assert_done(self.play_into("stats", batch(add(CLICKS))))
        self.assert_done(self.play_into("stats", batch(add(SINGLE_CLICKS))),
                         "ledger      stats: 2 scalars, 0 distributions")

    def test_wraps_around_at_64_bits(self):
        self.assert_done(self.play_into("stats", batch(add(CLICKS))))
        self.execute("stats", f"UPDATE scalar SET value = {2**63 - 1}")
        self.assert_done(self.play_into("stats", batch(add(CLICKS))))
        self.assertEqual({NAMES[CLICKS]: -2**63}, self.scalars("stats"))

    def test_is_made_of_an_empty_file(self):
        self.assert_done(self.play_into(self.file("stats", b""), batch(add(CLICKS))))
        self.assertEqual({NAMES[CLICKS]: 1}, self.scalars("stats"))

    def test_may_be_read_while_it_is_written(self):
        self.assert_done(self.play_into("stats", batch(add(CLICKS))))
        with contextlib.closing(sqlite3.connect(self.folder / "stats")) as reader:
            reader.execute("BEGIN")
            before = reader.execute("SELECT value FROM scalar").fetchall()
            self.assert_done(self.play_into("stats", batch(add(CLICKS))))
            self.assertEqual(before, reader.execute("SELECT value FROM scalar").fetchall())
        self.assertEqual({NAMES[CLICKS]: 2}, self.scalars("stats"))


class RefusedLedger(LedgerTest):
    """A run does not begin, and what is there stays as it is to the byte."""

    def assert_refused(self, name, *words, **options):
        before = {path.name: path.read_bytes() for path in self.folder.iterdir() if path.is_file()}
        result = self.play_into(name, batch(add(CLICKS)), **options)
        self.assert_fails_telling(result, f"hubsession: {name}: ", *words)
        self.assertEqual(b"", result.output)
        os.unlink(self.folder / "device.json")
        after = {path.name: path.read_bytes() for path in self.folder.iterdir() if path.is_file()}
        self.assertEqual(before, after)

    def good_ledger(self):
        self.assert_done(self.play_into("stats", batch(*[push(PICO, sample) for sample in range(2000)])))
        os.unlink(self.folder / "device.json")
        return "stats"

    def test_text_is_refused(self):
        for content in (b"x", b"no database\n" * 1000, b"SQLite format 3\0"):
            with self.subTest(content=content[:20]):
                self.assert_refused(self.file("stats", content), "is no ledger")

    def test_database_of_another_program_is_refused(self):
        self.execute("stats", "CREATE TABLE scalar (key TEXT PRIMARY KEY, value INTEGER)")
        self.assert_refused("stats", "is no ledger: expected a database with application id")

    def test_ledger_of_another_version_is_refused(self):
        self.execute(self.good_ledger(), "PRAGMA user_version = 2")
        self.assert_refused("stats", "is a ledger of version 2, expected 1")

    def test_ledger_with_other_tables_is_refused(self):
        self.execute(self.good_ledger(), "ALTER TABLE scalar ADD COLUMN unit TEXT")
        self.assert_refused("stats", "has not the tables of a ledger")

    def test_ledger_that_stops_early_is_refused(self):
        content = self.content(self.good_ledger())
        self.assertGreater(len(content), 5 * 4096)
        self.file("stats", content[:-4096])
        self.assert_refused("stats", "damaged")

    def test_ledger_with_an_overwritten_page_is_refused(self):
        content = bytearray(self.content(self.good_ledger()))
        content[-8192:-4096] = b"\xa5" * 4096
        self.file("stats", content)
        self.assert_refused("stats", "damaged")

    def test_folder_is_refused(self):
        os.mkdir(self.folder / "stats")
        self.assert_refused("stats", "is a folder, expected a ledger")
        self.assertEqual([], self.names("stats"))

    def test_named_pipe_is_refused(self):
        self.assert_refused(self.fifo("stats"), "is no regular file, expected a ledger")

    def test_ledger_in_a_missing_folder_is_refused(self):
        self.assert_refused("missing/stats", "there is no folder ", "missing")

    def test_ledger_that_may_not_be_written_is_refused(self):
        os.chmod(self.folder / self.good_ledger(), 0o444)
        self.assert_refused("stats", "cannot be read and written: Permission denied", preexec_fn=respect_permissions)

    def test_ledger_in_a_folder_that_may_not_be_written_is_refused(self):
        os.mkdir(self.folder / "closed")
        shutil.move(self.folder / self.good_ledger(), self.folder / "closed/stats")
        os.chmod(self.folder / "closed", 0o555)
        self.assert_refused("closed/stats", "needs a folder that can be written", preexec_fn=respect_permissions)
        self.assertEqual(["stats"], self.names("closed"))


class LockedLedger(LedgerTest):
    """Another process keeps it for longer than a run waits."""

    def setUp(self):
        super().setUp()
        self.assert_done(self.play_into("stats", batch(add(CLICKS))))
        self.other = sqlite3.connect(self.folder / "stats", isolation_level=None)
        self.addCleanup(self.other.close)

    def test_for_itself_alone_keeps_the_run_from_beginning(self):
        self.other.execute("PRAGMA locking_mode = EXCLUSIVE")
        self.other.execute("BEGIN EXCLUSIVE")
        result = self.play_into("stats", batch(add(CLICKS)))
        self.assert_fails_telling(result, "stats: is locked by another connection, try again when that has ended")
        self.assertEqual(b"", result.output)

    def test_for_writing_fails_the_first_batch_and_delivers_no_other(self):
        self.other.execute("BEGIN EXCLUSIVE")
        result = self.play_into("stats", batch(add(CLICKS)), batch(add(SINGLE_CLICKS)))
        self.assert_fails_telling(result, "a batch was not filed, and those after it were not delivered: ",
                                  "stats: is locked by another connection, try again when that has ended")
        self.assertIn("statistics  0 records published in 0 batches", result.output.decode())
        self.other.execute("ROLLBACK")
        self.assertEqual({NAMES[CLICKS]: 1}, self.scalars("stats"))

    def test_and_lets_go_in_time_is_waited_for(self):
        self.other.execute("BEGIN EXCLUSIVE")
        process = self.start_playing(device(batch(add(CLICKS))), "--ledger", "stats")
        with self.assertRaises(subprocess.TimeoutExpired):
            process.wait(0.5)
        self.other.execute("ROLLBACK")
        self.assert_done(self.finish(process), "statistics  1 record published in 1 batch")
        self.assertEqual({NAMES[CLICKS]: 2}, self.scalars("stats"))


class FullDisk(LedgerTest):
    """Files that cannot grow any more."""

    BATCHES = [batch(add(CLICKS), *[push(PICO, number + part / 256) for part in range(200)], add(SINGLE_CLICKS))
               for number in range(100)]

    def assert_whole_batches(self, name):
        """How many there are."""
        self.assert_undamaged(name)
        scalars = self.scalars(name)
        count = scalars.get(NAMES[CLICKS], 0)
        self.assertEqual(count, scalars.get(NAMES[SINGLE_CLICKS], 0))
        self.assertEqual([number + part / 256 for number in range(count) for part in range(200)],
                         self.samples(name, PICO))
        return count

    def test_ends_the_run_and_keeps_the_batches_before_whole(self):
        for limit_bytes in (160_000, 333_333, 500_000):
            with self.subTest(limit_bytes=limit_bytes):
                name = f"stats{limit_bytes}"
                result = self.play_into(name, *self.BATCHES, preexec_fn=limiting_files(limit_bytes))
                self.assert_fails_telling(result, "a batch was not filed, and those after it were not delivered: "
                                                  f"{name}: ")
                count = self.assert_whole_batches(name)
                self.assertIn(f"statistics  {202 * count} records published in {count} batch", result.output.decode())
                self.assertIn(count, range(1, len(self.BATCHES)))

    def test_while_the_ledger_is_made_is_told_and_leaves_what_can_be_taken_up(self):
        for limit_bytes in (0, 1000, 4096, 10_000, 30_000):
            with self.subTest(limit_bytes=limit_bytes):
                name = f"stats{limit_bytes}"
                result = self.play_into(name, batch(add(CLICKS)), preexec_fn=limiting_files(limit_bytes))
                self.assert_fails_telling(result, f"{name}: ")
                self.assert_done(self.play_into(name, batch(add(CLICKS))))
                self.assertEqual({NAMES[CLICKS]: 1}, self.scalars(name))

    def test_keeps_what_an_earlier_run_filed(self):
        self.assert_done(self.play_into("stats", *self.BATCHES[:3]))
        result = self.play_into("stats", *self.BATCHES[3:], preexec_fn=limiting_files(200_000))
        self.assertEqual(1, result.status)
        self.assertGreaterEqual(self.assert_whole_batches("stats"), 3)

    def test_with_room_again_takes_up_where_it_ended(self):
        self.play_into("stats", *self.BATCHES, preexec_fn=limiting_files(333_333))
        count = self.assert_whole_batches("stats")
        self.assert_done(self.play_into("stats", *self.BATCHES[count:]))
        self.assertEqual(len(self.BATCHES), self.assert_whole_batches("stats"))


class ShownLedger(LedgerTest):
    FILED = batch(set_to(CLICKS, -12), set_to(SINGLE_CLICKS, 3), push(PICO, 1.5), push(PICO, -0.25))

    def show(self, *arguments, **options):
        return self.run_command("ledger", *arguments, **options)

    def assert_shown(self, result, output):
        self.assertEqual((output, "", 0), (result.output.decode(), result.messages, result.status))

    def assert_refused(self, name, *words):
        before = self.names()
        result = self.show(name)
        self.assert_fails_telling(result, f"hubsession: {name}: ", *words)
        self.assertEqual((b"", before), (result.output, self.names()))

    def test_as_text_is_two_tables(self):
        self.play_into("stats", self.FILED)
        self.assert_shown(self.show("stats"),
                          "scalar                                   value\n"
                          "com.vantu.neb.button.click.count           -12\n"
                          "com.vantu.neb.button.single_click.count      3\n"
                          "\n"
                          "distribution                     count    min   mean  max\n"
                          "com.vantu.neb.button.click.pico      2  -0.25  0.625  1.5\n")

    def test_as_json_is_one_object(self):
        self.play_into("stats", self.FILED)
        for words in (("--json", "stats"), ("stats", "--json")):
            result = self.show(*words)
            self.assertEqual(("", 0), (result.messages, result.status))
            self.assertEqual({"format": "hub-ledger/1",
                              "scalars": {NAMES[CLICKS]: -12, NAMES[SINGLE_CLICKS]: 3},
                              "distributions": {NAMES[PICO]: {"count": 2, "min": -0.25, "mean": 0.625, "max": 1.5}}},
                             json.loads(result.output))

    def test_without_contents_says_so(self):
        self.play_into("stats")
        self.assert_shown(self.show("stats"), "no scalars\n\nno distributions\n")
        self.assertEqual({"format": "hub-ledger/1", "scalars": {}, "distributions": {}},
                         json.loads(self.show("stats", "--json").output))

    def test_is_not_changed(self):
        self.play_into("stats", self.FILED)
        before, names = self.content("stats"), self.names()
        self.show("stats")
        self.assertEqual((before, names), (self.content("stats"), self.names()))

    def test_that_may_only_be_read_is_shown(self):
        self.play_into("stats", self.FILED)
        os.chmod(self.folder / "stats", 0o444)
        os.chmod(self.folder, 0o555)
        self.addCleanup(os.chmod, self.folder, 0o755)
        self.assertEqual(0, self.show("stats", preexec_fn=respect_permissions).status)

    def test_that_is_missing_is_told_and_not_made(self):
        self.assert_refused("missing", "No such file or directory")

    def test_that_is_none_is_told(self):
        self.assert_refused(self.file("text", b"no database\n" * 1000), "is no ledger")
        self.assert_refused(self.file("empty", b""), "is no ledger")
        self.execute("foreign", "CREATE TABLE other (key TEXT)")
        self.assert_refused("foreign", "is no ledger")

    def test_on_a_full_standard_output_fails(self):
        self.play_into("stats", self.FILED)
        with open("/dev/full", "wb") as full:
            self.assert_failed(self.show("stats", stdout=full), "standard output cannot be written")


class Log(SessionTest):
    REGISTERED = {"level": "default", "subsystem": "NEB", "category": "VantuHUBHIDStatistics",
                  "message": "registerService: name=button"}

    def levels(self, *options):
        self.assert_done(self.play(device(batch(add(CLICKS)), notifications=[FAULT]), "--log", "log", *options))
        return [line["level"] for line in self.log_lines("log")]

    def test_line_has_exactly_four_keys_in_order(self):
        self.assert_done(self.play(device(), "--log", "log"))
        self.assertEqual(json.dumps(self.REGISTERED, separators=(",", ":")).encode() + b"\n", self.content("log"))

    def test_lines_stand_in_the_order_in_which_they_were_logged(self):
        self.assert_done(self.play(device(batch(add(CLICKS)), batch(add(DOUBLE_CLICKS)), notifications=[FAULT]),
                                   "--log", "log"))
        self.assertEqual([("default", "registerService: name=button"),
                          ("error", f"publishSLData op=0x3 '{NAMES[CLICKS]}' (0)"),
                          ("error", f"publishSLData op=0x3 '{NAMES[DOUBLE_CLICKS]}' (0x2)"),
                          ("fault", "fault!")],
                         [(line["level"], line["message"]) for line in self.log_lines("log")])

    def test_one_line_end_is_taken_off_a_message(self):
        content = device()
        content["registry"][0]["children"][0]["children"][0]["driver"] = {"interface": False}
        self.assert_done(self.play(content, "--log", "log"))
        assertions = [message for message in self.log_messages("log") if "AssertMacros" in message]
        self.assertEqual(2, len(assertions))
        for message in assertions:
            self.assertRegex(message, r"value:0\Z")

    def test_text_of_the_device_file_is_kept_in_a_message(self):
        name = "Knöpfe \"1\"\\\n\u2028 100%s"
        content = device()
        content["registry"][0]["children"][0]["children"][0]["name"] = name
        self.assert_done(self.play(content, "--log", "log"))
        self.assertEqual([f"registerService: name={name}"],
                         [json.loads(line)["message"] for line in self.content("log").split(b"\n")[:-1]])

    def test_level_is_the_lowest_that_is_logged(self):
        for options, levels in (((), ["default", "error", "fault"]),
                                (("--log-level", "default"), ["default", "error", "fault"]),
                                (("--log-level", "error"), ["error", "fault"]),
                                (("--log-level", "fault"), ["fault"]),
                                (("--log-level", "off"), [])):
            with self.subTest(options=options):
                self.assertEqual(levels, self.levels(*options))

    def test_level_without_a_log_is_taken(self):
        self.assert_done(self.play(device(), "--log-level", "fault"))
        self.assertEqual(["device.json"], self.names())

    def test_of_an_earlier_run_is_replaced(self):
        self.file("log", b"old\n" * 1000)
        self.assert_done(self.play(device(), "--log", "log"))
        self.assertEqual([self.REGISTERED], self.log_lines("log"))

    def test_that_is_a_file_of_the_run_is_refused_and_the_file_stays(self):
        name, plugin = self.device_file(device()), self.file("plugin.so", b"library")
        self.assert_done(self.run_command("run", name, "--ledger", "stats"))
        os.symlink("stats", self.folder / "link")
        os.link(self.folder / name, self.folder / "other name")
        before = {path: self.content(path) for path in self.names()}
        for words in ((name, "--log", name), (name, "--log", "other name"), (name, "--log", plugin, "--plugin", plugin),
                      (name, "--log", "./stats", "--ledger", "stats"), (name, "--ledger", "stats", "--log", "link"),
                      (name, "--ledger", "new", "--log", f"../{self.folder.name}/new")):
            result = self.run_command("run", *words)
            self.assertEqual((b"", 2), (result.output, result.status), words)
            self.assertIn("hubsession: --log: expected a file that the run does not need otherwise", result.messages)
        self.assertEqual(before, {path: self.content(path) for path in self.names()})

    def test_that_cannot_be_opened_is_told_and_nothing_is_posted(self):
        os.mkdir(self.folder / "folder")
        self.file("closed", b"old\n")
        os.chmod(self.folder / "closed", 0o444)
        for name, reason in (("missing/log", "No such file or directory"), ("folder", "Is a directory"),
                             ("device.json/log", "Not a directory"), ("closed", "Permission denied")):
            with self.subTest(name=name):
                result = self.play(device(batch(add(CLICKS))), "--ledger", "stats", "--log", name,
                                   preexec_fn=respect_permissions)
                self.assert_failed(result, f"{name}: {reason}")
                self.assertEqual((b"", {}), (result.output, self.scalars("stats")))
        self.assertEqual(b"old\n", self.content("closed"))

    def test_on_a_full_device_fails_and_the_ledger_is_written(self):
        result = self.play(device(batch(add(CLICKS))), "--ledger", "stats", "--log", "/dev/full")
        self.assert_failed(result, "/dev/full: No space left on device")
        self.assertEqual({NAMES[CLICKS]: 1}, self.scalars("stats"))

    def test_that_grows_beyond_the_disk_fails_with_the_lines_before(self):
        result = self.play(device(*[batch(add(CLICKS))] * 500), "--log", "log", preexec_fn=limiting_files(30_000))
        self.assert_failed(result, "log: File too large")
        lines = self.content("log").split(b"\n")[:-1]
        self.assertGreater(len(lines), 100)
        self.assertEqual({"error"}, {json.loads(line)["level"] for line in lines[1:]})

    def test_may_be_a_named_pipe(self):
        process = self.start_playing(device(), "--log", self.fifo("pipe"))
        with open(self.folder / "pipe", "rb") as pipe:
            self.assertEqual([self.REGISTERED], [json.loads(line) for line in pipe])
        self.assert_done(self.finish(process))


if __name__ == "__main__":
    unittest.main()
