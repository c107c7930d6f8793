"""What type checkers make of the installed package."""

import json
import subprocess
import sys
from collections.abc import Callable
from pathlib import Path

import pytest

from orvel_tarnix.utils import git_utils

PROGRAMS = Path(__file__).parent / "typing"


def mypy_errors(program: Path, folder: Path) -> set[int]:
    command = [sys.executable, "-m", "mypy", "--strict", "--output=json", "--no-error-summary"]
    command += [f"--cache-dir={folder}", program]
    run = subprocess.run(command, cwd=folder, capture_output=True, text=True, check=False)
    assert not run.stderr
    reports = map(json.loads, run.stdout.splitlines())
    return {each["line"] for each in reports if each["severity"] == "error"}


def pyright_errors(program: Path, folder: Path) -> set[int]:
    command = [sys.executable, "-m", "basedpyright", "--outputjson", "--level=error"]
    command += [f"--pythonpath={sys.executable}", program]
    run = subprocess.run(command, cwd=folder, capture_output=True, text=True, check=False)
    reports = json.loads(run.stdout)["generalDiagnostics"]
    return {each["range"]["start"]["line"] + 1 for each in reports}


@pytest.mark.parametrize("errors", [mypy_errors, pyright_errors])
def test_a_checker_accepts_every_public_function_and_rejects_misuse(
    errors: Callable[[Path, Path], set[int]], tmp_path: Path
) -> None:
    marked = (PROGRAMS / "rejected.py").read_text(encoding="utf-8").splitlines()
    wrong = {number for number, line in enumerate(marked, 1) if line.endswith("# wrong")}
    assert errors(str(PROGRAMS / "accepted.py"), tmp_path) == set()
    assert errors(str(PROGRAMS / "rejected.py"), tmp_path) == wrong


def test_the_accepted_program_uses_every_public_function() -> None:
    program = (PROGRAMS / "accepted.py").read_text(encoding="utf-8")
    public = [
        name
        for name, value in vars(git_utils).items()
        if not name.startswith("_") and getattr(value, "__module__", "") == git_utils.__name__
    ]
    assert len(public) == 26
    assert [name for name in public if name not in program] == []
