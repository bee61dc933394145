#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Test of the hubsession command: killed at random moments, it leaves whole batches."""

import json
import os
import random
import shutil
import time
import unittest

from session_test import (
    CLICKS, DOUBLE_CLICKS, NAMES, PICO, SINGLE_CLICKS, SessionTest, add, batch, device, push)

BATCHES = 240
# Enough that filing them takes most of a run; a batch's samples tell which one it is.
DEVICE = device(*[batch(add(CLICKS), push(PICO, number), add(SINGLE_CLICKS), push(PICO, number + 0.5), add(DOUBLE_CLICKS))
                  for number in range(BATCHES)])
COUNTED = [NAMES[key] for key in (CLICKS, SINGLE_CLICKS, DOUBLE_CLICKS)]


def samples_of(batches):
    return [number + part for number in range(batches) for part in (0, 0.5)]


class Killed(SessionTest):
    patience_seconds = 600  # sanitizers are slow

    RUNS = 50

    def setUp(self):
        super().setUp()
        self.random = random.Random(20240229)
        self.device_file(DEVICE)
        self.run_seconds = min(self.measured_run(f"measured{run}") for run in range(3))
        self.unfinished = 0

    def measured_run(self, name):
        begin = time.monotonic()
        self.assert_done(self.run_command("run", "device.json", "--ledger", name))
        return time.monotonic() - begin

    def kill_somewhere(self, name, run):
        """Run by run somewhat later, from its very beginning to its end."""
        delay = (run + self.random.random()) / self.RUNS * self.run_seconds
        process = self.start("run", "device.json", "--ledger", name)
        time.sleep(delay)
        process.kill()
        self.unfinished += self.finish(process).status != 0

    def read_copy(self, name):
        """What is there, for a reader of its own: the next run finds the ledger as the killed one left it."""
        shutil.rmtree(self.folder / "copy", ignore_errors=True)
        os.mkdir(self.folder / "copy")
        for part in self.names():
            if part.startswith(name):
                shutil.copy(self.folder / part, self.folder / "copy")
        self.assertEqual([("ok",)], self.rows(f"copy/{name}", "PRAGMA integrity_check"))
        if not self.rows(f"copy/{name}", "SELECT * FROM sqlite_schema"):
            return {}, []
        return self.scalars(f"copy/{name}"), self.samples(f"copy/{name}", PICO)

    def whole_batches(self, name, samples_before=()):
        """How many batches the last run filed: all of each, in order, behind what was there before."""
        scalars, samples = self.read_copy(name)
        batches, rest = divmod(len(samples), 2)
        self.assertEqual(0, rest)
        self.assertEqual({key: batches for key in COUNTED} if batches else {}, scalars)
        filed = batches - len(samples_before) // 2
        self.assertEqual([*samples_before, *samples_of(filed)], samples)
        return filed

    def assert_shown(self, name, batches):
        shown = self.run_command("ledger", name, "--json")
        self.assertEqual(("", 0), (shown.messages, shown.status))
        self.assertEqual({key: batches for key in COUNTED}, json.loads(shown.output)["scalars"])

    def test_with_a_new_ledger_leaves_whole_batches_or_what_can_be_taken_up(self):
        counts = []
        for run in range(self.RUNS):
            name = f"stats{run}.db"
            self.kill_somewhere(name, run)
            counts.append(self.whole_batches(name))
            if counts[-1] != 0:
                self.assert_shown(name, counts[-1])
            else:
                self.assert_done(self.run_command("run", "device.json", "--ledger", name))
                self.assertEqual(BATCHES, self.whole_batches(name))
        self.assert_spread(counts)

    def test_with_an_existing_ledger_loses_nothing_that_was_committed(self):
        self.assert_done(self.run_command("run", "device.json", "--ledger", "stats.db"))
        samples, counts = samples_of(BATCHES), []
        for run in range(self.RUNS):
            self.kill_somewhere("stats.db", run)
            counts.append(self.whole_batches("stats.db", samples))
            samples += samples_of(counts[-1])
            self.assert_shown("stats.db", len(samples) // 2)
        self.assert_spread(counts)

    def assert_spread(self, counts):
        """The kills came in the middle: most of them while batches were filed, at many places."""
        self.assertGreater(self.unfinished, self.RUNS // 3)
        self.assertGreater(len(set(counts)), self.RUNS // 6)


if __name__ == "__main__":
    unittest.main()
