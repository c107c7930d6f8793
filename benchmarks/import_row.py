"""Importing the module, compared with the same module in plain Python, each in a new process."""

import py_compile
import shutil
import subprocess
import sys
from pathlib import Path

import plain_python
from table import Ratio, Row
from timing import Measurement

from orvel_tarnix.utils import git_utils, process

ROUNDS = 100
# The standard modules that both need are imported before the clock starts.
PROGRAM = """
import collections.abc, dataclasses, datetime, logging, pathlib, re, subprocess, sys, time, typing
sys.path.insert(0, sys.argv[1])
import orvel_tarnix.utils.process
begin = time.perf_counter()
__import__(sys.argv[2])
print(time.perf_counter() - begin)
"""


def import_row(folder: Path) -> Row:
    """The row of the import; both modules are copied into one package in ``folder``."""
    package = folder.absolute() / "orvel_tarnix" / "utils"
    shutil.rmtree(package, ignore_errors=True)
    package.mkdir(parents=True)
    for module in (git_utils, plain_python, process):
        copy = shutil.copy(str(module.__file__), package)
        if copy.endswith(".py"):
            py_compile.compile(copy, doraise=True)
    modules = {"ours": "git_utils", "plain": "plain_python"}
    seconds: dict[str, list[float]] = {side: [] for side in modules}
    for round_ in range(ROUNDS):
        for side in sorted(modules, reverse=bool(round_ % 2)):
            seconds[side].append(_import_seconds(folder, f"orvel_tarnix.utils.{modules[side]}"))
    return Row(
        "import, standard modules already imported",
        "plain Python, cached bytecode",
        target=1.25,
        kind=Ratio.RELATIVE_TIME,
        limit="loading the C++ standard library, where it is a shared one",
        **Measurement(seconds).ratios("ours", "plain"),
    )


def _import_seconds(folder: Path, module: str) -> float:
    command = [sys.executable, "-IS", "-c", PROGRAM, str(folder.absolute()), module]
    return float(subprocess.run(command, capture_output=True, check=True).stdout)
