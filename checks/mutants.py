"""Plants single faults in C++ sources and lists those that the tests do not detect.

Usage: mutants.py COUNT [FILE...] plants COUNT faults in each file, by default in those that differ
from the main branch. It works on a copy of the tree in build/mutants.
"""

import difflib
import shutil
import subprocess
import sys
from pathlib import Path

TREE = Path("build/mutants/tree").absolute()
# The copy shares .venv with the original tree. --old-file keeps make from installing it again.
BUILD = "make --old-file=.venv/created --old-file=.venv/group-build build/release/module"
TEST = f"{BUILD} && build/release/venv/bin/python -m pytest -qx --numprocesses=auto"
# Run for each file, in addition to the tests of its folder. capi/ has no tests of its own: every
# test calls it.
COMMON_TESTS = [
    "test_rebinding.py",
    "test_records.py",
    "test_import.py",
    "test_order.py",
    "test_namespace.py",
]
TESTS_OF_FOLDER = {
    "commands": ["test_commands.py"],
    "parsing": ["test_parsing.py"],
    "repository": ["test_repository.py"],
    "runner": ["test_runner.py"],
    "scan": ["test_parsing.py", "test_repository.py"],
    "timespec": ["test_timespec.py"],
}
TIMEOUT = 200  # seconds for one mutant, many times what the tests take


def output_lines(*command: str) -> list[str]:
    """The lines that the command prints."""
    return subprocess.check_output(command, text=True).splitlines()


def copy_tree() -> None:
    """Copies the tracked files with their times, so that make rebuilds only what has changed."""
    shutil.rmtree(TREE, ignore_errors=True)
    for name in output_lines("git", "ls-files"):
        (TREE / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(name, TREE / name)
    (TREE / ".venv").symlink_to(Path(".venv").absolute())


def survivors(file: str, count: int) -> list[Path]:
    """The mutants of the file that no test detects."""
    mutants = TREE.parent / Path(file).name
    shutil.rmtree(mutants, ignore_errors=True)
    tools = Path(sys.executable).parent
    mutate = [tools / "mutate", file, "--noCheck", "--mutantDir", mutants]
    subprocess.run(mutate, cwd=TREE, check=True, stdout=subprocess.DEVNULL)
    tests = TESTS_OF_FOLDER.get(Path(file).parent.name, []) + COMMON_TESTS
    command = " ".join([TEST, *(f"tests/{test}" for test in tests)])
    subprocess.run(command, cwd=TREE, check=True, shell=True)  # must pass without a fault
    limits = ["--timeout", str(TIMEOUT), "--numMutants", str(count + 1), "--seed", "1"]
    analyze = [tools / "analyze_mutants", file, command, "--mutantDir", mutants, *limits]
    subprocess.run([*analyze, "--compileCommand", BUILD], cwd=TREE, check=True)
    return [mutants / name for name in (TREE / "notkilled.txt").read_text().split()]


def main(count: int, files: list[str]) -> None:
    """Prints the changed lines of each surviving mutant."""
    copy_tree()
    sources = "orvel_tarnix/*.cpp", "orvel_tarnix/*.hpp"
    differing = ["git", "diff", "--name-only", "main", "--", *sources]
    for file in files or output_lines(*differing):
        original = Path(file).read_text(encoding="utf-8").splitlines()
        for mutant in survivors(file, count):
            changed = mutant.read_text(encoding="utf-8").splitlines()
            lines = difflib.unified_diff(original, changed, file, mutant.name, n=0, lineterm="")
            print(*lines, sep="\n")


if __name__ == "__main__":
    main(int(sys.argv[1]), sys.argv[2:])
