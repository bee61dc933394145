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
import snapshot_lines

FOLDER = pathlib.Path(__file__).parent


# A command that does what the model says, and damages one thing before it ends.
COMMAND = '''#!/usr/bin/env python3
import json, os, plistlib, shutil, sqlite3, struct, sys
sys.path.insert(0, {folder!r})
import profile_reference, session_model
options = dict(zip(sys.argv[3::2], sys.argv[4::2]))
kinds = [int(value) for name, value in zip(sys.argv[3::2], sys.argv[4::2])
         if name == "--capture"]
database = sqlite3.connect(options["--ledger"])
database.execute("CREATE TABLE IF NOT EXISTS scalar (key TEXT PRIMARY KEY, value INTEGER)")
database.execute("CREATE TABLE IF NOT EXISTS sample"
                 " (id INTEGER PRIMARY KEY, key TEXT, value REAL)")
ledger = session_model.Ledger(database.execute("SELECT key, value FROM scalar"))
for key, value in database.execute("SELECT key, value FROM sample ORDER BY id"):
    ledger.samples.setdefault(key, []).append(value)
outcome = session_model.run(session_model.read_device(sys.argv[2]), ledger,
                            options.get("--log-level", "default"), kinds or (3,),
                            profile_reference.boot_time_option(options["--boot-time"]))
entries, states = [], []
for number, each in enumerate(outcome.snapshots):
    data = plistlib.dumps(each.contents, fmt=plistlib.FMT_BINARY)
    states.append(struct.pack("<II128x64s", 1, len(data), each.title.encode()) + data)
    entries.append({{"file": "%04d.state" % number, "capture": each.capture,
                    "kind": each.kind, "handler": each.handler, "title": each.title,
                    "size": len(data)}})
index = {{"format": "hub-captures/1", "snapshots": entries}}
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
shutil.rmtree(options["--out"], ignore_errors=True)
os.mkdir(options["--out"])
for number, state in enumerate(states):
    open(options["--out"] + "/%04d.state" % number, "wb").write(state)
open(options["--out"] + "/index.json", "w").write(index if type(index) is str
                                                  else json.dumps(index))
{after}
sys.stderr.writelines(line + "\\n" for line in errors)
sys.exit(status)
'''


class Comparison(unittest.TestCase):
    def compare(self, damage="", count=12, after="", capture=()):
        """Exit status and output of a comparison with a damaged command."""
        with tempfile.TemporaryDirectory() as folder:
            command = pathlib.Path(folder, "command")
            command.write_text(COMMAND.format(folder=str(FOLDER), damage=damage,
                                              after=after), encoding="utf-8")
            command.chmod(0o755)
            self.keep = pathlib.Path(folder, "keep")
            options = argparse.Namespace(hubsession=str(command), count=count, seed=1,
                                         first=0, keep=self.keep, capture=[*capture])
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

    def test_each_damage_of_captures_is_found(self):
        for damage, part in (
                ("states.append(b'')", "capture folder, line"),
                ("states.pop() if states else 0", "capture folder, line"),
                ("index['snapshots'] = entries[1:]", "index, line"),
                ("index['format'] = 'hub-captures/2'", "index, line 1"),
                ("index['more'] = 1", "also 'more'"),
                ("index = '[]'", "cannot be read"),
                ("index = '{'", "cannot be read"),
                ("entries[-1:] = [{**each, 'handler': each['handler'] + 1}"
                 " for each in entries[-1:]]", "index, line"),
                ("entries[-1:] = [{**each, 'more': 0} for each in entries[-1:]]",
                 "index, line"),
                ("entries[-1:] = [{**each, 'size': 0} for each in entries[-1:]]",
                 ", 0 in the index"),
                ("[each.pop('size') for each in entries]", ", None in the index"),
                ("states[-1:] = [each[:199] for each in states[-1:]]",
                 "199 bytes, shorter than the head"),
                ("states = [b'\\2' + each[1:] for each in states]", "type 2"),
                ("states = [each + b'.' for each in states]", "behind the head"),
                ("states = [each[:8] + b'.' + each[9:] for each in states]",
                 "decoder's fields are not zero"),
                ("states = [each[:-1] + b'\\xff' for each in states]",
                 "property list cannot be read"),
                ("states = [each[:199] + b'.' + each[200:] for each in states]",
                 "title field"),
                ("states = [each[:137] + b'.' + each[138:] for each in states]",
                 "snapshot, line 1 "),
                ("states.reverse()", "snapshot, line")):
            status, output = self.compare(damage)
            self.assertEqual(status, 1, damage)
            self.assertIn(part, output)
            self.assertIn("played with --boot-time", output)

    def test_folder_that_is_missing_is_a_difference(self):
        status, output = self.compare(after="shutil.rmtree(options['--out'])")
        self.assertEqual(status, 1)
        self.assertIn("capture folder, line 1", output)
        self.assertIn("hubsession: (no folder)", output)

    def test_captures_asked_for_replace_those_of_the_device_files(self):
        damage = "sys.exit(7 if kinds != [1, 2] else 0)"
        status, output = self.compare(damage, capture=(1, 2))
        self.assertEqual(status, 1)
        self.assertIn("missing file", output)
        self.assertIn("--capture 1 --capture 2", output)
        self.assertEqual(self.compare(capture=(1, 2))[0], 0)

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


class SnapshotLines(unittest.TestCase):
    def test_values_show_their_type_and_where_they_stand(self):
        contents = {"b": {"d": 1, "c": True}, "a": [1.0, "1", b"1"], "e": {}, "f": []}
        self.assertEqual(snapshot_lines.value_lines(contents, "0000.state"), [
            "0000.state / a [0] = 1.0", "0000.state / a [1] = '1'",
            "0000.state / a [2] = b'1'", "0000.state / b / c = True",
            "0000.state / b / d = 1", "0000.state / e is empty: {}",
            "0000.state / f is empty: []"])

    def test_long_lines_are_shown_around_the_difference(self):
        left, right = "x" * 300 + "a" + "y" * 300, "x" * 300 + "b" + "y" * 300
        text = compare_session.first_difference({"log": [left]}, {"log": [right]})
        self.assertIn("  model:      ..." + "x" * 80 + "a" + "y" * 79 + "...\n", text)
        self.assertIn("  column:     301", text)


if __name__ == "__main__":
    unittest.main()
