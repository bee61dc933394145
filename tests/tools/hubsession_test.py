#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of the hubsession command: its words, plug-ins, what a run tells."""

import os
import pathlib
import re
import shutil
import subprocess
import unittest

from command_test import COMMAND, SANITIZERS, closing
from session_test import (
    BROKEN, BUTTON, CLICKS, FAULT, KEYBOARD, NAMES, PICO, SINGLE_CLICKS, SessionTest,
    add, batch, device, packed, push, record, set_to)


class Words(SessionTest):
    def assert_refused(self, *words, tells):
        """Exit status 2, and nothing has run."""
        before = self.names()
        result = self.run_command(*words)
        self.assertEqual((b"", 2), (result.output, result.status), words)
        self.assertRegex(result.messages, r"\Ahubsession: [^\n]+\nTry hubsession --help\.\n\Z")
        self.assertIn(tells, result.messages)
        self.assertEqual(before, self.names())

    def test_no_subcommand_is_refused(self):
        self.assert_refused(tells="subcommand is required")

    def test_unknown_subcommand_is_refused(self):
        self.assert_refused("play", tells="")

    def test_two_subcommands_are_refused(self):
        name = self.device_file(device())
        self.assert_refused("run", name, "ledger", name, tells="")

    def test_unknown_option_is_refused(self):
        self.assert_refused("run", self.device_file(device()), "--verbose", tells="--verbose")
        self.assert_refused("ledger", "a", "--ledger", "a", tells="--ledger")

    def test_missing_file_is_refused(self):
        self.assert_refused("run", tells="DEVICE is required")
        self.assert_refused("run", "--ledger", "stats", tells="DEVICE is required")
        self.assert_refused("ledger", tells="FILE is required")
        self.assert_refused("ledger", "--json", tells="FILE is required")

    def test_second_file_is_refused(self):
        name = self.device_file(device())
        self.assert_refused("run", name, name, tells=name)
        self.assert_refused("ledger", "a", "b", tells="b")

    def test_unknown_log_level_is_refused(self):
        for level in ("", "info", "Default", "off ", "0", "default,error"):
            self.assert_refused("run", self.device_file(device()), "--log-level", level, "--log", "log",
                                tells=f'--log-level: expected default, error, fault or off, not "{level}"')

    def test_boot_time_that_is_no_time_is_refused(self):
        for time in ("-1", "x", "None", "1.5", "", str(2**63)):
            self.assert_refused("run", self.device_file(device()), "--boot-time", time, "--ledger", "stats",
                                tells=f'--boot-time: expected "none", or microseconds from 0 to 2^63 - 1, not "{time}"')

    def test_empty_file_name_is_refused(self):
        for option in ("--plugin", "--ledger", "--log"):
            self.assert_refused("run", self.device_file(device()), option, "",
                                tells=f"{option}: expected FILE, a name that is not empty")

    def test_option_without_its_value_is_refused(self):
        for option in ("--plugin", "--ledger", "--log", "--log-level", "--boot-time"):
            self.assert_refused("run", self.device_file(device()), option, tells=option)

    def test_repeated_option_is_refused(self):
        for option, value in (("--plugin", "a"), ("--ledger", "a"), ("--log", "a"), ("--log-level", "off"),
                              ("--boot-time", "1")):
            self.assert_refused("run", self.device_file(device()), option, value, option, value, tells=option)

    def test_every_boot_time_in_range_is_taken(self):
        for time in ("none", "0", "1700000000123456", str(2**63 - 1)):
            self.assert_done(self.play(device(), "--boot-time", time))

    def test_options_may_stand_before_the_device(self):
        result = self.run_command("run", "--ledger", "stats", "--log-level", "off", self.device_file(device()))
        self.assert_done(result, "ledger      stats: 0 scalars, 0 distributions")

    def test_every_character_of_a_name_is_the_names(self):
        for name in ("[1]", "a,b", "a b", "größe", "--json"):
            with self.subTest(name=name):
                self.device_file(device(batch(add(CLICKS))), name)
                self.assert_done(self.run_command("run", "--ledger", f"./{name}.db", "--", f"./{name}"))
                self.assertEqual({NAMES[CLICKS]: 1}, self.scalars(f"{name}.db"))

    def test_help_tells_every_word_and_succeeds(self):
        for words, told in ((["--help"], ("run", "ledger")),
                            (["run", "--help"], ("DEVICE", "--plugin FILE", "--ledger FILE", "--log FILE",
                                                 "--log-level LEVEL", "--boot-time US|none")),
                            (["ledger", "--help"], ("FILE", "--json"))):
            result = self.run_command(*words)
            self.assertEqual(("", 0), (result.messages, result.status))
            for word in told:
                self.assertRegex(result.output.decode(), rf"(?m)^  {re.escape(word)}\b")

    def test_version_is_one_line_with_name_and_number(self):
        result = self.run_command("--version")
        self.assertRegex(result.output, rb"\Ahubsession \d+\.\d+\.\d+\n\Z")
        self.assertEqual(("", 0), (result.messages, result.status))


