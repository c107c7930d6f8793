"""The parsers, compared with plain Python, other patch readers and a bare scan of the same text."""

from collections.abc import Iterator
from functools import partial

import plain_python
import unidiff
import whatthepatch
from inputs import DENSE_HUNK, SPARSE_HUNK, commit_log, file_changes, patch
from table import Row
from timing import measure

from orvel_tarnix.utils import git_utils

PATCH_CHARACTERS = 4_000_000
# Other patch readers take seconds for more.
LIBRARY_CHARACTERS = 500_000
FILES = 50_000
COMMITS = 20_000
SCAN = "the scan, with the vector code that every x86-64 processor can run"
COLLECTOR = "creating the records, and the collections that walk them"
# Least speedup, by kind of patch and bytes per character.
PATCH_TARGETS = {"dense": {1: 8, 2: 7, 4: 8}, "sparse": {1: 15, 2: 10, 4: 15}}
LINES_PER_HUNK = {"dense": DENSE_HUNK, "sparse": SPARSE_HUNK}


def parser_rows() -> Iterator[Row]:
    """Every row of the parsers."""
    for kind, targets in PATCH_TARGETS.items():
        for width, target in targets.items():
            text = patch(PATCH_CHARACTERS, LINES_PER_HUNK[kind], width)
            operation = f"`parse_line_spans`, {kind} patch, {width}-byte characters"
            yield compare_with_plain("parse_line_spans", text, operation, target, SCAN)
    sparse = patch(PATCH_CHARACTERS, SPARSE_HUNK)
    yield compare_with_newline_count(sparse, "`parse_line_spans`, sparse patch", 0.6)
    operation = f"`parse_file_changes`, {FILES:,} files"
    files = file_changes(FILES)
    yield compare_with_plain("parse_file_changes", files, operation, 10, COLLECTOR)
    # Discovered at the last file, so that all of the fast path's work is lost.
    other_order = file_changes(FILES, exchange_last=True)
    operation += ", the last two in another order (fallback)"
    yield compare_with_plain("parse_file_changes", other_order, operation, 0.9)
    operation = f"`parse_commit_changes`, {COMMITS:,} commits of 1 to 3 files"
    yield compare_with_plain("parse_commit_changes", commit_log(COMMITS), operation, 8, COLLECTOR)
    for kind, lines in LINES_PER_HUNK.items():
        text = patch(LIBRARY_CHARACTERS, lines)
        _check_same_paths(text)
        yield from compare_with_patch_readers(text, f"`parse_line_spans`, {kind} patch", 90)


def _check_same_paths(text: str) -> None:
    paths = list(git_utils.parse_line_spans(text))
    if paths != [file.path for file in unidiff.PatchSet(text)]:
        raise AssertionError("unidiff finds other files")
    if paths != [diff.header.new_path for diff in whatthepatch.parse_patch(text)]:
        raise AssertionError("whatthepatch finds other files")


def compare_with_plain(
    function: str,
    text: str,
    operation: str,
    target: float | None = None,
    limit: str = "not known",
) -> Row:
    """One parser, compared with the same function in plain Python."""
    ours, plain = getattr(git_utils, function), getattr(plain_python, function)
    if repr(ours(text)) != repr(plain(text)):
        raise AssertionError(f"{operation}: the results differ")
    measurement = measure(ours=partial(ours, text), plain=partial(plain, text))
    ratios = measurement.ratios("plain", "ours")
    return Row(operation, "plain Python", target=target, limit=limit, **ratios)


def compare_with_newline_count(text: str, operation: str, target: float | None = None) -> Row:
    """The patch parser, compared with a bare search for line ends."""
    ours, count = partial(git_utils.parse_line_spans, text), partial(text.count, "\n")
    ratios = measure(ours=ours, count=count).ratios("count", "ours")
    return Row(operation, '`str.count("\\n")`', target=target, **ratios)


def compare_with_patch_readers(
    text: str, operation: str, target: float | None = None
) -> Iterator[Row]:
    """The patch parser, compared with libraries that read patches."""
    measurement = measure(
        ours=partial(git_utils.parse_line_spans, text),
        unidiff=partial(unidiff.PatchSet, text),
        whatthepatch=lambda: list(whatthepatch.parse_patch(text)),
    )
    ratios = measurement.ratios("unidiff", "ours")
    yield Row(operation, "unidiff", target=target, limit=COLLECTOR, **ratios)
    yield Row(operation, "whatthepatch", **measurement.ratios("whatthepatch", "ours"))
