#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of the hubprofile command: where and when it writes, and what it needs."""

import fcntl
import os
import pathlib
import pty
import re
import signal
import struct
import subprocess
import termios
import time
import unittest

from command_test import (
    MEBIBYTE, SANITIZERS, closing, limiting_files, respect_permissions)
from decoding_test import (
    INVALID_TEXT_RECORD, RECORD_BYTES, DecodingTest, OutputFolderTest, lines, records)


class OutputFile(OutputFolderTest):
    def test_both_options_write_there_and_nothing_to_standard_output(self):
        for option in (["-o", "out/lines"], ["--output", "out/lines"], ["--output=out/lines"]):
            with self.subTest(option=option):
                self.assert_decoded(self.decode(*option, data=records(1, 2)), b"")
                self.assert_only_output(lines(1, 2))
                os.unlink(self.folder / "out/lines")

    def test_no_record_makes_an_empty_file(self):
        self.assert_decoded(self.decode("-o", "out/lines", data=b""), b"")
        self.assert_only_output(b"")

    def test_dash_is_standard_output(self):
        self.assert_decoded(self.decode("-o", "-", data=records(1)), lines(1))

    def test_name_appears_only_when_the_file_is_complete(self):
        process, pipe = self.start_output()
        self.assertNotIn("lines", self.names("out"))
        pipe.write(records(2))
        self.assertNotIn("lines", self.names("out"))
        pipe.close()
        self.assert_decoded(self.finish(process), b"")
        self.assert_only_output(lines(1, 2))

    def test_existing_file_keeps_its_contents_until_the_new_one_is_complete(self):
        self.file("out/lines", b"old")
        process, pipe = self.start_output()
        self.assertEqual(b"old", self.content("out/lines"))
        pipe.close()
        self.assert_decoded(self.finish(process), b"")
        self.assert_only_output(lines(1))

    def test_existing_file_keeps_its_mode(self):
        os.chmod(self.folder / self.file("out/lines", b"old"), 0o604)
        self.decode("-o", "out/lines", data=records(1))
        self.assertEqual(0o604, self.mode("out/lines"))

    def test_new_file_has_the_mode_that_the_umask_leaves(self):
        for mask, mode in ((0o022, 0o644), (0o027, 0o640), (0, 0o666)):
            with self.subTest(mask=oct(mask)):
                self.decode("-o", "out/lines", data=records(1), umask=mask)
                self.assertEqual(mode, self.mode("out/lines"))
                os.unlink(self.folder / "out/lines")

    def test_symbolic_link_stays_and_leads_to_the_output(self):
        self.file("out/lines", b"old")
        os.symlink("out/lines", self.folder / "link")
        self.assert_decoded(self.decode("-o", "link", data=records(1)), b"")
        self.assertEqual("out/lines", os.readlink(self.folder / "link"))
        self.assert_only_output(lines(1))

    def test_symbolic_link_to_a_new_file_stays_and_leads_to_the_output(self):
        os.symlink("out/lines", self.folder / "link")
        self.assert_decoded(self.decode("-o", "link", data=records(1)), b"")
        self.assertTrue((self.folder / "link").is_symlink())
        self.assert_only_output(lines(1))

    def test_every_name_that_the_platform_takes_is_taken(self):
        for name in ("n" * 255, "[1]", "a b", "größe", "%%"):
            with self.subTest(name=name):
                self.assert_decoded(self.decode("-o", name, data=records(1)), b"")
                self.assertEqual(lines(1), self.content(name))

    def test_named_pipe_is_written_directly(self):
        self.fifo("pipe")
        process = self.start_decoding("-o", "pipe", self.file("a.bin", records(1)))
        with open(self.folder / "pipe", "rb") as pipe:
            self.assertEqual(lines(1), pipe.read())
        self.assert_decoded(self.finish(process), b"")
        self.assertEqual(["a.bin", "out", "pipe"], self.names())

    def test_bad_input_leaves_the_lines_of_the_others(self):
        result = self.decode("missing", "-", "-o", "out/lines", data=records(1))
        self.assert_failed(result, b"", "missing: No such file or directory")
        self.assert_only_output(lines(1))


