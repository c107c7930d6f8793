"""Every command of docs/examples.md prints what the page shows."""

import doctest
import os
import re
import subprocess
import sys
from pathlib import Path

import pytest
from conftest import Run

TREE = Path(__file__).parent.parent
BLOCK = re.compile(r"(?ms)^```(python|console)\n(.*?)^```\n")
COMMAND = re.compile(r"(?m)^\$ (.*)\n((?:(?!\$ ).*\n)*)")
INTRODUCTION, *SECTIONS = (TREE / "docs/examples.md").read_text("utf-8").split("\n## ")
WITH_COMMANDS = {text.partition("\n")[0]: text for text in SECTIONS if BLOCK.search(text)}


@pytest.fixture
def _sample(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    """Run the commands of the introduction, which make the sample, in the working directory."""
    (tmp_path / "examples").symlink_to(TREE / "examples")
    python = tmp_path / "bin/python"
    python.parent.mkdir()
    python.write_text(f'#!/bin/sh\nexec "{sys.executable}" "$@"\n')
    python.chmod(0o755)
    monkeypatch.setenv("PATH", str(python.parent), prepend=os.pathsep)
    monkeypatch.setenv("PYTHONPATH", str(TREE))
    monkeypatch.chdir(tmp_path)
    run_commands(INTRODUCTION)


def run_commands(section: str) -> None:
    """Run the blocks of a section in turn and compare what the commands print."""
    same = doctest.OutputChecker().check_output
    status = 0
    for language, text in BLOCK.findall(section):
        if language == "python":
            exec(text, {})
        for command, expected in COMMAND.findall(text) if language == "console" else []:
            script = f"(exit {status}); {command}"
            merged = {"stdout": subprocess.PIPE, "stderr": subprocess.STDOUT}
            run = subprocess.run(script, shell=True, text=True, **merged)
            status = run.returncode
            printed = run.stdout.replace(str(Path.cwd()), "/home/ann")
            assert same(expected, printed, doctest.NORMALIZE_WHITESPACE), f"$ {command}\n{printed}"


@pytest.mark.usefixtures("_sample")
@pytest.mark.parametrize("section", WITH_COMMANDS.values(), ids=WITH_COMMANDS)
def test_the_commands_of_a_section_print_what_it_shows(section: str) -> None:
    run_commands(section)


def test_the_sample_replaces_nothing(run: Run, tmp_path: Path) -> None:
    message = f"sample_repository: {tmp_path} is there already\n"
    assert run("sample_repository.py", tmp_path) == (2, "", message)
