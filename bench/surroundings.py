# SPDX-License-Identifier: Apache-2.0
"""What was measured where and with what, and the document that says so."""

import datetime
import os
import pathlib
import platform
import re
import string

from measuring import output_of

PROJECT = pathlib.Path(__file__).resolve().parent.parent
TEMPLATE = PROJECT / "bench/performance.template.md"


def first_match(pattern, path):
    found = re.search(pattern, pathlib.Path(path).read_text(encoding="utf-8"), re.MULTILINE)
    return found[1] if found else "unknown"


def machine():
    model = first_match(r"^model name\s*: (.*)", "/proc/cpuinfo")
    memory_gib = int(first_match(r"^MemTotal: *(\d+)", "/proc/meminfo")) / 2**20
    return (f"{model}, {os.cpu_count()} cores, {memory_gib:.0f} GiB of memory, "
            f"Linux {platform.release()}")


def compiler(build):
    path = first_match(r"^CMAKE_CXX_COMPILER:[A-Z]*=(.*)", build / "CMakeCache.txt")
    return output_of(path, "--version").decode().splitlines()[0]


def rivals():
    """The packages that measuring needs and tests do not, with their versions."""
    lines = (PROJECT / "script/packages.txt").read_text(encoding="ascii").splitlines()
    rows = [line.split() for line in lines if not line.startswith("#")]
    names = [row[0] for row in rows
             if len(row) == 2 and "bench" in row[1].split(",") and "test" not in row[1].split(",")]
    versions = output_of("dpkg-query", "-W", "-f", "${Package} ${Version}\\n", *names)
    return [*versions.decode().splitlines(), f"Python {platform.python_version()}"]


def commit():
    name = output_of("git", "-C", PROJECT, "rev-parse", "--short=12", "HEAD").decode().strip()
    changes = output_of("git", "-C", PROJECT, "status", "--porcelain", "--untracked-files=no",
                        "--", ".", ":!docs")
    return f"{name}, with changes" if changes else name


def document(build, table):
    template = string.Template(TEMPLATE.read_text(encoding="utf-8"))
    return template.substitute(
        table=table, date=datetime.date.today().isoformat(), commit=commit(), machine=machine(),
        compiler=compiler(build), rivals=", ".join(rivals()))
