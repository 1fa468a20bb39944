# SPDX-License-Identifier: MIT
"""The installation with CMake, as a distribution performs it."""

from __future__ import annotations

import os
import subprocess
import sys
from pathlib import Path

import rynvel

BUILD = Path(rynvel.__file__).resolve().parents[2]


def run(*command: str | Path, **variables: str) -> str:
    result = subprocess.run(
        [str(word) for word in command],
        capture_output=True,
        text=True,
        timeout=120,
        env={**os.environ, **variables},
        check=False,
    )
    assert result.returncode == 0, result.stdout + result.stderr
    return result.stdout


def test_the_component_is_a_package_that_can_be_imported(tmp_path: Path) -> None:
    run("cmake", "--install", BUILD, "--component", "Python", "--prefix", "/usr", DESTDIR=str(tmp_path))
    folder = tmp_path / "usr" / "lib" / "python3" / "dist-packages"
    files = {str(file.relative_to(folder)) for file in tmp_path.rglob("*") if file.is_file()}
    assert {"rynvel/__init__.py", "rynvel/_core.so", "rynvel/_maps.so", "rynvel/_maps.pyi", "rynvel/py.typed"} <= files
    # Only the package belongs to the component.
    assert all(file.startswith("rynvel/") for file in files)
    assert not [file for file in files if "__pycache__" in file or "test_" in file]
    output = run(
        sys.executable,
        "-c",
        "import rynvel, rynvel.testing; print(rynvel.__file__)",
        PYTHONPATH=str(folder),
        LD_LIBRARY_PATH=str(BUILD / "ziltrace"),
    )
    assert Path(output.strip()) == folder / "rynvel" / "__init__.py"
