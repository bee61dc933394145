#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests that help, manual and completions tell of the same options, and that the completions complete."""

import pathlib
import tempfile
import unittest

from options_test import COMMANDS, SHELLS, TELLERS, Bash, Fish, Help, Zsh, words_expected

# Options with words of their own: the words before them, and what may follow.
WORDS = {
    ("hubprofile", "--progress"): {"auto", "always", "never"},
    ("hubprofile", "--color"): {"auto", "always", "never"},
    ("hubprofile", "--format"): {"text", "jsonl", "csv", "pcapng", "trace"},
    ("hubprofile", "--delta"): {"prev", "match", "start"},
    ("hubprofile", "--boot-time"): {"none"},
    ("hubprofile", "summary", "--progress"): {"auto", "always", "never"},
    ("hubprofile", "compare", "--progress"): {"auto", "always", "never"},
    ("hubsession", "run", "--log-level"): {"default", "error", "fault", "off"},
    ("hubsession", "run", "--capture"): {"1", "2", "3"},
    ("hubsession", "run", "--boot-time"): {"none"},
}


class SameOptionsEverywhere(unittest.TestCase):
    def each_teller(self):
        for command in COMMANDS:
            for teller in TELLERS:
                with self.subTest(command=command, teller=teller.__name__):
                    yield command, teller(command)

    def test_help_has_options_to_compare(self):
        for command in COMMANDS:
            self.assertLessEqual({"-h", "--help", "--version"}, Help(command).options())

    def test_subcommands_are_those_of_help(self):
        for command, teller in self.each_teller():
            self.assertEqual(Help(command).subcommands(), teller.subcommands())

    def test_options_of_each_command_are_those_of_its_help(self):
        for command, teller in self.each_teller():
            self.assertEqual(Help(command).options(), teller.options())

    def test_options_of_each_subcommand_are_those_of_its_help(self):
        for command, teller in self.each_teller():
            for subcommand in Help(command).subcommands():
                with self.subTest(subcommand=subcommand):
                    self.assertEqual(Help(command).options(subcommand), teller.options(subcommand))


class Completions(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def files(self, *names):
        for name in names:
            (self.folder / name).touch()

    def test_syntax_is_each_shells(self):
        for command in COMMANDS:
            for shell in SHELLS:
                shell(command).check_syntax()

    def test_words_of_an_option_are_offered(self):
        for (command, *words), expected in WORDS.items():
            for shell in SHELLS:
                with self.subTest(command=command, words=words, shell=shell.__name__):
                    self.assertEqual(expected, shell(command).candidates(*words, ""))

    def test_words_are_those_that_begin_so(self):
        for shell in (Bash, Fish):
            self.assertEqual({"always", "auto"}, shell("hubprofile").candidates("--progress", "a"))
            self.assertEqual({"--log", "--log-level"}, shell("hubsession").candidates("run", "--log"))

    def test_words_are_those_that_the_command_expects(self):
        for option in ("--format", "--delta", "--color", "--progress"):
            self.assertEqual(words_expected("hubprofile", option), WORDS["hubprofile", option])

    def test_captures_are_all_files(self):
        self.files("a.bin", "b.capture")
        for before in (["a.bin"], ["summary"], ["compare", "a.bin"]):
            for shell in (Bash, Fish):
                with self.subTest(before=before, shell=shell.__name__):
                    self.assertEqual({"a.bin", "b.capture"},
                                     shell("hubprofile").candidates(*before, "", folder=self.folder))
        for subcommand in ("", "summary"):
            self.assertTrue([rule for rule in Zsh("hubprofile").rules(subcommand) if rule.startswith("*:capture:")])

    def test_first_word_is_a_capture_or_a_subcommand(self):
        self.files("a.bin")
        for shell in (Bash, Fish):
            self.assertEqual({"a.bin", "summary", "compare"}, shell("hubprofile").candidates("", folder=self.folder))

    def test_subcommand_is_one_as_the_first_word_alone(self):
        for shell in (Bash, Fish):
            self.assertIn("--format", shell("hubprofile").candidates("--gaps", "summary", "-"))

    def test_files_of_a_subcommand_are_those_of_its_kind(self):
        self.files("phone.json", "0000.state")
        self.assertEqual({"phone.json"}, Bash("hubsession").candidates("run", "", folder=self.folder))
        self.assertEqual({"0000.state"}, Bash("hubsession").candidates("show", "", folder=self.folder))
        self.assertIn('1:device:_files -g "*.json(-.)"', Zsh("hubsession").rules("run"))
        self.assertIn('*:snapshot:_files -g "*.state(-.)"', Zsh("hubsession").rules("show"))

    def test_fish_offers_files_of_the_kind_first(self):
        self.files("a.state", "z.json")
        for subcommand in ("run", "show"):
            self.assertEqual({"a.state", "z.json"}, Fish("hubsession").candidates(subcommand, "", folder=self.folder))

    def test_folder_of_snapshots_is_a_folder(self):
        self.files("file")
        (self.folder / "folder").mkdir()
        self.assertEqual({"folder"}, Bash("hubsession").candidates("run", "--out", "", folder=self.folder))
        self.assertEqual({"folder/"}, Fish("hubsession").candidates("run", "--out", "", folder=self.folder))

    def test_value_behind_an_equals_sign_is_completed(self):
        self.assertEqual({"--progress=never"}, Fish("hubprofile").candidates("--progress=n"))


if __name__ == "__main__":
    unittest.main()