class WrongDeviceFile(SessionTest):
    def assert_refused(self, message):
        """Nothing has run: no ledger is made, and the log of an earlier run stays."""
        self.file("log", b"old\n")
        result = self.run_command("run", "device.json", "--ledger", "stats", "--log", "log")
        self.assertEqual((b"", f"hubsession: device.json: {message}\n", 2),
                         (result.output, result.messages, result.status))
        self.assertNotIn("stats", self.names())
        self.assertEqual(b"old\n", self.content("log"))

    def test_missing_file_is_refused(self):
        self.assert_refused("expected a device file, found none (No such file or directory)")

    def test_wrong_value_is_refused_with_its_place_and_what_was_expected(self):
        content = device()
        content["registry"][0]["children"][0]["id"] = "7"
        self.device_file(content)
        self.assert_refused("$.registry[0].children[0].id: expected an integer from 1 to 9223372036854775807,"
                            ' found "7"')

    def test_last_wrong_batch_keeps_the_first_from_being_posted(self):
        self.device_file(device(batch(add(CLICKS)), batch(record(256, 0))))
        self.assert_refused("$.batches[1].records[0].op: expected an integer from 0 to 255, found 256")

    def test_batch_of_an_unknown_service_is_refused(self):
        self.device_file(device(batch(add(CLICKS), service="gyro")))
        result = self.run_command("run", "device.json")
        self.assertEqual(2, result.status)
        self.assertIn("device.json: $.batches[0].service: expected", result.messages)

    def test_text_that_is_no_json_is_refused_with_line_and_column(self):
        self.file("device.json", b'{\n  "format": hub\n}')
        result = self.run_command("run", "device.json")
        self.assertEqual((b"", 2), (result.output, result.status))
        self.assertRegex(result.messages, r"\Ahubsession: device\.json: line 2, column \d+: expected [^\n]+\n\Z")

    def test_folder_is_refused(self):
        result = self.run_command("run", ".")
        self.assertEqual((b"", 2), (result.output, result.status))
        self.assertIn("hubsession: .: expected a device file", result.messages)

    def test_wrong_device_file_is_told_before_a_wrong_plugin(self):
        self.file("device.json", b"[]")
        result = self.run_command("run", "device.json", "--plugin", "missing")
        self.assertEqual(2, result.status)
        self.assertNotIn("missing", result.messages)


