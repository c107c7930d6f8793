"""Runs the tests and the races with interpreters that check themselves, and prints a table.

    run.py INTERPRETERS SOURCE THREADS SECONDS "KIND ..." [PYTEST-ARGUMENT ...]

INTERPRETERS is the directory in which interpreters.mk has built one of each kind from SOURCE. Only
the thread sanitizer reports races. A race is ours if one of the two accesses is in our code; one
that the reference in plain Python has as well is the interpreter's.
"""

import os
import re
import subprocess
import sys
import time
from dataclasses import dataclass
from pathlib import Path
from typing import Self

MODES = ("calls", "names", "tables", "lists", "classes", "garbage")
# CPython 3.13 itself aborts in this mode: an assertion of the build without the lock fails when one
# thread looks through all objects while another appends to a list. The reference shows it too.
ABORTING_MODES = {"free-threaded": ("garbage",)}
NATIVE, REFERENCE = "orvel_tarnix.utils.git_utils", "plain_python"
# CPython 3.13 itself aborts when it runs out of memory: with assertions where it loses an
# exception, without the lock where it creates a list. And once a second thread has run, as in the
# test run, the build without the lock never frees modules, functions and classes.
# The thread sanitizer is so slow that all tests would take hours, and only tests that start threads
# can show a race.
SELECTED_TESTS = {
    "debug": ("-m", "not fails_allocations"),
    "free-threaded": ("-m", "not fails_allocations and not collects_copies"),
    "thread-sanitizer": (
        "tests/test_many_repositories.py",
        "tests/test_threads_and_interpreters.py",
    ),
}
ROW = "{:17}{:11}{:>8}{:>9}{:>6}{:>8}{:>14}  {}"


# A frame of a report: the function, its source and the file that it was loaded from. In the
# interpreter's file the functions of the sanitizer's runtime, such as memcpy, have no source.
FRAME = re.compile(r"#\d+ (.+) (\S+) \((\S+)\+0x[0-9a-f]+\)")
MODULE_FILE = "git_utils.cpython"


@dataclass(frozen=True)
class Report:
    """A race that the thread sanitizer found: where it is, and whether one access is our code's."""

    places: frozenset[str]
    is_ours: bool

    @classmethod
    def parse(cls, text: str) -> Self:
        """The innermost frames of both accesses outside the runtime."""
        # The two accesses come first, then the stacks that created the memory and the threads.
        stacks = [FRAME.findall(stack) for stack in text.strip().split("\n\n")[:2]]
        outside = [
            [frame for frame in stack if frame[1] != "<null>" or MODULE_FILE in frame[2]]
            for stack in stacks
        ]
        # The sanitizer has no stack for an access that was too long ago.
        frames = [stack[0] for stack in outside if stack]
        places = frozenset(function for function, _, _ in frames)
        return cls(places, any(MODULE_FILE in file for _, _, file in frames))


class Interpreter:
    """One of the interpreters, and what its runs showed."""

    def __init__(self, interpreters: Path, source: Path, kind: str) -> None:
        self.kind = kind
        self.python = interpreters / kind / "venv" / "bin" / "python"
        self.logs = interpreters / kind / "logs"
        self.logs.mkdir(exist_ok=True)
        known = source / "Tools" / "tsan" / "suppressions_free_threading.txt"
        # Like malloc, the runtime returns null where memory is exhausted.
        self.options = f"exitcode=0 allocator_may_return_null=1 suppressions={known}"
        self.options += " external_symbolizer_path=/usr/lib/llvm-19/bin/llvm-symbolizer"
        self.interpreters_own: set[frozenset[str]] = set()
        self.is_good = True

    def run(self, name: str, *args: str, **environment: str) -> tuple[int, str]:
        """The exit code and output of a run; logs of its name keep the output and the reports."""
        for old in self.logs.glob(f"{name}.*"):
            old.unlink()
        options = {"TSAN_OPTIONS": f"{self.options} log_path={self.logs}/{name}.report"}
        ended = subprocess.run(
            ["nice", "-n", "15", self.python, *args],
            env=os.environ | options | environment,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            check=False,
        )
        (self.logs / f"{name}.output").write_text(ended.stdout)
        return ended.returncode, ended.stdout

    def reports(self, name: str) -> list[Report]:
        """The reports of a run and of the processes that it started."""
        texts = [
            text
            for log in self.logs.glob(f"{name}.report.*")
            for text in log.read_text().split("=" * 18)
        ]
        return [Report.parse(text) for text in texts if "WARNING: ThreadSanitizer" in text]

    def show(
        self, name: str, threads: object, seconds: object, summary: str, *, good: bool
    ) -> None:
        """Print a row of the table."""
        reports = self.reports(name)
        with_reference = [each for each in reports if each.places in self.interpreters_own]
        ours = [each for each in reports if each.is_ours and each not in with_reference]
        counts = len(ours), len(reports) - len(ours), len(with_reference)
        print(ROW.format(self.kind, name, threads, seconds, *counts, summary), flush=True)
        self.is_good = self.is_good and good and not ours

    def race(self, name: str, module: str, *args: str) -> None:
        """Call every function of the module in the given mode."""
        script, path = "checks/interpreters/races.py", "reference:tests:."
        code, output = self.run(name, script, module, *args, PYTHONPATH=path)
        if module == REFERENCE:
            self.interpreters_own |= {each.places for each in self.reports(name)}
        last = (output.splitlines() or ["nothing"])[-1]
        self.show(name, *args[1:], last if code == 0 else f"{code}: {last}", good=code == 0)

    def test(self, *args: str) -> None:
        """Run the tests that suit this kind, with these arguments."""
        args += SELECTED_TESTS[self.kind]
        started = time.monotonic()
        code, output = self.run("tests", "-m", "pytest", "--quiet", "--numprocesses=2", *args)
        summary = (output.splitlines() or ["nothing"])[-1].split(" in ")[0]
        self.show("tests", 2, round(time.monotonic() - started), summary, good=code == 0)


def main(
    interpreters: str, source: str, threads: str, seconds: str, kinds: str, *selection: str
) -> int:
    """Print a row for each run; 1 when something failed or a report is about our code."""
    print(ROW.format("build", "run", "threads", "seconds", "ours", "others", "in reference", ""))
    seen = [Interpreter(Path(interpreters), Path(source), kind) for kind in kinds.split()]
    for each in seen:
        for mode in MODES:
            if mode in ABORTING_MODES.get(each.kind, ()):
                continue
            if each.kind == "thread-sanitizer":
                each.race(f"({mode})", REFERENCE, mode, threads, seconds)
            each.race(mode, NATIVE, mode, threads, seconds)
        if each.kind != "thread-sanitizer":
            each.race("references", NATIVE, "references", "1", "-")
        each.test(*selection)
    return 0 if all(each.is_good for each in seen) else 1


sys.exit(main(*sys.argv[1:]))
