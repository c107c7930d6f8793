"""The import, beside that of the same namespace in plain Python, in processes of their own."""

import py_compile
import shutil
import subprocess
import sys
from pathlib import Path

import plain_python
from table import Bound, Row
from timing import Stopwatch

from orvel_tarnix.utils import git_utils, process

ROUNDS = 100
PROGRAM = """
import collections.abc, dataclasses, datetime, logging, pathlib, re, subprocess, sys, time, typing
sys.path.insert(0, sys.argv[1])
import orvel_tarnix.utils.process
begin = time.perf_counter()
__import__(sys.argv[2])
print(time.perf_counter() - begin)
"""


def import_row(watch: Stopwatch, folder: Path) -> Row:
    """The row of the import; the folder is for a package that holds both modules."""
    package = folder.absolute() / "orvel_tarnix" / "utils"
    shutil.rmtree(package, ignore_errors=True)
    package.mkdir(parents=True)
    for module in (git_utils, plain_python, process):
        copy = shutil.copy(str(module.__file__), package)
        if copy.endswith(".py"):
            py_compile.compile(copy, doraise=True)
    modules = {"ours": "git_utils", "plain": "plain_python"}
    times: dict[str, list[float]] = {side: [] for side in modules}
    for round_ in range(ROUNDS):
        for side in sorted(modules, reverse=bool(round_ % 2)):
            times[side].append(_seconds(folder, f"orvel_tarnix.utils.{modules[side]}"))
    race = watch.keep("import / plain Python", times)
    return Row(
        "import, the standard modules at hand",
        "plain Python, cached bytecode",
        target=1.25,
        bound=Bound.TIMES_THE_TIME,
        **race.figures("ours", "plain"),
        limit="the loading of the C++ standard library, if that is a shared one",
    )


def _seconds(folder: Path, module: str) -> float:
    command = [sys.executable, "-IS", "-c", PROGRAM, str(folder.absolute()), module]
    return float(subprocess.run(command, capture_output=True, check=True).stdout)
