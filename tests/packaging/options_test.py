# SPDX-License-Identifier: Apache-2.0
"""What a command's options are, as told by its --help, its manual page and the completions of three shells.

The environment has the sources' folder in PROJECT and the commands in HUBPROFILE and HUBSESSION.
"""

import os
import pathlib
import re
import subprocess
import tempfile

PROJECT = pathlib.Path(os.environ["PROJECT"])
COMMANDS = {"hubprofile": os.environ["HUBPROFILE"], "hubsession": os.environ["HUBSESSION"]}


def output_of(words, **options):
    run = subprocess.run(words, capture_output=True, check=False, timeout=60, stdin=subprocess.DEVNULL, **options)
    if run.returncode != 0 or run.stderr:
        raise AssertionError(f"{words}: {run.returncode}\n{run.stdout.decode()}{run.stderr.decode()}")
    return run.stdout.decode()


def words_expected(command, option):
    """The words that the command names when it refuses another."""
    run = subprocess.run([COMMANDS[command], option, "other"], capture_output=True, check=False, timeout=60)
    expected = re.search(r"expected (.*), not", run.stderr.decode()).group(1)
    return set(re.split(r", | or ", expected))


class Help:
    """What a command says of itself."""

    def __init__(self, command):
        self.program = COMMANDS[command]

    def subcommands(self):
        part = output_of([self.program, "--help"]).partition("\nSubcommands:\n")[2]
        return set(re.findall(r"^  ([a-z][a-z-]*)", part, re.MULTILINE))

    def options(self, subcommand=""):
        text = output_of([self.program, *subcommand.split(), "--help"])
        lines = re.findall(r"^ {2,4}(-\S+)", text, re.MULTILINE)
        return {option for line in lines for option in line.split(",")}


class Manual:
    """The sections OPTIONS and OPTIONS OF a subcommand."""

    def __init__(self, command):
        text = (PROJECT / f"man/{command}.1.scd").read_text(encoding="utf-8")
        self.sections = dict(re.findall(r"^# (OPTIONS(?: OF [A-Z-]+)?)\n(.*?)(?=^# |\Z)", text, re.MULTILINE | re.DOTALL))

    def subcommands(self):
        return {title.removeprefix("OPTIONS OF ").lower() for title in self.sections if title != "OPTIONS"}

    def options(self, subcommand=""):
        text = self.sections[f"OPTIONS OF {subcommand.upper()}" if subcommand else "OPTIONS"]
        heads = re.findall(r"^(\*-.*)\n\t", text, re.MULTILINE)
        return {option for head in heads for option in re.findall(r"\*(--?[a-z-]+)\*", head)}


class Bash:
    """Completes by the function that is installed."""

    SCRIPT = """
        . /usr/share/bash-completion/bash_completion
        . "$FILE"
        function_name=$(complete -p "$1" | sed 's/.*-F \\([^ ]*\\) .*/\\1/')
        COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMP_LINE="$*" COMP_POINT=${#COMP_LINE}
        "$function_name" "$1" "${COMP_WORDS[-1]}" "${COMP_WORDS[-2]}" 2>/dev/null
        printf '%s\\n' "${COMPREPLY[@]}"
    """

    def __init__(self, command):
        self.command = command
        self.file = PROJECT / "completions/bash" / command

    def check_syntax(self):
        output_of(["bash", "-n", str(self.file)])

    def candidates(self, *words, folder="/"):
        found = output_of(["bash", "--norc", "-c", self.SCRIPT, "bash", self.command, *words], cwd=folder,
                          env={**os.environ, "FILE": str(self.file)})
        return set(found.split())

    def subcommands(self):
        with tempfile.TemporaryDirectory() as folder:
            return self.candidates("", folder=folder)

    def options(self, subcommand=""):
        return self.candidates(*subcommand.split(), "-")


class Fish:
    """Completes as fish itself would."""

    def __init__(self, command):
        self.command = command
        self.file = PROJECT / "completions/fish" / f"{command}.fish"

    def check_syntax(self):
        output_of(["fish", "--no-config", "--no-execute", str(self.file)])

    def candidates(self, *words, folder="/"):
        with tempfile.TemporaryDirectory() as home:
            found = output_of(["fish", "--no-config", "-c", 'source $FILE; complete -C "$LINE"'], cwd=folder,
                              env={**os.environ, "HOME": home, "FILE": str(self.file),
                                   "LINE": " ".join([self.command, *words])})
        return {line.split("\t")[0] for line in found.splitlines()}

    def subcommands(self):
        with tempfile.TemporaryDirectory() as folder:
            return self.candidates("", folder=folder)

    def options(self, subcommand=""):
        return self.candidates(*subcommand.split(), "-")


class Zsh:
    """What the completion tells `_arguments`, which stands for the shell here: it writes down what it is given.

    Like the shell's own it leaves behind the command's name where words of a subcommand follow.
    """

    FIRST_WORD = {"hubprofile": "capture", "hubsession": "subcommand"}  # the state in which the first word is completed
    SCRIPT = """
        state_wanted=$1; shift
        _arguments() {
          print -r -- '== call'; print -rl -- "$@"
          state=$state_wanted; [[ $state != words ]] || shift words
          return 1
        }
        _describe() { print -r -- '== describe'; print -rl -- ${(P)2} }
        _files() { return 1 }
        words=("$@") CURRENT=$#
        source $FILE; true
    """

    def __init__(self, command):
        self.command = command
        self.file = PROJECT / "completions/zsh" / f"_{command}"

    def check_syntax(self):
        output_of(["zsh", "-f", "-n", str(self.file)])

    def told(self, state, *words):
        """What the last function was told that the file called."""
        found = output_of(["zsh", "-f", "-c", self.SCRIPT, "zsh", state, *words],
                          env={**os.environ, "FILE": str(self.file)})
        return found.split("== ")[-1].splitlines()[1:]

    def rules(self, subcommand=""):
        return self.told("words" if subcommand else "", self.command, *subcommand.split(), "")

    def subcommands(self):
        return {line.split(":")[0] for line in self.told(self.FIRST_WORD[self.command], self.command, "")}

    def options(self, subcommand=""):
        found = (re.match(r"(?:\([^)]*\))?\*?(--?[a-z-]+)[=+]?\[", rule) for rule in self.rules(subcommand))
        return {option.group(1) for option in found if option}

    def candidates(self, *words):
        """The words that may follow an option, which is the last but one of `words`."""
        *subcommand, option, _ = words
        rules = self.rules(*subcommand)
        rule = next(rule for rule in rules if re.match(rf"(?:\([^)]*\))?\*?{option}=?\[", rule))
        return set(re.search(r":\((.*)\)\Z", rule).group(1).split())


SHELLS = (Bash, Fish, Zsh)
TELLERS = (Manual, *SHELLS)
