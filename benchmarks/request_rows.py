"""Functions that run git, compared with running the same command line without the module."""

import subprocess
from collections.abc import Callable, Iterator
from datetime import datetime
from functools import partial
from pathlib import Path
from unittest import mock

from table import Ratio, Row
from timing import Call, measure

from orvel_tarnix.utils import git_utils

LONG_AGO = datetime(1990, 1, 1)


def request_rows(repository: Path) -> Iterator[Row]:
    """One row for each request."""
    head = partial(git_utils.get_head_commit, repository)
    yield request_row("`get_head_commit`", head, str.strip, 1.05)
    log = partial(git_utils.log_commit_changes, repository, since=LONG_AGO, ref=None)
    parser = git_utils.parse_commit_changes
    operation = "`log_commit_changes`, 300 commits"
    yield request_row(operation, partial(log, max_commits=300), parser, 1.05)
    diff = partial(git_utils.diff_line_spans, repository, "HEAD~100", "HEAD", merge_base=False)
    operation = "`diff_line_spans`, 100 commits apart"
    yield request_row(operation, diff, git_utils.parse_line_spans, 1.05)


def request_row(
    operation: str,
    request: Call,
    parser: Callable[[str], object],
    target: float | None = None,
) -> Row:
    """A request's time less its parser's, relative to the bare run of git."""
    bare = bare_run(request)
    parse = partial(parser, bare().stdout)
    if repr(parse()) != repr(request()):
        raise AssertionError(f"{operation}: the results differ")
    measurement = measure(duration=15, ours=request, bare=bare, parse=parse)
    return Row(
        f"{operation}, without parsing",
        "bare `subprocess.run`",
        target=target,
        kind=Ratio.RELATIVE_TIME,
        **measurement.ratios("ours", "bare", subtract="parse"),
    )


def bare_run(request: Call) -> Callable[[], subprocess.CompletedProcess[str]]:
    """The `subprocess.run` call that the request makes, with all its arguments."""
    with mock.patch("subprocess.run", wraps=subprocess.run) as run:
        request()
    return partial(subprocess.run, *run.call_args.args, **run.call_args.kwargs)
