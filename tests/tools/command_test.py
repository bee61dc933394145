# SPDX-License-Identifier: Apache-2.0
"""Small language for tests of a command: files, runs, live runs.

The command's path is in the environment variable COMMAND, the sanitizers it is
built with, if any, in HUB_SANITIZE.
"""

import collections
import ctypes
import os
import pathlib
import resource
import signal
import subprocess
import tempfile
import unittest

COMMAND = os.path.abspath(os.environ["COMMAND"])
SANITIZERS = os.environ.get("HUB_SANITIZE", "")

MEBIBYTE = 1 << 20


def respect_permissions():
    """Before the command starts: takes from root what lets it open every file."""
    set_of_the_command = 24  # PR_CAPBSET_DROP
    override, read_search = 1, 2  # CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH
    if os.geteuid() == 0:
        libc = ctypes.CDLL(None, use_errno=True)
        for capability in (override, read_search):
            if libc.prctl(set_of_the_command, capability, 0, 0, 0) != 0:
                raise OSError(ctypes.get_errno(), "prctl")


def closing(*descriptors):
    """Before the command starts: closes what it would inherit."""
    def close():
        for descriptor in descriptors:
            os.close(descriptor)
    return close


def limiting_files(size_bytes):
    """Before the command starts: no file may grow beyond this, as on a full disk."""
    return lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (size_bytes, size_bytes))


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
            [COMMAND, *arguments], cwd=self.folder, bufsize=0,
            env={**os.environ, "TZ": "UTC0", "LC_ALL": "C", **(environment or {})},
            **streams)
        self.addCleanup(self.stop, process)
        return process

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
