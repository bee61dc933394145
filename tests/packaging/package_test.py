#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of the Debian packages that CPack makes of the build."""

import gzip
import pathlib
import re
import subprocess
import tempfile
import unittest

from installed_test import (
    BUILD, DOCUMENTS, LIBRARIES, PROJECT, SERVICES, VERSION, WORKED_RECORD, files_below, run)

RUNTIME, DEVELOPMENT = "hub-hid-statistics", "hub-hid-statistics-dev"
LISTS = PROJECT / "tests/packaging/contents"


class Packages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        made = pathlib.Path(folder.name)
        run("cpack", "--config", f"{BUILD}/CPackConfig.cmake", "-B", str(made))
        cls.files = {path.name.split("_")[0]: path for path in made.glob("*.deb")}
        cls.unpacked = {name: made / f"{name}.unpacked" for name in cls.files}
        for name, path in cls.files.items():
            run("dpkg-deb", "--raw-extract", str(path), str(cls.unpacked[name]))

    def field(self, package, name):
        return run("dpkg-deb", "--field", str(self.files[package]), name).decode().strip()

    def binaries(self):
        folder = self.unpacked[RUNTIME] / "usr"
        return [*folder.glob("bin/*"), *(path for path in (folder / LIBRARIES).glob("*.so.*") if not path.is_symlink())]

    def test_are_what_runs_and_what_others_build_with(self):
        self.assertEqual({RUNTIME, DEVELOPMENT}, set(self.files))

    def test_please_lintian(self):
        for path in self.files.values():
            result = subprocess.run(["lintian", "--fail-on", "error,warning", "--pedantic", str(path)],
                                    capture_output=True, check=False, timeout=300)
            self.assertEqual(0, result.returncode, result.stdout.decode() + result.stderr.decode())

    def test_hold_exactly_the_listed_files(self):
        headers = [f"usr/include/hubplatform/{name}" for name in files_below(PROJECT / "platform/include")]
        documents = [f"usr/share/doc/{RUNTIME}/{name}" for name in DOCUMENTS]
        for package, more in ((RUNTIME, documents), (DEVELOPMENT, headers)):
            lines = (LISTS / f"{package}.list").read_text(encoding="utf-8").splitlines()
            listed = [line.replace("LIBRARIES", LIBRARIES).replace("VERSION", VERSION)
                      for line in lines if not line.startswith("#")]
            held = [name for name in files_below(self.unpacked[package])
                    if not name.startswith("DEBIAN/") and not re.search(r"-targets-\w+\.cmake$", name)]
            self.assertEqual(sorted(listed + more), held)

    def test_belong_to_root_and_can_be_written_by_nobody_else(self):
        for path in self.files.values():
            for line in run("dpkg-deb", "--contents", str(path)).decode().splitlines():
                self.assertRegex(line, r"\A(?:drwxr-xr-x|-rw-r--r--|-rwxr-xr-x|lrwxrwxrwx) root/root ")

    def test_checksums_are_those_of_all_files(self):
        for package, folder in self.unpacked.items():
            sums = (folder / "DEBIAN/md5sums").read_bytes()
            run("sh", "-c", f"cd '{folder}' && md5sum --check --strict --quiet", data=sums)
            regular = [name for name in files_below(folder)
                       if not name.startswith("DEBIAN/") and not (folder / name).is_symlink()]
            self.assertEqual(regular, sorted(line.split("  ", 1)[1] for line in sums.decode().splitlines()), package)

    def test_depend_on_what_they_need(self):
        self.assertRegex(self.field(RUNTIME, "Depends"), r"\blibc6 \(>= .*\blibsqlite3-0\b.*\blibstdc\+\+6\b")
        self.assertEqual(f"{RUNTIME} (= {self.field(RUNTIME, 'Version')})", self.field(DEVELOPMENT, "Depends"))

    def test_version_is_the_projects_with_a_revision(self):
        for package in (RUNTIME, DEVELOPMENT):
            self.assertRegex(self.field(package, "Version"), rf"\A{re.escape(VERSION)}-\d+\Z")
            changelog = gzip.decompress((self.unpacked[package] / f"usr/share/doc/{package}/changelog.Debian.gz").read_bytes())
            self.assertTrue(changelog.decode().startswith(f"{RUNTIME} ({self.field(package, 'Version')}) "))

    def test_each_tells_what_it_is_in_a_line_of_its_own(self):
        synopses = {self.field(package, "Description").splitlines()[0] for package in (RUNTIME, DEVELOPMENT)}
        self.assertEqual({"statistics and diagnostics of a sensor co-processor",
                          "statistics and diagnostics of a sensor co-processor - development files"}, synopses)

    def test_binaries_are_stripped_and_have_no_search_path(self):
        self.assertEqual(4, len(self.binaries()))
        for path in self.binaries():
            self.assertNotIn(".symtab", run("readelf", "--sections", "--wide", str(path)).decode(), path)
            self.assertNotRegex(run("readelf", "-d", str(path)).decode(), "RPATH|RUNPATH", path)

    def test_libraries_are_announced_by_the_trigger_and_by_no_script(self):
        control = files_below(self.unpacked[RUNTIME] / "DEBIAN")
        self.assertEqual(["control", "md5sums", "shlibs", "triggers"], control)
        self.assertEqual("activate-noawait ldconfig\n", (self.unpacked[RUNTIME] / "DEBIAN/triggers").read_text())
        self.assertEqual(["control", "md5sums"], files_below(self.unpacked[DEVELOPMENT] / "DEBIAN"))

    def test_manual_pages_are_those_of_the_build(self):
        manual = self.unpacked[RUNTIME] / "usr/share/man"
        for name in files_below(manual):
            page = pathlib.Path(BUILD, "man", pathlib.Path(name).stem)
            self.assertEqual(page.read_bytes(), gzip.decompress((manual / name).read_bytes()))

    def test_packed_commands_work(self):
        prefix = self.unpacked[RUNTIME] / "usr"
        where = {"LD_LIBRARY_PATH": str(prefix / LIBRARIES)}
        self.assertIn(b"'category':'control'", run(str(prefix / "bin/hubprofile"), data=WORKED_RECORD, **where))
        device = prefix / "share/hub-hid-statistics/examples/devices/phone.json"
        self.assertTrue(run(str(prefix / "bin/hubsession"), "run", str(device), **where).decode().startswith(SERVICES))


if __name__ == "__main__":
    unittest.main()
