"""The example that asks many repositories, beside a plain loop over them."""

import os
import subprocess
import sys
from collections.abc import Iterator, Sequence
from contextlib import contextmanager
from functools import partial
from pathlib import Path
from statistics import median
from tempfile import TemporaryFile
from time import perf_counter
from typing import NamedTuple

from finding_rows import finding_rows
from table import Ratio, Row

CLONES = 1_000
FEW = 30
MISSING = 20_000
AHEAD = 20  # commits that the branch of a clone has and main lacks
SINCE = "2017-09-01"
ROUNDS = 3
MOST_LATER = 0.1  # seconds until the first row, more than in a loop
MOST_A_ROW = 1024  # bytes of memory
MIB = 1 << 20

EXAMPLES = Path(__file__).parents[1] / "examples"
THREADS = [sys.executable, str(EXAMPLES / "many_repositories.py"), f"--since={SINCE}", "--from=-"]
START = [sys.executable, "-c", "import orvel_tarnix.utils.git_utils; print()"]
LOOP = """
import sys
from repositories.row import Question
question = Question(sys.argv[1], None, False)
for root in sys.stdin.read().split():
    for row in question.rows([root]):
        print(row, flush=True)
"""
# Not ru_maxrss, which a child inherits from the process that started it. The program leaves by
# os._exit(), as threads may still wait for input.
PEAK = """
import os, pathlib, runpy, sys
def leave(code, leave=os._exit):
    status = pathlib.Path("/proc/self/status").read_text()
    print(status.partition("VmHWM:")[2].split()[0], file=sys.stderr, flush=True)
    leave(code)
os._exit = leave
sys.argv = sys.argv[1:]
sys.path.insert(0, os.path.dirname(sys.argv[0]))
runpy.run_path(sys.argv[0], run_name="__main__")
"""


class Run(NamedTuple):
    """The seconds that a command took until its first row, and until its end."""

    first: float
    end: float


def example_rows(repository: Path, folder: Path) -> Iterator[Row]:
    """The rows of both examples; the folder is for the repositories to ask about."""
    roots = _clones(repository, folder.absolute())
    loop = [sys.executable, "-c", LOOP, SINCE]
    with _cluster(1) as first, _cluster(2) as second:
        sides = {"the default": THREADS, "one thread": [*THREADS, "--workers=1"]}
        sides["a cluster of one"] = [*THREADS, f"--scheduler={first}"]
        sides["a cluster of two"] = [*THREADS, f"--scheduler={second}"]
        single = _race(roots[:1], sides | {"start": START})
        few = _race(roots[:FEW], sides)
        many = _race(roots, sides | {"loop": loop})
    targets = {"the default": 3.5}
    for side in sides:
        ratio = _ratio(single, side, "start")
        baseline = "a start of Python that imports the module"
        yield Row(f"1 repository, {side}", baseline, ratio, targets.get(side), Ratio.RELATIVE_TIME)
    targets = {"the default": 1 / 1.6}
    for side in sides:
        ratio, target = _ratio(few, side, "one thread"), targets.get(side)
        if side != "one thread":
            work = f"{FEW} repositories, {side}"
            yield Row(work, "one thread", ratio, target, Ratio.RELATIVE_TIME)
    targets = {"the default": 2.1}
    for side in sides:
        ratio = _ratio(many, "loop", side)
        yield Row(f"{CLONES:,} repositories, {side}", "a plain loop", ratio, targets.get(side))
    nowhere = [f"/nowhere/{number}" for number in range(MISSING)]
    missing = _race(nowhere, {"the default": THREADS, "loop": loop})
    ratio = _ratio(missing, "the default", "loop")
    work = f"{MISSING:,} roots that do not exist"
    yield Row(work, "a plain loop", ratio, 1, Ratio.RELATIVE_TIME)
    yield from finding_rows()


