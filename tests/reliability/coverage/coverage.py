#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What the tests ran, of each room: holds it against the promises and the list of exclusions, and prints the table.

usage: coverage.py --export FILE --lines FILE --exclusions FILE --root FOLDER --uncovered FILE

--export is what `llvm-cov export -skip-functions` says (branches and conditions), --lines what it says with
`-format=lcov` (lines). Everything that did not run is written to --uncovered, whatever room it is in.
"""

import argparse
import json
import sys
from collections import defaultdict
from dataclasses import dataclass, field
from pathlib import Path

LINE = "line"
TRUE = "true"
FALSE = "false"
CONDITION = "condition"
KINDS = {LINE: "never runs", TRUE: "is never true", FALSE: "is never false", CONDITION: "never decides"}


@dataclass(frozen=True)
class Room:
    name: str
    folders: tuple  # the first room with a folder that a path begins with is the path's
    least_lines: float
    least_branches: float
    has_conditions: bool = False  # every condition has to decide


PLUGIN = "VantuHUBHIDPlugins/"
ROOMS = (
    Room("decoder", (PLUGIN + "VantuHUBHIDStatistics/profile/",), 100, 100, has_conditions=True),
    Room("plug-in", (PLUGIN,), 100, 100, has_conditions=True),
    Room("platform", ("platform/",), 95, 90),
    Room("host", ("host/",), 95, 90),
    Room("tools", ("tools/",), 95, 90),
)


def room_of(path):
    return next((room for room in ROOMS if path.startswith(room.folders)), None)


@dataclass(frozen=True, order=True)
class Item:
    """Something that can run, or happen, or not: a line, an outcome of a branch, a condition of a decision."""

    path: str
    line: int
    column: int  # 0 for a line
    kind: str
    number: int = 0  # of a condition in its decision


def items_of_lines(text, root):
    """Item -> whether it ran, of an LCOV tracefile."""
    items = {}
    path = None
    for record in text.splitlines():
        tag, _, rest = record.partition(":")
        if tag == "SF":
            path = relative(rest, root)
        elif tag == "DA" and path is not None:
            line, count = rest.split(",")[:2]
            items[Item(path, int(line), 0, LINE)] = int(count) > 0
    return items


def items_of_export(export, root, sources):
    """Item -> whether it happened. What a template's instances did counts together; `while (true)` has no outcomes."""
    items = defaultdict(bool)
    for file in (file for data in export["data"] for file in data["files"]):
        path = relative(file["filename"], root)
        if path is None:
            continue
        for line, column, _, end, when_true, when_false, *_ in file.get("branches", ()):
            if sources(path)[line - 1][column - 1:end - 1] == "true":
                continue
            items[Item(path, line, column, TRUE)] |= when_true > 0
            items[Item(path, line, column, FALSE)] |= when_false > 0
        for record in file.get("mcdc_records", ()):
            line, column, conditions = record[0], record[1], record[-1]
            for number, decides in enumerate(conditions):
                items[Item(path, line, column, CONDITION, number)] |= decides
    return dict(items)


def relative(path, root):
    """The path below the root, or None for what is not in a room."""
    if not path.startswith(f"{root}/"):
        return None
    path = path[len(root) + 1:]
    return path if room_of(path) else None


@dataclass
class Exclusion:
    number: int  # of its first line in the list
    path: str = ""
    lines: list = field(default_factory=list)
    kinds: list = field(default_factory=list)
    why: str = ""


class ListError(Exception):
    pass


def read_exclusions(text):
    """The list's paragraphs. Raises ListError, which says what is wrong where."""
    exclusions = []
    current = None
    for number, line in enumerate(text.splitlines(), start=1):
        if line.startswith("#"):
            continue
        if not line.strip():
            current = None
            continue
        if current is None:
            current = Exclusion(number)
            exclusions.append(current)
        word, _, rest = line.strip().partition(" ")
        rest = rest.strip()
        if word == "in":
            current.path = rest
        elif word == "line":
            current.lines.append(rest)
        elif word == "what":
            current.kinds = rest.split()
        elif word == "why":
            current.why = f"{current.why} {rest}".strip()
        else:
            raise ListError(f"line {number}: expected in, line, what or why, not \"{word}\"")
    for exclusion in exclusions:
        if not (exclusion.path and exclusion.lines and exclusion.kinds and exclusion.why):
            raise ListError(f"line {exclusion.number}: an exclusion has to say in, line, what and why")
        for kind in exclusion.kinds:
            if kind not in KINDS:
                raise ListError(f"line {exclusion.number}: expected {', '.join(KINDS)}, not \"{kind}\"")
    return exclusions


