#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of the hubprofile command: inputs that go on while it reads them."""

import os
import unittest

from decoding_test import DecodingTest, lines, records


class Follow(DecodingTest):
    def follow(self, *arguments):
        self.file("a.bin", records(1))
        process = self.start_decoding("--follow", *arguments, "a.bin")
        self.assert_line(process, 1)
        return process

    def append(self, data, name="a.bin"):
        with open(self.folder / name, "ab") as file:
            file.write(data)

    def assert_line(self, process, number):
        self.assertEqual(lines(number), process.stdout.readline())

    def test_records_that_are_appended_are_written(self):
        process = self.follow()
        self.append(records(2))
        self.assert_line(process, 2)
        self.append(records(3))
        self.assert_line(process, 3)

    def test_record_that_comes_in_pieces_is_written_when_it_is_whole(self):
        process = self.follow()
        self.append(records(2)[:20])
        self.append(records(2)[20:])
        self.assert_line(process, 2)

    def test_rotated_file_is_followed_by_its_name(self):
        process = self.follow()
        os.rename(self.folder / "a.bin", self.folder / "a.bin.1")
        self.append(records(2), "a.bin.1")
        self.assert_line(process, 2)
        self.append(records(3))
        self.assert_line(process, 3)

    def test_truncated_file_is_read_from_its_beginning(self):
        process = self.follow()
        self.append(records(2, 3))
        self.assert_line(process, 2)
        self.assert_line(process, 3)
        os.truncate(self.folder / "a.bin", 0)
        self.append(records(4))
        self.assert_line(process, 4)

    def test_pipe_whose_writer_comes_again_goes_on(self):
        process = self.start_decoding("--follow", self.fifo("pipe"))
        for number in (1, 2):
            with self.open_fifo("pipe") as pipe:
                pipe.write(records(number))
            self.assert_line(process, number)

    def test_ends_with_the_last_record_that_was_asked_for(self):
        process = self.follow("--until-match", "2")
        self.append(records(2, 3))
        result = self.finish(process)
        self.assertEqual((lines(2), 0), (result.output, result.status))

    def test_only_the_last_capture_is_followed(self):
        self.file("first.bin", records(1))
        self.file("a.bin", records(2))
        process = self.start_decoding("--follow", "first.bin", "a.bin")
        self.assert_line(process, 1)
        self.assert_line(process, 2)
        self.append(records(3))
        self.assert_line(process, 3)

    def test_any_number_of_jobs_writes_at_once(self):
        process = self.follow("-j", "3")
        self.append(records(2))
        self.assert_line(process, 2)


class IdleTimeout(DecodingTest):
    def test_file_that_grows_no_more_ends(self):
        result = self.decode("--follow", "--idle-timeout", "0.2", self.file("a.bin", records(1, 2)))
        self.assert_decoded(result, lines(1, 2))

    def test_silent_pipe_ends_without_following(self):
        process = self.start_decoding("--idle-timeout", "0.2", self.fifo("pipe"))
        with self.open_fifo("pipe") as pipe:
            pipe.write(records(1))
            self.assert_decoded(self.finish(process), lines(1))

    def test_output_file_appears_at_the_end(self):
        name = self.file("a.bin", records(1))
        self.decode("--follow", "--idle-timeout", "0.2", "-o", "out", name)
        self.assertEqual(lines(1), self.content("out"))


if __name__ == "__main__":
    unittest.main()
