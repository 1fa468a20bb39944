# SPDX-License-Identifier: MIT
"""The wheel, built without a network and used without the source tree."""

from __future__ import annotations

import os
import subprocess
import sys
import zipfile
from pathlib import Path

import pytest

from rynvel.testing import find_server

PROJECT = Path(__file__).resolve().parents[3]

SESSION = """
import sys
import rynvel
from rynvel.testing import SimulatedServer
assert rynvel.__file__.startswith(sys.argv[1]), rynvel.__file__
with SimulatedServer(maps=sys.argv[2]) as server, server.open("rtc0") as clock:
    clock.regs.RTCCR.START = "running"
    print(clock.regs.RTCCR.read())
"""


def run(*command: str | Path, **variables: str) -> str:
    kept = {name: value for name, value in os.environ.items() if name not in ("PYTHONPATH", "LD_LIBRARY_PATH")}
    # pip uses no package index, and its proxy does not exist, so every access to the network fails.
    offline = {"PIP_NO_INDEX": "1", "PIP_DISABLE_PIP_VERSION_CHECK": "1", "http_proxy": "http://127.0.0.1:1"}
    result = subprocess.run(
        [str(word) for word in command],
        capture_output=True,
        text=True,
        timeout=3600,
        env={**kept, **offline, **variables},
        check=False,
    )
    assert result.returncode == 0, result.stdout + result.stderr
    return result.stdout


@pytest.mark.slow
def test_a_wheel_is_built_and_used_outside_of_the_tree(tmp_path: Path) -> None:
    pip = (sys.executable, "-m", "pip")
    # The build must not write to the source tree.
    places = tmp_path / "places.cfg"
    places.write_text(f"[build]\nbuild_base = {tmp_path}/build\n[egg_info]\negg_base = {tmp_path}\n", encoding="utf-8")
    wheel_options = ("--no-build-isolation", "--no-deps", "--wheel-dir", tmp_path / "dist")
    run(*pip, "wheel", *wheel_options, PROJECT / "python", DIST_EXTRA_CONFIG=str(places))
    (wheel,) = (tmp_path / "dist").glob("rynvel-*.whl")
    names = zipfile.ZipFile(wheel).namelist()
    expected = ("__init__.py", "_core.so", "_maps.so", "_core.pyi", "py.typed")
    assert {f"rynvel/{name}" for name in expected} <= {*names}
    assert not [name for name in names if name.endswith(".pyc") or "test_" in name]
    prefix = tmp_path / "prefix"
    run(*pip, "install", "--no-deps", "--target", prefix, wheel)
    output = run(
        sys.executable,
        "-c",
        SESSION,
        prefix,
        PROJECT / "board" / "maps",
        PYTHONPATH=str(prefix),
        RYNVELD=find_server(),
    )
    assert output == "1\n"
