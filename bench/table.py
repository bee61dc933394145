# SPDX-License-Identifier: Apache-2.0
"""Rows of a table of measurements: what is aimed at, and how it is shown."""

import dataclasses
import operator
import typing

# How a figure stands to its target: the sign shown, and what decides.
AT_LEAST = ("≥", operator.ge)
AT_MOST = ("≤", operator.le)
BELOW = ("<", operator.lt)


@dataclasses.dataclass(frozen=True)
class Row:
    """`measure` is asked with the figures. `programs` are those that must have run
    before; `how` says in a few words what was measured. Without a direction and a
    target the row is just for information."""

    what: str
    how: str
    measure: typing.Callable
    direction: tuple | None
    target: float | None
    unit: str = ""
    programs: tuple = ()


@dataclasses.dataclass(frozen=True)
class Outcome:
    row: Row
    value: float

    @property
    def is_met(self):
        return self.row.direction[1](self.value, self.row.target)


def number_text(value, unit=""):
    """Three digits that count, thousands with commas."""
    places = 0 if abs(value) >= 100 else 1 if abs(value) >= 10 else 2
    return f"{value:,.{places}f}{' ' if unit else ''}{unit}"


def target_text(row):
    if row.direction is None:
        return "none"
    return f"{row.direction[0]} {row.target:,g}{' ' if row.unit else ''}{row.unit}"


def verdict(outcome):
    if outcome.row.direction is None:
        return "information"
    return "met" if outcome.is_met else "**not met**"


HEADING = ("what", "measured", "result", "target", "")


def cells(outcome):
    return (outcome.row.what, outcome.row.how, number_text(outcome.value, outcome.row.unit),
            target_text(outcome.row), verdict(outcome))


def table_text(outcomes):
    """A table in Markdown, with columns that can be read as they stand."""
    rows = [HEADING, *map(cells, outcomes)]
    widths = [max(map(len, column)) for column in zip(*rows)]
    lines = ["| " + " | ".join(map(str.ljust, row, widths)) + " |" for row in rows]
    lines.insert(1, "|" + "|".join("-" * (width + 2) for width in widths) + "|")
    return "\n".join(lines)
