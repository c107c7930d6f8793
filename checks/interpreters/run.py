"""Runs the tests and the races with the interpreters that watch themselves, and prints a table.

    run.py INTERPRETERS THREADS SECONDS "KIND ..." [PYTEST-ARGUMENT ...]

INTERPRETERS is the directory in which interpreters.mk has built one of each kind. Only the thread
sanitizer reports races. One that the reference in plain Python shows as well is the interpreter's.
"""

import os
import re
import subprocess
import sys
import time
from dataclasses import dataclass
from pathlib import Path

MODES = ("calls", "names", "tables", "lists", "classes", "garbage")
NATIVE, REFERENCE = "orvel_tarnix.utils.git_utils", "plain_python"
# CPython 3.13 itself ends when it has no memory: with assertions where it loses an exception,
# without the lock where it makes a list. And once it has had a second thread, as the test run has,
# the one without the lock keeps modules, functions and classes for ever.
CRASHES = "tests/test_leaks.py::test_any_allocation_of_a_call_may_fail_and_nothing_keeps_references"
KEEPS = "tests/test_namespace.py::test_an_unused_copy_is_collected"
LEFT_OUT = {"debug": [CRASHES], "free-threaded": [CRASHES, KEEPS]}
LEFT_OUT["thread-sanitizer"] = LEFT_OUT["free-threaded"]
ROW = "{:17}{:11}{:>8}{:>9}{:>6}{:>8}{:>11}  {}"


@dataclass(frozen=True)
class Report:
    """What the thread sanitizer says: the two places that met, and whether our code led there."""

    places: frozenset[str]
    in_module: bool


class Interpreter:
    """One of the interpreters, and what was seen with it."""

    def __init__(self, interpreters: Path, kind: str) -> None:
        self.kind = kind
        self.python = interpreters / kind / "venv" / "bin" / "python"
        self.logs = interpreters / kind / "logs"
        self.logs.mkdir(exist_ok=True)
        known = interpreters / "source" / "Tools" / "tsan" / "suppressions_free_threading.txt"
        self.options = f"exitcode=0 suppressions={known}"
        self.options += " external_symbolizer_path=/usr/lib/llvm-19/bin/llvm-symbolizer"
        self.interpreters_own: set[frozenset[str]] = set()
        self.is_good = True

    def run(self, name: str, *args: str, **environment: str) -> tuple[int, str]:
        """How a run ended and what it printed; that and its reports stay in logs of its name."""
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
        found = []
        for log in self.logs.glob(f"{name}.report.*"):
            for text in log.read_text().split("=" * 18):
                # The two accesses come first, then where the memory and the threads are from.
                accesses = "\n".join(text.strip().split("\n\n")[:2])
                if "WARNING: ThreadSanitizer" in text:
                    places = frozenset(re.findall(r"#0 (\S+)", accesses))
                    found.append(Report(places, "git_utils.cpython" in accesses))
        return found

    def show(self, name: str, threads: object, seconds: object, said: str, *, good: bool) -> None:
        """Print a row of the table."""
        reports = self.reports(name)
        with_reference = [each for each in reports if each.places in self.interpreters_own]
        ours = [each for each in reports if each.in_module and each not in with_reference]
        counts = len(ours), len(reports) - len(ours), len(with_reference)
        print(ROW.format(self.kind, name, threads, seconds, *counts, said), flush=True)
        self.is_good = self.is_good and good and not ours

    def race(self, name: str, module: str, *args: str) -> None:
        """Call every function of the module in the modes that are named."""
        script, path = "checks/interpreters/races.py", "reference:tests:."
        code, output = self.run(name, script, module, *args, PYTHONPATH=path)
        if module == REFERENCE:
            self.interpreters_own |= {each.places for each in self.reports(name)}
        last = (output.splitlines() or ["nothing"])[-1]
        self.show(name, *args[1:], last if code == 0 else f"{code}: {last}", good=code == 0)

    def test(self, *args: str) -> None:
        """Run the tests, as many as these arguments select."""
        args += tuple(f"--deselect={each}" for each in LEFT_OUT[self.kind])
        started = time.monotonic()
        code, output = self.run("tests", "-m", "pytest", "--quiet", "--numprocesses=2", *args)
        summary = (output.splitlines() or ["nothing"])[-1].split(" in ")[0]
        self.show("tests", 2, round(time.monotonic() - started), summary, good=code == 0)


def main(interpreters: str, threads: str, seconds: str, kinds: str, *selection: str) -> int:
    """Print a row for each run; 1 when something failed or a report is about our code."""
    print(ROW.format("build", "run", "threads", "seconds", "ours", "others", "(known)", ""))
    seen = [Interpreter(Path(interpreters), kind) for kind in kinds.split()]
    for each in seen:
        for mode in MODES:
            if each.kind == "thread-sanitizer":
                each.race(f"({mode})", REFERENCE, mode, threads, seconds)
            each.race(mode, NATIVE, mode, threads, seconds)
        if each.kind != "thread-sanitizer":
            each.race("references", NATIVE, "references", "1", "-")
        each.test(*selection)
    return 0 if all(each.is_good for each in seen) else 1


sys.exit(main(*sys.argv[1:]))