class OutputFileEndedBySignal(OutputFolderTest):
    """The command is told to end while its output is not complete."""

    def end_by(self, number):
        """As a terminal starts it, whatever the tests' own parent ignores."""
        process, _ = self.start_output(preexec_fn=lambda: signal.signal(number, signal.SIG_DFL))
        process.send_signal(number)
        self.assertEqual((-number, b"", ""), self.finish(process))

    def test_nothing_is_left(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            with self.subTest(signal=number.name):
                self.end_by(number)
                self.assertEqual([], self.names("out"))
                os.unlink(self.folder / "first")
                os.unlink(self.folder / "second")

    def test_existing_file_is_as_it_was(self):
        os.chmod(self.folder / self.file("out/lines", b"old"), 0o604)
        self.end_by(signal.SIGTERM)
        self.assert_only_output(b"old")
        self.assertEqual(0o604, self.mode("out/lines"))

    def test_signal_that_the_parent_ignores_ends_nothing(self):
        process, pipe = self.start_output(
            preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_IGN))
        process.send_signal(signal.SIGINT)
        pipe.close()
        self.assert_decoded(self.finish(process), b"")
        self.assert_only_output(lines(1))


class OutputErrors(DecodingTest):
    FULL = "No space left on device"

    def assert_output_stays(self, name, **options):
        """A failing run leaves an existing file, and nothing beside it."""
        names = self.names()
        result = self.decode("-o", name, **options)
        self.assertEqual((b"old", 0o604, names),
                         (self.content(name), self.mode(name), self.names()))
        return result

    def old_file(self, name):
        os.chmod(self.folder / self.file(name, b"old"), 0o604)
        return name

    def test_full_disk_behind_standard_output_is_told(self):
        with open("/dev/full", "wb") as full:
            result = self.decode(data=records(1), stdout=full)
        self.assert_failed(result, None, f"standard output: {self.FULL}")

    def test_full_disk_behind_the_output_option_is_told(self):
        result = self.decode("-o", "/dev/full", data=records(1))
        self.assert_failed(result, b"", f"/dev/full: {self.FULL}")

    def test_file_that_grows_beyond_the_limit_is_told_and_leaves_the_old_one(self):
        """Whether the parent ignores the limit's signal, as Python does, or not."""
        limit = 100 * len(lines(1))
        for restore_signals in (False, True):
            with self.subTest(restore_signals=restore_signals):
                result = self.assert_output_stays(
                    self.old_file("lines"), data=records(*range(200)),
                    restore_signals=restore_signals,
                    preexec_fn=limiting_files(limit))
                self.assert_failed(result, b"", "lines: File too large")

    def test_folder_as_output_is_told(self):
        os.mkdir(self.folder / "folder")
        result = self.decode("-o", "folder", data=records(1))
        self.assert_failed(result, b"", "folder: Is a directory")
        self.assertEqual([], self.names("folder"))

    def test_output_in_a_missing_folder_is_told(self):
        result = self.decode("-o", "missing/lines", data=records(1))
        self.assert_failed(result, b"", "missing/lines: No such file or directory")

    def test_output_below_a_file_is_told(self):
        result = self.decode("-o", self.file("a", b"") + "/lines", data=records(1))
        self.assert_failed(result, b"", "a/lines: Not a directory")

    def test_output_in_an_unwritable_folder_is_told(self):
        os.mkdir(self.folder / "closed", mode=0o555)
        result = self.decode("-o", "closed/lines", data=records(1),
                             preexec_fn=respect_permissions)
        self.assert_failed(result, b"", "closed/lines: Permission denied")
        self.assertEqual([], self.names("closed"))

    def test_unwritable_file_is_told_and_stays(self):
        os.chmod(self.folder / self.file("lines", b"old"), 0o444)
        result = self.decode("-o", "lines", data=records(1), preexec_fn=respect_permissions)
        self.assert_failed(result, b"", "lines: Permission denied")
        self.assertEqual((b"old", ["lines"]), (self.content("lines"), self.names()))

    def test_output_that_cannot_be_opened_is_told_before_any_input_is_read(self):
        result = self.decode("-o", "missing/lines", "no such input")
        self.assert_failed(result, b"", "missing/lines: No such file or directory")

    def test_file_that_is_the_output_as_well_is_refused(self):
        name = self.file("a", records(1))
        with open(self.folder / name, "ab") as output:
            result = self.decode(name, stdout=output)
        self.assert_failed(result, None, "a: this file is the output as well")
        self.assertEqual(records(1), self.content("a"))

    def test_file_that_the_output_would_replace_is_refused_and_stays(self):
        self.file("a", records(1))
        self.file("b", records(2))
        result = self.decode("-o", "a", "a", "b")
        self.assert_failed(result, b"", "a: this file is the output as well")
        self.assertEqual(records(1), self.content("a"))
        self.assertEqual(["a", "b"], self.names())

    def test_standard_input_that_is_the_output_as_well_is_refused(self):
        name = self.file("a", records(1))
        with open(self.folder / name, "ab") as output, open(self.folder / name, "rb") as source:
            result = self.decode(stdin=source, stdout=output)
        self.assert_failed(result, None, "standard input: this file is the output as well")
        self.assertEqual(records(1), self.content("a"))

    def test_files_beside_the_one_that_is_the_output_are_decoded(self):
        name, other = self.file("a", records(1)), self.file("b", records(2))
        with open(self.folder / name, "ab") as output:
            self.decode(name, other, stdout=output)
        self.assertEqual(records(1) + lines(2), self.content("a"))


