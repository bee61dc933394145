# SPDX-License-Identifier: Apache-2.0
"""A copy of the tree in which one mutant after the other is built and put to the tests."""

import enum
import glob
import os
import shutil
import subprocess

import mutants


ROOM = "VantuHUBHIDPlugins/VantuHUBHIDStatistics"  # what is changed


class Outcome(enum.Enum):
    NOT_COMPILED = "not compiled"
    EQUIVALENT = "same code"
    KILLED = "killed"
    SURVIVED = "survived"


# A suite is what is built and run against a mutant: targets, and commands from the build's folder.
class Suite:
    def __init__(self, targets, *commands):
        self.targets = targets
        self.commands = commands


def unit_test(program):
    return [f"tests/{program}", "--gtest_fail_fast", "--gtest_brief=1"]


def independent_lines(*options):
    return ["python3", "../tree/tests/reference/compare.py", "--hubprofile", "tools/hubprofile", "--count", "200000", *options]


LIBRARIES = ["hub_profile", "hub_profile_catalogue", "hub_statistics", "hub_plugin"]  # what is compiled in the room

DECODER_SUITES = [
    Suite(["profile_test"], unit_test("profile/profile_test")),
    Suite(["hubprofile"],
          independent_lines("--seed", "1", "--boot-time", "none"),
          independent_lines("--seed", "2", "--timesync", "5000000,1700110281123456789", "--boot-time",
                            "1700000000123456", "--zone", "UTC")),
]
PLUGIN_SUITES = [
    Suite(["plugin_test", "plugin_object_optimised_test"],
          unit_test("plugin/plugin_test"), unit_test("plugin/plugin_object_optimised_test")),
    Suite(["hubsession", "hub_plugin"],
          ["python3", "../tree/tests/reference/compare_session.py", "--hubsession", "tools/hubsession", "--count", "60",
           "--seed", "1"]),
]


def suites_of(file):
    """In the order in which they are tried: the quick ones first."""
    return DECODER_SUITES if "/profile/" in file else PLUGIN_SUITES


LONGEST_RUN_S = 600  # a mutant that runs longer than this never ends


class Workshop:
    def __init__(self, source, folder):
        """Copies the files that git knows, as they are now."""
        self.tree = os.path.join(folder, "tree")
        self.build = os.path.join(folder, "build")
        self._originals = {}  # what is compiled of the room while nothing is changed
        shutil.rmtree(self.tree, ignore_errors=True)
        listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=source, check=True,
                                capture_output=True, text=True).stdout
        for name in filter(None, listed.split("\0")):
            target = os.path.join(self.tree, name)
            os.makedirs(os.path.dirname(target), exist_ok=True)
            # What may have been a mutant when it was last built here is new; all else keeps its time, and what is built of it.
            copy = shutil.copy if name.startswith(ROOM) else shutil.copy2
            copy(os.path.join(source, name), target)
        self._run(["cmake", "-S", self.tree, "-B", self.build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                   "-DCMAKE_C_FLAGS_DEBUG=-O1 -w", "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -w",
                   "-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld", "-DCMAKE_SHARED_LINKER_FLAGS=-fuse-ld=lld"], cwd=source)

    def prepare(self, files):
        """Builds what these files' suites need, and makes sure that each passes as long as nothing is changed."""
        self._run(["ninja", *LIBRARIES])
        self._originals = {name: self._bytes_of(name) for name in self._objects_in(ROOM, "**/*")}
        for suite in dict.fromkeys(suite for file in files for suite in suites_of(file)):
            self._run(["ninja", *suite.targets])
            for command in suite.commands:
                if not self._passes(command):
                    raise SystemExit(f"mutate: without a mutant, this fails: {' '.join(command)}")

    def outcome_of(self, mutant):
        path = os.path.join(self.tree, mutant.file)
        with open(path, encoding="utf-8") as source:
            original = source.read()
        objects = self._objects_of(mutant.file)
        try:
            self._write(path, mutants.apply(original, mutant))
            if not self._builds(objects):
                return Outcome.NOT_COMPILED
            if all(self._bytes_of(name) == self._originals[name] for name in objects):
                return Outcome.EQUIVALENT
            return self._judge(suites_of(mutant.file))
        finally:
            self._write(path, original)

    def _judge(self, suites):
        for suite in suites:
            if not self._builds(suite.targets):
                return Outcome.NOT_COMPILED
            if not all(self._passes(command) for command in suite.commands):
                return Outcome.KILLED
        return Outcome.SURVIVED

    def _objects_of(self, file):
        """What is compiled from a source; for a header all there is, of which only what includes it is compiled again."""
        if file.endswith(".h"):
            return list(self._originals)
        folder, name = os.path.split(file)
        library_folder, below = (os.path.dirname(folder), "profile/") if folder.endswith("/profile") else (folder, "")
        return self._objects_in(library_folder, below + name)

    def _objects_in(self, library_folder, pattern):
        found = glob.glob(f"{self.build}/{library_folder}/CMakeFiles/*.dir/{pattern}.o", recursive=True)
        return [os.path.relpath(path, self.build) for path in found]

    def _bytes_of(self, name):
        with open(os.path.join(self.build, name), "rb") as file:
            return file.read()

    def _write(self, path, text):
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)

    def _builds(self, targets):
        return subprocess.run(["ninja", "-j1", *targets], cwd=self.build, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL, check=False).returncode == 0

    def _passes(self, command):
        try:
            return subprocess.run(command, cwd=self.build, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                  timeout=LONGEST_RUN_S, check=False).returncode == 0
        except subprocess.TimeoutExpired:
            return False

    def _run(self, command, cwd=None):
        ran = subprocess.run(command, cwd=cwd or self.build, capture_output=True, text=True, check=False)
        if ran.returncode != 0:
            raise SystemExit(f"mutate: {' '.join(command)}:\n{ran.stdout}{ran.stderr}")
