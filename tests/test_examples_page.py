"""Every command of docs/examples.md prints what the page shows."""

import doctest
import os
import re
import subprocess
import sys
from pathlib import Path

import pytest

TREE = Path(__file__).parent.parent
BLOCK = re.compile(r"(?ms)^```(python|console)\n(.*?)^```\n")
COMMAND = re.compile(r"(?m)^\$ (.*)\n((?:(?!\$ ).*\n)*)")
BLOCKS = BLOCK.findall((TREE / "docs/examples.md").read_text("utf-8"))


def test_the_commands_of_the_page_print_what_it_shows(
    tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    (tmp_path / "examples").symlink_to(TREE / "examples")
    python = tmp_path / "bin/python"
    python.parent.mkdir()
    python.write_text(f'#!/bin/sh\nexec "{sys.executable}" "$@"\n')
    python.chmod(0o755)
    monkeypatch.setenv("PATH", str(python.parent), prepend=os.pathsep)
    monkeypatch.setenv("PYTHONPATH", str(TREE))
    monkeypatch.chdir(tmp_path)
    same = doctest.OutputChecker().check_output
    status = 0
    for language, text in BLOCKS:
        if language == "python":
            exec(text, {})
        for command, expected in COMMAND.findall(text) if language == "console" else []:
            script = f"(exit {status}); {command}"
            merged = {"stdout": subprocess.PIPE, "stderr": subprocess.STDOUT}
            run = subprocess.run(script, shell=True, text=True, **merged)
            status = run.returncode
            printed = run.stdout.replace(str(tmp_path), "/home/ann")
            assert same(expected, printed, doctest.NORMALIZE_WHITESPACE), f"$ {command}\n{printed}"