class Output(SessionTest):
    def test_services_are_taken_given_up_or_left_alone(self):
        result = self.play(device(services=(KEYBOARD, BUTTON, BROKEN)))
        self.assert_done(result)
        self.assertEqual(["services    1 taken: button", "            1 given up: broken",
                          "            1 left alone: keyboard"], result.output.decode().splitlines()[:3])

    def test_services_stand_in_document_order(self):
        services = [{**BUTTON, "name": name} for name in ("b", "c", "a")]
        self.assert_done(self.play(device(services=services)), "services    3 taken: b, c, a")

    def test_no_services_are_told_as_none(self):
        self.assert_done(self.play({"format": "hub-device/1", "registry": []}), "services    0 taken",
                         "            0 left alone")

    def test_service_given_up_at_its_hid_device_is_told_and_still_publishes(self):
        content = device(batch(add(CLICKS)))
        content["registry"][0]["device"] = {"hidDevice": False}
        self.assert_done(self.play(content, "--ledger", "stats"), "            1 given up: button",
                         "statistics  1 record published in 1 batch")
        self.assertEqual({NAMES[CLICKS]: 1}, self.scalars("stats"))

    def test_records_and_batches_are_counted(self):
        result = self.play(device(batch(add(CLICKS), add(CLICKS)), batch(), batch(push(PICO, 1))))
        self.assert_done(result, "statistics  3 records published in 3 batches")

    def test_batch_without_a_callback_is_dropped_and_the_run_goes_on(self):
        aggregate_less = {**BUTTON, "name": "silent", "hid": {**BUTTON["hid"], "properties": {"Transport": "HUB"}}}
        content = device(batch(add(CLICKS), service="silent"), batch(add(CLICKS)))
        content["registry"].append(
            {"name": "other hub", "device": {}, "children": [{"name": "interface", "children": [aggregate_less]}]})
        self.assert_done(self.play(content, "--ledger", "stats"),
                         "statistics  1 record published in 1 batch, 1 batch dropped",
                         messages="hubsession: batch 0 of service silent is dropped: no statistics callback is"
                                  " installed on its device\n")
        self.assertEqual({NAMES[CLICKS]: 1}, self.scalars("stats"))

    def test_batch_of_a_service_without_a_device_is_dropped(self):
        root = {"name": "lone", "hid": BUTTON["hid"]}
        content = {**device(batch(add(CLICKS), service="lone")), "registry": [root]}
        result = self.play(content)
        self.assertEqual(("hubsession: batch 0 of service lone is dropped: no statistics callback is installed on its"
                          " device\n", 0), (result.messages, result.status))

    def test_batch_of_a_service_that_shares_a_device_reaches_its_callback(self):
        silent = {"name": "silent", "hid": {}}
        content = device(batch(add(CLICKS), service="silent"), services=(BUTTON, silent))
        self.assert_done(self.play(content), "statistics  1 record published in 1 batch")

    def test_ledger_and_log_are_told(self):
        result = self.play(device(batch(add(CLICKS), add(SINGLE_CLICKS), push(PICO, 1))), "--ledger", "stats",
                           "--log", "log")
        self.assert_done(result, "ledger      stats: 2 scalars, 1 distribution", "log         log")

    def test_ledger_in_memory_is_told_and_leaves_no_file(self):
        self.assert_done(self.play(device(batch(add(CLICKS)))),
                         "ledger      in memory: 1 scalar, 0 distributions")
        self.assertEqual(["device.json"], self.names())

    def test_full_standard_output_fails_when_the_ledger_is_written(self):
        with open("/dev/full", "wb") as full:
            result = self.play(device(batch(add(CLICKS))), "--ledger", "stats", stdout=full)
        self.assert_failed(result, "standard output cannot be written")
        self.assertEqual({NAMES[CLICKS]: 1}, self.scalars("stats"))

    def test_closed_standard_output_fails_and_harms_no_file(self):
        result = self.play(device(batch(add(CLICKS))), "--ledger", "stats", "--log", "log", preexec_fn=closing(1))
        self.assert_failed(result, "standard output cannot be written")
        self.assertEqual({NAMES[CLICKS]: 1}, self.scalars("stats"))
        self.assertEqual(2, len(self.log_lines("log")))

    def test_reader_that_goes_away_fails(self):
        reader, writer = os.pipe()
        os.close(reader)
        result = self.play(device(), stdout=writer)
        os.close(writer)
        self.assert_failed(result, "standard output cannot be written")

    def test_closed_standard_error_takes_no_message_elsewhere(self):
        content = device(batch(), services=(KEYBOARD,))
        content["batches"][0]["service"] = "keyboard"
        self.assert_done(self.play(content, "--ledger", "stats", "--log", "log", preexec_fn=closing(2)))
        self.assertEqual((b"", {}), (self.content("log"), self.scalars("stats")))


class Notifications(SessionTest):
    def faults_in(self, *notifications):
        self.assert_done(self.play(device(batch(add(CLICKS)), batch(add(CLICKS)), notifications=notifications),
                                   "--log", "log"))
        return self.log_messages("log")

    def test_fault_reaches_the_plugin_after_all_batches(self):
        messages = self.faults_in(FAULT)
        self.assertEqual("fault!", messages[-1])
        self.assertEqual(2, sum("publishSLData" in message for message in messages[:-1]))

    def test_each_post_is_told(self):
        self.assertEqual(["fault!"] * 3, self.faults_in(FAULT, FAULT, FAULT)[-3:])

    def test_other_names_do_nothing(self):
        messages = self.faults_in(FAULT + "2", FAULT.upper(), FAULT[:-1], "fault!", "com.vantu.other")
        self.assertNotIn("fault!", messages)


