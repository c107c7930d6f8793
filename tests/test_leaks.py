"""What is left behind by calls, and what becomes of them when memory runs out."""

import gc
import os
from pathlib import Path

from compare import native
from conftest import FakeGit
from worlds import WORLDLY_CALLS, run_python


def test_no_call_keeps_memory() -> None:
    assert run_python("-m", "exhaustion", "leaks") == f"{len(WORLDLY_CALLS)} calls\n"


def test_any_allocation_of_a_call_may_fail_and_nothing_keeps_references() -> None:
    assert run_python("-m", "exhaustion") == f"{len(WORLDLY_CALLS)} calls\n"


def test_a_name_may_be_longer_than_memory() -> None:
    assert run_python("-m", "exhaustion", "grow") == "MemoryError\n"


def held() -> tuple[int, int, str]:
    """How many files and threads this process has, and which children."""
    gc.collect()
    children = Path("/proc/thread-self/children").read_text(encoding="ascii")
    files, threads = (len([*Path("/proc/self", what).iterdir()]) for what in ("fd", "task"))
    return files, threads, children


def test_runs_keep_no_file_no_child_and_no_thread(fake_git: FakeGit) -> None:
    before = held()
    for script, limit in {"echo fine": 600, "exit 3": 600, "exec sleep 600": 0}.items():
        root = fake_git(script)
        assert len({native.run_git_command(root, ["x"], limit) for _ in range(100)}) == 1
    os.environ["PATH"] = "/nowhere"  # as put back by the fake git
    assert {native.run_git_command("/", ["x"])[1] for _ in range(100)} == {"git not found"}
    assert held() == before
