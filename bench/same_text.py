# SPDX-License-Identifier: Apache-2.0
"""Checks that what is compared in speed gives the same."""

import re

from measuring import NotMeasured, output_of

# A line of the decoder: 'key':value, with blanks before values.
ITEM = re.compile(r" '([^']+)': *('[^']*'|\[[^]]*\]|\d+)")

# A line of the trace reader: [time] name: { key = value, ... }
EVENT_TIME = re.compile(r"\[(\d+)\]")
EVENT_FIELD = re.compile(r'(\w+) = ("[^"]*"|\[ .* \]|\w+)')
EVENT_ELEMENT = re.compile(r"\[\d+\] = (\d+)")

# Items that are another's value in another form.
REPEATED = re.compile(r"xarg\d|(type|category|component|event)_id|binary_data")


def items_of_line(line):
    """The items of a decoder's line, with the names that they have in a trace."""
    return {key.replace("-", "_"): value.strip("'") for key, value in ITEM.findall(line)}


def value_of_field(value):
    """A value of a trace reader, as the decoder writes it."""
    if value.startswith("["):
        return f"[{','.join(EVENT_ELEMENT.findall(value))}]"
    return value.removeprefix("0x").lower() if value.startswith("0x") else value.strip('"')


def items_of_event(line):
    fields = {key: value_of_field(value) for key, value in EVENT_FIELD.findall(line)}
    return {"timestamp": str(int(EVENT_TIME.match(line)[1])), **fields}


def without_repeated(items):
    return {key: value for key, value in items.items() if not REPEATED.fullmatch(key)}


def expect_same_lines(what, expected, actual):
    """Both are lists; raises when they are not the same."""
    for number, (left, right) in enumerate(zip(expected, actual), 1):
        if left != right:
            raise NotMeasured(f"{what} gives another line {number} than hubprofile:\n"
                              f"{right}\nand not\n{left}")
    if len(expected) != len(actual):
        raise NotMeasured(f"{what} gives {len(actual)} lines, hubprofile {len(expected)}")


def check_programs(commands):
    """`commands` has those of hubprofile (text_1, where) and its rivals (limit,
    python, trace_once, trace_all), all over the same capture."""
    lines = {name: output_of(*commands[name]).decode().splitlines()
             for name in ("text_1", "where", "limit", "python", "trace_once", "trace_all")}
    text = lines["text_1"]
    for name in ("limit", "python"):
        expect_same_lines(name, text, lines[name])
    items = [items_of_line(line) for line in text]
    expect_same_lines("the trace of every item", items,
                      list(map(items_of_event, lines["trace_all"])))
    expect_same_lines("the trace of each field once", list(map(without_repeated, items)),
                      list(map(items_of_event, lines["trace_once"])))
    selected = len(lines["where"]) / len(text)
    if not 0.005 <= selected <= 0.015:
        raise NotMeasured(f"--where selects {selected:.2%} of the records, not 1 %")
