#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""State captures of hubsession: which are made, where their snapshots go, and how they are shown."""

import copy
import json
import plistlib
import unittest

from command_test import limiting_files, respect_permissions
from session_test import BUTTON, SessionTest, device

PRESS = {"text": "", "size": 330}
ASSETS = {"text": "", "size": 1479}
REPORT = {"text": "", "size": 48}


def buttoned():
    """A button with both snapshots, and one report of the firmware for each of the first two handlers."""
    button = {**BUTTON, "driver": {"properties": {"215": PRESS, "216": ASSETS}}}
    content = device(services=(button,))
    content["registry"].append({"name": "NEB_profile", "userClient": {
        "properties": {"209": {"sequence": [REPORT, REPORT, {"status": 0}]}}, "commands": {"38": {"status": 0}}}})
    return content


class Captures(SessionTest):
    def index(self, folder="out"):
        return json.loads(self.content(f"{folder}/index.json"))

    def titles(self, folder="out"):
        return [snapshot["title"] for snapshot in self.index(folder)["snapshots"]]

    def names(self, folder="out"):
        return sorted(path.name for path in (self.folder / folder).iterdir())

    def test_default_is_one_explicit_request(self):
        self.assert_done(self.play(buttoned(), "--out", "out", "--capture", "3"), "snapshots   4 made in 1 capture: out")
        self.assertEqual(["SSHB Statistics", "SSHB assets", "NEB Profile 0 ;count=1 ;type=fw",
                          "NEB Profile 1 ;count=1 ;type=fw"], self.titles())
        self.device_file(buttoned(), "again.json")
        self.assert_done(self.finish(self.start("run", "again.json", "--out", "again")))
        self.assertEqual(self.titles(), self.titles("again"))

    def test_index_tells_file_capture_kind_handler_title_and_size(self):
        self.play(buttoned(), "--out", "out", "--capture", "2", "--capture", "1", "--capture", "3")
        snapshots = self.index()["snapshots"]
        self.assertEqual("hub-captures/1", self.index()["format"])
        self.assertEqual([("0000.state", 0, 2, 2), ("0001.state", 0, 2, 3), ("0002.state", 2, 3, 0),
                          ("0003.state", 2, 3, 1)],
                         [(each["file"], each["capture"], each["kind"], each["handler"]) for each in snapshots])
        for each in snapshots:
            self.assertEqual({"file", "capture", "kind", "handler", "title", "size"}, set(each))
            self.assertEqual(200 + each["size"], len(self.content("out/" + each["file"])))
        self.assertEqual(["0000.state", "0001.state", "0002.state", "0003.state", "index.json"], self.names())

    def test_snapshot_is_the_record_as_it_stands(self):
        self.play(buttoned(), "--out", "out", "--capture", "3")
        record = self.content("out/0000.state")
        self.assertEqual((1, len(record) - 200), (int.from_bytes(record[:4], "little"),
                                                  int.from_bytes(record[4:8], "little")))
        self.assertEqual(bytes(128), record[8:136])
        self.assertEqual(b"SSHB Statistics".ljust(64, b"\0"), record[136:200])
        self.assertEqual({"last button press", "latency"}, set(plistlib.loads(record[200:])))

    def test_error_capture_writes_an_index_of_nothing(self):
        self.assert_done(self.play(buttoned(), "--out", "out", "--capture", "1"), "snapshots   0 made in 1 capture: out")
        self.assertEqual({"format": "hub-captures/1", "snapshots": []}, self.index())
        self.assertEqual(["index.json"], self.names())

    def test_replies_go_on_from_capture_to_capture(self):
        self.assert_done(self.play(buttoned(), "--capture", "2", "--capture", "2"), "snapshots   2 made in 2 captures")

    def test_other_kinds_are_wrong_words(self):
        for kind in ("0", "4", "03", "", "three", "-1"):
            result = self.play(buttoned(), "--capture", kind)
            self.assertEqual(2, result.status, kind)

    def test_device_may_stand_behind_a_capture(self):
        self.device_file(buttoned())
        self.assertEqual(0, self.finish(self.start("run", "--capture", "3", "device.json")).status)


