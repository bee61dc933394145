#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests that the manual pages tell what the commands do.

The environment has the sources' folder in PROJECT and the commands in HUBPROFILE and HUBSESSION.
"""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

MANUAL = pathlib.Path(os.environ["PROJECT"]) / "man"
NUMBER_BYTES = {"u8": 1, "u16": 2, "u32": 4, "u64": 8}
HEAD_BYTES = 16


def section(page, title):
    """The text of a section or subsection, up to the next one of either kind."""
    text = (MANUAL / page).read_text(encoding="utf-8")
    return re.search(rf"^##? {re.escape(title)}\n(.*?)(?=^##? |\Z)", text, re.MULTILINE | re.DOTALL).group(1)


def table(page, title):
    """The rows below the head of the first table in a section, as lists of cells."""
    rows = re.search(r"^\[\[.*?(?=\n\n|\Z)", section(page, title), re.MULTILINE | re.DOTALL).group(0)
    cells = [re.split(r"\n:[-\[<]? *", row) for row in re.split(r"\n\|  ?", rows)[1:]]
    return [[cell.replace("\\", "").strip() for cell in row] for row in cells]


def decoded(*reports):
    run = subprocess.run([os.environ["HUBPROFILE"], "--boot-time", "none"], input=b"".join(reports),
                         capture_output=True, check=True, timeout=60)
    return run.stdout.decode(errors="replace").splitlines()


def item(line, key):
    """An item's value as it stands in a line, without quotes and blanks."""
    return re.search(rf" '{re.escape(key)}': *'? *([^',]*)", line).group(1)


def report(category=0, component=0, event=0, type_id=0, payload=bytes(32)):
    return bytes([type_id, event, component, category]) + bytes(12) + payload


class CapturePage(unittest.TestCase):
    PAGE = "hub-capture.5.scd"

    def assert_names(self, title, key, reports):
        rows = table(self.PAGE, title)
        self.assertEqual([[str(number), item(line, key)] for number, line in enumerate(decoded(*reports))], rows)

    def test_names_every_category(self):
        rows = len(table(self.PAGE, "CATEGORIES"))
        self.assert_names("CATEGORIES", "category", [report(category=number) for number in range(rows)])
        self.assertEqual(str(rows), item(decoded(report(category=rows))[0], "category"))

    def test_names_every_payload_type(self):
        rows = len(table(self.PAGE, "PAYLOAD TYPES"))
        self.assert_names("PAYLOAD TYPES", "type", [report(type_id=number) for number in range(rows)])
        self.assertEqual(str(rows), item(decoded(report(type_id=rows))[0], "type"))

    def test_head_fields_cover_the_report_without_gaps(self):
        end = 0
        for offset, size, *_ in table(self.PAGE, "THE REPORT"):
            self.assertEqual(end, int(offset))
            end += NUMBER_BYTES.get(size) or int(size.split()[0])
        self.assertEqual(48, end)

    def test_numbers_of_a_payload_stand_where_the_page_tells(self):
        payload = bytes(range(0x41, 0x41 + 32))
        found = 0
        for type_id, name in table(self.PAGE, "PAYLOAD TYPES"):
            if f"## {name} (" not in (MANUAL / self.PAGE).read_text(encoding="utf-8"):
                continue
            line = decoded(report(type_id=int(type_id), payload=payload))[0]
            for offset, size, key in table(self.PAGE, f"{name} ({type_id})"):
                if size in NUMBER_BYTES:
                    value = int.from_bytes(payload[int(offset):][:NUMBER_BYTES[size]], "little")
                    self.assertEqual(str(value), item(line, key), (name, key))
                    found += 1
                elif size.startswith("text of "):
                    text = payload[int(offset):][:int(size.split()[-1])].decode()
                    self.assertEqual(text, item(line, key), (name, key))
                    found += 1
        self.assertGreater(found, 30)

    def test_example_is_a_report_as_the_page_tells(self):
        digits = re.findall(r"\b[0-9a-f]{2}\b", section(self.PAGE, "EXAMPLES").split("hexadecimal:")[1].split("It is")[0])
        line = decoded(bytes.fromhex("".join(digits)))[0]
        self.assertEqual(["control", "3", "5", "stop", "1000", "7"],
                         [item(line, key) for key in ("category", "component", "event", "type", "timestamp",
                                                      "sequence_num")])


class DevicePage(unittest.TestCase):
    def play(self, text):
        with tempfile.TemporaryDirectory() as folder:
            device = pathlib.Path(folder, "device.json")
            device.write_text(text, encoding="utf-8")
            return subprocess.run([os.environ["HUBSESSION"], "run", str(device)], capture_output=True, check=False,
                                  timeout=60)

    def test_example_is_a_device_whose_click_is_published(self):
        example = re.search(r"```\n(.*?)```", section("hub-device.5.scd", "EXAMPLES"), re.DOTALL).group(1)
        run = self.play(example)
        self.assertEqual((b"", 0), (run.stderr, run.returncode))
        self.assertIn("services    1 taken: button", run.stdout.decode())
        self.assertIn("statistics  1 record published in 1 batch", run.stdout.decode())

    def test_names_exactly_the_keys_that_an_object_may_have(self):
        def refusal(text):
            return self.play(text).stderr.decode()
        for title, around in (("THE FILE", "%s"), ("NODES", '{"format": "hub-device/1", "registry": [%s]}')):
            known = re.findall(r'"(\w+)"', refusal(around % '{"no such key": 1}').split("expected")[1].split("found")[0])
            self.assertEqual(sorted(known), sorted(row[0] for row in table("hub-device.5.scd", title)))


if __name__ == "__main__":
    unittest.main()
