"""Measurements on input of one's own."""

from collections.abc import Iterator
from functools import partial
from pathlib import Path

from parser_rows import beside_newline_count, beside_patch_readers, beside_plain
from request_rows import EVER, bare_run, request_row
from table import Row
from timing import Stopwatch

from orvel_tarnix.utils import git_utils

COMMITS = 2000


def patch_rows(watch: Stopwatch, file: Path) -> Iterator[Row]:
    """A patch, best one made with `git diff -U0 --no-prefix`."""
    text = file.read_text(encoding="utf-8", errors="replace")
    work = f"`parse_line_spans`, {file.name}"
    yield beside_plain(watch, "parse_line_spans", text, work)
    yield beside_newline_count(watch, text, work)
    yield from beside_patch_readers(watch, text, work)


def repository_rows(watch: Stopwatch, repository: Path) -> Iterator[Row]:
    """The newest commits of a repository, and the diff that they make together."""
    listing = ["rev-list", "--first-parent", f"--max-count={COMMITS}", "HEAD"]
    base = git_utils.run_git_command(repository, listing)[0].split()[-1]
    head = git_utils.get_head_commit(repository, short=False)
    log = partial(git_utils.log_commit_changes, since=EVER, ref=None, max_commits=COMMITS)
    spans = partial(git_utils.diff_line_spans, base=base, head=head, merge_base=False)
    for request, parser in (
        (partial(log, repository), "parse_commit_changes"),
        (partial(git_utils.diff_file_changes, repository, base, head), "parse_file_changes"),
        (partial(spans, repository), "parse_line_spans"),
    ):
        text = bare_run(request)().stdout
        work = f"{COMMITS:,} commits of {repository.name}, {len(text):,} characters"
        yield beside_plain(watch, parser, text, f"`{parser}`, {work}")
        yield request_row(watch, f"its request, {work}", request, getattr(git_utils, parser))
