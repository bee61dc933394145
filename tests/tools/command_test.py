# SPDX-License-Identifier: Apache-2.0
"""Small language for tests of the hubprofile command: records, runs, live runs.

The command's path is in the environment variable HUBPROFILE, the sanitizers it
is built with, if any, in HUB_SANITIZE.
"""

import collections
import ctypes
import os
import pathlib
import signal
import struct
import subprocess
import tempfile
import unittest

HUBPROFILE = os.path.abspath(os.environ["HUBPROFILE"])
SANITIZERS = os.environ.get("HUB_SANITIZE", "")

RECORD_BYTES = 48

WORKED_RECORD = bytes.fromhex("00050308 07000000 E803") + bytes(38)
WORKED_LINE = (
    b"{  'category':'control', 'component':     '3', 'event':         '5',"
    b" 'type':      'stop', 'timestamp':      1000, 'sequence_num':         7,"
    b" 'type-id':0, 'category-id':8, 'component-id':3, 'event-id':5,"
    b" 'binary-data':[0,5,3,8,7,0,0,0,232,3,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,"
    b"0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0]}\n")


def record(category, component, event, type_id, payload=b"", sequence=7,
           timestamp_us=1000):
    return struct.pack("<4BIQ32s", type_id, event, component, category, sequence,
                       timestamp_us, payload)


def sensor_named(name):
    """A record with 12 bytes of text, at record offset 35."""
    return record(2, 0, 9, 8, bytes(19) + name)


INVALID_TEXT_RECORD = sensor_named(b"\xff")


def records(*sequence_numbers):
    """Worked records that differ in their sequence numbers."""
    return b"".join(record(8, 3, 5, 0, sequence=number) for number in sequence_numbers)


def lines(*sequence_numbers):
    """The lines of `records`, without boot time."""
    return b"".join(
        b"{  'category':'control', 'component':     '3', 'event':         '5',"
        b" 'type':      'stop', 'timestamp':      1000, 'sequence_num':%10d,"
        b" 'type-id':0, 'category-id':8, 'component-id':3, 'event-id':5,"
        b" 'binary-data':[%s]}\n"
        % (number, ",".join(map(str, records(number))).encode())
        for number in sequence_numbers)


def respect_permissions():
    """Before the command starts: takes from root what lets it open every file."""
    set_of_the_command = 24  # PR_CAPBSET_DROP
    override, read_search = 1, 2  # CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH
    if os.geteuid() == 0:
        libc = ctypes.CDLL(None, use_errno=True)
        for capability in (override, read_search):
            if libc.prctl(set_of_the_command, capability, 0, 0, 0) != 0:
                raise OSError(ctypes.get_errno(), "prctl")


Result = collections.namedtuple("Result", "status output messages")


class CommandTest(unittest.TestCase):
    """Runs the command in a folder of its own; what hangs fails."""

    patience_seconds = 60

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        signal.signal(signal.SIGALRM, self.give_up)
        signal.alarm(self.patience_seconds)
        self.addCleanup(signal.alarm, 0)

    def give_up(self, *_):
        raise TimeoutError(f"no end within {self.patience_seconds} seconds")

    # --- Files ---------------------------------------------------------------

    def file(self, name, content):
        (self.folder / name).write_bytes(content)
        return name

    def fifo(self, name):
        os.mkfifo(self.folder / name)
        return name

    def open_fifo(self, name):
        """Opens for writing, which waits until the command has opened to read."""
        fifo = open(self.folder / name, "wb", buffering=0)
        self.addCleanup(fifo.close)
        return fifo

    def content(self, name):
        return (self.folder / name).read_bytes()

    def names(self, folder="."):
        return sorted(os.listdir(self.folder / folder))

    def mode(self, name):
        return (self.folder / name).stat().st_mode & 0o7777

    # --- Runs ----------------------------------------------------------------

    def start(self, *arguments, environment=None, **streams):
        """Starts the command: pipes for its output, no input unless told."""
        streams = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE,
                   "stderr": subprocess.PIPE, **streams}
        process = subprocess.Popen(
            [HUBPROFILE, *arguments], cwd=self.folder, bufsize=0,
            env={**os.environ, "TZ": "UTC0", "LC_ALL": "C", **(environment or {})},
            **streams)
        self.addCleanup(self.stop, process)
        return process

    def start_decoding(self, *arguments, **streams):
        return self.start("--boot-time", "none", *arguments, **streams)

    def stop(self, process):
        if process.poll() is None:
            process.kill()
        for stream in (process.stdin, process.stdout, process.stderr):
            if stream is not None:
                stream.close()
        process.wait()

    def finish(self, process, data=None):
        """Waits for the end, and gives what was not read before."""
        output, messages = process.communicate(data)
        return Result(process.returncode, output, (messages or b"").decode())

    def run_command(self, *arguments, data=None, **options):
        if data is not None:
            options["stdin"] = subprocess.PIPE
        return self.finish(self.start(*arguments, **options), data)

    def decode(self, *arguments, data=None, **options):
        """Runs the command without the boot time, which no test can know."""
        return self.run_command("--boot-time", "none", *arguments, data=data, **options)

    # --- Expectations --------------------------------------------------------

    def assert_decoded(self, result, output, messages=""):
        self.assertEqual((output, messages, 0),
                         (result.output, result.messages, result.status))

    def assert_failed(self, result, output, *messages):
        expected = "".join(f"hubprofile: {message}\n" for message in messages)
        self.assertEqual((output, expected, 1),
                         (result.output, result.messages, result.status))


class OutputFolderTest(CommandTest):
    """Runs with an output file, "lines" in the folder "out"."""

    def setUp(self):
        super().setUp()
        os.mkdir(self.folder / "out")

    def start_output(self, **options):
        """Starts a run that has written the line of record 1 and waits for more.

        The command opens an input when it is done with the one before, and
        opening a named pipe waits for the other side.
        """
        process = self.start_decoding("-o", "out/lines", self.fifo("first"), self.fifo("second"),
                                      **options)
        with self.open_fifo("first") as first:
            first.write(records(1))
        return process, self.open_fifo("second")

    def assert_only_output(self, content):
        self.assertEqual((["lines"], content), (self.names("out"), self.content("out/lines")))
