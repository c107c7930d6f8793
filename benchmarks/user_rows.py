"""Measurements on a repository or a patch that the user names."""

from collections.abc import Iterator
from functools import partial
from pathlib import Path

from parser_rows import compare_with_newline_count, compare_with_patch_readers, compare_with_plain
from request_rows import LONG_AGO, bare_run, request_row
from table import Row

from orvel_tarnix.utils import git_utils

COMMITS = 2000


def patch_rows(file: Path) -> Iterator[Row]:
    """A patch, preferably one made with `git diff -U0 --no-prefix`."""
    text = file.read_text(encoding="utf-8", errors="replace")
    operation = f"`parse_line_spans`, {file.name}"
    yield compare_with_plain("parse_line_spans", text, operation)
    yield compare_with_newline_count(text, operation)
    yield from compare_with_patch_readers(text, operation)


def repository_rows(repository: Path) -> Iterator[Row]:
    """The newest commits of a repository, and the diff of the oldest of them with HEAD."""
    listing = ["rev-list", "--first-parent", f"--max-count={COMMITS}", "HEAD"]
    base = git_utils.run_git_command(repository, listing)[0].split()[-1]
    head = git_utils.get_head_commit(repository, short=False)
    log = partial(git_utils.log_commit_changes, since=LONG_AGO, ref=None, max_commits=COMMITS)
    spans = partial(git_utils.diff_line_spans, base=base, head=head, merge_base=False)
    for request, parser in (
        (partial(log, repository), "parse_commit_changes"),
        (partial(git_utils.diff_file_changes, repository, base, head), "parse_file_changes"),
        (partial(spans, repository), "parse_line_spans"),
    ):
        text = bare_run(request)().stdout
        size = f"{COMMITS:,} commits of {repository.name}, {len(text):,} characters"
        yield compare_with_plain(parser, text, f"`{parser}`, {size}")
        yield request_row(f"its request, {size}", request, getattr(git_utils, parser))
