#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""check_binary.py BUILD [--optimised]: what the libraries and commands of a build are made of, as they are installed.

Looks at the ELF files with readelf and at the compile commands, prints each promise that does not hold, and ends with
figures. --optimised: the build is one that users run, where calls of the C library are checked as well.
"""

import argparse
import json
import pathlib
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
PROJECT = HERE.parents[2]
ROOMS = ("platform", "VantuHUBHIDPlugins", "host", "tools")  # what the files are compiled from
PLUGIN, PLATFORM = "libVantuHUBHIDStatistics.so", "libhubplatform.so"
COMMANDS = ("hubprofile", "hubsession")
RUNTIME = {"libstdc++.so.6", "libm.so.6", "libgcc_s.so.1", "libc.so.6", "ld-linux-x86-64.so.2"}

ENTRY_MARK = bytes.fromhex("f30f1efa")  # endbr64: indirect calls may arrive here
FLAGS = ("-fstack-protector-strong", "-fstack-clash-protection", "-fcf-protection")
CHECKED = re.compile(r"-D_FORTIFY_SOURCE=[23]")

# Functions that are called through their checking form wherever the C library has one.
HAVE_CHECKING_FORMS = {"fprintf", "printf", "snprintf", "sprintf", "strcat", "strcpy", "vfprintf", "vprintf", "vsnprintf",
                       "vsprintf"}

# The C++ library's std::to_string of a double, which the option library uses, hands this one on by its address.
HANDED_ON_IN_COMMANDS = {"vsnprintf"}

# Versions of the symbols of the C++ runtime: libstdc++'s and libgcc's.
CXX_RUNTIME = re.compile(r"@+(?:GLIBCXX|CXXABI|GCC)_")
C_LIBRARY = re.compile(r"@+GLIBC_")

SYMBOL = re.compile(r"\s*\d+: (?P<address>[0-9a-f]+)\s+(?P<size>\w+) (?P<kind>\w+)\s+(?P<binding>\w+)\s+\w+\s+"
                    r"(?P<section>\w+) (?P<name>\S+)")

DECODERS = ("profile_decoder", "cumulus_decoder", "execution_decoder", "haptics_decoder", "interrupt_decoder",
            "scm_decoder", "sensor_decoder", "sphere_decoder", "sshb_decoder", "trace_decoder", "uart_decoder",
            "wake_decoder")
DECODER_TABLE_BYTES = (2 + 5) * 8  # offset to top, type, five operations


def readelf(path, *options):
    return subprocess.run(["readelf", "--wide", *options, str(path)], capture_output=True, check=True, text=True).stdout


def names_listed(path):
    lines = path.read_text(encoding="utf-8").splitlines()
    return {line for line in lines if line and not line.startswith("#")}


class Binary:
    """One ELF file, as far as the promises are about it."""

    def __init__(self, path):
        self.path, self.name = path, path.name
        self.header = readelf(path, "--file-header")
        self.segments = readelf(path, "--program-headers")
        self.dynamic = readelf(path, "--dynamic")
        self.imports, self.functions, self.objects = {}, {}, {}
        self._read_symbols(readelf(path, "--dyn-syms"))
        self.exported_functions = dict(self.functions)
        self._read_symbols(readelf(path, "--syms"))

    def _read_symbols(self, text):
        for line in text.splitlines():
            row = SYMBOL.match(line)
            if row is None:
                continue
            if row["section"] == "UND":
                self.imports[row["name"]] = row["binding"]
            elif row["kind"] == "FUNC":
                self.functions[row["name"]] = int(row["address"], 16)
            elif row["kind"] == "OBJECT":
                self.objects[row["name"]] = int(row["size"], 0)

    def tag(self, name):
        return re.findall(rf"\({name}\)\s+(.*)", self.dynamic)

    def bytes_at(self, address, count):
        for offset, start, size in re.findall(r"LOAD\s+(0x\w+)\s+(0x\w+)\s+0x\w+\s+(0x\w+)", self.segments):
            if int(start, 16) <= address < int(start, 16) + int(size, 16):
                with open(self.path, "rb") as file:
                    file.seek(int(offset, 16) + address - int(start, 16))
                    return file.read(count)
        return b""

    def is_command(self):
        return self.name in COMMANDS

    def entries(self):
        """What others jump to: names and addresses."""
        return {"main": self.functions["main"]} if self.is_command() else self.exported_functions


class Check:
    """Counts promises, and tells each that does not hold."""

    def __init__(self):
        self.promises = self.broken = 0

    def that(self, holds, what):
        self.promises += 1
        if not holds:
            self.broken += 1
            print(f"check-binary: {what}", file=sys.stderr)


def check_segments(check, binary):
    """What the loader makes of the file."""
    name = binary.name
    flags = " ".join(binary.tag("FLAGS") + binary.tag("FLAGS_1"))
    check.that("DYN (" in binary.header, f"{name} cannot be loaded at any address")
    check.that(not binary.is_command() or "PIE" in flags, f"{name} is not marked as a program for any address")
    check.that(re.search(r"GNU_STACK .* RW +0x", binary.segments), f"{name} has a stack that code can run on")
    check.that(not re.search(r" R?WE +0x", binary.segments), f"{name} has a segment to write and to run")
    check.that("GNU_RELRO" in binary.segments, f"{name} leaves its tables writable after loading")
    check.that("NOW" in flags, f"{name} is bound lazily: its tables stay writable")
    check.that("TEXTREL" not in binary.dynamic, f"{name} has relocations in its code")
    paths = [path for value in binary.tag("RUNPATH") + binary.tag("RPATH")
             for path in re.search(r"\[(.*)\]", value).group(1).split(":") if path]
    check.that(all(path.startswith("$ORIGIN") for path in paths), f"{name} looks for libraries in {paths}")


def check_code(check, binary, optimised):
    """What the compiler was asked for, as far as it shows in the file."""
    imported = {name.split("@")[0] for name in binary.imports}
    check.that("__stack_chk_fail" in imported, f"{binary.name} does not guard its stack")
    if "X86-64" in binary.header:
        unmarked = sorted(name for name, at in binary.entries().items() if binary.bytes_at(at, 4) != ENTRY_MARK)
        check.that(binary.entries() and not unmarked, f"{binary.name} has {len(unmarked)} unmarked entries: {unmarked[:5]}")
    if optimised:
        check.that(any(re.fullmatch(r"__\w+_chk", name) for name in imported), f"{binary.name} has no checked call")
        accepted = HANDED_ON_IN_COMMANDS if binary.is_command() else set()
        unchecked = sorted(imported & HAVE_CHECKING_FORMS - accepted)
        check.that(not unchecked, f"{binary.name} calls unchecked: {unchecked}")


def check_needed(check, binary, allowed):
    needed = set(re.findall(r"\(NEEDED\).*\[(.*)\]", binary.dynamic))
    check.that(needed <= allowed, f"{binary.name} needs {sorted(needed - allowed)}")


def check_plugin_imports(check, plugin, platform):
    """The plug-in takes what the list has, and of the C++ runtime what it needs."""
    strong = {name for name, binding in plugin.imports.items() if binding == "GLOBAL" and not CXX_RUNTIME.search(name)}
    of_c_library = {name.split("@")[0] for name in strong if C_LIBRARY.search(name)}
    of_platform = {name for name in strong if "@" not in name}
    listed = names_listed(HERE / "plugin_imports.txt")
    listed_of_platform = {name for name in listed if name in platform.exported_functions or name in platform.objects}
    check.that(of_platform == listed_of_platform,
               f"{plugin.name} takes other names of the platform: {sorted(of_platform ^ listed_of_platform)}")
    check.that(of_c_library <= listed, f"{plugin.name} takes of the C library also {sorted(of_c_library - listed)}")
    check_needed(check, plugin, {f"{PLATFORM}.0"} | RUNTIME)


def check_decoder_tables(check, plugin):
    """A decoder of others counts on five virtual operations, no more and no less."""
    for decoder in DECODERS:
        size = plugin.objects.get(f"_ZTV{len(decoder)}{decoder}")
        check.that(size == DECODER_TABLE_BYTES, f"{decoder}'s virtual table has {size} bytes, not {DECODER_TABLE_BYTES}")


def check_compile_commands(check, build, optimised):
    """Some of what the compiler is asked for leaves no mark in the file."""
    commands = json.loads((build / "compile_commands.json").read_text(encoding="utf-8"))
    ours = [entry for entry in commands if entry["file"].startswith(tuple(f"{PROJECT}/{room}/" for room in ROOMS))]
    for room in ROOMS:
        check.that(any(entry["file"].startswith(f"{PROJECT}/{room}/") for entry in ours), f"nothing is compiled from {room}")
    bare = sorted({f"{pathlib.Path(entry['file']).name} without {flag}" for entry in ours for flag in FLAGS
                   if flag not in entry["command"].split()})
    check.that(not bare, f"compiled {bare}")
    unchecked = sorted({pathlib.Path(entry["file"]).name for entry in ours if not CHECKED.search(entry["command"])})
    check.that(not optimised or not unchecked, f"compiled without checked calls {unchecked}")
    return len(ours)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--optimised", action="store_true")
    options = parser.parse_args()
    check = Check()
    with tempfile.TemporaryDirectory() as prefix:
        subprocess.run(["cmake", "--install", options.build, "--prefix", prefix, "--component", "runtime"],
                       check=True, stdout=subprocess.DEVNULL)
        found = {path.name.split(".so")[0] + (".so" if ".so" in path.name else ""): Binary(path)
                 for path in sorted(pathlib.Path(prefix).rglob("*"))
                 if path.is_file() and not path.is_symlink() and path.read_bytes().startswith(b"\x7fELF")}
        for binary in found.values():
            check_segments(check, binary)
            check_code(check, binary, options.optimised)
        check.that(set(found) == {PLUGIN, PLATFORM, *COMMANDS}, f"installed are {sorted(found)}")
        check_plugin_imports(check, found[PLUGIN], found[PLATFORM])
        check_needed(check, found[PLATFORM], RUNTIME | {"libsqlite3.so.0"})
        check_decoder_tables(check, found[PLUGIN])
    compiled = check_compile_commands(check, options.build, options.optimised)
    print(f"check-binary: {len(found)} files, {compiled} compilations, {check.promises} promises, {check.broken} broken")
    return 1 if check.broken else 0


if __name__ == "__main__":
    sys.exit(main())
