#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of traces in a viewer: what of a capture arrives in it.

speedscope runs in a browser without a window and reads the trace from a server
on this machine. Then it is told to export what it has read. The viewer's files
are in the folder that the environment variable VIEWER names, the capture is
CAPTURE.
"""

import collections
import json
import os
import pathlib
import random
import re
import shutil
import unittest

from browser import Browser, FolderServer
from command_test import CommandTest
from trace_format_test import OPTIONS, disorder, duration_of, unpack

VIEWER = os.environ["VIEWER"]
CAPTURE = pathlib.Path(os.environ["CAPTURE"]).read_bytes()

# The page names the profile that it shows, and how many there are.
SHOWN_PROFILE = re.compile(r"^(.* \(pid \d+\), .* \(tid \d+\)) \(1/(\d+)\)$", re.MULTILINE)

# The viewer saves what it has read as a blob: keep it.
EXPORT = """
const original = URL.createObjectURL;
let exported;
URL.createObjectURL = (blob) => { exported = blob; return original.call(URL, blob); };
window.dispatchEvent(new KeyboardEvent("keydown", {key: "s", ctrlKey: true}));
URL.createObjectURL = original;
return exported.text();
"""

Slice = collections.namedtuple("Slice", "start_us length_us name")


def slices_in(profile, frames):
    """Of an exported profile: from each call's begin and end."""
    slices, calls = [], []
    for event in profile["events"]:
        if event["type"] == "O":
            calls.append(event)
        else:
            call = calls.pop()
            assert call["frame"] == event["frame"]
            name = frames[call["frame"]]["name"].split(' {"')[0]
            slices.append(Slice(call["at"], event["at"] - call["at"], name))
    assert not calls
    return sorted(slices)


def slices_by_track(trace):
    """Of a trace, each track's counted from its first slice, as the viewer does."""
    names, tracks = {}, collections.defaultdict(list)
    for event in trace["traceEvents"]:
        track = event["pid"], event["tid"]
        if event["ph"] == "M":
            names[track if event["name"] == "thread_name" else event["pid"]] = event["args"]["name"]
        elif event["ph"] == "X":
            name = f"{names[track[0]]} (pid {track[0]}), {names[track]} (tid {track[1]})"
            tracks[name].append(Slice(event["ts"], event["dur"], event["name"]))
    first = {name: min(slices).start_us for name, slices in tracks.items()}
    return {name: sorted(one._replace(start_us=one.start_us - first[name]) for one in slices)
            for name, slices in tracks.items()}


class Viewer(CommandTest):
    def setUp(self):
        super().setUp()
        shutil.copytree(VIEWER, self.folder / "site")
        self.server = FolderServer(self.folder / "site")
        self.addCleanup(self.server.close)
        self.browser = Browser(self.folder / "profile")
        self.addCleanup(self.browser.close)

    def show(self, capture):
        """Opens the capture's trace in the viewer; gives the trace, and what the
        viewer exports of it."""
        trace = self.run_command(*OPTIONS, data=capture).output
        (self.folder / "site/capture.json").write_bytes(trace)
        self.browser.open(f"{self.server.address}/index.html#profileURL=capture.json")
        self.browser.wait_for(r"return / \(1\/\d+\)$/m.test(document.body.innerText)")
        export = self.browser.run(EXPORT)
        return json.loads(trace), json.loads(export)

    def assert_arrived(self, trace, export):
        frames = export["shared"]["frames"]
        arrived = {profile["name"]: slices_in(profile, frames) for profile in export["profiles"]}
        self.assertEqual(arrived, slices_by_track(trace))
        messages = self.browser.messages()
        self.assertTrue(any("Importing as Trace Event Format profile" in text for text in messages))
        for text in messages:
            self.assertNotRegex(text, "Doing nothing|still open|[Ee]rror")
        return arrived

    def test_example_arrives_whole(self):
        arrived = self.assert_arrived(*self.show(CAPTURE))
        points = [entry for entry in unpack(CAPTURE) if duration_of(entry) is None]
        calls = [entry for entry in unpack(CAPTURE) if duration_of(entry) is not None]
        slices = [one for track in arrived.values() for one in track]
        self.assertEqual(len(slices), len(points) + len(calls))
        self.assertEqual(
            [one.length_us for one in arrived["exec (pid 1), function thread 5 (tid 1003)"]],
            [duration_of(entry) for entry in calls[2:]])
        self.assertEqual(
            arrived["exec (pid 1), extfunction task 1 thread 1 (tid 1002)"], [(0, 446, "hub_boot")])
        self.assertIn("ckp_SSHBFingerON",
                      [one.name for one in arrived["sshb (pid 8), latency (tid 4)"]])

    def test_page_names_the_first_track_and_their_number(self):
        trace, _ = self.show(CAPTURE)
        shown = SHOWN_PROFILE.search(self.browser.run("return document.body.innerText"))
        self.assertEqual(shown[1], "exec (pid 1), scheduler (tid 1)")
        self.assertEqual(int(shown[2]), len(slices_by_track(trace)))

    def test_disorder_arrives_whole(self):
        capture = b"".join(disorder(random.Random(6), 4000))
        self.assert_arrived(*self.show(capture))


if __name__ == "__main__":
    unittest.main()
