"""The examples for many repositories and for findings, beside the plain way to do the same."""

import json
import os
import subprocess
import sys
from collections.abc import Iterator, Sequence
from functools import partial
from pathlib import Path
from time import perf_counter

import changed_findings
import sarif
from table import Ratio, Row
from timing import measure

from orvel_tarnix.utils.git_utils import LineSpan

CLONES = 1_000
FEW = 30
AHEAD = 20  # commits that the branch of a clone has beyond main
SINCE = "2017-09-01"
ROUNDS = 2
MORE_MEMORY = 60  # MiB
FINDINGS, FILES, SPANS_A_FILE = 100_000, 100, 100

EXAMPLES = Path(__file__).parents[1] / "examples"
FLEET = [sys.executable, str(EXAMPLES / "many_repositories.py"), f"--since={SINCE}", "--from=-"]
LOOP = """
import sys, repository_row
for root in sys.stdin.read().split():
    row = repository_row.row(root, since=sys.argv[1], timeout=None, fetch_missing=False)
    print(row, flush=True)
"""
# Not ru_maxrss, which a child inherits from the process that started it.
PEAK = """
import atexit, pathlib, runpy, sys
said = lambda: pathlib.Path("/proc/self/status").read_text().partition("VmHWM:")[2].split()[0]
atexit.register(lambda: print(said(), file=sys.stderr))
sys.argv = sys.argv[1:]
runpy.run_path(sys.argv[0], run_name="__main__")
"""


def example_rows(repository: Path, folder: Path) -> Iterator[Row]:
    """The rows of both examples; the folder is for the repositories to ask about."""
    roots = _clones(repository, folder.absolute())
    cores = os.process_cpu_count() or 1
    loop = [sys.executable, "-c", LOOP, SINCE]
    one, all_ = ([*FLEET, f"--workers={number}"] for number in (1, cores))
    many = _race(roots, loop=loop, one=one, all=all_)
    few = _race(roots[:FEW], loop=loop, all=all_)
    nothing = _race(["/nowhere"], loop=loop, all=all_)
    start = nothing["all"][0]
    repositories = f"{CLONES:,} repositories"
    yield Row(f"{repositories}, one worker", "a plain loop", many["loop"][1] / many["one"][1])
    yield Row(
        f"{repositories}, {cores} workers",
        "a plain loop",
        many["loop"][1] / many["all"][1],
        1.6,
        limit="what else runs on the cores, the scheduler and the client among it",
    )
    yield Row(
        f"{FEW} repositories, {cores} workers",
        "start-up and a plain loop",
        few["all"][1] / (start + few["loop"][1]),
        1,
        Ratio.RELATIVE_TIME,
    )
    yield Row(
        "first row of many repositories",
        "start-up and one repository",
        few["all"][0] / (start + few["loop"][1] / FEW),
        1,
        Ratio.RELATIVE_TIME,
        limit="noise: the two start-ups are different ones",
    )
    yield from _finding_rows()


def peak_figures(folder: Path) -> str:
    """How the client's peak of memory grows with the repositories, in words."""
    roots = sorted(map(str, folder.absolute().glob("clone_*")))
    command = [sys.executable, "-c", PEAK, *FLEET[1:]]
    peaks = []
    for times in (1, 10):
        text = "\n".join(roots * times)
        run = subprocess.run(command, input=text, capture_output=True, text=True, check=True)
        peaks.append(int(run.stderr) / 1024)
    verdict = "met" if peaks[1] - peaks[0] <= MORE_MEMORY else "missed"
    return (
        f"Peak memory of the client, {len(roots):,} repositories: {peaks[0]:.0f} MiB, "
        f"ten times as many: {peaks[1]:.0f} MiB (at most {MORE_MEMORY} MiB more: {verdict}).\n"
    )


def _race(roots: Sequence[str], **sides: list[str]) -> dict[str, tuple[float, float]]:
    """The best seconds of each side until its first row, and until its end."""
    times: dict[str, list[tuple[float, float]]] = {side: [] for side in sides}
    for _ in range(ROUNDS):
        for side, command in sides.items():
            times[side].append(_seconds(command, roots))
    return {side: (min(times[side])[0], min(end for _, end in times[side])) for side in sides}


