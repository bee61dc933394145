#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of what `cmake --install` leaves behind: the commands, and what others build with."""

import pathlib
import re
import unittest

from installed_test import (
    DOCUMENTS, LIBRARIES, PROJECT, SERVICES, VERSION, InstalledTest, descriptions_by, files_below, install,
    no_settings, run)


class Layout(InstalledTest):
    def below(self, folder):
        return files_below(self.prefix / folder)

    def test_programs_are_the_two_commands(self):
        self.assertEqual(["hubprofile", "hubsession"], self.below("bin"))

    def test_libraries_are_the_two_shared_ones_with_their_links(self):
        names = [name for name in self.below(LIBRARIES) if "/" not in name]
        self.assertEqual([f"lib{name}.so{version}" for name in ("VantuHUBHIDStatistics", "hubplatform")
                          for version in ("", ".0", f".{VERSION}")], names)

    def test_public_headers_are_all_there_in_folders_of_their_own(self):
        self.assertEqual(files_below(PROJECT / "platform/include"), self.below("include/hubplatform"))
        self.assertEqual(["profile/profile_exports.h", "profile/profile_report.h"],
                         self.below("include/hub-hid-statistics"))
        self.assertEqual({"hubplatform", "hub-hid-statistics"},
                         {path.name for path in (self.prefix / "include").iterdir()})

    def test_examples_are_all_devices_and_captures(self):
        def examples(folder):
            return [name for name in files_below(folder) if name.endswith((".json", ".bin", ".listing"))]
        installed = self.prefix / "share/hub-hid-statistics/examples"
        self.assertEqual(examples(PROJECT / "examples"), files_below(installed))
        self.assertIn("devices/phone.json", files_below(installed))

    def test_licence_and_changelog_are_those_of_the_tree(self):
        documents = self.prefix / "share/doc/hub-hid-statistics"
        for name in ("LICENSE", "CHANGELOG.md"):
            self.assertEqual((PROJECT / name).read_bytes(), (documents / name).read_bytes())

    def test_documents_are_all_but_that_of_the_sources(self):
        self.assertLessEqual({"jsonl.md", "summary-json.md"}, set(DOCUMENTS))
        self.assertEqual(sorted([*DOCUMENTS, "LICENSE", "CHANGELOG.md"]),
                         self.below("share/doc/hub-hid-statistics"))

    def test_manual_pages_are_all_there(self):
        self.assertEqual(["man1/hubprofile.1", "man1/hubsession.1", "man5/hub-capture.5", "man5/hub-device.5"],
                         self.below("share/man"))

    def test_completions_are_there_for_both_commands_in_each_shell(self):
        for folder, name in (("bash-completion/completions", "{}"), ("fish/vendor_completions.d", "{}.fish"),
                             ("zsh/site-functions", "_{}")):
            self.assertEqual([name.format("hubprofile"), name.format("hubsession")], self.below(f"share/{folder}"))

    def test_nothing_names_the_prefix_or_the_tree(self):
        texts = [path for path in (self.prefix / LIBRARIES).rglob("*") if path.suffix in (".pc", ".cmake")]
        self.assertEqual(6, len(texts))
        for path in texts:
            for folder in (self.folder, PROJECT):
                self.assertNotIn(str(folder), path.read_text(encoding="utf-8"), path.name)

    def test_binaries_look_for_libraries_beside_themselves_alone(self):
        binaries = [f"bin/{name}" for name in self.below("bin")]
        binaries += [f"{LIBRARIES}/lib{name}.so" for name in ("VantuHUBHIDStatistics", "hubplatform")]
        for name in binaries:
            dynamic = run("readelf", "-d", str(self.prefix / name)).decode()
            for path in re.findall(r"(?:RPATH|RUNPATH)\).*\[(.*)\]", dynamic):
                self.assertRegex(path, r"\A\$ORIGIN(/[a-z0-9_.-]+)*\Z", name)


