#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Test of the hubsession command: two runs want the same ledger, each of two devices as the first and as the second."""

import collections
import contextlib
import signal
import sqlite3
import subprocess
import unittest

from session_test import CLICKS, NAMES, PICO, SINGLE_CLICKS, SessionTest, add, device, packed, push

# So many operations in one batch that a run can be caught in it.
OPERATIONS = 200_000
KEYS = {"buttons": CLICKS, "touches": SINGLE_CLICKS}
ORDERS = [("buttons", "touches"), ("touches", "buttons")]


class SharedLedger(SessionTest):
    patience_seconds = 600  # sanitizers are slow

    def setUp(self):
        super().setUp()
        for name, key in KEYS.items():
            records = packed([push(PICO, 0.5)] + [add(key)] * OPERATIONS)
            self.device_file(device({"service": "button", "hex": records.hex()}), name)
        self.expected = collections.Counter()
        self.run_to_its_end("buttons")

    # --- Two processes -------------------------------------------------------

    def start_run(self, name):
        return self.start("run", name, "--capture", "1", "--ledger", "stats")

    def run_to_its_end(self, name):
        self.expect_filed(name, self.start_run(name))

    def is_locked(self):
        """Whether somebody is in a batch, or takes up or puts down the ledger."""
        with contextlib.closing(sqlite3.connect(self.folder / "stats", timeout=0, isolation_level=None)) as probe:
            try:
                probe.execute("BEGIN IMMEDIATE")
                probe.execute("ROLLBACK")
                return False
            except sqlite3.OperationalError:
                return True

    def hold_in_a_batch(self, name):
        """A run that stands still with the ledger locked: in its batch, but for rare cases."""
        while True:
            process = self.start_run(name)
            while process.poll() is None:
                if self.is_locked():
                    process.send_signal(signal.SIGSTOP)
                    if self.is_locked():
                        return process
                    process.send_signal(signal.SIGCONT)
            self.expect_filed(name, process)

    def let_go(self, name, process):
        process.send_signal(signal.SIGCONT)
        self.expect_filed(name, process)

    def kill(self, process):
        process.kill()
        self.finish(process)

    # --- Expectations --------------------------------------------------------

    def expect_filed(self, name, process):
        self.assert_done(self.finish(process))
        self.expected[NAMES[KEYS[name]]] += OPERATIONS

    def expect_to_wait(self, process):
        with self.assertRaises(subprocess.TimeoutExpired):
            process.wait(0.5)

    def expect_ledger(self):
        """All batches of the runs that ended well, and nothing else."""
        self.assertEqual([("ok",)], self.rows("stats", "PRAGMA integrity_check"))
        self.assertEqual(self.expected, self.scalars("stats"))
        self.assertEqual(self.expected.total() // OPERATIONS, len(self.samples("stats", PICO)))

    # --- What is promised ----------------------------------------------------

    def test_second_waits_until_the_first_has_filed(self):
        for first, second in ORDERS:
            holding = self.hold_in_a_batch(first)
            waiting = self.start_run(second)
            self.expect_to_wait(waiting)
            self.let_go(first, holding)
            self.expect_filed(second, waiting)
            self.expect_ledger()

    def test_second_that_waits_in_vain_is_told_why_and_can_be_repeated(self):
        for first, second in ORDERS:
            holding = self.hold_in_a_batch(first)
            # At its batch or before it: the first may stand where it opens or closes the ledger, too.
            self.assert_fails_telling(self.finish(self.start_run(second)),
                                      "stats: is locked by another connection, try again when that has ended")
            self.let_go(first, holding)
            self.run_to_its_end(second)
            self.expect_ledger()

    def test_second_that_waits_goes_on_when_the_first_is_killed(self):
        for first, second in ORDERS:
            holding = self.hold_in_a_batch(first)
            waiting = self.start_run(second)
            self.expect_to_wait(waiting)
            self.kill(holding)
            self.expect_filed(second, waiting)
            self.expect_ledger()

    def test_second_begins_where_a_killed_one_left_the_ledger(self):
        for first, second in ORDERS:
            self.kill(self.hold_in_a_batch(first))
            self.run_to_its_end(second)
            self.expect_ledger()


if __name__ == "__main__":
    unittest.main()