class ReaderGone(DecodingTest):
    """The reader takes the first line of many and goes."""

    def leave(self, **options):
        with open(self.folder / "many.bin", "wb") as capture:
            capture.truncate(5 * MEBIBYTE)  # zeros, which are records
        process = self.start_decoding("many.bin", **options)
        self.assertIn(b"'category'", process.stdout.readline())
        process.stdout.close()
        messages = process.stderr.read().decode()
        return process.wait(), messages

    def assert_quiet(self, status, messages):
        self.assertEqual("", messages)
        self.assertIn(status, (141, -signal.SIGPIPE))

    def test_ends_quietly_when_the_parent_leaves_the_signal_alone(self):
        self.assert_quiet(*self.leave(restore_signals=True))

    def test_ends_quietly_when_the_parent_ignores_the_signal(self):
        self.assert_quiet(*self.leave(
            preexec_fn=lambda: signal.signal(signal.SIGPIPE, signal.SIG_IGN),
            restore_signals=False))

    def test_reader_that_was_never_there_ends_it_quietly(self):
        reader, writer = os.pipe()
        os.close(reader)
        result = self.decode(data=records(1), stdout=writer)
        os.close(writer)
        self.assert_quiet(result.status, result.messages)

    def test_reader_of_a_named_pipe_as_output_ends_it_quietly(self):
        with open(self.folder / "many.bin", "wb") as capture:
            capture.truncate(5 * MEBIBYTE)
        process = self.start_decoding("many.bin", "-o", self.fifo("pipe"))
        with open(self.folder / "pipe", "rb") as pipe:
            pipe.readline()
        self.assert_quiet(*(self.finish(process)[index] for index in (0, 2)))


