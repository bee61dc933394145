# SPDX-License-Identifier: Apache-2.0
"""Small language for tests of the dissector: captures, and what tshark makes of them.

In the environment: PCAPNG_COMMAND, the command line that turns records into a
capture file; DISSECTOR, the dissector's file.
"""

import json
import os
import pathlib
import shlex
import struct
import subprocess
import tempfile
import unittest

import profile_reference

PCAPNG_COMMAND = shlex.split(os.environ["PCAPNG_COMMAND"])
WITH_DISSECTOR = ("-X", f"lua_script:{os.environ['DISSECTOR']}")
PATIENCE_SECONDS = 300

RECORD_BYTES = 48


def record(category, component, event, type_id, payload=b"", sequence=7, timestamp_us=1000):
    return struct.pack("<4BIQ32s", type_id, event, component, category, sequence,
                       timestamp_us, payload)


def records_in(data):
    return [data[at:at + RECORD_BYTES] for at in range(0, len(data), RECORD_BYTES)]


class DissectorTest(unittest.TestCase):
    """Runs tshark without what this machine's user has set up for it."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def run_tool(self, *command, data=None):
        """Runs to the end and gives the output; a complaint of any kind fails."""
        environment = {**os.environ, "TZ": "UTC0", "LC_ALL": "C.UTF-8", "HOME": str(self.folder),
                       "XDG_CONFIG_HOME": str(self.folder),
                       "WIRESHARK_PLUGIN_DIR": str(self.folder)}
        result = subprocess.run(command, input=data, capture_output=True, env=environment,
                                timeout=PATIENCE_SECONDS, check=False)
        complaints = [line for line in result.stderr.decode().splitlines()
                      if not line.startswith("Running as user")]
        self.assertEqual((0, []), (result.returncode, complaints), command)
        return result.stdout.decode()

    def assert_all_equal(self, expected, found):
        """Tells the first difference alone: that of long lists takes minutes to show."""
        for index, (one, other) in enumerate(zip(expected, found)):
            self.assertEqual(one, other, f"packet {index + 1}")
        self.assertEqual(len(expected), len(found))

    def capture(self, records, *options):
        path = self.folder / "records.pcapng"
        with open(path, "wb") as file:
            subprocess.run([*PCAPNG_COMMAND, *options], input=b"".join(records), stdout=file,
                           timeout=PATIENCE_SECONDS, check=True)
        return path

    def capture_of_packets(self, *packets):
        """A capture of link type USER0 in the older format, written without the command."""
        path = self.folder / "packets.pcap"
        headers = [struct.pack("<IIII", 0, 0, len(packet), len(packet)) for packet in packets]
        path.write_bytes(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 147)
                         + b"".join(map(bytes.__add__, headers, packets)))
        return path

    def tshark(self, *arguments):
        return self.run_tool("tshark", "-n", *WITH_DISSECTOR, *arguments)

    def columns(self, path, *names, display_filter=""):
        """The fields of each packet that passes the filter."""
        options = [option for name in names for option in ("-e", name)]
        output = self.tshark("-r", path, "-T", "fields", *options, "-Y", display_filter)
        return [line.split("\t") for line in output.splitlines()]

    def packets(self, path):
        """The fields of each packet, in order: name, value as shown, place in the packet.

        A value that is shown without bytes of its own has no place.
        """
        decoded = json.loads(self.tshark("-r", path, "-T", "json", "-x"),
                             object_pairs_hook=tuple)
        for packet in decoded:
            layers = dict(dict(packet)["_source"])["layers"]
            yield list(fields_of(dict(layers)["hubprofile"]))


def fields_of(pairs):
    """Walks a tree in which each field may stand behind its bytes and before what is below it."""
    place = None
    for name, value in pairs:
        if name.endswith("_raw") and isinstance(value, list):
            _, at, size_bytes, _, _ = value
            place = slice(at, at + size_bytes)
        elif isinstance(value, tuple):
            yield from fields_of(value)
        else:
            yield name, value, place
            place = None


# --- Expectations: what the reference decoder reads -------------------------------


def parts_of(*parts):
    """Names the parts of a layout that is made of several: name, items."""
    return {sum((items for _, items in parts), ()): parts}


_short_data = ("short-data", profile_reference.SHORT_DATA)
_event = ("event", profile_reference.EVENT)
_data_in = profile_reference.LAYOUTS_BY_HEADER[0x04000003]

LAYOUT_PARTS = {
    (): (),
    **{items: ((profile_reference.TYPE_NAMES[type_id], items),)
       for type_id, items in profile_reference.BASE_LAYOUTS.items()},
    **{items: ((f"sshb-context-{version}", items),)
       for version, items in profile_reference.CONTEXTS.items()},
    **parts_of(("cumulus-data-in", _data_in[:-len(profile_reference.EVENT)]), _event),
    **parts_of(("cumulus-data-out", profile_reference.LAYOUTS_BY_HEADER[0x04000103])),
    **parts_of(("wake-request", profile_reference.LAYOUTS_BY_HEADER[0x0A00010D])),
    **parts_of(("wake-event", profile_reference.LAYOUTS_BY_HEADER[0x0A000203])),
    **parts_of(("sshb-trace", profile_reference.TRACE_POINT), _event),
    **parts_of(("sshb-status-event", profile_reference.STATUS_EVENT), _short_data),
    **parts_of(("haptics-trace", profile_reference.TRACE_POINT)),
    **parts_of(("haptics-amp-state", profile_reference.HAPTICS_SHORT_DATA[1])),
    **parts_of(("haptics-play-request", profile_reference.HAPTICS_SHORT_DATA[2])),
    # A line shows it twice.
    profile_reference.SHORT_DATA * 2: (_short_data,),
}


def layouts_of(sample):
    """The layouts of a record: name, and key and value of each item."""
    header_word, = struct.unpack_from("<I", sample)
    for name, items in LAYOUT_PARTS[profile_reference.layout_of(sample, header_word)]:
        yield name, [(key_of(write), read(sample)) for write, read in items]


def key_of(write):
    """The key in an item's form, which is the format method of a text."""
    return write.__self__.split("'")[1]


def filter_name(layout, key):
    return f"hubprofile.{layout}.{key}".replace("-", "_")


def names_of(sample):
    """What category, component, event and type of a record are called."""
    type_id, event, component, category = sample[:4]
    return [
        profile_reference.name_in(profile_reference.CATEGORY_NAMES, category),
        profile_reference.name_in(profile_reference.COMPONENT_NAMES.get(category, {}), component),
        profile_reference.name_by_component(profile_reference.EVENT_NAMES, category, component,
                                            event),
        profile_reference.name_in(profile_reference.TYPE_NAMES, type_id),
    ]
