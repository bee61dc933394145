#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of the comparison of hubsession with the model of a run."""

import argparse
import contextlib
import io
import pathlib
import tempfile
import unittest

import compare_session

FOLDER = pathlib.Path(__file__).parent


# A command that does what the model says, and damages one thing before it ends.
COMMAND = '''#!/usr/bin/env python3
import json, sqlite3, sys
sys.path.insert(0, {folder!r})
import session_model
options = dict(zip(sys.argv[3::2], sys.argv[4::2]))
database = sqlite3.connect(options["--ledger"])
database.execute("CREATE TABLE IF NOT EXISTS scalar (key TEXT PRIMARY KEY, value INTEGER)")
database.execute("CREATE TABLE IF NOT EXISTS sample"
                 " (id INTEGER PRIMARY KEY, key TEXT, value REAL)")
ledger = session_model.Ledger(database.execute("SELECT key, value FROM scalar"))
for key, value in database.execute("SELECT key, value FROM sample ORDER BY id"):
    ledger.samples.setdefault(key, []).append(value)
outcome = session_model.run(session_model.read_device(sys.argv[2]), ledger,
                            options.get("--log-level", "default"))
log = [json.dumps(line) + "\\n" for line in outcome.log]
samples = [(key, value) for key in ledger.samples for value in ledger.samples[key]]
errors = ["no callback takes the batch of " + json.dumps(name) for name in outcome.dropped]
status = 0
{damage}
database.execute("DELETE FROM scalar")
database.execute("DELETE FROM sample")
database.executemany("INSERT INTO scalar VALUES (?, ?)", ledger.scalars.items())
database.executemany("INSERT INTO sample (key, value) VALUES (?, ?)", samples)
database.commit()
open(options["--log"], "w").writelines(log)
sys.stderr.writelines(line + "\\n" for line in errors)
sys.exit(status)
'''


class Comparison(unittest.TestCase):
    def compare(self, damage="", count=12):
        """Exit status and output of a comparison with a damaged command."""
        with tempfile.TemporaryDirectory() as folder:
            command = pathlib.Path(folder, "command")
            command.write_text(COMMAND.format(folder=str(FOLDER), damage=damage),
                               encoding="utf-8")
            command.chmod(0o755)
            self.keep = pathlib.Path(folder, "keep")
            options = argparse.Namespace(hubsession=str(command), count=count, seed=1,
                                         first=0, keep=self.keep, capture=[])
            output = io.StringIO()
            with contextlib.redirect_stdout(output):
                status = compare_session.compare(options)
            self.kept = sorted(path.name for path in self.keep.glob("*/*"))
        return status, output.getvalue()

    def test_equal_runs_are_counted_and_nothing_is_kept(self):
        self.assertEqual(self.compare(), (0, "12 device files, all equal\n"))
        self.assertEqual(self.kept, [])

    def test_each_damage_is_found_and_its_files_kept(self):
        for damage, part in (
                ("status = 1", "exit status, line 1"),
                ("log[-1:] = []", "log, line"),
                ("log = [line.replace('name=', 'name: ') for line in log]", "log, line"),
                ("log = [line[:-2] + ', \"time\": 1}}\\n' for line in log]", "log, line"),
                ("log[-1:] = [line.rstrip() for line in log[-1:]]", "(no line end)"),
                ("log.reverse()", "log, line"),
                ("ledger.scalars['more'] = 0", "scalar, line"),
                ("ledger.scalars = {{key: value + 1 for key, value in"
                 " ledger.scalars.items()}}", "scalar, line"),
                ("samples.reverse()", "sample, line"),
                ("samples = [(key, value + 1e-12) for key, value in samples]",
                 "sample, line"),
                ("errors[:1] = []", "dropped batch, line"),
                ("errors += errors[-1:]", "dropped batch, line"),
                ("errors += [] if errors else ['something else']", "standard error, line 1")):
            status, output = self.compare(damage.format())
            self.assertEqual(status, 1, damage)
            self.assertIn(part, output)
            self.assertRegex(output, "^device file [0-9]+ differs: .*/device.json\n")
            self.assertLessEqual({"device.json", "ledger.db", "log.jsonl"}, {*self.kept})

    def test_missing_files_are_a_difference(self):
        status, output = self.compare("sys.exit()")
        self.assertEqual(status, 1)
        self.assertIn("missing file, line 1", output)
        self.assertIn("log.jsonl", output)

    def test_ledger_without_its_tables_is_a_difference(self):
        status, output = self.compare("database.execute('DROP TABLE sample');"
                                      " open(options['--log'], 'w'); sys.exit()")
        self.assertEqual(status, 1)
        self.assertIn("the ledger cannot be read: no such table: sample", output)

    def test_services_are_recognised_however_a_message_quotes_them(self):
        text = "a 'light-02 \\\"x\\\"' here, light-02 there\nother\nbatch of prox-01\n"
        self.assertEqual(compare_session.mentioned(text, ["prox-01", 'light-02 "x"']),
                         ["light-02", "prox-01"])


if __name__ == "__main__":
    unittest.main()
