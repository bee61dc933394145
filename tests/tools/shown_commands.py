# SPDX-License-Identifier: Apache-2.0
"""Command lines that a document shows, with the output that it shows for them.

    ```console
    $ hubprofile capture.bin | head -n 1
    {  'category':  'uart', 'component': 'uart0', ...
    ```

"$ " begins a command line, which goes on behind a backslash at its end and through a here-document. Below it stands what
it prints, standard output first, then standard error. "..." alone stands for one line or more, " ..." at the end of a
line for the rest of it.
"""

import re
from dataclasses import dataclass, field

PROMPT = "$ "
BLOCK = re.compile(r"^```console\n(.*?)^```$", re.MULTILINE | re.DOTALL)
HERE_DOCUMENT = re.compile(r"<<'(\w+)'")
COLOR = re.compile(r"\x1b\[[0-9;]*m")


@dataclass
class ShownCommand:
    command_line: str
    output: list = field(default_factory=list)

    def is_incomplete(self):
        lines = self.command_line.splitlines()
        here_document = HERE_DOCUMENT.search(self.command_line)
        if here_document:
            return here_document.group(1) not in lines
        return lines[-1].endswith("\\")


def shown_commands(text):
    """All of them, in order. A block that begins with anything else is an error."""
    commands = []
    for block in BLOCK.findall(text):
        if not block.startswith(PROMPT):
            raise ValueError(f"a block begins with {block.splitlines()[0]!r}, not with a command line")
        for line in block.splitlines():
            if commands and commands[-1].is_incomplete():
                commands[-1].command_line += "\n" + line
            elif line.startswith(PROMPT):
                commands.append(ShownCommand(line.removeprefix(PROMPT)))
            else:
                commands[-1].output.append(line)
    return commands


def without_blocks(text):
    return BLOCK.sub("", text)


def pattern_of(shown_line):
    if shown_line == "...":
        return r"(?:[^\n]*\n)+?"
    if shown_line.endswith(" ..."):
        return re.escape(shown_line.removesuffix(" ...")) + r"[^\n]+\n"
    return re.escape(shown_line) + r"\n"


def is_what_is_shown(shown_lines, printed):
    """Colours are not shown."""
    pattern = "".join(map(pattern_of, shown_lines))
    return re.fullmatch(pattern, COLOR.sub("", printed)) is not None