class LivePipe(DecodingTest):
    """A writer that waits for each line before it goes on."""

    def setUp(self):
        super().setUp()
        self.process = self.start_live()

    def start_live(self, *arguments):
        return self.start_decoding(*arguments, stdin=subprocess.PIPE)

    def write(self, data):
        self.process.stdin.write(data)

    def assert_next_lines(self, *sequence_numbers):
        expected = lines(*sequence_numbers)
        self.assertEqual(expected, self.read(len(expected)))

    def read(self, length_bytes):
        data = b""
        while len(data) < length_bytes:
            data += self.process.stdout.read(length_bytes - len(data)) or self.fail("it ended")
        return data

    def test_each_line_arrives_before_the_next_record_is_written(self):
        for number in range(100):
            self.write(records(number))
            self.assert_next_lines(number)

    def test_record_in_pieces_gives_its_line_when_the_last_piece_is_there(self):
        for piece_bytes in (1, 17, 30, 47):
            for start in range(0, RECORD_BYTES, piece_bytes):
                self.write(records(piece_bytes)[start:start + piece_bytes])
            self.assert_next_lines(piece_bytes)

    def test_pieces_across_records_give_each_line_when_its_record_is_whole(self):
        data, written = records(*range(50)), 0
        for start in range(0, len(data), 30):
            self.write(data[start:start + 30])
            whole = min(start + 30, len(data)) // RECORD_BYTES
            self.assert_next_lines(*range(written, whole))
            written = whole

    def test_begun_record_does_not_hold_back_the_lines_before_it(self):
        self.write(records(1, 2) + records(3)[:20])
        self.assert_next_lines(1, 2)
        self.write(records(3)[20:])
        self.assert_next_lines(3)

    def test_record_without_valid_text_does_not_hold_back_the_next(self):
        self.write(INVALID_TEXT_RECORD + records(1))
        self.assert_next_lines(1)

    def test_lines_of_the_files_before_arrive_while_the_pipe_is_silent(self):
        self.process = self.start_live(self.file("a.bin", records(1)), "-")
        self.assert_next_lines(1)

    def test_progress_holds_back_nothing(self):
        self.process = self.start_live("--progress", "always")
        for number in range(10):
            self.write(records(number))
            self.assert_next_lines(number)

    def test_every_form_gives_each_record_before_the_next_is_written(self):
        for form, what_ends_a_record in (("jsonl", b"\n"), ("csv", b"\r\n"), ("pcapng", struct.pack("<I", 80)),
                                         ("trace", b"}}")):
            with self.subTest(form):
                self.process = self.start_live("--format", form)
                for number in range(1, 5):
                    self.write(records(number))
                    self.read_until(what_ends_a_record)

    def read_until(self, end):
        data = b""
        while not data.endswith(end):
            data += os.read(self.process.stdout.fileno(), 1 << 16) or self.fail("it ended")

    def test_end_of_the_pipe_ends_the_run(self):
        self.write(records(1))
        self.assert_decoded(self.finish(self.process), lines(1))


