"""What the branches checked out changed, asked of any number of repositories.

    python examples/many_repositories.py [ROOT...] [--from FILE|-] [--since SPEC]
        [--jsonl FILE] [--resume] [--workers N] [--timeout SECONDS] [--scheduler ADDRESS]

Without an address the work is spread over processes on this machine. Workers of a cluster need
the module and its host package, and to see the same directories; its scheduler needs neither.
A repository that cannot be read has its row as well, which makes the exit code 1. The timeout is
for all that git does about one repository; reading what it printed is not cut short. A root named
twice is asked about twice, but not by --resume.
"""

import argparse
import logging
import os
import signal
import sys
from collections.abc import Iterator
from functools import partial
from pathlib import Path
from typing import Any, NoReturn

import repository_row
from repository_row import Row
from row_file import RowFile, RowFileError
from row_table import row_table

NAME = "many_repositories"
INTERRUPTED = 130  # as shells have it: 128 and the number of the signal


class RefusedError(Exception):
    """Why no repository at all can answer."""


class Run:
    """One run over many repositories, and how far it has come."""

    def __init__(self, options: argparse.Namespace) -> None:
        self._options = options
        self._file: RowFile | None = None
        self._rows = 0
        self._failed = 0
        self._is_interrupted = False

    def finish(self) -> int:
        """Print the rows as they come and return the exit code."""
        options = self._options
        if options.resume and not options.jsonl:
            raise RowFileError("--resume goes on with the rows of --jsonl FILE")
        if options.jsonl:
            self._file = RowFile(options.jsonl, options.since, resume=options.resume)
            self._failed = self._file.failed
        total = None if options.source else sum(1 for _ in self._roots())
        question = partial(
            repository_row.rows,
            since=options.since,
            timeout=options.timeout,
            fetch_missing=options.fetch_missing,
        )
        # They take a second, and whoever stops that with Ctrl-C is to read one line as well.
        from answers import answers  # noqa: PLC0415
        from cluster import ByValue, connected  # noqa: PLC0415

        ask = ByValue(question, repository_row)
        with connected(options.scheduler, options.workers) as client, row_table(total) as table:
            for row in answers(client, self._roots(), ask, self._watch):
                self._take(row)
                table.add(row)
        return int(self._failed > 0)

    def interrupt(self, *_: object) -> NoReturn:
        """End the run, as Ctrl-C does."""
        # Ending the cluster takes a moment, which a second Ctrl-C would fill with tracebacks.
        signal.signal(signal.SIGINT, signal.SIG_IGN)
        self._is_interrupted = True
        raise KeyboardInterrupt

    def what_stands(self) -> str:
        """How many rows there are, and how to go on."""
        file = self._options.jsonl
        kept = "the same with --resume goes on" if file else "--jsonl FILE would keep them"
        return f"stopped after {self._rows} rows; {kept}"

    def _watch(self, trouble: str | None) -> None:
        # What a signal raises while a destructor runs is lost.
        if self._is_interrupted:
            raise KeyboardInterrupt
        if trouble:
            _warn(trouble)

    def _take(self, row: Row) -> None:
        self._watch(None)
        if "refused" in row:
            raise RefusedError(row["refused"])
        if self._file:
            self._file.add({"since": self._options.since} | row)
        self._rows += 1
        self._failed += "error" in row

    def _roots(self) -> Iterator[str]:
        """The directories to ask about, absolute, without those that the file answers."""
        for root in self._named():
            path = str(Path(root).absolute())
            if self._file is None or path not in self._file.answered:
                yield path

    def _named(self) -> Iterator[str]:
        yield from self._options.roots
        if source := self._options.source:
            # A thread reads, and one that waits in sys.stdin could not be left at the end.
            place = os.dup(0) if source == "-" else source
            with open(place, errors="surrogateescape") as lines:  # noqa: PTH123 - it may be a number
                yield from filter(None, (line.rstrip("\n") for line in lines))


def main() -> NoReturn:
    """Run as a command: one line for what cannot be done, quiet when a pipe closes."""
    options = _options()
    # Workers that come and go are the cluster's affair: what they do not answer has its row.
    logging.disable()
    # Whatever the locale or a name holds, what cannot be encoded is written as an escape.
    sys.stdout.reconfigure(errors="backslashreplace")  # type: ignore[union-attr]
    run = Run(options)
    signal.signal(signal.SIGINT, run.interrupt)
    sys.unraisablehook = _lose
    try:
        code = run.finish()
    except BrokenPipeError:
        # The reader has seen enough; nor may the interpreter fail to flush the rest at exit.
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        code = 0
    except KeyboardInterrupt:
        _warn(run.what_stands())
        code = INTERRUPTED
    except (RefusedError, RowFileError, OSError) as error:
        _warn(str(error).partition("\n")[0])
        code = 2
    sys.exit(code)


def _lose(raised: Any) -> None:
    # Run.interrupt has noted a Ctrl-C that is lost, and it is raised again.
    if raised.exc_type is not KeyboardInterrupt:
        sys.__unraisablehook__(raised)


def _warn(line: str) -> None:
    print(f"{NAME}: {line}", file=sys.stderr)


def _options() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description="Report on many repositories at once.")
    add = parser.add_argument
    add("roots", nargs="*", metavar="ROOT", help="a repository each")
    add("--from", dest="source", metavar="FILE", help="read more of them, one a line (-: stdin)")
    add("--since", default="30d", metavar="SPEC", help="the period (%(default)s), as 12h or a date")
    add("--jsonl", type=Path, metavar="FILE", help="write the rows here too, one a line")
    add("--resume", action="store_true", help="leave out what the file answers already")
    add("--workers", type=int, metavar="N", help="processes on this machine (one a core)")
    add("--timeout", type=float, metavar="SECONDS", help="end git where a repository takes longer")
    add("--scheduler", metavar="ADDRESS", help="use the workers of a running cluster")
    add("--fetch-missing", action="store_true", help="let partial clones fetch what they lack")
    return parser.parse_intermixed_args()


if __name__ == "__main__":
    main()
