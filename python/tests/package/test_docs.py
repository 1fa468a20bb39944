# SPDX-License-Identifier: MIT
"""Runs the session of docs/python.md in the order of the page, and compares the results with those on the page."""

from __future__ import annotations

import contextlib
import doctest
import os
import re
import subprocess
import sys
from collections.abc import Iterator
from pathlib import Path
from typing import Any, NamedTuple

import pytest

PROJECT = Path(__file__).resolve().parents[3]
PAGE = PROJECT / "docs" / "python.md"
BLOCK = re.compile(r"^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
FILE_NAME = re.compile(r"# (\w+\.py)\n")


class Block(NamedTuple):
    language: str
    text: str
    line: int


def blocks_of(text: str) -> list[Block]:
    return [Block(match[1], match[2], text.count("\n", 0, match.start()) + 2) for match in BLOCK.finditer(text)]


class Session:
    """Runs the blocks of the page one after the other, with common variables."""

    def __init__(self) -> None:
        self.variables: dict[str, Any] = {"__name__": "session"}
        self.files: list[str] = []
        self.examples = 0

    def run(self, block: Block) -> None:
        file = FILE_NAME.match(block.text)
        if file:
            Path(file[1]).write_text(block.text, encoding="utf-8")
            self.files.append(file[1])
        elif ">>> " in block.text:
            self.compare(block)
        else:
            exec(compile("\n" * (block.line - 1) + block.text, str(PAGE), "exec"), self.variables)

    def compare(self, block: Block) -> None:
        test = doctest.DocTestParser().get_doctest(block.text, self.variables, "python.md", str(PAGE), block.line - 1)
        self.examples += len(test.examples)
        report: list[str] = []
        runner = doctest.DocTestRunner(optionflags=doctest.ELLIPSIS)
        # The test has a copy of the variables. By default, the runner clears this copy after the run.
        runner.run(test, out=report.append, clear_globs=False)
        self.variables.update(test.globs)
        assert not report, "".join(report)


@pytest.fixture
def folder(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> Iterator[Path]:
    """A working folder that contains the folder `board` of the project."""
    (tmp_path / "board").symlink_to(PROJECT / "board")
    monkeypatch.delenv("RYNVEL_MAPS", raising=False)
    with contextlib.chdir(tmp_path):
        yield tmp_path


def test_the_session_has_the_results_of_the_page(folder: Path) -> None:
    blocks = blocks_of(PAGE.read_text(encoding="utf-8"))
    assert {block.language for block in blocks} == {"python"}
    session = Session()
    for block in blocks:
        session.run(block)
    assert session.examples > 50
    assert (folder / "register.png").read_bytes().startswith(b"\x89PNG\r\n\x1a\n")
    assert session.files == ["test_clock.py"]
    environment = {**os.environ, "PYTHONPATH": os.pathsep.join(sys.path)}
    result = subprocess.run(
        [sys.executable, "-m", "pytest", "-q", "-p", "no:cacheprovider", *session.files],
        capture_output=True,
        text=True,
        timeout=60,
        env=environment,
        check=False,
    )
    assert result.returncode == 0, result.stdout + result.stderr
    assert "2 passed" in result.stdout


@pytest.mark.parametrize(
    "text",
    [
        "```python\n>>> 1 + 1\n3\n\n```\n",
        "```python\nraise ValueError\n```\n",
        "```python\nx = 1\n```\n```python\n>>> x\n2\n\n```\n",
        "```python\n>>> int('x')\n1\n\n```\n",
    ],
)
def test_a_wrong_page_is_noticed(text: str) -> None:
    session = Session()
    with pytest.raises((AssertionError, ValueError)):
        for block in blocks_of(text):
            session.run(block)
