# SPDX-License-Identifier: Apache-2.0
"""Small language for tests of documents: a tree to run their command lines in, and what they show compared.

In the environment: PROJECT, the tree; BUILD, the folder that it was built in.
"""

import os
import pathlib
import subprocess
import tempfile
import unittest

from shown_commands import is_what_is_shown, shown_commands

PROJECT = pathlib.Path(os.environ["PROJECT"])
BUILD = pathlib.Path(os.environ["BUILD"])
PATIENCE_SECONDS = 300


def text_of(document):
    return (PROJECT / document).read_text(encoding="utf-8")


class DocumentTest(unittest.TestCase):
    """Has a folder that looks like the tree when script/run has built it."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        for name in ("tools", "examples", "dissector"):
            self.link(f"build/release/{name}", BUILD / name)
        self.link("examples", PROJECT / "examples")
        self.link("script/run", PROJECT / "script/run")
        for name in ("script/bootstrap", "nothing_to_build/cmake"):
            self.write_command_that_does_nothing(name)

    def link(self, name, target):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.symlink_to(target)

    def write_command_that_does_nothing(self, name):
        path = self.folder / name
        path.parent.mkdir(exist_ok=True)
        path.write_text("#!/bin/sh\n", encoding="utf-8")
        path.chmod(0o755)

    def run_in_folder(self, command_line):
        """In the project's tree, where it may leave files for the next one."""
        folders = [self.folder / name for name in ("nothing_to_build", "build/release/tools", "build/release/examples")]
        environment = {**os.environ, "PATH": os.pathsep.join([*map(str, folders), os.environ["PATH"]]),
                       "LC_ALL": "C.UTF-8"}
        for name in ("HOME", "XDG_CONFIG_HOME", "WIRESHARK_PLUGIN_DIR"):  # not what this machine's user has set up
            environment[name] = str(self.folder)
        environment.pop("COLUMNS", None)
        return subprocess.run(command_line, shell=True, cwd=self.folder, env=environment, stdin=subprocess.DEVNULL,
                              capture_output=True, encoding="utf-8", timeout=PATIENCE_SECONDS, check=False)

    def printed_by(self, command_line):
        """Without what tshark says of root."""
        run = self.run_in_folder(command_line)
        self.assertEqual(run.returncode, 0, run.stderr)
        messages = [line for line in run.stderr.splitlines(keepends=True) if not line.startswith("Running as user ")]
        return run.stdout + "".join(messages)

    def assert_shows_what_is_printed(self, document):
        for shown in shown_commands(text_of(document)):
            with self.subTest(shown.command_line):
                printed = self.printed_by(shown.command_line)
                self.assertTrue(is_what_is_shown(shown.output, printed), f"it prints\n{printed}")