class Folder(SessionTest):
    def capture(self, folder="out", content=None, **options):
        return self.play(content or buttoned(), "--out", folder, "--capture", "3", **options)

    def tree(self):
        return {str(path.relative_to(self.folder)): path.read_bytes() if path.is_file() else None
                for path in self.folder.rglob("*") if path.name != "device.json"}

    def assert_refused(self, folder, *words):
        before = self.tree()
        result = self.capture(folder)
        self.assertEqual(2, result.status)
        for word in words:
            self.assertIn(word, result.messages)
        self.assertEqual(before, self.tree())

    def test_is_made_with_those_above_it(self):
        self.assert_done(self.capture("a/b/out"))
        self.assertIn("a/b/out/index.json", self.tree())

    def test_that_is_empty_is_taken(self):
        (self.folder / "out").mkdir()
        self.assert_done(self.capture())
        self.assertIn("out/index.json", self.tree())

    def test_of_an_earlier_capture_is_replaced_as_a_whole(self):
        self.assert_done(self.capture())
        bare = device(services=(BUTTON,))
        self.assert_done(self.capture(content=bare))
        self.assertEqual({"out", "out/index.json"}, set(self.tree()), "no snapshot of the first capture is left")

    def test_named_with_a_slash_or_a_link_is_the_same(self):
        self.assert_done(self.capture("out/"))
        (self.folder / "link").symlink_to("out")
        self.assert_done(self.capture("link"))
        self.assertTrue((self.folder / "link").is_symlink())
        self.assertIn("out/index.json", self.tree())

    def test_with_something_else_in_it_is_left_alone(self):
        (self.folder / "out").mkdir()
        self.file("out/letter.txt", b"dear")
        self.assert_refused("out", "out: holds something else than a capture", "new, empty, or holds one")

    def test_of_a_capture_with_something_else_beside_is_left_alone(self):
        self.assert_done(self.capture())
        self.file("out/letter.txt", b"dear")
        self.assert_refused("out", "holds something else")

    def test_with_another_index_is_left_alone(self):
        for index in (b"{}", b"[]", b"no JSON", b'{"format": "hub-captures/2"}'):
            (self.folder / "out").mkdir(exist_ok=True)
            self.file("out/index.json", index)
            self.assert_refused("out", "holds something else")

    def test_that_is_a_file_is_left_alone(self):
        self.file("out", b"dear")
        self.assert_refused("out", "out: is no folder")

    def test_that_cannot_be_made_fails(self):
        (self.folder / "closed").mkdir(mode=0o500)
        result = self.capture("closed/out", preexec_fn=respect_permissions)
        self.assertEqual(1, result.status)
        self.assertIn("out", result.messages)

    def test_of_a_full_disk_is_not_there(self):
        result = self.capture(preexec_fn=limiting_files(500))
        self.assertEqual(1, result.status)
        self.assertIn("0000.state", result.messages)
        self.assertEqual({}, self.tree())

    def test_is_not_there_after_a_wrong_device_file(self):
        self.assertEqual(2, self.capture(content={"format": "hub-device/2"}).status)
        self.assertEqual({}, self.tree())


class Show(SessionTest):
    def setUp(self):
        super().setUp()
        content = copy.deepcopy(buttoned())
        self.assert_done(self.play(content, "--out", "out", "--capture", "3"))

    def show(self, *words):
        return self.finish(self.start("show", *words))

    def test_gives_title_and_contents_of_each(self):
        lines = self.show("out/0000.state", "out/0001.state").output.decode().splitlines()
        self.assertEqual(["SSHB Statistics", "  last button press", "    click count                   0"], lines[:3])
        self.assertIn("SSHB assets", lines)
        self.assertIn("  Fast-LongPressUp     enable=0 slot=0 gain=0.000000 min=0 max=0", lines)

    def test_gives_json_of_each_for_tools(self):
        first, second = (json.loads(self.show("--json", name).output) for name in ("out/0000.state", "out/0002.state"))
        both = self.show("--json", "out/0000.state", "out/0002.state").output.decode()
        decoded, end = json.JSONDecoder().raw_decode(both)
        self.assertEqual((first, second), (decoded, json.loads(both[end:])))
        self.assertEqual(("SSHB Statistics", 0), (first["title"], first["contents"]["latency"]["min_latency_Total"]))
        self.assertEqual(1, len(second["contents"]))
        self.assertIn("'category'", second["contents"][0])

    def test_of_something_else_fails_and_names_it(self):
        self.file("short", b"123")
        for name in ("short", "missing"):
            result = self.show("out/0000.state", name)
            self.assertEqual(1, result.status)
            self.assertIn(name, result.messages)

    def test_needs_a_file(self):
        self.assertEqual(2, self.show().status)


if __name__ == "__main__":
    unittest.main()
