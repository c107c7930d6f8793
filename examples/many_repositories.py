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
from pathlib import Path

from repositories import row
from repositories.answers import Answers
from repositories.rows_file import RowsFile
from repositories.table import print_rows
from repositories.workers import DEFAULT_THREADS, ByValue, Cluster, Threads
from shared import git
from shared.interrupt import end_on_interrupt
from shared.program import ProgramError, open_input, run

NAME = "many_repositories"
CHUNK = 1 << 16  # bytes; read1() returns what is there, even a single line


class Survey:
    """The rows of many repositories, and how many there are so far."""

    def __init__(self, options: argparse.Namespace) -> None:
        self._options = options
        self._file: RowsFile | None = None
        self._rows = self._failed = 0

    def finish(self) -> int:
        """Print each row when it is known and return the exit code."""
        options = self._options
        if options.jsonl:
            self._file = RowsFile(options.jsonl, options.since, resume=options.resume)
            self._failed = self._file.failed
        total = None if options.source else sum(map(len, self._chunks()))
        question = row.Question(options.since, options.timeout, options.fetch_missing)
        workers, ask = Threads(options.workers), question.rows
        if options.scheduler:
            warn = partial(print, f"{NAME}:", file=sys.stderr)
            workers, ask = Cluster(options.scheduler, warn), ByValue(ask, row, git)
        print_rows(map(self._take, Answers(workers, ask).about(self._chunks())), total)
        return int(self._failed > 0)

    def progress(self) -> str:
        """How many rows there are, and how to continue."""
        hint = "run it again with --resume to continue" if self._file else "--jsonl FILE keeps them"
        return f"stopped after {self._rows} rows; {hint}"

    def _take(self, answer: row.Row) -> row.Row:
        if "refused" in answer:
            raise ProgramError(answer["refused"])
        if self._file:
            self._file.add(answer)
        self._rows += 1
        self._failed += "error" in answer
        return answer

    def _chunks(self) -> Iterator[list[str]]:
        """Absolute paths, without those that already have a row in the file."""
        known = self._file.roots if self._file else set()
        for chunk in self._roots():
            paths = [root if _is_plain(root) else str(Path(root).absolute()) for root in chunk]
            yield [path for path in paths if path not in known]

    def _roots(self) -> Iterator[list[str]]:
        yield self._options.roots
        if source := self._options.source:
            rest = b""
            with open_input(source) as file:
                while chunk := file.read1(CHUNK):
                    *lines, rest = (rest + chunk).split(b"\n")
                    yield [os.fsdecode(line) for line in lines if line]
                yield [os.fsdecode(rest)] if rest else []


def main() -> int:
    """Report on the repositories that the command line names and return the exit code."""
    logging.disable()  # distributed logs every worker that joins or leaves
    survey = Survey(_options())
    end_on_interrupt(NAME, survey.progress)
    return survey.finish()


def _is_plain(root: str) -> bool:
    """Whether a path is absolute and normal; pathlib takes ten times as long for each."""
    return root.startswith("/") and root == os.path.normpath(root)


def _options() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description="Report on many repositories at once.")
    add = parser.add_argument
    add("roots", nargs="*", metavar="ROOT", help="a directory in a repository")
    add("--from", dest="source", metavar="FILE", help="read more roots, one a line (-: stdin)")
    add("--since", default="30d", metavar="SPEC", help="the period (%(default)s): 12h, a date")
    add("--jsonl", type=Path, metavar="FILE", help="also append the rows to FILE")
    resume_help = "skip repositories that already have a row in the file"
    add("--resume", action="store_true", help=resume_help)
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
