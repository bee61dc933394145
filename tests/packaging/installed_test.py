# SPDX-License-Identifier: Apache-2.0
"""Small language for tests of an installation: a prefix, what is in it, programs that are built from it.

The environment has the build's folder in BUILD, the sources' in PROJECT, the compilers in CC and CXX, the folder of
libraries below a prefix in LIBRARIES, the project's version in VERSION, and the sanitizers that the build has, if any,
in HUB_SANITIZE.
"""

import os
import pathlib
import shlex
import subprocess
import tempfile
import unittest

BUILD = os.environ["BUILD"]
PROJECT = pathlib.Path(os.environ["PROJECT"])
LIBRARIES = os.environ["LIBRARIES"]
VERSION = os.environ["VERSION"]
DOCUMENTS = sorted({path.name for path in (PROJECT / "docs").glob("*.md")} - {"architecture.md"})
OUTSIDE = PROJECT / "tests/packaging/outside"
SANITIZE = [f"-fsanitize={os.environ['HUB_SANITIZE']}"] if os.environ["HUB_SANITIZE"] else []
COMPILERS = {".c": [os.environ["CC"], *SANITIZE], ".cpp": [os.environ["CXX"], "-std=c++20", *SANITIZE]}
LINKER = [os.environ["CXX"], *SANITIZE]  # sanitized C++ libraries need the C++ compiler's runtime

WORKED_RECORD = bytes.fromhex("00050308 07000000 E803") + bytes(38)
SERVICES = ("services    9 taken: button, accel, gyro, compass, pressure, light, proximity, debug, audio\n"
            "            1 left alone: touch\n")


def run(*words, data=b"", **environment):
    """Standard output of a program that must succeed; nothing of the tree or of a search path is in its reach."""
    clean = {key: value for key, value in os.environ.items() if key != "LD_LIBRARY_PATH"}
    result = subprocess.run(words, input=data, env={**clean, **environment}, cwd="/", capture_output=True,
                            timeout=300, check=False)
    if result.returncode != 0:
        raise AssertionError(f"{words}: {result.returncode}\n{result.stdout.decode()}{result.stderr.decode()}")
    return result.stdout


def no_settings(folder):
    """The environment of a program that shall find nothing that a user or the machine has set up for Wireshark."""
    return {"HOME": str(folder), "XDG_CONFIG_HOME": str(folder), "WIRESHARK_PLUGIN_DIR": str(folder)}


def install(prefix, **environment):
    run("cmake", "--install", BUILD, "--prefix", str(prefix), **environment)


def files_below(folder):
    return sorted(str(path.relative_to(folder)) for path in folder.rglob("*") if not path.is_dir())


def descriptions_by(*programs):
    return [run(str(program), data=WORKED_RECORD) for program in programs]


class InstalledTest(unittest.TestCase):
    """Installs the build once, to a prefix in a folder of its own."""

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        cls.prefix = cls.folder / "prefix"
        install(cls.prefix)

    def worked_line(self, prefix=None):
        """What the installed command makes of the worked record."""
        return run(str((prefix or self.prefix) / "bin/hubprofile"), data=WORKED_RECORD)

    def play_example(self, prefix):
        """What the installed command tells of the installed example device."""
        return run(str(prefix / "bin/hubsession"), "run",
                   str(prefix / "share/hub-hid-statistics/examples/devices/phone.json")).decode()

    def cmake_programs(self, prefix):
        """The outside programs, built by CMake, which is told the prefix alone."""
        build = pathlib.Path(tempfile.mkdtemp(dir=self.folder))
        run("cmake", "-G", "Ninja", "-S", str(OUTSIDE), "-B", str(build), f"-DCMAKE_PREFIX_PATH={prefix}",
            f"-DCMAKE_C_FLAGS={' '.join(SANITIZE)}", f"-DCMAKE_CXX_FLAGS={' '.join(SANITIZE)}")
        run("cmake", "--build", str(build))
        return [build / "print_description_c", build / "print_description_cpp"]

    def flags(self, prefix, *wanted):
        """What pkg-config says of the plug-in's package, when it knows the prefix alone."""
        found = run("pkg-config", *wanted, "hub-hid-statistics",
                    PKG_CONFIG_LIBDIR=str(prefix / LIBRARIES / "pkgconfig"))
        return shlex.split(found.decode())

    def pkg_config_programs(self, prefix):
        """The outside programs, built with the flags of pkg-config."""
        build = pathlib.Path(tempfile.mkdtemp(dir=self.folder))
        programs = []
        for suffix, compiler in COMPILERS.items():
            program = build / f"print_description{suffix.replace('.', '_')}"
            run(*compiler, *self.flags(prefix, "--cflags"), "-c", str(OUTSIDE / f"print_description{suffix}"),
                "-o", f"{program}.o")
            run(*LINKER, f"{program}.o", "-o", str(program), *self.flags(prefix, "--libs"),
                f"-Wl,-rpath,{prefix / LIBRARIES}")
            programs.append(program)
        return programs