def example_figures(folder: Path) -> str:
    """How much later the first row appears than in a loop, and how memory grows, in words."""
    roots = sorted(map(str, folder.absolute().glob("clone_*")))
    loop = [sys.executable, "-c", LOOP, SINCE]
    runs = _race(roots[:FEW], {"default": THREADS, "loop": loop})
    pairs = zip(runs["default"], runs["loop"], strict=True)
    later = median(run.first - other.first for run, other in pairs)
    peaks = [_peak(roots), _peak(roots * 10)]
    growth = (peaks[1] - peaks[0]) / (9 * len(roots))
    return (
        f"The first row appears {later:.2f} s later than in a plain loop"
        f" (at most {MOST_LATER} s: {_verdict(later, MOST_LATER)}).\n"
        f"Peak memory of {len(roots):,} rows: {peaks[0] / MIB:.0f} MiB, of ten times as many:"
        f" {peaks[1] / MIB:.0f} MiB; {growth:.0f} bytes for each row"
        f" (at most {MOST_A_ROW}: {_verdict(growth, MOST_A_ROW)}).\n"
    )


def _verdict(figure: float, most: float) -> str:
    return "met" if figure <= most else "**missed**"


def _peak(roots: Sequence[str]) -> int:
    """The bytes of memory that the program takes at most for these rows."""
    command = [sys.executable, "-c", PEAK, *THREADS[1:]]
    given = "\n".join(roots)
    run = subprocess.run(command, input=given, capture_output=True, text=True, check=True)
    return 1024 * int(run.stderr)


def _ratio(runs: dict[str, list[Run]], numerator: str, denominator: str) -> float:
    """The median over the rounds; the sides of a round ran one after the other."""
    pairs = zip(runs[numerator], runs[denominator], strict=True)
    return median(above.end / below.end for above, below in pairs)


def _race(roots: Sequence[str], sides: dict[str, list[str]]) -> dict[str, list[Run]]:
    """Runs of each side, in turns; more of them where they are short."""
    runs: dict[str, list[Run]] = {side: [] for side in sides}
    for _ in range(ROUNDS if len(roots) > FEW else 3 * ROUNDS):
        for side, command in sides.items():
            runs[side].append(_run(command, roots))
    return runs


def _run(command: list[str], roots: Sequence[str]) -> Run:
    environment = os.environ | {"PYTHONPATH": f".{os.pathsep}{EXAMPLES}"}
    with TemporaryFile("w+") as given:  # a pipe would fill before the output is read
        given.write("\n".join(roots))
        given.seek(0)
        begin = perf_counter()
        pipe = subprocess.PIPE
        process = subprocess.Popen(command, stdin=given, stdout=pipe, text=True, env=environment)
    with process:
        lines = (line for line in process.stdout if not line.startswith("repository  "))
        next(lines)
        first = perf_counter() - begin
        rows = 1 + sum(1 for _ in lines)
    if rows != len(roots):
        raise AssertionError(f"{rows} rows of {len(roots)} repositories")
    return Run(first, perf_counter() - begin)


@contextmanager
def _cluster(workers: int) -> Iterator[str]:
    """The address of a scheduler with workers of one thread each, all in their own processes."""
    environment = os.environ | {"PYTHONPATH": "."}
    start = partial(subprocess.Popen, stderr=subprocess.PIPE, text=True, env=environment)
    dask = [sys.executable, "-m"]
    scheduler = start([*dask, "distributed.cli.dask_scheduler", "--host=127.0.0.1", "--port=0"])
    with scheduler:
        address = next(line.split()[-1] for line in scheduler.stderr if "Scheduler at:" in line)
        options = [address, f"--nworkers={workers}", "--nthreads=1", "--no-dashboard"]
        with start(
            [*dask, "distributed.cli.dask_worker", *options], stderr=subprocess.DEVNULL
        ) as worker:
            try:
                for line in scheduler.stderr:
                    workers -= "Register worker" in line
                    if not workers:
                        break
                yield address
            finally:
                worker.terminate()
                scheduler.terminate()


def _clones(repository: Path, folder: Path) -> list[str]:
    """Clones of a branch that is ahead of main, made where they are not there yet."""
    source = folder / "source"
    git = partial(subprocess.run, check=True)
    if not (folder / "created").exists():
        folder.mkdir(parents=True, exist_ok=True)
        git(["git", "clone", "--quiet", "--bare", repository, source])
        git(["git", "branch", "--quiet", "topic", "main"], cwd=source)
        git(["git", "update-ref", "refs/heads/main", f"topic~{AHEAD}"], cwd=source)
        for number in range(CLONES):
            clone = ["git", "clone", "--quiet", "--no-checkout", "--branch=topic", source]
            git([*clone, folder / f"clone_{number:04}"])
        (folder / "created").touch()
    return sorted(map(str, folder.glob("clone_*")))
