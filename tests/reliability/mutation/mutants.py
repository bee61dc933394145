# SPDX-License-Identifier: Apache-2.0
"""Finds the places of a C++ source at which a mutant can be made: one small change that compiles, mostly."""

import collections
import re

# What a mutant replaces: text[start:end] by new. `what` tells it to people.
Mutant = collections.namedtuple("Mutant", "file start end new what line occurrence")

TOKEN = re.compile(
    r"""
    (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<directive>^[ \t]*\#[^\n]*)
  | (?P<string>(?:u8|L|R)?"(?:[^"\\\n]|\\.)*")
  | (?P<character>'(?:[^'\\\n]|\\.)+')
  | (?P<number>\b0[xX][0-9a-fA-F']+[uUlL]*|\b\d[\d']*(?:\.\d+)?[uUlL]*)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<operator><<=|>>=|<=>|->|::|\+\+|--|&&|\|\||[<>=!+\-*/|&^]=|<<|>>|[-+*/%<>=!&|^~?:;,.(){}\[\]])
    """,
    re.VERBOSE | re.MULTILINE | re.DOTALL)

# Binary operators, blanks on both sides of which tell them from everything else that is spelled so.
BINARY = {
    "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"], "==": ["!="], "!=": ["=="],
    "&&": ["||"], "||": ["&&"], "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["/"],
    "<<": [">>"], ">>": ["<<"], "|": ["&"], "&": ["|"], "^": ["|"],
    "+=": ["-="], "-=": ["+="], "|=": ["&="],
}
WORDS = {"true": ["false"], "false": ["true"]}

CALL_OR_STEP = re.compile(r"\s+[A-Za-z_][\w:.\[\]*>-]*\(.*\);|\s+(?:\+\+|--)[\w.>-]+;|\s+(?:break|continue|return);")
ASSIGNMENT = re.compile(r"\s+\*?[\w.\->\[\]]+ (?:=|\+=|-=|\|=) [^;]*;")
ROW = re.compile(r"\s+\{.*\},(?:\s*//.*)?")


def other_numbers(text):
    """The neighbours of an integer literal."""
    digits = text.rstrip("uUlL")
    suffix = text[len(digits):]
    if "." in digits:
        return []
    value = int(digits.replace("'", ""), 0 if digits[:2].lower() == "0x" else 10)
    return [f"{value + 1}{suffix}"] + ([f"{value - 1}{suffix}"] if value > 0 else [])


def other_text(literal):
    """The literal with its last letter or digit changed, or nothing."""
    for place in range(len(literal) - 2, 0, -1):
        if literal[place].isalnum() and literal[place - 1] != "\\":
            letter = literal[place]
            other = {"z": "a", "Z": "A", "9": "0"}.get(letter) or chr(ord(letter) + 1)
            return [literal[:place] + other + literal[place + 1:]]
    return []


def is_binary(text, match):
    return text[match.start() - 1] == " " and text[match.end():match.end() + 1] in (" ", "\n")


def inner_condition(text, opening):
    """Where the parenthesis that opens here is closed."""
    depth = 0
    for place in range(opening, len(text)):
        depth += {"(": 1, ")": -1}.get(text[place], 0)
        if depth == 0:
            return place
    return None


def token_changes(text):
    """(start, end, new, what) for each change of a token."""
    before = None  # the token before
    skip_to = 0
    for match in TOKEN.finditer(text):
        kind, token = match.lastgroup, match.group()
        if kind in ("comment", "directive"):
            continue
        if match.start() >= skip_to:
            if token == "static_assert":  # never compiles when it is changed
                skip_to = text.index(";", match.start())
            elif kind == "number":
                yield from ((*match.span(), new, f"{token} to {new}") for new in other_numbers(token))
            elif kind == "string" and before != "extern":
                yield from ((*match.span(), new, f"{token} to {new}") for new in other_text(token))
            elif kind == "operator" and token in BINARY and before != "template" and is_binary(text, match):
                yield from ((*match.span(), new, f"{token} to {new}") for new in BINARY[token])
            elif kind == "operator" and token == "!":
                yield (*match.span(), "", "! dropped")
            elif token in WORDS:
                yield from ((*match.span(), new, f"{token} to {new}") for new in WORDS[token])
            elif token == "if" and text[match.end():match.end() + 2] == " (":
                closing = inner_condition(text, match.end() + 1)
                condition = text[match.end() + 2:closing]
                if closing is not None and ";" not in condition and not re.match(r"const auto|\w+ \w+ =", condition):
                    yield (match.end() + 2, closing, f"!({condition})", "condition negated")
        before = token


def line_changes(text):
    """(start, end, new, what) for each change of a whole line: statements and rows."""
    lines = text.splitlines(keepends=True)
    start = 0
    for index, line in enumerate(lines):
        end = start + len(line)
        bare = line.rstrip("\n")
        # A statement of one line begins where another ends.
        begins = index > 0 and (lines[index - 1].rstrip().endswith((";", "{", "}", ":")) or "//" in lines[index - 1])
        if begins and (CALL_OR_STEP.fullmatch(bare) or ASSIGNMENT.fullmatch(bare)) and "return " not in bare:
            yield start, end, "", "statement removed"
        if ROW.fullmatch(bare):
            yield start, end, "", "row removed"
            if index + 1 < len(lines) and ROW.fullmatch(lines[index + 1].rstrip("\n")):
                yield start, end + len(lines[index + 1]), lines[index + 1] + line, "row swapped with the next"
        start = end


def mutants_of(file, text):
    """All mutants of a source, in the order of their places."""
    occurrences = collections.Counter()
    found = []
    for start, end, new, what in sorted([*token_changes(text), *line_changes(text)]):
        line = text[text.rfind("\n", 0, start) + 1:].split("\n", 1)[0].strip()
        occurrences[line, what] += 1
        found.append(Mutant(file, start, end, new, what, line, occurrences[line, what]))
    return found


def apply(text, mutant):
    return text[:mutant.start] + mutant.new + text[mutant.end:]
