"""What a type checker makes of the installed package.

Annotations of functions and fields exist when the module runs, and are compared there.
"""

import json
import subprocess
import sys
from pathlib import Path

PROGRAM = Path(__file__).parent / "typing" / "program.py"


def test_a_checker_finds_fault_with_misuse_only(tmp_path: Path) -> None:
    command = [sys.executable, "-m", "mypy", "--strict", "--output=json", "--no-error-summary"]
    command += [f"--cache-dir={tmp_path}", str(PROGRAM)]
    run = subprocess.run(command, cwd=tmp_path, capture_output=True, text=True, timeout=300)
    reports = map(json.loads, run.stdout.splitlines())
    wrong = {each["line"] for each in reports if each["severity"] == "error"}
    marked = enumerate(PROGRAM.read_text("utf-8").splitlines(), 1)
    assert (run.stderr, wrong) == ("", {line for line, text in marked if text.endswith("# wrong")})