def place_of(exclusion, sources):
    """The numbers of the lines that it names. Raises ListError unless they stand in the file, and once."""
    source = [line.strip() for line in sources(exclusion.path)]
    length = len(exclusion.lines)
    found = [at for at in range(len(source) - length + 1) if source[at:at + length] == exclusion.lines]
    if len(found) != 1:
        raise ListError(f"line {exclusion.number}: \"{exclusion.lines[0]}\" stands {len(found)} times in {exclusion.path}")
    return range(found[0] + 1, found[0] + 1 + length)


def excluded_items(exclusions, items, sources):
    """The items that did not happen and that the list excuses, and what in the list is not needed, as sentences."""
    excluded = set()
    complaints = []
    for exclusion in exclusions:
        try:
            place = place_of(exclusion, sources)
        except ListError as error:
            complaints.append(str(error))
            continue
        for kind in exclusion.kinds:
            matching = {item for item, happened in items.items() if not happened and item.path == exclusion.path
                        and item.line in place and item.kind == kind}
            if not matching:
                complaints.append(f"line {exclusion.number}: needed no more: "
                                  f"nothing of \"{exclusion.lines[0]}\" {KINDS[kind]}")
            excluded |= matching
    return excluded, complaints


@dataclass
class Row:
    room: Room
    happened: dict = field(default_factory=lambda: defaultdict(int))
    total: dict = field(default_factory=lambda: defaultdict(int))
    excluded: int = 0

    def percent(self, *kinds):
        total = sum(self.total[kind] for kind in kinds)
        return 100 * sum(self.happened[kind] for kind in kinds) / total if total else 100.0

    def shortcomings(self):
        """Sentences."""
        found = []
        for what, least, kinds in (("lines", self.room.least_lines, (LINE,)),
                                   ("branches", self.room.least_branches, (TRUE, FALSE)),
                                   ("conditions", 100 if self.room.has_conditions else 0, (CONDITION,))):
            if self.percent(*kinds) < least:
                found.append(f"{self.room.name}: {self.percent(*kinds):.2f} % of {what}, expected {least} %")
        if not sum(self.total.values()):
            found.append(f"{self.room.name}: nothing was counted")
        return found


def rows_of(items, excluded):
    """A row for each room. What is excluded counts neither as what ran nor as what did not."""
    rows = {room: Row(room) for room in ROOMS}
    for item, happened in items.items():
        row = rows[room_of(item.path)]
        if item in excluded:
            row.excluded += 1
        else:
            row.total[item.kind] += 1
            row.happened[item.kind] += happened
    return list(rows.values())


def table(rows):
    lines = [f"{'room':<10}{'lines':>7}{'%':>8}{'branches':>10}{'%':>8}{'conditions':>12}{'%':>8}{'exclusions':>12}"]
    for row in rows:
        lines.append(f"{row.room.name:<10}{row.total[LINE]:>7}{row.percent(LINE):>8.2f}"
                     f"{row.total[TRUE] + row.total[FALSE]:>10}{row.percent(TRUE, FALSE):>8.2f}"
                     f"{row.total[CONDITION]:>12}{row.percent(CONDITION):>8.2f}{row.excluded:>12}")
    return "\n".join(lines)


def told(item, sources):
    text = sources(item.path)[item.line - 1].strip()
    column = f":{item.column}" if item.column else ""
    which = f"condition {item.number + 1} " if item.kind == CONDITION else ""
    return f"{item.path}:{item.line}{column}: {which}{KINDS[item.kind]}: {text}"


def main():
    parser = argparse.ArgumentParser()
    for option in ("export", "lines", "exclusions", "root", "uncovered"):
        parser.add_argument(f"--{option}", required=True)
    options = parser.parse_args()
    read = {}

    def sources(path):
        if path not in read:
            read[path] = (Path(options.root) / path).read_text().splitlines()
        return read[path]

    items = items_of_lines(Path(options.lines).read_text(), options.root)
    items |= items_of_export(json.loads(Path(options.export).read_text()), options.root, sources)
    try:
        exclusions = read_exclusions(Path(options.exclusions).read_text())
    except ListError as error:
        print(f"coverage: {options.exclusions}: {error}", file=sys.stderr)
        return 1
    excluded, complaints = excluded_items(exclusions, items, sources)
    rows = rows_of(items, excluded)

    uncovered = sorted(item for item, happened in items.items() if not happened and item not in excluded)
    Path(options.uncovered).write_text("".join(f"{told(item, sources)}\n" for item in uncovered))
    for item in uncovered:
        room = room_of(item.path)
        if room.has_conditions:
            print(told(item, sources))
    for complaint in complaints:
        print(f"{options.exclusions}: {complaint}")
    shortcomings = [sentence for row in rows for sentence in row.shortcomings()]
    for sentence in shortcomings:
        print(sentence)
    print(table(rows))
    return 1 if complaints or shortcomings else 0


if __name__ == "__main__":
    sys.exit(main())
