"""Plants single faults in C++ sources and lists those that the tests of their folder let pass.

Usage: mutants.py COUNT [FILE...], where COUNT faults are planted in each file (default: those that
have changed since the main branch). All of it happens in a copy of the tree, in build/mutants.
"""

import difflib
import shutil
import subprocess
import sys
from pathlib import Path

TREE = Path("build/mutants/tree").absolute()
# What the tools are made from is newer in a copy, but they are shared, and ready.
BUILD = "make --old-file=.venv/made --old-file=.venv/group-build build/release/module"
TEST = f"{BUILD} && build/release/venv/bin/python -m pytest -qx --numprocesses=auto"
# Beside those of the folder itself.
ALWAYS = ["test_rebinding.py", "test_order.py", "test_namespace.py"]
OWN = {"commands": "test_commands.py", "runner": "test_runner.py", "timespec": "test_timespec.py"}
OWN |= {"repository": "test_repository.py", "parsing": "test_parsing.py"}
SECONDS = 200  # many times what the tests take


def listed(*command: str) -> list[str]:
    """The lines that the command prints."""
    return subprocess.check_output(command, text=True).splitlines()


def copy_tree() -> None:
    """Copies what git knows, with its times, so that nothing is built without need."""
    shutil.rmtree(TREE, ignore_errors=True)
    for name in listed("git", "ls-files"):
        (TREE / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(name, TREE / name)
    (TREE / ".venv").symlink_to(Path(".venv").absolute())


def survivors(file: str, count: int) -> list[Path]:
    """The mutants of the file that its tests let pass."""
    mutants = TREE.parent / Path(file).name
    shutil.rmtree(mutants, ignore_errors=True)
    tools = Path(sys.executable).parent
    mutate = [tools / "mutate", file, "--noCheck", "--mutantDir", mutants]
    subprocess.run(mutate, cwd=TREE, check=True, stdout=subprocess.DEVNULL)
    own = [OWN[part] for part in Path(file).parts if part in OWN]
    command = " ".join([TEST, *(f"tests/{test}" for test in dict.fromkeys(own + ALWAYS))])
    subprocess.run(command, cwd=TREE, check=True, shell=True)  # they pass without a fault
    limits = ["--timeout", str(SECONDS), "--numMutants", str(count + 1), "--seed", "1"]
    analyze = [tools / "analyze_mutants", file, command, "--mutantDir", mutants, *limits]
    subprocess.run([*analyze, "--compileCommand", BUILD], cwd=TREE, check=True)
    return [mutants / name for name in (TREE / "notkilled.txt").read_text().split()]


def main(count: int, files: list[str]) -> None:
    """Prints what each survivor has changed."""
    copy_tree()
    for file in files or listed("git", "diff", "--name-only", "main", "--", "orvel_tarnix/*pp"):
        original = Path(file).read_text(encoding="utf-8").splitlines()
        for mutant in survivors(file, count):
            changed = mutant.read_text(encoding="utf-8").splitlines()
            print(
                *difflib.unified_diff(original, changed, file, mutant.name, "", "", 0, ""), sep="\n"
            )


if __name__ == "__main__":
    main(int(sys.argv[1]), sys.argv[2:])
