"""What is left behind by calls that succeed and by calls that fail: nothing."""

import os
from pathlib import Path

from conftest import FakeGit
from worlds import WORLDLY_CALLS, run_python


def test_no_call_keeps_memory_or_references() -> None:
    assert run_python("-m", "leaks") == f"{len(WORLDLY_CALLS)} calls\n"


def test_a_thousand_runs_keep_no_file_no_child_and_no_thread(tmp_path: Path) -> None:
    def git(name: str, script: str) -> str:
        return f"{FakeGit(tmp_path / name)(script)}{os.pathsep}{os.environ['PATH']}"

    good, bad = git("good", "echo fine"), git("bad", "echo wrong >&2; exit 3")
    late = git("late", "exec sleep 600")
    runs = (good, "600", bad, "600", late, "0", str(tmp_path / "none"), "600")
    assert run_python("-m", "leaks", *runs).splitlines() == [
        "('fine\\n', '', 0)",
        "('', 'wrong\\n', 3)",
        "('', 'Command timed out', 1)",
        "('', 'git not found', 1)",
        "the same",
    ]
