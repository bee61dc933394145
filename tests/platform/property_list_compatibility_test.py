# SPDX-License-Identifier: Apache-2.0
"""Property lists against Python's own reader and writer.

The path of the program that reads lists and writes them anew is in the
environment variable REWRITE_PROPERTY_LISTS.
"""

import datetime
import os
import plistlib
import random
import struct
import subprocess
import unittest

REWRITE = os.environ["REWRITE_PROPERTY_LISTS"]

TREES = 2500
SEED = 1

INTEGER_EDGES = [0, 1, 0xFF, 0x100, 0xFFFF, 0x10000, 0xFFFFFFFF, 0x100000000, 2**63 - 1,
                 -1, -0x80, -0x81, -2**31, -2**63]
DATE = datetime.datetime(2001, 1, 1)
LENGTHS = [0, 1, 2, 3, 5, 8, 14, 15, 16]
LONG_LENGTHS = [100, 254, 255, 256, 257, 300]
ALPHABETS = ["abcxyz ._-", "\x00\x7f\x01\n", "a\u00e9\u0100\u07ff\u0800\ud7ff\ue000\uffff",
             "b\U00010000\U0001d11e\U0010ffff"]


class Trees:
    """Random trees of everything that a property list holds here."""

    def __init__(self, seed):
        self.random = random.Random(seed)

    def length(self):
        return self.random.choice(LENGTHS if self.random.random() < 0.97 else LONG_LENGTHS)

    def text(self):
        alphabet = self.random.choice(ALPHABETS)
        return "".join(self.random.choice(alphabet) for _ in range(self.length()))

    def integer(self):
        if self.random.random() < 0.5:
            return self.random.choice(INTEGER_EDGES)
        return self.random.randrange(-2**63, 2**63) >> self.random.randrange(64)

    def real(self):
        return self.random.choice([1.0, 0.1, -2.5, 1e300, 5e-324, float("inf"), float("-inf"),
                                   self.random.uniform(-1e6, 1e6)])

    def data(self):
        return self.random.randbytes(self.length())

    def boolean(self):
        return self.random.random() < 0.5

    def array(self, depth):
        return [self.tree(depth - 1) for _ in range(self.length())]

    def dictionary(self, depth):
        return {self.text(): self.tree(depth - 1) for _ in range(self.length())}

    def tree(self, depth):
        makers = [self.text, self.integer, self.real, self.data, self.boolean]
        if depth > 0 and self.random.random() < 0.4:
            return self.random.choice([self.array, self.dictionary])(depth)
        return self.random.choice(makers)()


def rewritten(lists):
    """What becomes of each list, None for one that is refused; and the errors."""
    sent = b"".join(struct.pack(">I", len(one)) + one for one in lists)
    run = subprocess.run([REWRITE], input=sent, capture_output=True, timeout=600, check=True)
    answers, at = [], 0
    while at < len(run.stdout):
        (length,) = struct.unpack_from(">I", run.stdout, at)
        answers.append(run.stdout[at + 4:at + 4 + length] or None)
        at += 4 + length
    return answers, run.stderr.decode()


def binary(tree):
    return plistlib.dumps(tree, fmt=plistlib.FMT_BINARY, sort_keys=False)


def exactly(tree):
    """The tree in a form in which 1, 1.0 and True differ, and the order of keys counts."""
    if isinstance(tree, dict):
        return "dictionary", [(key, exactly(value)) for key, value in tree.items()]
    if isinstance(tree, list):
        return "array", [exactly(value) for value in tree]
    return type(tree).__name__, tree


class PropertyListCompatibility(unittest.TestCase):
    """Each tree goes from Python's writer through our reader and writer to Python's reader."""

    @classmethod
    def setUpClass(cls):
        trees = Trees(SEED)
        cls.trees = [trees.tree(depth=number % 5) for number in range(TREES)]
        cls.lists = [binary(tree) for tree in cls.trees]
        cls.answers, cls.errors = rewritten(cls.lists)

    def test_every_tree_comes_back(self):
        self.assertEqual(self.errors, "")
        self.assertEqual(len(self.answers), TREES)
        for tree, answer in zip(self.trees, self.answers):
            self.assertEqual(exactly(plistlib.loads(answer)), exactly(tree))

    def test_both_writers_write_the_same_bytes(self):
        self.assertEqual([number for number in range(TREES) if self.lists[number] != self.answers[number]], [])

    def test_the_trees_are_many_sided(self):
        self.assertGreater(len(set(self.lists)), TREES // 2)
        sizes = {(one[-26], one[-25]) for one in self.lists}
        self.assertLessEqual({(1, 1), (2, 1), (2, 2)}, sizes, "sizes of offsets and references")

    def test_what_only_python_writes_is_refused_in_words(self):
        answers, errors = rewritten([binary(2**63), binary(plistlib.UID(1)), binary([DATE])])
        self.assertEqual(answers, [None, None, None])
        self.assertEqual(errors.splitlines()[0], "offset 8: an integer of 16 bytes, expected at most 8")
        self.assertEqual(len(errors.splitlines()), 3)


if __name__ == "__main__":
    unittest.main()