class Delivery(SessionTest):
    def test_batches_are_published_in_the_order_of_the_file(self):
        other = {**BUTTON, "name": "other"}
        content = device(batch(set_to(CLICKS, 1)), batch(set_to(CLICKS, 2), service="other"),
                         batch(add(CLICKS, 10)), services=(BUTTON, other))
        self.assert_done(self.play(content, "--ledger", "stats"))
        self.assertEqual({NAMES[CLICKS]: 12}, self.scalars("stats"))

    def test_all_forms_of_a_batch_give_the_same(self):
        records = [add(CLICKS, -5), add(CLICKS, 2**31 - 1), push(PICO, -0.5), record(3, CLICKS, 1, version=1)]
        self.file("records.bin", b"head" + packed(records) + b"tail")
        for form in ({"records": records}, {"hex": packed(records).hex(" ")},
                     {"file": "records.bin", "offset": 4, "length": 7 * len(records)}):
            with self.subTest(form=list(form)):
                content = device({"service": "button", **form})
                self.assert_done(self.play(content, "--ledger", "stats"),
                                 "statistics  3 records published in 1 batch, 1 record of another version skipped")
                self.assertEqual(({NAMES[CLICKS]: 2**31 - 6}, [-0.5]),
                                 (self.scalars("stats"), self.samples("stats", PICO)))
                os.unlink(self.folder / "stats")

    def test_value_beyond_31_bits_is_taken_as_its_bits(self):
        self.assert_done(self.play(device(batch(add(CLICKS, 2**32 - 1))), "--ledger", "stats"))
        self.assertEqual({NAMES[CLICKS]: -1}, self.scalars("stats"))


class MillionRecords(SessionTest):
    patience_seconds = 600  # sanitizers are slow

    LIMIT_BYTES = (2000 if SANITIZERS else 150) * 10**6
    RECORDS = packed([add(CLICKS, 3), push(PICO, 0.5)]) * 500_000

    def peak_bytes(self, process):
        """The most memory that a run had when it ends, at least the test's own at its start."""
        output = process.stdout.read()
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        self.assertEqual((0, b""), (process.returncode, process.stderr.read()))
        self.assertIn(b"statistics  1000000 records published in 1 batch\n", output)
        return usage.ru_maxrss * 1024

    def assert_all_filed(self, form):
        process = self.start_playing(device({"service": "button", **form}), "--ledger", "stats")
        self.assertLess(self.peak_bytes(process), self.LIMIT_BYTES)
        self.assertEqual({NAMES[CLICKS]: 1_500_000}, self.scalars("stats"))
        self.assertEqual([(500_000, 0.5, 0.5)],
                         self.rows("stats", "SELECT count(*), min(value), max(value) FROM sample"))

    def test_in_one_batch_from_a_file_are_all_filed_in_bounded_memory(self):
        self.file("records.bin", self.RECORDS)
        self.assert_all_filed({"file": "records.bin"})

    def test_in_one_batch_of_hexadecimal_digits_are_all_filed_in_bounded_memory(self):
        self.assert_all_filed({"hex": self.RECORDS.hex()})


class DefaultPlugIn(SessionTest):
    PUBLISHED = "statistics  1 record published in 1 batch"

    def test_is_found_from_any_working_directory(self):
        path = self.folder / self.device_file(device(batch(add(CLICKS))))
        for folder in ("/", os.path.dirname(COMMAND)):
            run = subprocess.run([COMMAND, "run", path], cwd=folder, capture_output=True, check=True)
            self.assertIn(self.PUBLISHED, run.stdout.decode())

    def test_is_found_through_a_link_to_the_command(self):
        path = self.folder / self.device_file(device(batch(add(CLICKS))))
        os.symlink(COMMAND, self.folder / "player")
        run = subprocess.run(["./player", "run", path], cwd=self.folder, capture_output=True, check=True)
        self.assertIn(self.PUBLISHED, run.stdout.decode())

    def test_that_is_missing_is_told(self):
        path = self.folder / self.device_file(device())
        os.mkdir(self.folder / "bin")
        shutil.copy(COMMAND, self.folder / "bin/hubsession")
        os.symlink(os.path.join(os.path.dirname(COMMAND), "../platform"), self.folder / "platform")
        run = subprocess.run(["bin/hubsession", "run", path], cwd=self.folder, capture_output=True, check=False)
        self.assertEqual((1, b""), (run.returncode, run.stdout))
        self.assertRegex(run.stderr.decode(), r"\Ahubsession: /.*\.so\.\d+: no plug-in stands there; name one with"
                                              r" --plugin\n\Z")