def _seconds(command: list[str], roots: Sequence[str]) -> tuple[float, float]:
    environment = os.environ | {"PYTHONPATH": f".{os.pathsep}{EXAMPLES}"}
    pipe = subprocess.PIPE
    begin = perf_counter()
    with subprocess.Popen(command, stdin=pipe, stdout=pipe, text=True, env=environment) as process:
        process.stdin.write("\n".join(roots))
        process.stdin.close()
        lines = (line for line in process.stdout if "ahead  behind" not in line)
        next(lines)
        first = perf_counter() - begin
        rows = 1 + sum(1 for _ in lines)
    if rows != len(roots):
        raise AssertionError(f"{rows} rows of {len(roots)} repositories")
    return first, perf_counter() - begin


def _clones(repository: Path, folder: Path) -> list[str]:
    """Clones of a branch that is ahead of main, made where they are not there yet."""
    source = folder / "source"
    git = partial(subprocess.run, check=True)
    if not (folder / "made").exists():
        folder.mkdir(parents=True, exist_ok=True)
        git(["git", "clone", "--quiet", "--bare", repository, source])
        git(["git", "branch", "--quiet", "topic", "main"], cwd=source)
        git(["git", "update-ref", "refs/heads/main", f"topic~{AHEAD}"], cwd=source)
        for number in range(CLONES):
            clone = ["git", "clone", "--quiet", "--no-checkout", "--branch=topic", source]
            git([*clone, folder / f"clone_{number:04}"])
        (folder / "made").touch()
    return sorted(map(str, folder.glob("clone_*")))


def _finding_rows() -> Iterator[Row]:
    text = _findings(FINDINGS)
    document, more = json.loads(text), json.loads(_findings(2 * FINDINGS))
    touched, more_touched = _touched(SPANS_A_FILE), _touched(2 * SPANS_A_FILE)

    def kept(document: sarif.Json, touched: dict[str, changed_findings.Touched]) -> int:
        return len(list(sarif.Run(document["runs"][0], Path("/nowhere")).at(touched)))

    if kept(document, touched) != FINDINGS * 3 // 20:
        raise AssertionError("a finding is lost")
    measurement = measure(
        read=partial(json.loads, text),
        filter=partial(kept, document, touched),
        more=partial(kept, more, touched),
        wider=partial(kept, document, more_touched),
    )
    work = f"{FINDINGS:,} findings, {FILES * SPANS_A_FILE:,} spans"
    kind, ratios = Ratio.RELATIVE_TIME, measurement.ratios("filter", "read")
    yield Row(f"{work}: filter", "reading with `json`", target=1, kind=kind, **ratios)
    for side, what in (("more", "findings"), ("wider", "spans")):
        ratio = measurement.ratios(side, "filter")["ratio"]
        yield Row(f"filter, twice as many {what}", "that many", ratio, 2.2, kind)


def _touched(spans: int) -> dict[str, changed_findings.Touched]:
    """So many spans in each file."""
    lines = [LineSpan(20 * number + 1, 20 * number + 3, added=True) for number in range(spans)]
    return {f"src/{file}.py": changed_findings.Touched(lines) for file in range(FILES)}


def _findings(number: int) -> str:
    """Findings on the lines of some files, line by line."""
    results = []
    for index in range(number):
        line, file = divmod(index, FILES)
        region = {"startLine": line + 1, "startColumn": 1, "endLine": line + 1, "endColumn": 9}
        place = {"artifactLocation": {"uri": f"file:///nowhere/src/{file}.py"}, "region": region}
        message = {"text": f"Line {line + 1} is not as it should be"}
        finding = {"ruleId": f"E{index % 50}", "level": "error", "message": message}
        results.append(finding | {"locations": [{"physicalLocation": place}]})
    run = {"tool": {"driver": {"name": "tool"}}, "results": results}
    return json.dumps({"version": "2.1.0", "runs": [run]})
