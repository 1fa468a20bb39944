# SPDX-License-Identifier: MIT
"""Builds the extension modules with the CMake files of the project, of which this folder is a part."""

import os
import re
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

PROJECT = Path(__file__).resolve().parent.parent


def version() -> str:
    """Returns the version of the project, which is in CMakeLists.txt."""
    text = (PROJECT / "CMakeLists.txt").read_text(encoding="utf-8")
    found = re.search(r"^project\(rynvel VERSION ([\d.]+)", text, re.MULTILINE)
    if found is None:
        raise SystemExit("setup.py: CMakeLists.txt: the version is missing (write project(rynvel VERSION ...))")
    return found[1]


class BuildWithCMake(build_ext):
    """Builds all extension modules at once, and installs them where setuptools collects the wheel."""

    def run(self) -> None:
        if self.inplace:
            raise SystemExit("setup.py: an editable installation is not supported (use PYTHONPATH=build/python/python)")
        build = Path(self.build_temp).resolve() / "cmake"
        options = {
            "CMAKE_BUILD_TYPE": "Release",
            "BUILD_TESTING": "OFF",
            "RYNVEL_EXAMPLES": "OFF",
            "RYNVEL_PYTHON": "ON",
            "RYNVEL_PYTHON_FOLDER": ".",
            "RYNVEL_PYTHON_BUNDLE": "ON",
            "RYNVEL_UNITY": "ON",
            "Python3_EXECUTABLE": sys.executable,
        }
        self.cmake("-S", str(PROJECT), "-B", str(build), *(f"-D{name}={value}" for name, value in options.items()))
        self.cmake("--build", str(build), "--target", "rynvel_python", "--parallel", str(os.cpu_count() or 1))
        self.cmake("--install", str(build), "--component", "Python", "--prefix", str(Path(self.build_lib).resolve()))

    @staticmethod
    def cmake(*arguments: str) -> None:
        subprocess.run(["cmake", *arguments], check=True)


setup(
    version=version(),
    ext_modules=[Extension("rynvel._core", []), Extension("rynvel._maps", [])],
    cmdclass={"build_ext": BuildWithCMake},
)
