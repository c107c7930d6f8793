"""What a type checker makes of the installed package."""

import ast
import json
import subprocess
import sys
from pathlib import Path

from orvel_tarnix.utils import git_utils

ACCEPTED = Path(__file__).parent / "typing" / "accepted.py"
REJECTED = ACCEPTED.with_name("rejected.py")


def lines_with_errors(program: Path, folder: Path) -> set[int]:
    command = [sys.executable, "-m", "mypy", "--strict", "--output=json", "--no-error-summary"]
    command += [f"--cache-dir={folder}", str(program)]
    run = subprocess.run(command, cwd=folder, capture_output=True, text=True, timeout=300)
    assert not run.stderr
    reports = map(json.loads, run.stdout.splitlines())
    return {each["line"] for each in reports if each["severity"] == "error"}


def test_a_checker_accepts_right_use_and_rejects_misuse(tmp_path: Path) -> None:
    marked = REJECTED.read_text("utf-8").splitlines()
    wrong = {number for number, line in enumerate(marked, 1) if line.endswith("# wrong")}
    assert lines_with_errors(ACCEPTED, tmp_path) == set()
    assert lines_with_errors(REJECTED, tmp_path) == wrong


def test_right_use_is_of_every_public_function_field_and_constant() -> None:
    stub = ast.parse(Path(git_utils.__file__).with_name("git_utils.pyi").read_text("utf-8"))
    functions = [each.name for each in stub.body if isinstance(each, ast.FunctionDef)]
    declared = [each.target.id for each in ast.walk(stub) if isinstance(each, ast.AnnAssign)]
    declared += [name for name in functions if not name.startswith("_")]
    used = {
        each.attr
        for each in ast.walk(ast.parse(ACCEPTED.read_text("utf-8")))
        if isinstance(each, ast.Attribute)
    }
    assert set(declared) - used == set()
