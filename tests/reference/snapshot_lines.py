#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Turns the snapshots of a run, read or predicted, into lines that can be compared."""

import json
import plistlib
import struct

INDEX_NAME = "index.json"
INDEX_FORMAT = "hub-captures/1"
# Type, size, decoder's library and type, title.
HEAD = struct.Struct("<II64s64s64s")
TYPE_PROPERTY_LIST = 1


def value_lines(value, place):
    """One line for each value, with where it stands; containers show when empty."""
    if isinstance(value, dict):
        parts = [(f"{place} / {key}", part) for key, part in sorted(value.items())]
    elif isinstance(value, list):
        parts = [(f"{place} [{index}]", part) for index, part in enumerate(value)]
    else:
        return [f"{place} = {value!r}"]
    lines = [] if parts else [f"{place} is empty: {value!r}"]
    for part_place, part in parts:
        lines += value_lines(part, part_place)
    return lines


def snapshot_lines(name, title, contents):
    return [f"{name}: title {title!r}", *value_lines(contents, name)]


def index_line(entry):
    return json.dumps(entry, sort_keys=True, ensure_ascii=False)


# --- Predicted ---------------------------------------------------------------


def expected_lines(snapshots):
    """Folder, index and snapshots as lines, of what the model predicts."""
    named = [(f"{number:04d}.state", snapshot)
             for number, snapshot in enumerate(snapshots)]
    return {
        "capture folder": sorted([*(name for name, _ in named), INDEX_NAME]),
        "index": [f"format {INDEX_FORMAT!r}"] + [
            index_line({"file": name, "capture": snapshot.capture, "kind": snapshot.kind,
                        "handler": snapshot.handler, "title": snapshot.title})
            for name, snapshot in named],
        "snapshot": [line for name, snapshot in named
                     for line in snapshot_lines(name, snapshot.title, snapshot.contents)],
    }


# --- Found -------------------------------------------------------------------


class Damage(ValueError):
    """What is wrong with a file."""


def text_of(field):
    """The text of a head's field; nothing but zero bytes may follow its NUL."""
    text, nul, rest = field.partition(b"\0")
    if not nul or rest.strip(b"\0"):
        raise Damage(f"title field {field!r}")
    return text.decode("utf-8", "backslashreplace")


def read_state(content):
    """Title, contents, and size of the property list, of a snapshot file."""
    if len(content) < HEAD.size:
        raise Damage(f"{len(content)} bytes, shorter than the head")
    kind, size, library, decoder, title = HEAD.unpack_from(content)
    data = content[HEAD.size:]
    if kind != TYPE_PROPERTY_LIST:
        raise Damage(f"type {kind}")
    if size != len(data):
        raise Damage(f"size {size}, with {len(data)} bytes behind the head")
    if any(library + decoder):
        raise Damage("the decoder's fields are not zero")
    if not data.startswith(b"bplist00"):
        raise Damage(f"property list starts with {data[:8]!r}")
    try:
        contents = plistlib.loads(data, fmt=plistlib.FMT_BINARY)
    except Exception as error:  # The reader's own, struct's, and more.
        raise Damage(f"property list cannot be read: {error!r}") from error
    return text_of(title), contents, size


def state_lines(folder, entry):
    name = entry["file"]
    try:
        title, contents, size = read_state((folder / name).read_bytes())
    except (OSError, Damage) as problem:
        return [f"{name}: {problem}"]
    lines = snapshot_lines(name, title, contents)
    told = entry.get("size")
    if type(told) is not int or told != size:
        lines.append(f"{name}: property list of {size} bytes, {told!r} in the index")
    return lines


def without_size(entry):
    return {key: value for key, value in entry.items() if key != "size"}


def actual_lines(folder):
    """The same of what a folder holds."""
    if not folder.is_dir():
        return {"capture folder": ["(no folder)"]}
    lines = {"capture folder": sorted(path.name for path in folder.iterdir())}
    try:
        index = json.loads((folder / INDEX_NAME).read_text(encoding="utf-8"))
        entries = index.pop("snapshots")
        form = index.pop("format")
        lines["index"] = [f"format {form!r}", *(index_line(without_size(entry))
                                               for entry in entries)]
        lines["index"] += [f"also {key!r}" for key in index]
        lines["snapshot"] = [line for entry in entries
                             for line in state_lines(folder, entry)]
    except (OSError, ValueError, KeyError, TypeError, AttributeError) as error:
        lines["index"] = [f"cannot be read: {error!r}"]
    return lines
