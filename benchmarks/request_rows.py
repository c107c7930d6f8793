"""Whole requests to git, beside the bare run of the same command line."""

import subprocess
from collections.abc import Callable, Iterator
from datetime import datetime
from functools import partial
from pathlib import Path
from unittest import mock

from table import Bound, Row
from timing import Call, Stopwatch

from orvel_tarnix.utils import git_utils

EVER = datetime(1990, 1, 1)
SECONDS = 15


def request_rows(watch: Stopwatch, repository: Path) -> Iterator[Row]:
    """One row a request."""
    head = partial(git_utils.get_head_commit, repository)
    yield request_row(watch, "`get_head_commit`", head, str.strip, 1.05)
    log = partial(git_utils.log_commit_changes, repository, since=EVER, ref=None)
    parser = git_utils.parse_commit_changes
    work = "`log_commit_changes`, 300 commits"
    yield request_row(watch, work, partial(log, max_commits=300), parser, 1.05)
    diff = partial(git_utils.diff_line_spans, repository, "HEAD~100", "HEAD", merge_base=False)
    work = "`diff_line_spans`, 100 commits apart"
    yield request_row(watch, work, diff, git_utils.parse_line_spans, 1.05)


def request_row(
    watch: Stopwatch,
    work: str,
    request: Call,
    parser: Callable[[str], object],
    target: float | None = None,
) -> Row:
    """The time of a request without that of its parser, to the time of the bare run."""
    bare = bare_run(request)
    parse = partial(parser, bare().stdout)
    if repr(parse()) != repr(request()):
        raise AssertionError(f"{work}: the results differ")
    race = watch.race(f"{work} / bare run", SECONDS, ours=request, bare=bare, parse=parse)
    return Row(
        f"{work}: beyond the parse",
        "bare `subprocess.run`",
        target=target,
        bound=Bound.TIMES_THE_TIME,
        **race.figures("ours", "bare", without="parse"),
    )


def bare_run(request: Call) -> Callable[[], subprocess.CompletedProcess[str]]:
    """The run of git that the request comes to, with all its keywords."""
    with mock.patch("subprocess.run", wraps=subprocess.run) as run:
        request()
    return partial(subprocess.run, *run.call_args.args, **run.call_args.kwargs)