class Prefix(InstalledTest):
    def assert_works(self, prefix):
        self.assertIn(b"'category':'control'", self.worked_line(prefix))
        self.assertTrue(self.play_example(prefix).startswith(SERVICES))

    def test_installed_commands_work_without_the_tree(self):
        self.assert_works(self.prefix)

    def test_moved_prefix_works_and_builds_programs(self):
        first, moved = self.folder / "first", self.folder / "moved to another place"
        install(first)
        first.rename(moved)
        self.assert_works(moved)
        self.assertEqual([self.worked_line(moved)] * 4,
                         descriptions_by(*self.cmake_programs(moved), *self.pkg_config_programs(moved)))

    def test_destination_folder_stands_before_the_prefix(self):
        staging = self.folder / "staging"
        install("/usr", DESTDIR=str(staging))
        self.assertEqual(files_below(self.prefix), files_below(staging / "usr"))
        self.assertEqual(["usr"], [path.name for path in staging.iterdir()])
        self.assert_works(staging / "usr")

    def test_link_to_the_command_finds_the_plugin(self):
        link = self.folder / "elsewhere/bin/hubsession"
        link.parent.mkdir(parents=True)
        link.symlink_to(self.prefix / "bin/hubsession")
        example = self.prefix / "share/hub-hid-statistics/examples/devices/phone.json"
        self.assertTrue(run(str(link), "run", str(example)).decode().startswith(SERVICES))

    def test_missing_plugin_is_told_with_its_place(self):
        prefix = self.folder / "without plug-in"
        install(prefix)
        library = prefix / LIBRARIES / "libVantuHUBHIDStatistics.so.0"
        library.unlink()
        with self.assertRaisesRegex(AssertionError, re.escape(f"{library}: no plug-in stands there")):
            self.play_example(prefix)


class Dissector(InstalledTest):
    def shown(self, *words):
        """What tshark shows of the example that the installed command wrote, with the installed dissector alone."""
        capture = self.folder / "example.pcapng"
        example = self.prefix / "share/hub-hid-statistics/examples/reports/boot_to_press.bin"
        run(str(self.prefix / "bin/hubprofile"), "--format", "pcapng", "--output", str(capture), str(example))
        dissector = self.prefix / LIBRARIES / "wireshark/plugins/hub_profile.lua"
        return run("tshark", "-n", "-X", f"lua_script:{dissector}", "-r", str(capture), *words,
                   **no_settings(self.folder)).decode()

    def test_filter_on_an_item_of_payloads_finds_the_records_that_the_command_finds(self):
        example = str(self.prefix / "share/hub-hid-statistics/examples/reports/boot_to_press.bin")
        found = run(str(self.prefix / "bin/hubprofile"), "--where", "function.duration > 50", "--format", "csv",
                    "--fields", "sequence_num,function-id", example).decode().splitlines()[1:]
        self.assertGreater(len(found), 1)
        self.assertEqual(found, self.shown(
            "-Y", "hubprofile.function.duration > 50", "-T", "fields", "-E", "separator=,",
            "-e", "hubprofile.sequence_num", "-e", "hubprofile.function.function_id").splitlines())


class OutsidePrograms(InstalledTest):
    def assert_print_the_worked_line(self, programs):
        self.assertEqual([self.worked_line()] * 2, descriptions_by(*programs))

    def test_built_with_cmake_print_what_the_command_prints(self):
        self.assert_print_the_worked_line(self.cmake_programs(self.prefix))

    def test_built_with_pkg_config_print_what_the_command_prints(self):
        self.assert_print_the_worked_line(self.pkg_config_programs(self.prefix))

    def test_pkg_config_names_folders_of_the_prefix_alone(self):
        folders = [flag[2:] for flag in self.flags(self.prefix, "--cflags", "--libs") if flag[:2] in ("-I", "-L")]
        places = {str(pathlib.Path(folder).resolve().relative_to(self.prefix)) for folder in folders}
        self.assertEqual({"include/hub-hid-statistics", "include/hubplatform", LIBRARIES}, places)

    def test_both_packages_have_the_projects_version(self):
        for package in ("hub-hid-statistics", "hubplatform"):
            found = run("pkg-config", "--modversion", package,
                        PKG_CONFIG_LIBDIR=str(self.prefix / LIBRARIES / "pkgconfig"))
            self.assertEqual(VERSION, found.decode().strip())


if __name__ == "__main__":
    unittest.main()
