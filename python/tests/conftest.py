# SPDX-License-Identifier: MIT
"""Fixtures of the tests of rynvel._core."""

from __future__ import annotations

import contextlib
from collections.abc import Iterator
from pathlib import Path

import core
import pytest


@pytest.fixture
def files(tmp_path: Path) -> Iterator[Path]:
    """The working folder, with the files of the devices of the tests."""
    core.require_test_table()
    core.make_files(tmp_path)
    with contextlib.chdir(tmp_path):
        yield tmp_path