class PlugIn(SessionTest):
    PLUGINS = pathlib.Path(os.environ.get("TEST_PLUGINS", ""))
    BROKE = "the plug-in broke the platform's rules: "

    def plugin(self, name):
        """A name in the run's own folder: messages tell it as it was given."""
        shutil.copy(self.PLUGINS / f"{name}.so", self.folder)
        return f"{name}.so"

    def play_to(self, name, *batches):
        return self.play(device(*batches), "--plugin", name)

    def assert_refused(self, name, reason):
        result = self.play_to(name)
        self.assert_failed(result, f"{name}: {reason}")
        self.assertEqual(b"", result.output)

    def test_missing_file_is_told(self):
        self.assert_fails_telling(self.play_to("missing.so"), "missing.so: cannot be loaded: ", "No such file")

    def test_file_that_is_no_library_is_told(self):
        for content in (b"", b"#!/bin/sh\n", b"\x7fELF" + bytes(100)):
            result = self.play_to(self.file("text.so", content))
            self.assert_fails_telling(result, "text.so: cannot be loaded: ")

    def test_folder_is_told(self):
        os.mkdir(self.folder / "folder")
        self.assert_fails_telling(self.play_to("folder"), "folder: cannot be loaded: ")

    def test_library_of_the_system_is_not_meant_by_a_name_without_a_slash(self):
        self.assert_fails_telling(self.play_to("libc.so.6"), "libc.so.6: cannot be loaded: ", "No such file")

    def test_library_without_the_factory_is_told(self):
        self.assert_refused(self.plugin("no_factory"),
                            "is no plug-in of this kind: it exports no VantuHUBHIDStatisticsFactory")

    def test_factory_that_makes_no_object_is_told(self):
        self.assert_refused(self.plugin("no_object"),
                            "is no plug-in of this kind: its factory makes no session filter")

    def test_object_without_the_interface_is_told(self):
        self.assert_refused(self.plugin("no_interface"),
                            "is no plug-in of this kind: its object has no session-filter interface")

    def test_that_refuses_to_open_is_told(self):
        self.assert_refused(self.plugin("refuses_to_open"), "refuses to be opened")

    def test_that_leaves_its_entries_empty_leaves_all_services_alone(self):
        result = self.play_to(self.plugin("empty_table"), batch(add(CLICKS)))
        self.assertEqual(0, result.status)
        self.assertIn("            1 left alone: button", result.output.decode().splitlines())
        self.assertIn("statistics  0 records published in 0 batches, 1 batch dropped", result.output.decode())

    def test_that_publishes_on_a_queue_of_its_own_is_waited_for(self):
        result = self.play(device(*[batch(add(CLICKS))] * 3), "--plugin", self.plugin("publishes_on_own_queue"),
                           "--ledger", "stats")
        self.assert_done(result, "statistics  3 records published in 3 batches")
        self.assertEqual({"late": 3}, self.scalars("stats"))

    def test_that_releases_a_registry_handle_too_often_fails(self):
        result = self.play_to(self.plugin("releases_handle_twice"))
        self.assertEqual(1, result.status)
        self.assertIn(f"hubsession: {self.BROKE}registry handles were released that were not held\n", result.messages)

    def test_that_releases_a_plugin_object_too_often_fails(self):
        self.assert_failed(self.play_to(self.plugin("releases_plugin_object_twice")),
                           f"{self.BROKE}a driver plug-in object was released more often than it was retained")

    def test_that_leaves_a_connection_open_fails(self):
        self.assert_failed(self.play_to(self.plugin("leaves_connection_open")), f"{self.BROKE}1 connection left open")

    def test_that_breaks_rules_keeps_nothing_from_the_output(self):
        result = self.play_to(self.plugin("leaves_connection_open"))
        self.assertEqual(["services    0 taken", "            1 left alone: button",
                          "statistics  0 records published in 0 batches", "snapshots   0 made in 1 capture",
                          "ledger      in memory: 0 scalars, 0 distributions"], result.output.decode().splitlines())

    def test_named_with_a_path_is_the_plugin_of_the_build(self):
        for path in (os.environ["HUB_PLUGIN"], os.path.relpath(os.environ["HUB_PLUGIN"], self.folder)):
            self.assert_done(self.play(device(), "--plugin", path), "services    1 taken: button")

    def test_named_without_a_slash_is_looked_for_in_the_working_directory(self):
        shutil.copy(os.environ["HUB_PLUGIN"], self.folder / "copy.so")
        self.assert_done(self.play(device(), "--plugin", "copy.so"), "services    1 taken: button")


if __name__ == "__main__":
    unittest.main()
