"""Report what the checked-out branch of each of many repositories changed.

    python examples/many_repositories.py [ROOT...] [--from FILE|-] [--since SPEC] [--jsonl FILE]
        [--resume] [--workers N | --scheduler ADDRESS] [--timeout SECONDS] [--fetch-missing]

Threads of this process or the workers of a dask cluster do the work. A repository that cannot be
read gets an error row, and the exit code is 1. A root given twice gets two rows, unless --resume
finds one of them in the file.
"""

import argparse
import logging
import os
import sys
from collections.abc import Iterator
from functools import partial
from itertools import chain
from pathlib import Path

from repositories import row
from repositories.progress import Progress
from repositories.table import print_rows
from repositories.workers import DEFAULT_THREADS, Answers, Cluster, Threads
from shared import git
from shared.interrupt import end_on_interrupt
from shared.program import ProgramError, open_input, run

NAME = "many_repositories"
CHUNK = 1 << 16  # bytes; read1() returns what is there, even a single line


def main() -> int:
    """Report on the repositories that the command line names and return the exit code."""
    logging.disable()  # distributed logs every worker that joins or leaves
    options = _options()
    progress = Progress(options.jsonl, options.since, resume=options.resume)
    end_on_interrupt(NAME, progress.__str__)
    ask = row.Question(options.since, options.timeout, options.fetch_missing).rows
    if options.scheduler:
        warn = partial(print, f"{NAME}:", file=sys.stderr)
        workers = Cluster(options.scheduler, warn, ask, row, git)
    else:
        workers = Threads(options.workers, ask)
    paths = partial(_paths, options.roots, options.source, progress.roots)
    total = None if options.source else sum(map(len, paths()))
    print_rows(map(progress.add, Answers(workers).about(paths())), total)
    return int(progress.failed > 0)


def _paths(roots: list[str], source: str | None, known: set[str]) -> Iterator[list[str]]:
    """Absolute paths, as they become known, without those that already have a row in the file."""
    for chunk in chain([roots], _lines(source) if source else ()):
        paths = [str(Path(root).absolute()) for root in chunk]
        yield [path for path in paths if path not in known]


def _lines(source: str) -> Iterator[list[str]]:
    rest = b""
    with open_input(source) as file:
        while chunk := file.read1(CHUNK):
            *lines, rest = (rest + chunk).split(b"\n")
            yield [os.fsdecode(line) for line in lines if line]
    yield [os.fsdecode(rest)] if rest else []


def _options() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description="Report on many repositories at once.")
    add = parser.add_argument
    add("roots", nargs="*", metavar="ROOT", help="a directory in a repository")
    add("--from", dest="source", metavar="FILE", help="read more roots, one a line (-: stdin)")
    add("--since", default="30d", metavar="SPEC", help="the period (%(default)s): 12h, a date")
    add("--jsonl", type=Path, metavar="FILE", help="also append the rows to FILE")
    add("--resume", action="store_true", help="skip what already has a row in the file")
    add("--timeout", type=float, metavar="SECONDS", help="limit for git on one repository")
    add("--fetch-missing", action="store_true", help="let partial clones fetch what they lack")
    who = parser.add_mutually_exclusive_group().add_argument
    threads_help = "threads on this machine (here %(default)s: 4 more than cores, at most 32)"
    who("--workers", type=int, default=DEFAULT_THREADS, metavar="N", help=threads_help)
    who("--scheduler", metavar="ADDRESS", help="use the workers of a running dask cluster")
    options = parser.parse_intermixed_args()
    if not options.roots and not options.source:
        raise ProgramError("name a ROOT or --from FILE")
    if options.workers < 1:
        raise ProgramError(f"--workers must be at least 1, not {options.workers}")
    if options.timeout is not None and not options.timeout > 0:
        raise ProgramError(f"--timeout must be more than 0 seconds, not {options.timeout:g}")
    if options.resume and not options.jsonl:
        raise ProgramError("--resume needs --jsonl FILE")
    return options


if __name__ == "__main__":
    run(NAME, main)