class Memory(DecodingTest):
    patience_seconds = 600  # sanitizers are slow

    # Blocks and lines take 64 KiB and 1 MiB. Sanitizers add shadow memory, and what
    # they keep of freed memory.
    LIMIT_BYTES = (16 if SANITIZERS else 4) * MEBIBYTE
    KEEP_LITTLE = {"ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "") + ":quarantine_size_mb=1"}

    def peak_bytes(self, *inputs):
        """The most memory that a run had when it has decoded the inputs.

        Asked of the platform while the command waits for standard input: what a
        parent is told at the end counts in the parent's own memory.
        """
        process = self.start_decoding(*inputs, "-", stdin=subprocess.PIPE,
                                      environment=self.KEEP_LITTLE)
        process.stdin.write(records(1))
        last, tail = lines(1), b""
        while not tail.endswith(last):
            chunk = os.read(process.stdout.fileno(), MEBIBYTE) or self.fail("it ended")
            tail = (tail + chunk)[-len(last):]
        status = pathlib.Path(f"/proc/{process.pid}/status").read_text(encoding="ascii")
        return int(re.search(r"VmHWM:\s+(\d+) kB", status).group(1)) * 1024

    def test_fifty_megabytes_of_records_need_no_more_than_none(self):
        with open(self.folder / "large.bin", "wb") as capture:
            capture.truncate(50_000_016)  # zeros, which are records
        self.assertLess(self.peak_bytes("large.bin") - self.peak_bytes(), self.LIMIT_BYTES)


class Progress(DecodingTest):
    SHOWN = "a.bin: 100 %, 3 records"

    def setUp(self):
        super().setUp()
        self.file("a.bin", records(1, 2, 3))

    def messages(self, *arguments, **options):
        """What is told on standard error that is no terminal."""
        result = self.decode(*arguments, **options)
        self.assertEqual((lines(1, 2, 3), 0), (result.output, result.status))
        return result.messages

    def terminal(self, *arguments, data=None, columns=0):
        """What a terminal shows that is standard error; 0 columns are not known."""
        ours, terminal = pty.openpty()
        self.addCleanup(os.close, ours)
        fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        result = self.decode(*arguments, data=data, stderr=terminal)
        os.close(terminal)
        self.assertEqual((lines(1, 2, 3), 0), (result.output, result.status))
        return self.shown(ours)

    def shown(self, terminal):
        text = b""
        try:
            while chunk := os.read(terminal, 4096):
                text += chunk
        except OSError:  # how the platform tells that the other side is closed
            pass
        return text.decode()

    def test_always_shows_it_without_a_terminal(self):
        self.assertIn(self.SHOWN, self.messages("--progress", "always", "a.bin"))

    def test_always_shows_it_for_a_pipe(self):
        shown = self.messages("--progress", "always", data=records(1, 2, 3))
        self.assertIn("standard input: 3 records", shown)

    def test_always_shows_it_for_each_file(self):
        self.file("b.bin", b"")
        shown = self.messages("--progress", "always", "a.bin", "b.bin")
        self.assertIn(self.SHOWN, shown)
        self.assertIn("b.bin: 0 records", shown)

    def test_never_shows_nothing_on_a_terminal(self):
        self.assertEqual("", self.terminal("--progress", "never", "a.bin"))

    def test_auto_shows_it_on_a_terminal_for_a_file(self):
        self.assertIn(self.SHOWN, self.terminal("--progress", "auto", "a.bin"))

    def test_auto_shows_it_on_a_terminal_for_a_file_as_standard_input(self):
        ours, terminal = pty.openpty()
        self.addCleanup(os.close, ours)
        with open(self.folder / "a.bin", "rb") as source:
            self.decode("--progress", "auto", stdin=source, stderr=terminal)
        os.close(terminal)
        self.assertIn("standard input: 100 %, 3 records", self.shown(ours))

    def test_line_ends_before_a_narrow_terminal_does(self):
        shown = self.terminal("--progress", "auto", "a.bin", columns=12)
        self.assertEqual("a.bin: 100 \r" + " " * 11 + "\r", shown)

    def test_rate_is_shown_when_there_is_one_to_speak_of(self):
        process = self.start_decoding("--progress", "always", self.fifo("pipe"))
        with self.open_fifo("pipe") as pipe:
            pipe.write(records(1))
            time.sleep(0.6)
            pipe.write(records(2))
        self.assertRegex(self.finish(process).messages, r"pipe: 2 records, 0\.0 MiB, [1-3] records/s")

    def test_time_left_is_shown_while_there_is_more_of_a_file(self):
        file = self.folder / "big.bin"
        with open(file, "wb") as big:
            os.truncate(big.fileno(), 48 * 4_000_000)
        process = self.start_decoding("--progress", "always", "-j", "1", "big.bin", stdout=subprocess.DEVNULL)
        shown = b""
        while b" s left" not in shown:
            shown += os.read(process.stderr.fileno(), 4096)
        self.assertRegex(shown.decode(), r"big\.bin: +\d+ %, \d+ records, [0-9.]+ of 183\.1 MiB, \d+ records/s, \d+ s left")

    def test_one_record_is_one(self):
        self.file("one.bin", records(1))
        result = self.decode("--progress", "always", "one.bin")
        self.assertIn("one.bin: 100 %, 1 record,", result.messages)

    def test_auto_shows_nothing_on_a_terminal_for_a_pipe(self):
        self.assertEqual("", self.terminal("--progress", "auto", data=records(1, 2, 3)))

    def test_auto_shows_nothing_without_a_terminal(self):
        self.assertEqual("", self.messages("--progress", "auto", "a.bin"))

    def test_auto_is_the_default(self):
        self.assertIn(self.SHOWN, self.terminal("a.bin"))
        self.assertEqual("", self.terminal(data=records(1, 2, 3)))
        self.assertEqual("", self.messages("a.bin"))

    def test_auto_takes_it_off_the_terminal_at_the_end(self):
        self.assertRegex(self.terminal("a.bin"), r"\r +\r\Z")

    def test_message_stands_on_a_line_of_its_own(self):
        self.file("cut.bin", records(1, 2)[:50])
        result = self.decode("--progress", "always", "cut.bin", "missing")
        message_lines = result.messages.replace("\r", "\n").splitlines()
        self.assertIn("hubprofile: cut.bin: ends inside a record: at offset 48, 2 bytes are left"
                      " over of the 48 that a record has", message_lines)
        self.assertIn("hubprofile: missing: No such file or directory", message_lines)


class StandardStreams(DecodingTest):
    """Streams that the parent closed, or opened not to block."""

    def test_closed_standard_input_is_told(self):
        result = self.decode(preexec_fn=closing(0))
        self.assert_failed(result, b"", "standard input: Bad file descriptor")

    def test_closed_standard_input_is_no_matter_when_files_are_read(self):
        result = self.decode(self.file("a.bin", records(1)), preexec_fn=closing(0))
        self.assert_decoded(result, lines(1))

    def test_closed_standard_output_is_told(self):
        result = self.decode(self.file("a.bin", records(1)), preexec_fn=closing(1))
        self.assert_failed(result, b"", "standard output: Bad file descriptor")
        self.assertEqual(records(1), self.content("a.bin"))

    def test_closed_standard_output_is_no_matter_when_a_file_is_written(self):
        result = self.decode("-o", "lines", self.file("a.bin", records(1)),
                             preexec_fn=closing(1))
        self.assert_decoded(result, b"")
        self.assertEqual(lines(1), self.content("lines"))

    def test_closed_standard_error_takes_no_message_elsewhere(self):
        result = self.decode("missing", "-o", "lines", self.file("a.bin", records(1)),
                             preexec_fn=closing(2))
        self.assertEqual((1, b"", ""), result)
        self.assertEqual((records(1), lines(1)), (self.content("a.bin"), self.content("lines")))

    def test_all_closed_still_writes_the_output_file(self):
        result = self.decode("missing", "-o", "lines", self.file("a.bin", records(1)),
                             preexec_fn=closing(0, 1, 2))
        self.assertEqual((1, b"", ""), result)
        self.assertEqual((records(1), lines(1)), (self.content("a.bin"), self.content("lines")))

    def test_reader_of_the_messages_that_is_gone_ends_nothing(self):
        reader, writer = os.pipe()
        os.close(reader)
        result = self.decode("missing", "-o", "lines", self.file("a.bin", records(1)),
                             stderr=writer)
        os.close(writer)
        self.assertEqual((1, b"", ""), result)
        self.assertEqual((["a.bin", "lines"], lines(1)), (self.names(), self.content("lines")))

    def test_input_that_does_not_block_is_waited_for(self):
        source, pipe = os.pipe()
        os.set_blocking(source, False)
        process = self.start_decoding(stdin=source)
        os.close(source)
        with open(pipe, "wb", buffering=0) as pipe:
            for number in (1, 2, 3):
                self.wait_until_idle(process)
                pipe.write(records(number))
                self.assertEqual(lines(number), process.stdout.readline())
        self.assert_decoded(self.finish(process), b"")

    def wait_until_idle(self, process):
        """Until the platform says that the command waits for something, or is gone."""
        state = re.compile(r"\) ([A-Z]) ")
        stat = pathlib.Path(f"/proc/{process.pid}/stat")
        while state.search(stat.read_text(encoding="ascii")).group(1) not in "SZ":
            pass

    def test_output_that_does_not_block_is_waited_for(self):
        source, sink = os.pipe()
        os.set_blocking(sink, False)
        numbers = range(3000)
        process = self.start_decoding(self.file("a.bin", records(*numbers)), stdout=sink)
        self.wait_until_full(source, sink)
        os.close(sink)
        with open(source, "rb") as source:
            self.assertEqual(lines(*numbers), source.read())
        self.assertEqual((0, None, ""), self.finish(process))

    def wait_until_full(self, source, sink):
        capacity_bytes = fcntl.fcntl(sink, fcntl.F_GETPIPE_SZ)
        held_bytes = 0
        while held_bytes < capacity_bytes:
            answer = fcntl.ioctl(source, termios.FIONREAD, bytes(4))
            held_bytes = struct.unpack("i", answer)[0]


if __name__ == "__main__":
    unittest.main()
